# sysaccess_use_header_only_package(<target> <INTERFACE|PUBLIC|PRIVATE>
#     PACKAGE <name> <version> IMPORTED <imported target> HEADER <file within its include folder>)
#
# Gives <target> a header-only package. A host build uses the package's CMake
# config. A cross build has no copy for the target's sysroot, but the headers
# are the same on every target: find the host's copy (HEADER, e.g.
# boost/shared_ptr.hpp) and expose only its folder (boost/) to the cross
# compiler, through a link in the build tree, never the host's whole include folder.
function(sysaccess_use_header_only_package target scope)
  cmake_parse_arguments(arg "" "IMPORTED;HEADER" "PACKAGE" ${ARGN})
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(${arg_PACKAGE} REQUIRED)
    target_link_libraries(${target} ${scope} ${arg_IMPORTED})
    return()
  endif()
  list(GET arg_PACKAGE 0 package)
  find_path(${package}_HOST_INCLUDE_DIR NAMES "${arg_HEADER}" NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  string(REGEX REPLACE "/.*" "" folder "${arg_HEADER}")
  set(stage "${CMAKE_BINARY_DIR}/staged-include/${package}")
  file(MAKE_DIRECTORY "${stage}")
  file(CREATE_LINK "${${package}_HOST_INCLUDE_DIR}/${folder}" "${stage}/${folder}" SYMBOLIC)
  target_include_directories(${target} SYSTEM ${scope} "$<BUILD_INTERFACE:${stage}>")
endfunction()
