# What is special to a build for Windows.

# A library lies beside the program and has the name that its users know it by.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
set(CMAKE_INSTALL_LIBDIR "${CMAKE_INSTALL_BINDIR}")

# Brings in what the checks of stack and buffers call.
add_link_options(-fstack-protector-strong)
add_compile_definitions(_WIN32_WINNT=0x0A00 UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)

# Libraries that consist of headers alone are the same for every system and come from the building
# machine's packages. A folder of links shows these and nothing else of it.
list(PREPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}/windows")
function(svc_header_library target folder)
  if(TARGET ${target})
    return()
  endif()
  if(NOT EXISTS "/usr/include/${folder}")
    message(FATAL_ERROR "No headers of ${folder} in /usr/include; ./dev windows installs them.")
  endif()
  set(links "${CMAKE_BINARY_DIR}/headers/${folder}")
  file(MAKE_DIRECTORY "${links}")
  if(NOT EXISTS "${links}/${folder}")
    file(CREATE_LINK "/usr/include/${folder}" "${links}/${folder}" SYMBOLIC)
  endif()
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${links}")
endfunction()

# The compiler's runtime libraries lie beside the programs that need them: one C++ runtime for all
# libraries of a process, so that exceptions pass between them.
function(svc_ship_library name)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} "-print-file-name=${name}"
                  OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${path}")
    find_file(svc_shipped_${name} ${name} PATHS /usr/${SVC_MINGW} PATH_SUFFIXES bin lib
              NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(path "${svc_shipped_${name}}")
  endif()
  # Most of it is what only a debugger reads.
  set(shipped "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}")
  if("${path}" IS_NEWER_THAN "${shipped}")
    execute_process(COMMAND ${CMAKE_STRIP} -o "${shipped}" "${path}" COMMAND_ERROR_IS_FATAL ANY)
  endif()
  install(FILES "${shipped}" DESTINATION "${CMAKE_INSTALL_BINDIR}")
endfunction()
file(MAKE_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll libssp-0.dll
                      libgcrypt-20.dll libgpg-error-0.dll)
  svc_ship_library(${name})
endforeach()

# Programs run under Wine, in a prefix of the build folder's own and without a display.
set(SVC_WINE "${CMAKE_BINARY_DIR}/wine")
file(CONFIGURE OUTPUT "${SVC_WINE}" @ONLY CONTENT [[#!/bin/sh
# Runs a Windows program: wine PROGRAM [ARGUMENT]...
export WINEPREFIX="${WINEPREFIX:-@CMAKE_BINARY_DIR@/prefix}"
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
export LC_ALL=C.UTF-8  # how Wine reads arguments and file names
unset DISPLAY WAYLAND_DISPLAY
# Wine needs one page at a fixed low address. Where the system chooses the addresses, the heap of one
# start in some thousands lies there, and Wine ends with status 1 and no word.
fixed=
! setarch -R true 2>/dev/null || fixed="setarch -R"
exec $fixed wine "$@"
]])
file(CHMOD "${SVC_WINE}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                     WORLD_READ WORLD_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR "${SVC_WINE}")
