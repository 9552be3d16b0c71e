# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# For Debian's cross compiler. CCI_SYSROOT is a folder with the arm64 packages that the build needs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CCI_SYSROOT)
set(CMAKE_SYSROOT ${CCI_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CCI_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${CCI_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CCI_SYSROOT}/usr/share/pkgconfig)
