# Run by ctest; the variables come from the command line.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}/classes")
run("${JAVAC}" --release 8 -Xlint:-options -cp "${JAR}" -d "${FOLDER}/classes" "${SOURCES}/ShrunkProgram.java")
run("${JAVA}" "${SOURCES}/PlatformClasses.java" "${FOLDER}/platform.jar")

if(RULES STREQUAL "ours")
  set(rules "-include '${OUR_RULES}'")
else()
  # It finds the classes whose natives are used and keeps these natives' names. The unused ones are removed all the same,
  # and registration asks for every one.
  set(rules "-keepclasseswithmembernames class * { native <methods>; }
             -keep class com.vorlix.quen.wb.*Spi, com.vorlix.quen.wb.QuenProvider { *; }
             -dontwarn androidx.annotation.**")
endif()
# "-dontnote": notes tell what is no fault.
file(WRITE "${FOLDER}/rules.pro" "
-injars '${JAR}'
-injars '${FOLDER}/classes'
-outjars '${FOLDER}/shrunk.jar'
-libraryjars '${FOLDER}/platform.jar'
-dontnote
-keep class ShrunkProgram { public static void main(java.lang.String[]); }
${rules}
")
run("${PROGUARD}" "@${FOLDER}/rules.pro")

execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env ${ENVIRONMENT} WBKIT_LOG_LEVEL=E
          "${JAVA}" -cp "${FOLDER}/shrunk.jar" ShrunkProgram "${LIBRARY}" "${TABLES}" ${BY_NAME}
  OUTPUT_VARIABLE output ERROR_VARIABLE log RESULT_VARIABLE status)
if(RULES STREQUAL "ours")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "Shrunk with our rules, the program ended with ${status}:\n${log}")
  endif()
  message(STATUS "${output}")
elseif(status EQUAL 0 OR NOT log MATCHES "RegisterNatives failed for 'com/vorlix/quen/wb/WbkitAndr'")
  message(FATAL_ERROR "Shrunk with the stock rule, the program ended with ${status}:\n${output}${log}")
endif()
