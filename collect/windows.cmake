# What reads a Windows machine: the same loader and forms, other sources.
find_package(fmt REQUIRED)

add_library(collect_load STATIC load_windows.cpp)
svc_wall(collect_load collect)
