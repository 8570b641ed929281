# Toolchain: 32-bit ARM with Debian's cross compiler, against armhf packages unpacked into the build tree. What is built
# runs under qemu's user emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT ARMHF_SYSROOT)
  set(ARMHF_SYSROOT "${CMAKE_BINARY_DIR}/sysroot" CACHE PATH "Where the armhf packages are unpacked")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ARMHF_SYSROOT)
execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../packaging/armhfSysroot" "${ARMHF_SYSROOT}"
  COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_SYSROOT "${ARMHF_SYSROOT}")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_DIR} "")
set(ENV{PKG_CONFIG_LIBDIR}
  "${ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ARMHF_SYSROOT}")

set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm-static;-L;${ARMHF_SYSROOT}")
