# Run by CPack on what goes into the packages: the rules of Debian's Policy Manual that an
# installation of one's own has no need of.
file(GLOB_RECURSE texts "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*.[1-8]"
     "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog")
foreach(text IN LISTS texts)
  execute_process(COMMAND gzip -9n "${text}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# Below /usr the system finds libraries by itself (Policy 10.2).
file(GLOB_RECURSE binaries "${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/*"
     "${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*.so")
foreach(binary IN LISTS binaries)
  file(RPATH_REMOVE FILE "${binary}")
endforeach()
file(GLOB_RECURSE libraries "${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*.so")
file(CHMOD ${libraries} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
