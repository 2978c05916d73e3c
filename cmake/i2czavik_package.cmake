# Packages made by CPack from the install components (cmake/i2czavik_install.cmake):
# three Debian packages from a Linux build, one ZIP from each Windows build.
# (No CPACK_PACKAGE_DESCRIPTION_SUMMARY: CPackDeb would put it before each
# package's own synopsis.)
# scripts/package.sh makes all of them into dist/.
set(CPACK_PACKAGE_NAME i2czavik)
set(CPACK_PACKAGE_VENDOR "the i2czavik developers")
set(CPACK_PACKAGE_CONTACT "the i2czavik developers <i2czavik@example.org>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CHECKSUM SHA256)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME i2czavik-${PROJECT_VERSION}-windows-${CMAKE_SYSTEM_PROCESSOR})
  include(CPack)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
# Install under /usr with DESTDIR, so that what the packages' files say about
# their own location (the .pc file's prefix) is the installed one.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE i2czavik)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(I2CZAVIK_DEB_VERSION ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libi2czavik1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "I2C slave register access through the local I2C scheduler
The library through which host programs read and write the registers of
I2C slave devices behind an I2C host adapter board. It drives no hardware
itself: it is a client of the local I2C scheduler process over TCP.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libi2czavik-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libi2czavik1 (= ${I2CZAVIK_DEB_VERSION})")
set(CPACK_DEBIAN_DEV_DESCRIPTION
  "I2C slave register access through the I2C scheduler (development files)
The C header, the link to the shared library, the CMake package
(find_package(i2czavik) with the target i2czavik::i2czavik) and the
pkg-config file of the i2czavik library.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME i2czavik-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
  "I2C scheduler simulator and register command-line tool
i2czavik scans the I2C bus and reads, writes and dumps slave registers
through the i2czavik library. i2c-scheduler-sim plays the I2C scheduler with
simulated boards and slave devices, so that host programs can be developed
and tested without hardware.")

# dpkg-shlibdeps computes what the tools depend on. For libi2czavik.so.1 it
# needs the shlibs line of the package being built beside them: it finds the
# library in the build tree (-l) and that line in DEBIAN/shlibs above it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
file(WRITE ${CMAKE_BINARY_DIR}/DEBIAN/shlibs "libi2czavik 1 libi2czavik1 (>= ${I2CZAVIK_DEB_VERSION})\n")

# The packaged changelog must describe the version being packaged.
file(STRINGS ${PROJECT_SOURCE_DIR}/packaging/debian/changelog changelog_head LIMIT_COUNT 1)
if(NOT changelog_head MATCHES "^i2czavik \\(${I2CZAVIK_DEB_VERSION}\\) ")
  message(FATAL_ERROR "packaging/debian/changelog starts with '${changelog_head}', "
    "not with an entry for version ${I2CZAVIK_DEB_VERSION}")
endif()
set(changelog ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz)
add_custom_command(OUTPUT ${changelog}
  COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/debian/changelog > ${changelog}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/debian/changelog)
add_custom_target(i2czavik_debian_changelog ALL DEPENDS ${changelog})

# Debian's own files, one set per package. Only a component's own install
# (which CPack makes) takes them: a plain `cmake --install` gets LICENSE and
# NOTICE instead.
foreach(component IN ITEMS RUNTIME DEV TOOLS)
  string(TOLOWER ${component} name)
  set(package ${CPACK_DEBIAN_${component}_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright ${changelog}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${name} EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/lintian/${package}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${name} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
