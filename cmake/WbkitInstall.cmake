# What `cmake --install` puts where, and the CMake package. wbtables' own rule stands with its target.

include(CMakePackageConfigHelpers)

set(WBKIT_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/QuenWbkit")
set(WBKIT_JAR_DIR "${CMAKE_INSTALL_DATADIR}/java")

install(DIRECTORY include/quen DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")
install(FILES "${WBKIT_GENERATED_DIR}/quen/cms.pb-c.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quen")
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")
if(WBKIT_BUILD_JAVA)
  install(FILES "${PROJECT_BINARY_DIR}/wbkit.jar" DESTINATION "${WBKIT_JAR_DIR}")
endif()

install(TARGETS quen-wbkit EXPORT QuenWbkitTargets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
if(TARGET wbkit-log)
  # The library finds its log library beside it, wherever both were put.
  install(TARGETS wbkit-log EXPORT QuenWbkitTargets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
endif()
install(EXPORT QuenWbkitTargets NAMESPACE QuenWbkit:: DESTINATION "${WBKIT_CMAKE_DIR}")

configure_package_config_file(
  cmake/QuenWbkitConfig.cmake.in "${PROJECT_BINARY_DIR}/QuenWbkitConfig.cmake"
  INSTALL_DESTINATION "${WBKIT_CMAKE_DIR}"
  PATH_VARS CMAKE_INSTALL_BINDIR WBKIT_JAR_DIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/QuenWbkitConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(
  FILES "${PROJECT_BINARY_DIR}/QuenWbkitConfig.cmake" "${PROJECT_BINARY_DIR}/QuenWbkitConfigVersion.cmake"
        cmake/WbkitTables.cmake
  DESTINATION "${WBKIT_CMAKE_DIR}")
