svc_header_library(fmt::fmt fmt)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
set(fmt_FOUND TRUE)
