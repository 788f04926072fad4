# Two small shared libraries that the dynamic function tests load and unload
# at run time: one defines functions by name, the other calls them through
# bound pointers. Both go to one directory, which the tests are told about.
set(KVTEST_DYNFUNC_MODULE_DIR ${CMAKE_CURRENT_BINARY_DIR}/dynfunc_modules)
foreach(module dynfunc_def dynfunc_call)
  add_library(kvtest_${module} MODULE ${CMAKE_CURRENT_LIST_DIR}/dynfunc_modules/${module}.cpp)
  target_link_libraries(kvtest_${module} PRIVATE KvSupport::kvsupport)
  set_target_properties(kvtest_${module} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${KVTEST_DYNFUNC_MODULE_DIR}
    PREFIX "lib")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Unique symbols would pin the module in memory and defeat the unload tests.
    target_compile_options(kvtest_${module} PRIVATE -fno-gnu-unique)
  endif()
  add_dependencies(kvsupport_tests kvtest_${module})
endforeach()
target_compile_definitions(kvsupport_tests PRIVATE
  KVTEST_DYNFUNC_MODULE_DIR="${KVTEST_DYNFUNC_MODULE_DIR}")

# The thread and system-information tests check some internal helpers of the
# library (processor list parsing, shared-object names, the registry file
# form) directly; those sources are compiled into the test binary as well,
# since the library does not export them.
target_sources(kvsupport_tests PRIVATE
  ${PROJECT_SOURCE_DIR}/src/platform/posix/cpu_topology.cpp
  ${PROJECT_SOURCE_DIR}/src/platform/posix/named_mutex.cpp
  ${PROJECT_SOURCE_DIR}/src/platform/posix/runtime_dir.cpp
  ${PROJECT_SOURCE_DIR}/src/platform/registry_store.cpp)
target_link_libraries(kvsupport_tests PRIVATE rt)
