# Run by CPack on what goes into the packages: the rules of Debian's Policy Manual that an
# installation of one's own has no need of.
set(staged "${CPACK_TEMPORARY_DIRECTORY}")
file(GLOB_RECURSE texts "${staged}/*/usr/share/man/*.[1-8]" "${staged}/*/usr/share/doc/*/changelog")
foreach(text IN LISTS texts)
  execute_process(COMMAND gzip -9n "${text}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# The names of the libraries are part of the host's interface and carry no version, so the system's
# folder is not for them (Policy 8.1, 10.2): program and libraries lie together in a private one,
# each where it expects the others.
foreach(package IN ITEMS svcheck libsvchecker)
  file(GLOB libraries "${staged}/${package}/usr/lib/*.so")
  file(MAKE_DIRECTORY "${staged}/${package}/usr/lib/svcheck/lib")
  foreach(library IN LISTS libraries)
    get_filename_component(name "${library}" NAME)
    file(RENAME "${library}" "${staged}/${package}/usr/lib/svcheck/lib/${name}")
    file(CHMOD "${staged}/${package}/usr/lib/svcheck/lib/${name}"
         PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endforeach()
endforeach()
set(program "${staged}/svcheck/usr/lib/svcheck")
file(MAKE_DIRECTORY "${program}/bin" "${program}/share")
file(RENAME "${staged}/svcheck/usr/bin/svcheck" "${program}/bin/svcheck")
file(CREATE_LINK ../lib/svcheck/bin/svcheck "${staged}/svcheck/usr/bin/svcheck" SYMBOLIC)
file(CREATE_LINK ../../../share/svcheck "${program}/share/svcheck" SYMBOLIC)

# What pkg-config reads is of one architecture.
set(headers "${staged}/libsvchecker-dev/usr")
file(READ "${headers}/lib/pkgconfig/svcheck-host.pc" text)
string(REPLACE "prefix=\${pcfiledir}/../.." "prefix=/usr" text "${text}")
string(REPLACE "libdir=\${prefix}/lib" "libdir=\${prefix}/lib/svcheck/lib" text "${text}")
file(WRITE "${headers}/lib/${CPACK_SVC_ARCHITECTURE}/pkgconfig/svcheck-host.pc" "${text}")
file(REMOVE_RECURSE "${headers}/lib/pkgconfig")
