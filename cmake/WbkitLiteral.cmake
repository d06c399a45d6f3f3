# The algorithms as their definitions read, with the options of the library: what benchmarks, tests and fuzz targets
# compare with.
add_library(wbkit_literal OBJECT
  bench/literal_aes.cpp
  bench/literal_gcm.cpp
  bench/literal_modes.cpp
  bench/literal_native.cpp
  bench/literal_sha256.cpp
  bench/literal_sm4.cpp)
target_include_directories(wbkit_literal PRIVATE
  "${PROJECT_SOURCE_DIR}" $<TARGET_PROPERTY:wbkit_objects,INTERFACE_INCLUDE_DIRECTORIES>)
target_include_directories(wbkit_literal SYSTEM PRIVATE ${JNI_INCLUDE_DIRS})
target_compile_options(wbkit_literal PRIVATE $<TARGET_PROPERTY:wbkit_objects,COMPILE_OPTIONS>)
set_target_properties(wbkit_literal PROPERTIES
  POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(wbkit_literal PRIVATE wbkit_warnings)
