# protobuf-c, the message format's runtime: the system's library, or its one C file inside ours. Gives the target
# wbkit_protobuf_c and WBKIT_PROTOBUF_C_INCLUDE_DIRS.

set(WBKIT_PROTOBUF_C system CACHE STRING
    "protobuf-c: 'system', the folder of its sources, or 'fetch' to download the release that is pinned here")
# Nothing is downloaded unless 'fetch' was said; a mirror serves as well, since the hash decides.
set(WBKIT_PROTOBUF_C_URL "https://github.com/protobuf-c/protobuf-c/releases/download/v1.4.1/protobuf-c-1.4.1.tar.gz"
    CACHE STRING "Where 'fetch' downloads from")
mark_as_advanced(WBKIT_PROTOBUF_C_URL)
set(wbkit_protobuf_c_hash SHA256=4cc4facd508172f3e0a4d3a8736225d472418aee35b4ad053384b137b220339f)

# Earlier releases have faults in unpacking hostile bytes, and messages are hostile.
set(wbkit_protobuf_c_oldest 1.4.1)

if(WBKIT_PROTOBUF_C STREQUAL "system")
  if(ANDROID)
    message(FATAL_ERROR "Android has no protobuf-c. Set WBKIT_PROTOBUF_C to the folder of its sources, the one that "
                        "holds protobuf-c/protobuf-c.c, or to 'fetch' to download them.")
  endif()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(PROTOBUF_C REQUIRED IMPORTED_TARGET "libprotobuf-c>=${wbkit_protobuf_c_oldest}")
  add_library(wbkit_protobuf_c INTERFACE)
  target_link_libraries(wbkit_protobuf_c INTERFACE PkgConfig::PROTOBUF_C)
  set(WBKIT_PROTOBUF_C_INCLUDE_DIRS ${PROTOBUF_C_INCLUDE_DIRS})
  return()
endif()

if(WBKIT_PROTOBUF_C STREQUAL "fetch")
  include(FetchContent)
  FetchContent_Declare(wbkit_protobuf_c_release
    URL "${WBKIT_PROTOBUF_C_URL}" URL_HASH ${wbkit_protobuf_c_hash} DOWNLOAD_EXTRACT_TIMESTAMP ON)
  FetchContent_MakeAvailable(wbkit_protobuf_c_release)
  set(WBKIT_PROTOBUF_C_INCLUDE_DIRS "${wbkit_protobuf_c_release_SOURCE_DIR}")
else()
  file(REAL_PATH "${WBKIT_PROTOBUF_C}" WBKIT_PROTOBUF_C_INCLUDE_DIRS BASE_DIRECTORY "${CMAKE_BINARY_DIR}" EXPAND_TILDE)
endif()

set(wbkit_protobuf_c_source "${WBKIT_PROTOBUF_C_INCLUDE_DIRS}/protobuf-c/protobuf-c.c")
if(NOT EXISTS "${wbkit_protobuf_c_source}")
  message(FATAL_ERROR "WBKIT_PROTOBUF_C is '${WBKIT_PROTOBUF_C}': there is no ${wbkit_protobuf_c_source}. It is "
                      "'system', 'fetch', or the folder of a release of protobuf-c.")
endif()
file(STRINGS "${WBKIT_PROTOBUF_C_INCLUDE_DIRS}/protobuf-c/protobuf-c.h" wbkit_protobuf_c_version
     REGEX "define[ \t]+PROTOBUF_C_VERSION[ \t]")
string(REGEX REPLACE ".*\"(.*)\".*" "\\1" wbkit_protobuf_c_version "${wbkit_protobuf_c_version}")
if(wbkit_protobuf_c_version VERSION_LESS wbkit_protobuf_c_oldest)
  message(FATAL_ERROR "${wbkit_protobuf_c_source} is of version '${wbkit_protobuf_c_version}'. Take "
                      "${wbkit_protobuf_c_oldest} or later: earlier ones have faults in unpacking hostile messages.")
endif()

add_library(wbkit_protobuf_c STATIC "${wbkit_protobuf_c_source}")
target_include_directories(wbkit_protobuf_c SYSTEM PUBLIC "${WBKIT_PROTOBUF_C_INCLUDE_DIRS}")
# Another copy in the process, of another version, must not be taken for ours. What we do not call is left out.
set_target_properties(wbkit_protobuf_c PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden)
target_compile_options(wbkit_protobuf_c PRIVATE -w -ffunction-sections -fdata-sections)
