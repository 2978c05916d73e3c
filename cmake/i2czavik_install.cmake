# What `cmake --install` puts where: GNU directories on Linux, bin/ lib/
# include/ on Windows. Every file belongs to one component, and the Debian
# packages are made of them:
#   runtime  the shared library (on Windows the DLL)
#   dev      header, link-time files, CMake package, pkg-config file, .def
#   tools    the command-line tool, the simulator, their man pages
#   notices  LICENSE and NOTICE (each Debian package has its copyright file instead)
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(I2CZAVIK_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/i2czavik)

if(NOT WIN32)
  # The nine exports are a frozen ABI, so the SONAME stays libi2czavik.so.1;
  # the file behind it carries the full version.
  set_target_properties(i2czavik PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1)
  # The tool finds the library beside it under any prefix (in /usr/bin this
  # resolves to the system directory it is in anyway).
  set_target_properties(i2czavik_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

install(TARGETS i2czavik EXPORT i2czavikTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/include/i2czavik.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

install(EXPORT i2czavikTargets NAMESPACE i2czavik:: DESTINATION ${I2CZAVIK_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/i2czavikConfig.cmake.in
  ${CMAKE_BINARY_DIR}/i2czavikConfig.cmake INSTALL_DESTINATION ${I2CZAVIK_CMAKE_DIR})
# Same major version, same ABI; the version file also refuses a 32-bit build
# for a 64-bit consumer and the other way round.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/i2czavikConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/i2czavikConfig.cmake ${CMAKE_BINARY_DIR}/i2czavikConfigVersion.cmake
  DESTINATION ${I2CZAVIK_CMAKE_DIR} COMPONENT dev)

install(TARGETS i2czavik_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
if(TARGET i2c-scheduler-sim)
  install(TARGETS i2c-scheduler-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

if(WIN32)
  # Microsoft's linker reads only its own import-library format; llvm-dlltool
  # writes it from the same .def as the DLL's exports. -k keeps the @20 of
  # DeviceIo in the symbol a stdcall caller references (_DeviceIo@20) while
  # the DLL is asked for the plain name.
  find_program(I2CZAVIK_LLVM_DLLTOOL NAMES llvm-dlltool-16 llvm-dlltool REQUIRED)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(machine i386)
  else()
    set(machine i386:x86-64)
  endif()
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/i2czavik.lib
    COMMAND ${I2CZAVIK_LLVM_DLLTOOL} -m ${machine} -k -d ${CMAKE_BINARY_DIR}/i2czavik.def -D i2czavik.dll
            -l ${CMAKE_BINARY_DIR}/i2czavik.lib
    DEPENDS ${CMAKE_BINARY_DIR}/i2czavik.def VERBATIM)
  add_custom_target(i2czavik_msvc_import_library ALL DEPENDS ${CMAKE_BINARY_DIR}/i2czavik.lib)
  install(FILES ${CMAKE_BINARY_DIR}/i2czavik.lib ${CMAKE_BINARY_DIR}/i2czavik.def
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)

  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . RENAME LICENSE.txt COMPONENT notices)
  install(FILES ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION . RENAME NOTICE.txt COMPONENT notices)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/windows/README.txt DESTINATION . COMPONENT notices)
  return()
endif()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT notices)

# The .pc file names its prefix, which is known only when installing
# (`cmake --install --prefix`, or /usr for the Debian packages). It is written
# straight to its destination, not into the build tree, so that two installs
# of one tree to different prefixes cannot mix up their files.
install(CODE "
  set(I2CZAVIK_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(I2CZAVIK_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(I2CZAVIK_VERSION \"${PROJECT_VERSION}\")
  set(pc \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/i2czavik.pc\")
  message(STATUS \"Installing: \${pc}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/cmake/i2czavik.pc.in\" \"\${pc}\" @ONLY)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${pc}\")"
  COMPONENT dev)

# Man pages from the programs' own --help and --version, so that they cannot
# drift from the usage texts. They need the programs to run at build time,
# hence native builds only; sanitizer builds are for testing, not installing.
find_program(I2CZAVIK_HELP2MAN help2man)
if(I2CZAVIK_HELP2MAN AND NOT I2CZAVIK_SANITIZE)
  foreach(page IN ITEMS "i2czavik_tool;i2czavik;read and write I2C slave registers through the I2C scheduler"
                        "i2c-scheduler-sim;i2c-scheduler-sim;simulate the I2C scheduler and its boards for host programs")
    list(GET page 0 target)
    list(GET page 1 name)
    list(GET page 2 description)
    if(NOT TARGET ${target})
      continue()
    endif()
    set(out ${CMAKE_BINARY_DIR}/man/${name}.1)
    add_custom_command(OUTPUT ${out}.gz
      COMMAND ${I2CZAVIK_HELP2MAN} --no-info --section=1 --name=${description} --output=${out} $<TARGET_FILE:${target}>
      COMMAND gzip -9nf ${out}
      DEPENDS ${target} VERBATIM)
    add_custom_target(${name}_man_page ALL DEPENDS ${out}.gz)
    install(FILES ${out}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  endforeach()
elseif(NOT I2CZAVIK_SANITIZE)
  message(WARNING "help2man not found: no man pages")
endif()
