# The driver library. The portable core compiles for every target; CMake adds
# exactly one platform backend. Tests link the static form, which holds the
# same objects as the shared library without the export restrictions.

file(GLOB I2CZAVIK_CORE_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/src/driver/*.cpp
  ${PROJECT_SOURCE_DIR}/src/api/*.cpp
  ${PROJECT_SOURCE_DIR}/src/scheduler_link/*.cpp)
if(WIN32)
  file(GLOB I2CZAVIK_PLATFORM_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/scheduler_link/win/*.cpp)
else()
  file(GLOB I2CZAVIK_PLATFORM_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/scheduler_link/posix/*.cpp)
endif()

add_library(i2czavik_objects OBJECT ${I2CZAVIK_CORE_SOURCES} ${I2CZAVIK_PLATFORM_SOURCES})
target_include_directories(i2czavik_objects PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
target_compile_definitions(i2czavik_objects PUBLIC I2CZAVIK_BUILDING)
set_target_properties(i2czavik_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

# Tests, tools and benchmarks link the static form: the same objects, with
# only what they use pulled in. (A static initialisation that must run, such
# as the Winsock start-up, therefore sits in an object that is referenced.)
add_library(i2czavik_static STATIC $<TARGET_OBJECTS:i2czavik_objects>)
target_include_directories(i2czavik_static PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
target_compile_definitions(i2czavik_static PUBLIC I2CZAVIK_BUILDING)

add_library(i2czavik SHARED $<TARGET_OBJECTS:i2czavik_objects>)
target_include_directories(i2czavik PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
set_target_properties(i2czavik PROPERTIES PREFIX "lib")

if(WIN32)
  set_target_properties(i2czavik PROPERTIES PREFIX "" OUTPUT_NAME i2czavik)
  # System DLLs only: the C++ runtime, libgcc and winpthread go into the DLL.
  # On i686 the stdcall DeviceIo is DeviceIo@20 inside the objects. --kill-at
  # puts the plain name into the export table, while the import library keeps
  # the decorated symbol that C callers of the stdcall prototype reference.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(DEVICEIO_DECORATION "@20")
    target_link_options(i2czavik PRIVATE -Wl,--kill-at)
    # ld's import library would lose the decoration as well; dlltool keeps it.
    find_program(I2CZAVIK_DLLTOOL NAMES ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-dlltool REQUIRED)
    add_custom_command(TARGET i2czavik POST_BUILD
      COMMAND ${I2CZAVIK_DLLTOOL} -k -d ${CMAKE_BINARY_DIR}/i2czavik.def -D i2czavik.dll
              -l $<TARGET_LINKER_FILE:i2czavik>
      VERBATIM)
  else()
    set(DEVICEIO_DECORATION "")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/src/driver/i2czavik.def.in ${CMAKE_BINARY_DIR}/i2czavik.def @ONLY)
  target_link_options(i2czavik PRIVATE -static -static-libgcc -static-libstdc++ ${CMAKE_BINARY_DIR}/i2czavik.def)
  set_target_properties(i2czavik PROPERTIES LINK_DEPENDS ${CMAKE_BINARY_DIR}/i2czavik.def)
  target_link_libraries(i2czavik PRIVATE ws2_32)
  target_link_libraries(i2czavik_static PUBLIC ws2_32)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_link_options(i2czavik_static INTERFACE -Wl,--undefined=_i2czavik_socket_layer)
  else()
    target_link_options(i2czavik_static INTERFACE -Wl,--undefined=i2czavik_socket_layer)
  endif()
else()
  # Exactly the nine exports, whatever the C++ runtime's templates would add.
  target_link_options(i2czavik PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/src/driver/i2czavik.map
    -Wl,--no-undefined)
  set_target_properties(i2czavik PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/src/driver/i2czavik.map)
endif()

# The in-memory link (wire, channel, selector) through which tests and fuzz
# targets connect a board client to a scheduler in the same process. It uses
# the library's channel core but is not part of the library.
file(GLOB I2CZAVIK_MEMORY_LINK_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/scheduler_link/memory/*.cpp)
add_library(i2czavik_memory_link STATIC ${I2CZAVIK_MEMORY_LINK_SOURCES})
target_link_libraries(i2czavik_memory_link PUBLIC i2czavik_static)
