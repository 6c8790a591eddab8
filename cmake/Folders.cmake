# The walls between the folders.
#
# A header is included as "folder/header.h". Each folder is found through a link of its own below
# the build folder, and a target sees only the links of the folders that it links to: an include
# across a wall does not compile.

function(svc_wall target folder)
  set(wall "${CMAKE_BINARY_DIR}/walls/${target}")
  get_filename_component(parent "${wall}/${folder}" DIRECTORY)
  file(MAKE_DIRECTORY "${parent}")
  if(NOT EXISTS "${wall}/${folder}")
    file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${folder}" "${wall}/${folder}" SYMBOLIC)
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${target} INTERFACE "${wall}")
  else()
    target_include_directories(${target} PUBLIC "${wall}")
  endif()
endfunction()

# svc_folder(NAME SOURCES ... LINKS ...): the static library of the folder whose list this is.
function(svc_folder name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  file(RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  svc_wall(${name} ${folder})
  target_link_libraries(${name} PUBLIC ${arg_LINKS})
endfunction()

# svc_install_for_hosts(NAME): a library that hosts of plug-ins need besides the program.
function(svc_install_for_hosts name)
  install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libsvchecker
                          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT libsvchecker)
endfunction()

# svc_exports(NAME): of a plug-in's library others see what exports.map beside it names.
function(svc_exports name)
  set(exports "${CMAKE_CURRENT_SOURCE_DIR}/exports.map")
  # The sanitizers and LLVM's C++ library compare the host's types by address, which needs them to be
  # one.
  if(NOT SVC_SANITIZE AND NOT SVC_TYPES_BY_ADDRESS)
    target_link_options(${name} PRIVATE "LINKER:--version-script=${exports}")
  endif()
  set_target_properties(${name} PROPERTIES LINK_DEPENDS "${exports}")
endfunction()

# svc_host_library(NAME MACRO ... SOURCES ... LINKS ... PRIVATE_LINKS ...): a shared library of the
# runtime, which implements the declarations of host/NAME.
function(svc_host_library name)
  cmake_parse_arguments(arg "" "MACRO" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} SHARED ${arg_SOURCES})
  svc_wall(${name} runtime/${name})
  target_compile_definitions(${name} PRIVATE ${arg_MACRO})
  target_link_libraries(${name} PUBLIC host ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
  svc_install_for_hosts(${name})
endfunction()
