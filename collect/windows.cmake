# What reads a Windows machine: the same loader and forms, other sources.
svc_folder(collect
  SOURCES
    platform_firmware.cpp windows/windows_firmware.cpp
    windows/windows_machine.cpp windows/windows_sources.cpp
  LINKS collect_forms base advapi32 ole32 oleaut32 wbemuuid version)

collect_module()
