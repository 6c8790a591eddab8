svc_header_library(Boost::headers boost)
set(Boost_FOUND TRUE)
