# What reads a Windows machine: the same loader and forms, other sources.
find_package(fmt REQUIRED)

add_library(collect_load STATIC load.cpp)
svc_wall(collect_load collect)
target_link_libraries(collect_load PUBLIC acquire)
