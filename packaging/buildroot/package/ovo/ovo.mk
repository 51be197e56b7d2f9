################################################################################
# SPDX-License-Identifier: Apache-2.0
#
# ovo
#
################################################################################

OVO_VERSION = 0.2.0
# The tree that this directory is part of: a release's archive unpacked, or a
# checkout.
OVO_SITE = $(BR2_EXTERNAL_OVO_PATH)/../..
OVO_SITE_METHOD = local
OVO_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
OVO_LICENSE = Apache-2.0
OVO_LICENSE_FILES = LICENSE
OVO_INSTALL_STAGING = YES
OVO_DEPENDENCIES = \
	host-pkgconf jsoncpp libcurl mosquitto openssl pugixml sqlite zlib
OVO_CONF_OPTS = \
	-DOVO_TESTS=OFF \
	-DOVO_BENCH=OFF \
	-DOVO_WERROR=OFF \
	-DOVO_SYSTEMD_UNIT_DIR=/usr/lib/systemd/system

ifeq ($(BR2_PACKAGE_OVO_TOOLS),y)
OVO_CONF_OPTS += -DOVO_TOOLS=ON
OVO_DEPENDENCIES += cli11
else
OVO_CONF_OPTS += -DOVO_TOOLS=OFF
endif

# The same users as in sysusers.d.
define OVO_USERS
	- -1 halden -1 - - - - Services of the phone
	ovo -1 ovo -1 * /var/lib/ovo - - Provisioning manager
	ovo-bus -1 ovo-bus -1 * - - - Message bus of the phone
endef

# The address of a proxy may hold a password.
define OVO_PERMISSIONS
	/etc/default/ovo f 0640 root root - - - - -
endef

# With systemd the units come with the program.
define OVO_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(OVO_PKGDIR)/S59ovo-bus \
		$(TARGET_DIR)/etc/init.d/S59ovo-bus
	$(INSTALL) -D -m 0755 $(OVO_PKGDIR)/S60ovo \
		$(TARGET_DIR)/etc/init.d/S60ovo
endef

$(eval $(cmake-package))
