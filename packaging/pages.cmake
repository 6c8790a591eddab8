# The documentation as it lies beside the installed program: its pages link to each other as they do
# in the sources; what they link to among the sources themselves is not there, so its name alone is.
set(pages "${CMAKE_CURRENT_BINARY_DIR}/pages")
file(GLOB documents RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS
     "${PROJECT_SOURCE_DIR}/docs/*.md")
foreach(page IN LISTS documents ITEMS README.md SECURITY.md CHANGELOG.md)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${page}")
  file(READ "${PROJECT_SOURCE_DIR}/${page}" text)
  string(REGEX REPLACE
    "\\[([^]]+)\\]\\((\\.\\./)?(CONTRIBUTING|data|examples/plugin|plugins|rules|runtime|tests)[^)]*\\)"
    "\\1" text "${text}")
  set(before "")
  if(EXISTS "${pages}/${page}")
    file(READ "${pages}/${page}" before)
  endif()
  if(NOT text STREQUAL before)
    file(WRITE "${pages}/${page}" "${text}")
  endif()
endforeach()
install(DIRECTORY "${pages}/" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        FILES_MATCHING PATTERN "*.csv" PATTERN "*.xml" PATTERN "*.json" PATTERN "*.png" PATTERN "*.svg")
