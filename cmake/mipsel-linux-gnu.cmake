# The router's processor: 32-bit little-endian MIPS. The sysroot is made by scripts/setup.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)

get_filename_component(ZEL_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-mipsel ABSOLUTE)
set(CMAKE_SYSROOT ${ZEL_SYSROOT})
set(CMAKE_LIBRARY_ARCHITECTURE mipsel-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${ZEL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${ZEL_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${ZEL_SYSROOT}/usr/lib/mipsel-linux-gnu/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel;-L;${ZEL_SYSROOT})
