# Building for Linux on arm64 on Debian: the cross compiler, and the libraries of arm64 packages
# from a folder that `./dev arm64` unpacks them into.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(SVC_ARM64 aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER ${SVC_ARM64}-g++)

get_filename_component(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/arm64/sysroot" ABSOLUTE)
if(NOT EXISTS "${CMAKE_SYSROOT}/usr/include")
  message(FATAL_ERROR "No libraries of arm64 in ${CMAKE_SYSROOT}; ./dev arm64 puts them there.")
endif()

# Nothing of the building machine's own libraries may come in.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${SVC_ARM64}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# Programs run under QEMU. They find the system's libraries by names in full: with QEMU's own option
# for that (-L) a program that walks from the root would walk through the folder of libraries.
# QEMU's processor has all that the architecture knows; addresses are signed the short way, since the
# right way takes it several times as long.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/ld-linux-aarch64.so.1")
set(SVC_QEMU "${CMAKE_BINARY_DIR}/qemu")
file(CONFIGURE OUTPUT "${SVC_QEMU}" @ONLY CONTENT [[#!/bin/sh
# Runs a program for arm64: qemu PROGRAM [ARGUMENT]...
exec qemu-aarch64-static -cpu max,pauth-impdef=on \
  -E LD_LIBRARY_PATH="@CMAKE_SYSROOT@/lib/@SVC_ARM64@:@CMAKE_SYSROOT@/usr/lib/@SVC_ARM64@" "$@"
]])
file(CHMOD "${SVC_QEMU}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                     WORLD_READ WORLD_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR "${SVC_QEMU}")
