# What reads a Windows machine: the same loader and forms, other sources.
svc_folder(collect
  SOURCES
    ipmi.cpp
    windows/windows_machine.cpp
    windows/windows_sources.cpp windows/wmi.cpp
  LINKS collect_forms base ole32 oleaut32 wbemuuid version)

add_library(svcheck-collect MODULE windows/windows_collector.cpp)
target_link_libraries(svcheck-collect PRIVATE collect)
install(TARGETS svcheck-collect LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

add_dependencies(collect_load svcheck-collect svcheck-redfish)
