# What every target is built with.

option(SVC_TESTS "Build the tests" ON)
option(SVC_BENCHMARKS "Build the benchmarks" OFF)
option(SVC_WERROR "Treat warnings as errors" ON)
option(SVC_SIGNED_METADATA "Verify signatures of public metadata; needs libjcat, not on Windows" ON)
set(SVC_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined")
option(SVC_FUZZ "Link the fuzz targets to libFuzzer; needs Clang" OFF)

# What the names of files end in that one kind of system has to itself: files_posix.cpp.
if(WIN32)
  set(SVC_PLATFORM windows)
else()
  set(SVC_PLATFORM posix)
endif()

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/archive")

# Programs and libraries find each other from wherever the folder lies, also what is loaded while the
# program runs. Built as installed: room for another path would be filled up with empty folders, for
# which the loader takes the current one, and the program would load what lies there.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib;$ORIGIN")
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

include(CheckPIESupported)
check_pie_supported()

add_compile_options(-Wall -Wextra -Wpedantic)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_FLAGS MATCHES "-stdlib=libc\\+\\+")
  # GCC's library knows a type by its name, this one by where it is described: one description for
  # all libraries.
  add_compile_options(-fvisibility-ms-compat)
  set(SVC_TYPES_BY_ADDRESS ON)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 takes a concatenation of std::string for an overlap (GCC bug 105651).
  add_compile_options(-Wshadow=local -Wno-restrict)
endif()
if(SVC_WERROR)
  add_compile_options(-Werror)
endif()
if(SVC_SANITIZE)
  add_compile_options(-fsanitize=${SVC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SVC_SANITIZE})
  if(SVC_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    add_compile_options(-mbranch-protection=standard)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND NOT WIN32)
    add_compile_options(-fcf-protection=full)
    # Debian's start-up code does not say that it leaves the stack's return addresses alone.
    add_link_options(-Wl,-z,shstk)
  endif()
endif()
if(NOT WIN32)
  add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NOT WIN32)
  add_link_options(-fuse-ld=lld)
endif()

find_program(SVC_CCACHE ccache)
if(SVC_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${SVC_CCACHE}")
endif()

# svc_for_speed(TARGET...): what a query spends its time in is optimised further.
function(svc_for_speed)
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O3>)
  endforeach()
endfunction()
