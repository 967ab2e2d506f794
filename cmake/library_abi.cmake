# The binary interface of the project's shared libraries: a versioned file
# name and SONAME (lib<name>.so.<SOVERSION>, the file lib<name>.so.<VERSION>),
# and, where given, a linker version script that keeps the exported set to the
# public classes. SYSACCESS_SOVERSION changes only with an incompatible change
# of an exported interface; abi/ holds the recorded interfaces that
# scripts/abi-check compares every build with (docs/architecture.md).
set(SYSACCESS_SOVERSION 0)

# sysaccess_library_abi(<target> [EXPORT_MAP <version script>])
function(sysaccess_library_abi target)
  cmake_parse_arguments(arg "" "EXPORT_MAP" "" ${ARGN})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${SYSACCESS_SOVERSION})
  if(arg_EXPORT_MAP)
    get_filename_component(map "${arg_EXPORT_MAP}" ABSOLUTE)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${map}")
  endif()
endfunction()
