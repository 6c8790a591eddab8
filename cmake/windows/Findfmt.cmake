svc_header_library(fmt::fmt-header-only fmt)
set(fmt_FOUND TRUE)
