# libquen-wbkit.so, and on a host the log library beside it.

include(WbkitProtobufC)
find_program(WBKIT_PROTOC_C protoc-c REQUIRED DOC "Code generator of protobuf-c")
if(NOT ANDROID) # where jni.h is among the system's headers
  find_package(Java REQUIRED COMPONENTS Development)
  if(NOT JAVA_HOME)
    # The JDK whose compiler was found, also where no system-wide default is set.
    file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" wbkit_javac)
    cmake_path(GET wbkit_javac PARENT_PATH JAVA_HOME)
    cmake_path(GET JAVA_HOME PARENT_PATH JAVA_HOME)
  endif()
  find_package(JNI REQUIRED COMPONENTS JVM)
endif()

# The message code is generated; the header is part of the C surface.
set(WBKIT_GENERATED_DIR "${PROJECT_BINARY_DIR}/generated")
set(WBKIT_CMS_GENERATED "${WBKIT_GENERATED_DIR}/quen/cms.pb-c.c" "${WBKIT_GENERATED_DIR}/quen/cms.pb-c.h")
file(MAKE_DIRECTORY "${WBKIT_GENERATED_DIR}/quen")
add_custom_command(
  OUTPUT ${WBKIT_CMS_GENERATED}
  COMMAND "${WBKIT_PROTOC_C}" "--c_out=${WBKIT_GENERATED_DIR}/quen" "--proto_path=${PROJECT_SOURCE_DIR}/cms" cms.proto
  DEPENDS cms/cms.proto
  VERBATIM)

# An object library, so that tests can link the parts that the shared object hides.
add_library(wbkit_objects OBJECT
  aes/algorithm.cpp
  aes/block.cpp
  aes/block_portable.cpp
  aes/gcm.cpp
  aes/gcm_tag.cpp
  aes/ghash.cpp
  aes/ghash_kernel.cpp
  aes/ghash_portable.cpp
  aes/iv.cpp
  aes/stream.cpp
  cms/envelope.cpp
  cms/envelope_api.cpp
  cms/message.cpp
  cms/pack.cpp
  diagnostics/hexdump.cpp
  diagnostics/hooks.cpp
  hash/hmac.cpp
  hash/sha256.cpp
  hash/sha256_kernel.cpp
  hash/sha256_portable.cpp
  hash/signature.cpp
  jni/accessors.cpp
  jni/answer.cpp
  jni/caller_check.cpp
  jni/cms_decrypt.cpp
  jni/cms_encrypt.cpp
  jni/gcm.cpp
  jni/held_arrays.cpp
  jni/keyed_call.cpp
  jni/mac.cpp
  jni/method_table.cpp
  jni/on_load.cpp
  jni/signature.cpp
  jni/stream.cpp
  modes/block_cipher.cpp
  modes/cfb.cpp
  modes/cipher_family.cpp
  modes/ctr.cpp
  modes/ofb.cpp
  modes/padded_message.cpp
  modes/stream_function.cpp
  padding/padding.cpp
  sm4/block.cpp
  sm4/block_portable.cpp
  sm4/gcm_tag.cpp
  sm4/stream.cpp
  support/scratch.cpp
  support/secret.cpp
  tables/common.cpp
  tables/encrypted_key.cpp
  tables/entry.cpp
  tables/hex.cpp
  tables/key_source.cpp
  tables/library.cpp
  tables/metadata.cpp
  tables/symbols.cpp
  ${WBKIT_CMS_GENERATED})

# Kernels for instruction sets that the CPU may have; each asks for its own by attributes on its functions.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  target_sources(wbkit_objects PRIVATE
    aes/block_avx2.cpp
    aes/block_ssse3.cpp
    aes/block_vbmi.cpp
    aes/ghash_pclmul.cpp
    aes/ghash_vpclmul.cpp
    hash/sha256_shani.cpp
    sm4/block_avx2.cpp
    sm4/block_gfni.cpp
    sm4/block_vbmi.cpp)
  include(CheckCXXSourceCompiles)
  check_cxx_source_compiles("int main() { return __builtin_cpu_supports(\"sha\"); }" WBKIT_COMPILER_KNOWS_SHA)
  if(WBKIT_COMPILER_KNOWS_SHA)
    target_compile_definitions(wbkit_objects PUBLIC WBKIT_COMPILER_KNOWS_SHA)
  endif()
endif()

if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64|ARM64")
  target_sources(wbkit_objects PRIVATE
    aes/block_neon.cpp
    aes/ghash_pmull.cpp
    hash/sha256_arm.cpp
    sm4/block_neon.cpp)
endif()

target_include_directories(wbkit_objects
  PRIVATE "${PROJECT_SOURCE_DIR}"
  PUBLIC "${PROJECT_SOURCE_DIR}/include" "${WBKIT_GENERATED_DIR}")
target_include_directories(wbkit_objects SYSTEM PUBLIC ${JNI_INCLUDE_DIRS} ${WBKIT_PROTOBUF_C_INCLUDE_DIRS})
target_compile_options(wbkit_objects PRIVATE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics> ${WBKIT_CFI_OPTIONS})
set_target_properties(wbkit_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(wbkit_objects PRIVATE $<BUILD_INTERFACE:wbkit_warnings>)
if(WBKIT_CFI)
  target_link_options(wbkit_objects INTERFACE ${WBKIT_CFI_LINK_OPTIONS})
endif()
# The generator knows nothing of visibility marks nor of our warnings.
set_source_files_properties("${WBKIT_GENERATED_DIR}/quen/cms.pb-c.c" PROPERTIES
  COMPILE_OPTIONS "-fvisibility=default;-w")

# What says which kernels are asked for: nobody in what ships, the environment in what is tested.
add_library(wbkit_unforced OBJECT support/kernel.cpp)
target_include_directories(wbkit_unforced PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(wbkit_unforced PRIVATE $<BUILD_INTERFACE:wbkit_warnings>)
target_compile_options(wbkit_unforced PRIVATE $<TARGET_PROPERTY:wbkit_objects,COMPILE_OPTIONS>)
set_target_properties(wbkit_unforced PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden)

# Linked as C, without the libraries that CMake would add for the C++ objects: the library needs no C++ runtime, and
# --no-undefined says so if that stops being true.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
# Segments for pages of 16 KiB, and what becomes read-only after relocation ends on such a page: a loader that protects
# whole pages would protect the data behind it too, or leave the rest open.
set(WBKIT_SHARED_OPTIONS -Wl,-z,max-page-size=16384 -Wl,-z,common-page-size=16384)

if(ANDROID)
  set(wbkit_log log)
else()
  # The start files would only call constructors and destructors, of which there are none. Not all of them are built for
  # CET or BTI, and the linker marks a library for those if every object is.
  list(APPEND WBKIT_SHARED_OPTIONS -nostartfiles)
  # Android's log function on a machine without Android. A library of its own, so that a program which defines the
  # function gets the lines instead.
  set(wbkit_log wbkit-log)
  add_library(wbkit-log SHARED support/hostlog/hostlog.cpp)
  target_compile_options(wbkit-log PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics)
  set_target_properties(wbkit-log PROPERTIES LINKER_LANGUAGE C CXX_VISIBILITY_PRESET hidden)
  target_link_options(wbkit-log PRIVATE ${WBKIT_SHARED_OPTIONS})
  target_link_libraries(wbkit-log PRIVATE $<BUILD_INTERFACE:wbkit_warnings>)
endif()

# A shared object of all objects and one more, which has forced_kernels().
function(wbkit_add_shared_object name forced_kernels)
  add_library(${name} SHARED)
  target_sources(${name} PRIVATE $<TARGET_OBJECTS:wbkit_objects> ${forced_kernels})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<BUILD_INTERFACE:${WBKIT_GENERATED_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE C
    LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports.map")
  target_link_options(${name} PRIVATE
    -Wl,-Bsymbolic -Wl,--no-undefined -Wl,--hash-style=both -Wl,--gc-sections
    ${WBKIT_SHARED_OPTIONS} ${WBKIT_CFI_LINK_OPTIONS}
    "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map")
  target_link_libraries(${name} PRIVATE wbkit_protobuf_c ${CMAKE_DL_LIBS} ${wbkit_log})
  if(ANDROID)
    # ANDROID_STL=none would say it too, but takes headers such as <span> away.
    target_link_options(${name} PRIVATE -nostdlib++)
  else()
    set_target_properties(${name} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
  endif()
endfunction()
wbkit_add_shared_object(quen-wbkit $<TARGET_OBJECTS:wbkit_unforced>)
add_library(QuenWbkit::quen-wbkit ALIAS quen-wbkit)
