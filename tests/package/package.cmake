# Run by ctest; the variables come from the command line.
cmake_minimum_required(VERSION 3.25)

set(prefix "${FOLDER}/prefix")
file(REMOVE_RECURSE "${prefix}" "${FOLDER}/consumer")

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Every file that is promised, and no other.
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}")
file(GLOB headers RELATIVE "${HEADERS}" "${HEADERS}/*.h")
list(APPEND headers cms.pb-c.h)
set(expected ${headers})
list(TRANSFORM expected PREPEND include/quen/)
list(APPEND expected
  bin/wbtables
  "${LIBDIR}/libquen-wbkit.so"
  "${LIBDIR}/libwbkit-log.so"
  "${LIBDIR}/cmake/QuenWbkit/WbkitTables.cmake"
  share/java/wbkit.jar
  share/doc/QuenWbkit/LICENSE)
file(GLOB_RECURSE installed RELATIVE "${prefix}" "${prefix}/*")
list(FILTER installed EXCLUDE REGEX "/cmake/QuenWbkit/QuenWbkit[A-Za-z-]*\\.cmake$")
list(SORT expected)
list(SORT installed)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "Installed: ${installed}\nExpected:  ${expected}")
endif()

# Every header stands alone, in C99 and in C++20.
set(includes "-I${prefix}/include")
list(FILTER FOREIGN_INCLUDES EXCLUDE REGEX "^$") # protobuf-c names no folder if it stands among the system's headers
foreach(folder IN LISTS FOREIGN_INCLUDES)
  list(APPEND includes -idirafter "${folder}")
endforeach()
set(strict -Wall -Wextra -pedantic -Werror -fsyntax-only)
foreach(header IN LISTS headers)
  # ISO C forbids an empty translation unit, which a header may be.
  file(WRITE "${FOLDER}/alone.c" "#include <quen/${header}>\nint some_declaration;\n")
  run("${CC}" -std=c99 ${strict} ${includes} "${FOLDER}/alone.c")
  run("${CXX}" -std=c++20 ${strict} ${includes} -x c++ "${FOLDER}/alone.c")
endforeach()

# A project that knows the prefix alone: it compiles, makes a table library, and runs.
run("${CMAKE_COMMAND}" -S "${CONSUMER}" -B "${FOLDER}/consumer" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${prefix}"
    "-DCMAKE_C_COMPILER=${CC}" "-DCMAKE_C_FLAGS=${C_FLAGS}")
run("${CMAKE_COMMAND}" -E env CONSUMER_AK=example "${CMAKE_COMMAND}" --build "${FOLDER}/consumer")
run("${CMAKE_CTEST_COMMAND}" --test-dir "${FOLDER}/consumer" --output-on-failure --no-tests=error)

# A version that TOML knows and a file's name would not show is no guess.
foreach(version IN ITEMS 0x10 1_000 0b1 -0)
  file(WRITE "${FOLDER}/version.toml" "wbid = \"demo\"\nversion = ${version} # as TOML has it\n")
  execute_process(COMMAND "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/abis" -B "${FOLDER}/version"
                          -G "${GENERATOR}" "-DTABLES=${prefix}/${LIBDIR}/cmake/QuenWbkit/WbkitTables.cmake"
                          "-DMANIFEST=${FOLDER}/version.toml"
                  OUTPUT_QUIET ERROR_VARIABLE refusal)
  if(NOT refusal MATCHES "decimal") # a word that is not wrapped
    message(FATAL_ERROR "version = ${version} was taken: ${refusal}")
  endif()
endforeach()

# A project that builds for Android: its table libraries are for each ABI in a folder of its own.
file(REMOVE_RECURSE "${FOLDER}/abis")
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/abis" -B "${FOLDER}/abis" -G "${GENERATOR}"
    "-DTABLES=${prefix}/${LIBDIR}/cmake/QuenWbkit/WbkitTables.cmake" "-DMANIFEST=${CONSUMER}/manifest.toml"
    "-DWBKIT_WBTABLES=${prefix}/bin/wbtables")
run("${CMAKE_COMMAND}" -E env CONSUMER_AK=example "${CMAKE_COMMAND}" --build "${FOLDER}/abis")
foreach(folder IN ITEMS asked/x86 asked/armeabi-v7a android/arm64-v8a)
  cmake_path(GET folder FILENAME abi)
  execute_process(COMMAND "${prefix}/bin/wbtables" inspect "${FOLDER}/abis/${folder}/libwb_tables_consumer_1.so" --json
                  OUTPUT_VARIABLE report COMMAND_ERROR_IS_FATAL ANY)
  string(JSON found GET "${report}" abi)
  if(NOT found STREQUAL abi)
    message(FATAL_ERROR "${folder} holds a library for ${found}")
  endif()
endforeach()
