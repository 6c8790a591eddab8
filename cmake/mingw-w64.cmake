# Building for Windows (x86_64) on Debian: the cross compiler with threads of the POSIX kind.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(SVC_MINGW x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${SVC_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${SVC_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${SVC_MINGW}-windres)

# Nothing of the building machine's own libraries may come in; cmake/windows/ says where the
# libraries are that consist of headers alone.
set(CMAKE_FIND_ROOT_PATH /usr/${SVC_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/${SVC_MINGW}/lib/pkgconfig)
