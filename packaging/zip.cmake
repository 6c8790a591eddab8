# The program for Windows with all that it needs: it runs from wherever it is unpacked.
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION .)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION . FILES_MATCHING PATTERN "*.md"
        PATTERN "*.json")

# Under which conditions others' libraries, which lie beside the program, are passed on.
foreach(package IN ITEMS gcc-mingw-w64-base mingw-w64-x86-64-dev libgcrypt-mingw-w64-dev
                         libgpg-error-mingw-w64-dev libz-mingw-w64-dev)
  install(FILES "/usr/share/doc/${package}/copyright" DESTINATION licences
          RENAME "${package}.txt" OPTIONAL)
endforeach()

set(CPACK_GENERATOR ZIP)
set(CPACK_MONOLITHIC_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_FILE_NAME "svcheck-${PROJECT_VERSION}-windows-x86_64")
include(CPack)
