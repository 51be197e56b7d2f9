# SPDX-License-Identifier: Apache-2.0
# The libraries that the platform uses, from the distribution's packages.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(jsoncpp REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(mosquitto REQUIRED IMPORTED_TARGET libmosquitto)
pkg_check_modules(sqlite3 REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(curl REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(libcrypto REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(openssl REQUIRED IMPORTED_TARGET openssl)
pkg_check_modules(pugixml REQUIRED IMPORTED_TARGET pugixml)
pkg_check_modules(zlib REQUIRED IMPORTED_TARGET zlib)

if(OVO_TOOLS)
  find_package(CLI11 REQUIRED)
endif()
if(OVO_TESTS)
  find_package(GTest REQUIRED)
endif()
