# Installation: libraries, public headers, a CMake package
# (find_package(SystemAccess), imported targets SystemAccess::*) and a
# pkg-config file.
#
# Two export sets, one depending on the other: the platform's targets (the seam
# headers, the platform implementation and, in a simulator build, the
# simulator) and the library's own.
# The library is built against the seam's headers only; the package's config
# adds the platform implementation to it, so a client's executable links it.
include(CMakePackageConfigHelpers)

set(SYSACCESS_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/SystemAccess")

# Install components, one Debian package each (cmake/packages.cmake): runtime
# (the shared libraries), development (headers, the libraries' link names, the
# CMake package, the pkg-config file), tools (sactl, tvsimd and its activation
# files) and python (the Python kit, python/CMakeLists.txt).
#
# In a prefix install the libraries find each other beside themselves and the
# tools find them in ../lib, from wherever the prefix is. An install into /usr
# (the packages) finds them in the system's library folder: there the run
# paths are removed, as Debian's policy has it.
function(sysaccess_install_run_path target run_path destination component)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${run_path}")
  install(CODE "
    if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
      file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}/usr/${destination}/$<TARGET_FILE_NAME:${target}>\")
    endif()" COMPONENT ${component})
endfunction()

install(TARGETS sysaccess_boost sysaccess_platform_headers sysaccess_platform EXPORT SystemAccessPlatformTargets)
if(SYSACCESS_PLATFORM STREQUAL "sim")
  install(DIRECTORY platform/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tvplatform COMPONENT development)

  install(TARGETS tvsim_headers EXPORT SystemAccessPlatformTargets)
  install(TARGETS tvplatform_sim
    EXPORT SystemAccessPlatformTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
  sysaccess_install_run_path(tvplatform_sim "$ORIGIN" ${CMAKE_INSTALL_LIBDIR} runtime)
  install(DIRECTORY platform/sim/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tvplatform COMPONENT development)
  foreach(tool sactl tvsimd)
    if(TARGET ${tool})
      install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
      sysaccess_install_run_path(${tool} "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" ${CMAKE_INSTALL_BINDIR} tools)
    endif()
  endforeach()
endif()
install(EXPORT SystemAccessPlatformTargets
  NAMESPACE SystemAccess:: DESTINATION ${SYSACCESS_CMAKE_DIR} COMPONENT development)

install(TARGETS system_access base_utils
  EXPORT SystemAccessTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
foreach(library system_access base_utils)
  sysaccess_install_run_path(${library} "$ORIGIN" ${CMAKE_INSTALL_LIBDIR} runtime)
endforeach()
install(DIRECTORY platform_support/system_access/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/system_access COMPONENT development)
install(DIRECTORY base_utils/pubinc/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/base_utils COMPONENT development)
install(EXPORT SystemAccessTargets
  NAMESPACE SystemAccess:: DESTINATION ${SYSACCESS_CMAKE_DIR} COMPONENT development)

configure_package_config_file(cmake/SystemAccessConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/SystemAccessConfig.cmake"
  INSTALL_DESTINATION ${SYSACCESS_CMAKE_DIR})
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/SystemAccessConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/SystemAccessConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/SystemAccessConfigVersion.cmake"
  DESTINATION ${SYSACCESS_CMAKE_DIR} COMPONENT development)

# pkg-config: the platform's flags are those of the implementation the package was built for.
if(SYSACCESS_PLATFORM STREQUAL "sim")
  set(SYSACCESS_PC_PLATFORM_CFLAGS "-I\${includedir}/tvplatform")
  set(SYSACCESS_PC_PLATFORM_LIBS "-ltvplatform_sim")
else()
  list(TRANSFORM SYSACCESS_PLATFORM_INCLUDE_DIRS PREPEND "-I" OUTPUT_VARIABLE platform_cflags)
  set(platform_libs "")
  foreach(library IN LISTS SYSACCESS_PLATFORM_LIBRARIES)
    if(IS_ABSOLUTE "${library}" OR library MATCHES "^-")
      list(APPEND platform_libs "${library}")
    else()
      list(APPEND platform_libs "-l${library}")
    endif()
  endforeach()
  list(JOIN platform_cflags " " SYSACCESS_PC_PLATFORM_CFLAGS)
  list(JOIN platform_libs " " SYSACCESS_PC_PLATFORM_LIBS)
endif()
configure_file(cmake/system_access.pc.in "${CMAKE_CURRENT_BINARY_DIR}/system_access.pc" @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/system_access.pc"
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
