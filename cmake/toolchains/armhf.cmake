# SPDX-License-Identifier: Apache-2.0
# 32-bit ARM with hard float (ARMv7), as Debian's cross compiler builds it. The libraries come from a
# sysroot that scripts/test-armhf makes, or any other with Debian's layout (OVO_SYSROOT).

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

cmake_path(SET sysroot NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-armhf")
set(OVO_SYSROOT "${sysroot}" CACHE PATH "Headers and libraries of the system that is built for")
# CMake's own trial builds read this file too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OVO_SYSROOT)
if(NOT EXISTS "${OVO_SYSROOT}/usr/include")
  message(FATAL_ERROR "There is no sysroot in ${OVO_SYSROOT}; scripts/test-armhf makes one")
endif()

set(CMAKE_SYSROOT "${OVO_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${OVO_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${OVO_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${OVO_SYSROOT}/usr/share/pkgconfig")

# What runs the programs that are built here. A file below /usr/lib or /lib is looked for in the
# sysroot first, everything else is the machine's.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L "${OVO_SYSROOT}")
