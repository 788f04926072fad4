# The platform tests check some internal helpers of the library (processor
# list parsing, shared-object names) directly; those sources are compiled
# into the test binary as well, since the library does not export them.
target_sources(kvsupport_tests PRIVATE
  ${PROJECT_SOURCE_DIR}/src/platform/posix/cpu_topology.cpp
  ${PROJECT_SOURCE_DIR}/src/platform/posix/named_mutex.cpp
  ${PROJECT_SOURCE_DIR}/src/platform/posix/runtime_dir.cpp)
target_link_libraries(kvsupport_tests PRIVATE rt)
