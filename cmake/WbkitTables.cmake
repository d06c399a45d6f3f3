# wbkit_add_table_library(NAME MANIFEST file
#                         [ABIS abi...] [WBTABLES path] [DEPENDS file...] [OUTPUT_DIRECTORY dir])
#
# Adds the target NAME, which builds the table library of a manifest with `wbtables build`, and again whenever the
# manifest, a secret's file that it names, a file of DEPENDS or wbtables itself has changed.
#
#   MANIFEST          the manifest; relative to the current source folder. Its wbid and version, which name the library,
#                     are read while the project is configured. A secret from env:NAME comes from the build's
#                     environment.
#   ABIS              Android ABIs: arm64-v8a, armeabi-v7a, x86_64, x86. Without it, the one that an Android toolchain
#                     builds for, else the machine that builds. What a manifest makes at "random" is the same for all
#                     the ABIs of one target, but not for several targets or build folders, and Gradle has one an ABI:
#                     secrets from files are the same for all.
#   WBTABLES          the program. Without it, the package's or the project's own if it runs on the machine that builds,
#                     else what WBKIT_WBTABLES or the search path gives, else one built from the project's sources.
#   DEPENDS           further files or targets that must be up to date first
#   OUTPUT_DIRECTORY  where the library goes, or with ABIs, a folder for each: DIR/arm64-v8a/libwb_tables_demo_1.so.
#                     Without it CMAKE_LIBRARY_OUTPUT_DIRECTORY, or without that the current binary folder. One that is
#                     called like the only ABI is that ABI's folder already.
#
# The target's property WBKIT_TABLE_LIBRARIES lists the libraries' paths.

function(wbkit_add_table_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "MANIFEST;WBTABLES;OUTPUT_DIRECTORY" "ABIS;DEPENDS")
  if(arg_UNPARSED_ARGUMENTS OR arg_KEYWORDS_MISSING_VALUES OR NOT arg_MANIFEST)
    message(FATAL_ERROR "wbkit_add_table_library(NAME MANIFEST file [ABIS abi...] [WBTABLES path] [DEPENDS file...] "
                        "[OUTPUT_DIRECTORY dir]): not understood: ${arg_UNPARSED_ARGUMENTS} "
                        "${arg_KEYWORDS_MISSING_VALUES}")
  endif()
  cmake_path(ABSOLUTE_PATH arg_MANIFEST BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
  _wbkit_read_manifest("${arg_MANIFEST}" file secrets)
  _wbkit_table_abis("${arg_ABIS}" abis)
  _wbkit_table_folder("${arg_OUTPUT_DIRECTORY}" "${abis}" folder)
  _wbkit_find_wbtables("${arg_WBTABLES}" wbtables tool)

  set(options "")
  set(libraries "${folder}/${file}")
  if(abis)
    list(JOIN abis "," joined)
    set(options --abi "${joined}")
    set(libraries ${abis})
    list(TRANSFORM libraries PREPEND "${folder}/")
    list(TRANSFORM libraries APPEND "/${file}")
    # As with the ABI, there are two names.
    set(ndk "${CMAKE_ANDROID_NDK}")
    if(NOT ndk)
      set(ndk "${ANDROID_NDK}")
    endif()
    if(ANDROID AND ndk)
      list(APPEND options --ndk "${ndk}")
    endif()
  endif()
  add_custom_command(
    OUTPUT ${libraries}
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${folder}"
    COMMAND ${wbtables} build "${arg_MANIFEST}" -o "${folder}" ${options}
    DEPENDS "${arg_MANIFEST}" ${secrets} ${arg_DEPENDS} ${tool}
    COMMENT "Building table library ${file}"
    VERBATIM)
  add_custom_target(${name} ALL DEPENDS ${libraries})
  set_target_properties(${name} PROPERTIES WBKIT_TABLE_LIBRARIES "${libraries}")
endfunction()

# The library's file name, and the files of secrets that are there.
function(_wbkit_read_manifest manifest out_file out_secrets)
  if(NOT EXISTS "${manifest}")
    message(FATAL_ERROR "wbkit_add_table_library: there is no manifest ${manifest}")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${manifest}")
  file(STRINGS "${manifest}" wbid REGEX "^[ \t]*wbid[ \t]*=[ \t]*[\"'][A-Za-z0-9_-]+[\"']")
  file(STRINGS "${manifest}" version REGEX "^[ \t]*version[ \t]*=")
  if(NOT wbid MATCHES "^[^=]*=[ \t]*[\"']([A-Za-z0-9_-]+)")
    message(FATAL_ERROR "wbkit_add_table_library: ${manifest} has no line such as wbid = \"demo\"")
  endif()
  set(wbid "${CMAKE_MATCH_1}")
  if(NOT version MATCHES "^[^=]*=[ \t]*[+]?(-?[1-9][0-9]*|0)[ \t]*(#.*)?$")
    message(FATAL_ERROR "wbkit_add_table_library: ${manifest} has no line such as version = 1, a plain decimal number")
  endif()
  set(${out_file} "libwb_tables_${wbid}_${CMAKE_MATCH_1}.so" PARENT_SCOPE)

  cmake_path(GET manifest PARENT_PATH folder)
  set(secrets "")
  file(STRINGS "${manifest}" lines REGEX "=[ \t]*[\"']file:")
  foreach(line IN LISTS lines)
    if(line MATCHES "[\"']file:([^\"']+)")
      set(secret "${CMAKE_MATCH_1}")
      cmake_path(ABSOLUTE_PATH secret BASE_DIRECTORY "${folder}" NORMALIZE)
      # One that is not there yet may be made by a target in DEPENDS; else wbtables says that it is missing.
      if(EXISTS "${secret}")
        list(APPEND secrets "${secret}")
      endif()
    endif()
  endforeach()
  set(${out_secrets} "${secrets}" PARENT_SCOPE)
endfunction()

# The ABIs to build for; none is the machine that builds.
function(_wbkit_table_abis abis out)
  if(NOT abis AND ANDROID)
    # The NDK's own toolchain file and CMake's support for Android name it each in their way.
    set(abis "${ANDROID_ABI}")
    if(NOT abis)
      set(abis "${CMAKE_ANDROID_ARCH_ABI}")
    endif()
  endif()
  if(NOT abis AND CMAKE_CROSSCOMPILING)
    message(FATAL_ERROR "wbkit_add_table_library: say with ABIS what to build for; this project is built for "
                        "${CMAKE_SYSTEM_NAME} on ${CMAKE_SYSTEM_PROCESSOR}, not for this machine")
  endif()
  set(${out} "${abis}" PARENT_SCOPE)
endfunction()

# The folder that wbtables is given: with ABIs it makes one an ABI below.
function(_wbkit_table_folder folder abis out)
  if(NOT folder)
    set(folder "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  endif()
  if(NOT folder)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}")
  endif()
  cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" NORMALIZE)
  cmake_path(GET folder FILENAME last)
  if(abis AND last STREQUAL abis)
    cmake_path(GET folder PARENT_PATH folder)
  endif()
  set(${out} "${folder}" PARENT_SCOPE)
endfunction()

# The command's first word, and what a library has to be built again for.
function(_wbkit_find_wbtables given out_command out_depends)
  set(sources "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/..")
  if(given)
    set(command "${given}")
    set(depends "${given}")
  elseif(TARGET QuenWbkit::wbtables AND NOT CMAKE_CROSSCOMPILING)
    set(command QuenWbkit::wbtables)
    set(depends QuenWbkit::wbtables)
  else()
    # The machine's own, not the target's.
    find_program(WBKIT_WBTABLES wbtables NO_CMAKE_FIND_ROOT_PATH DOC "wbtables of the machine that builds")
    if(WBKIT_WBTABLES)
      set(command "${WBKIT_WBTABLES}")
      set(depends "${WBKIT_WBTABLES}")
    elseif(EXISTS "${sources}/builder/main.cpp")
      _wbkit_build_wbtables("${sources}" command)
      set(depends wbkit-host-wbtables "${command}")
    else()
      message(FATAL_ERROR
        "wbkit_add_table_library: there is no wbtables that runs on this machine. Build quen-wbkit for this machine "
        "(cmake -S quen-wbkit -B build -DWBKIT_BUILD_TESTS=OFF && cmake --build build) and say where it is with "
        "-DWBKIT_WBTABLES=build/wbtables, or put it on the search path.")
    endif()
  endif()
  set(${out_command} "${command}" PARENT_SCOPE)
  set(${out_depends} "${depends}" PARENT_SCOPE)
endfunction()

# Builds it for the machine that builds, with that machine's compiler, when a library needs it.
function(_wbkit_build_wbtables sources out_program)
  set(folder "${CMAKE_BINARY_DIR}/wbkit-host-wbtables")
  if(NOT TARGET wbkit-host-wbtables)
    include(ExternalProject)
    ExternalProject_Add(wbkit-host-wbtables
      SOURCE_DIR "${sources}"
      PREFIX "${folder}"
      BINARY_DIR "${folder}/build"
      CMAKE_ARGS "-DCMAKE_MAKE_PROGRAM=${CMAKE_MAKE_PROGRAM}" -DCMAKE_BUILD_TYPE=Release -DWBKIT_BUILD_TESTS=OFF
                 -DWBKIT_BUILD_JAVA=OFF
      BUILD_COMMAND "${CMAKE_COMMAND}" --build "${folder}/build" --target wbtables
      INSTALL_COMMAND ""
      BUILD_BYPRODUCTS "${folder}/build/wbtables"
      EXCLUDE_FROM_ALL ON)
  endif()
  set(${out_program} "${folder}/build/wbtables" PARENT_SCOPE)
endfunction()
