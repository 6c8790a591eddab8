svc_header_library(tomlplusplus::tomlplusplus toml++)
set(tomlplusplus_FOUND TRUE)
