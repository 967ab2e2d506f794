# Debian packages of the install components (cmake/install.cmake), built by
# CPack from this build tree: `cmake --build <build> --target package` or
# scripts/package. Each package installs into /usr, where the programs and
# libraries carry no run path. dpkg-shlibdeps computes the dependencies on
# Debian's libraries; those between the packages come from the components'.
if(CMAKE_CROSSCOMPILING OR NOT SYSACCESS_PLATFORM STREQUAL "sim")
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME system-access)
set(CPACK_PACKAGE_VENDOR "System access developers")
set(CPACK_PACKAGE_CONTACT "System access maintainers <maintainers@sysaccess.example.org>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The project's own libraries, which dpkg-shlibdeps finds here and leaves to the components' dependencies.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  "${CMAKE_BINARY_DIR}/base_utils"
  "${CMAKE_BINARY_DIR}/platform_support/system_access"
  "${CMAKE_BINARY_DIR}/platform/sim")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The runtime package's shlibs file, so that packages built against it depend on this version or later.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENTS_ALL runtime development tools python)

set(lib_package libsystem-access${SYSACCESS_SOVERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${lib_package})
# dpkg's ldconfig trigger; CPack's own postinst and postrm call ldconfig as well, which lintian warns about.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_LIST_DIR}/debian/triggers")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "System access library: the TV's data model for a web engine
libsystem_access reads, writes and watches the TV platform's data model,
invokes its actions, iterates its tables and drives the broadcast source
switch. This package holds the library, the base utilities it is built on
(libbase_utils) and the host simulator of the TV platform (libtvplatform_sim).")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libsystem-access-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libboost-dev (>= 1.74)")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "System access library: development files
The headers of libsystem_access, of the base utilities and of the TV
platform and its simulator; the link names of the libraries; the CMake
package (find_package(SystemAccess)) and the pkg-config file.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME system-access-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "dbus-daemon | dbus-broker")
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "System access library: the simulated TV service and sactl
tvsimd serves the simulated TV as io.sysaccess.TvSim on D-Bus, with a
dashboard over HTTP; the session bus starts it on the first call to its
name, or a systemd user unit with the session. sactl drives the library
against the simulated TV, in its own process or served by tvsimd.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-tvsim)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3, python3-jeepney")
set(CPACK_COMPONENT_PYTHON_DEPENDS tools)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Python kit for tests of clients of the simulated TV
tvsim.TvService runs tvsimd on a private bus for a test and drives its
controls, with waits instead of sleeps; a pytest plugin gives each test a
fresh TV.")

# Every package carries the copyright file and the Debian changelog (compressed as Debian's tools do it).
configure_file("${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in" "${CMAKE_BINARY_DIR}/debian/changelog" @ONLY)
execute_process(COMMAND gzip -9nf "${CMAKE_BINARY_DIR}/debian/changelog" COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(doc_dir "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  install(FILES "${CMAKE_CURRENT_LIST_DIR}/debian/copyright" DESTINATION "${doc_dir}" COMPONENT ${component})
  install(FILES "${CMAKE_BINARY_DIR}/debian/changelog.gz" RENAME changelog.Debian.gz
    DESTINATION "${doc_dir}" COMPONENT ${component})
endforeach()

include(CPack)
