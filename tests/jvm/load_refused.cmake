# Loads the library where its Java class lacks a method (CASE "lacking") or is missing ("absent"), and compares what the
# virtual machine throws and what the log says, at every log level that makes a difference. With the class that lacks a
# method, the loader tells what to do.
cmake_minimum_required(VERSION 3.25)

set(class "com/vorlix/quen/wb/WbkitAndr")
if(CASE STREQUAL "lacking")
  set(sources "${FOLDER}/lacking/${class}.java")
  set(jar ":${JAR}") # all other classes
  set(thrown "java\\.lang\\.NoSuchMethodError")
  set(reason "RegisterNatives failed for '${class}'")
else()
  set(sources "")
  set(jar "")
  set(thrown "java\\.lang\\.(NoClassDefFoundError|UnsatisfiedLinkError)")
  set(reason "Native registration unable to find class '${class}'")
endif()
set(info "I/VORLIX-WB\\( *[0-9]+\\): ")
set(error "E/VORLIX-WB\\( *[0-9]+\\): ")
set(progress "${info}JNI_OnLoad\n${info}register natives!\n")
set(failure "${error}${reason}\n${error}ERROR: registerNatives failed\n")

set(classes "${FOLDER}/${CASE}-classes")
execute_process(COMMAND "${JAVAC}" -cp "${JAR}:${ANNOTATIONS}" -d "${classes}" ${sources} "${SOURCE}"
                COMMAND_ERROR_IS_FATAL ANY)

foreach(level_and_log IN ITEMS "V|${progress}${failure}" "E|${failure}" "F|")
  string(REGEX MATCH "^(.)\\|(.*)$" ignored "${level_and_log}")
  set(level "${CMAKE_MATCH_1}")
  set(expected_log "${CMAKE_MATCH_2}")
  execute_process(
    COMMAND "${CMAKE_COMMAND}" -E env ${ENVIRONMENT} WBKIT_LOG_LEVEL=${level}
            "${JAVA}" -cp "${classes}${jar}" LoadRefused "${LIBRARY}"
    OUTPUT_VARIABLE output ERROR_VARIABLE log RESULT_VARIABLE status)
  if(NOT status EQUAL 0 OR NOT output MATCHES "^${thrown}\n$")
    message(FATAL_ERROR "Loading ended with ${status}: ${output}Log:\n${log}")
  endif()
  if(NOT log MATCHES "^${expected_log}$")
    message(FATAL_ERROR "The log at level ${level} is not as expected:\n${log}Expected:\n${expected_log}")
  endif()
endforeach()

if(CASE STREQUAL "lacking")
  execute_process(
    COMMAND "${CMAKE_COMMAND}" -E env ${ENVIRONMENT} WBKIT_LOG_LEVEL=S
            "${JAVA}" -cp "${classes}${jar}" LoadRefused "${LIBRARY}" with-the-loader
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  if(NOT output MATCHES "^java\\.lang\\.UnsatisfiedLinkError: ${LIBRARY} could not .*ABI: .*Tell the shrinker to keep .*hmac")
    message(FATAL_ERROR "The loader says: ${output}")
  endif()
endif()
