# Installation: libraries, public headers, a CMake package
# (find_package(SystemAccess), imported targets SystemAccess::*) and a
# pkg-config file.
#
# Two export sets, one depending on the other: the platform's targets (the seam
# headers, the platform implementation and, in a simulator build, the
# simulator, installed as the component "simulator") and the library's own.
# The library is built against the seam's headers only; the package's config
# adds the platform implementation to it, so a client's executable links it.
include(CMakePackageConfigHelpers)

set(SYSACCESS_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/SystemAccess")

# Installed libraries find each other beside themselves; the tool finds them in ../lib.
set_target_properties(system_access base_utils PROPERTIES INSTALL_RPATH "$ORIGIN")
if(TARGET tvplatform_sim)
  set_target_properties(tvplatform_sim PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
if(TARGET sactl)
  set_target_properties(sactl PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

install(TARGETS sysaccess_boost sysaccess_platform_headers sysaccess_platform EXPORT SystemAccessPlatformTargets)
if(SYSACCESS_PLATFORM STREQUAL "sim")
  install(DIRECTORY platform/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tvplatform COMPONENT development)

  install(TARGETS tvsim_headers EXPORT SystemAccessPlatformTargets)
  install(TARGETS tvplatform_sim
    EXPORT SystemAccessPlatformTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT simulator)
  install(DIRECTORY platform/sim/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tvplatform COMPONENT simulator)
  if(TARGET sactl)
    install(TARGETS sactl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)
  endif()
endif()
install(EXPORT SystemAccessPlatformTargets
  NAMESPACE SystemAccess:: DESTINATION ${SYSACCESS_CMAKE_DIR} COMPONENT development)

install(TARGETS system_access base_utils
  EXPORT SystemAccessTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
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
