# SPDX-License-Identifier: Apache-2.0
SUMMARY = "Provisioning manager of a desk telephone"
DESCRIPTION = "A daemon that fetches provisioning files over HTTP or HTTPS, decrypts them, checks that they \
are meant for this phone, and carries out what they ask for: parameters, firmware, certificates and keys, \
wallpaper, phone book. It publishes one result as properties and bus messages."
HOMEPAGE = "https://example.com/ovo"
SECTION = "net"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=9e95cf7a2d934326dedb0e6a6d91f800"

DEPENDS = "curl jsoncpp mosquitto openssl pugixml sqlite3 zlib"

# Where the archives of releases are: README.md of this layer. The checksum stands in the release's list.
OVO_ARCHIVES ?= "https://example.com/ovo"
SRC_URI = "${OVO_ARCHIVES}/ovo-${PV}.tar.gz"

inherit bash-completion cmake features_check pkgconfig systemd useradd

REQUIRED_DISTRO_FEATURES = "systemd"

PACKAGECONFIG ??= "tools"
PACKAGECONFIG[tools] = "-DOVO_TOOLS=ON,-DOVO_TOOLS=OFF,cli11"

EXTRA_OECMAKE = " \
    -DOVO_TESTS=OFF \
    -DOVO_BENCH=OFF \
    -DOVO_WERROR=OFF \
    -DOVO_SYSTEMD_UNIT_DIR=${systemd_system_unitdir} \
    -DOVO_SYSUSERS_DIR=${nonarch_libdir}/sysusers.d \
    -DOVO_TMPFILES_DIR=${nonarch_libdir}/tmpfiles.d \
"

SYSTEMD_SERVICE:${PN} = "ovo.service ovo-bus.service"

# The same users as in sysusers.d, so that files of an image can belong to them.
USERADD_PACKAGES = "${PN}"
GROUPADD_PARAM:${PN} = "--system halden; --system ovo; --system ovo-bus"
USERADD_PARAM:${PN} = " \
    --system --gid ovo --home-dir ${localstatedir}/lib/ovo --no-create-home --shell /sbin/nologin ovo; \
    --system --gid ovo-bus --home-dir / --no-create-home --shell /sbin/nologin ovo-bus \
"

PACKAGE_BEFORE_PN = "${PN}-tools"

FILES:${PN} += " \
    ${nonarch_libdir}/sysusers.d \
    ${nonarch_libdir}/tmpfiles.d \
    ${systemd_system_unitdir} \
"
FILES:${PN}-tools = "${bindir} ${datadir}/ovo"
FILES:${PN}-staticdev += "${libdir}/ovo/*.a"

CONFFILES:${PN} = "${sysconfdir}/default/ovo ${sysconfdir}/ovo"

RDEPENDS:${PN} = "mosquitto"
RRECOMMENDS:${PN} = "ca-certificates"
RDEPENDS:${PN}-dev += "${PN}-staticdev"
