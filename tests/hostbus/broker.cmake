# The broker program on a socket of each test's own, and clients of it without any library.
add_library(test_wire STATIC ../support/wire_capture.cpp)
target_compile_definitions(test_wire PRIVATE TEST_DATA="${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(test_wire PRIVATE zel_compile)

# The address sanitizer keeps freed memory for a while; the broker's own thrift is what a test looks at.
foreach(subject start rules robust replay)
  zel_add_test(broker_${subject}_test SOURCES broker_${subject}_test.cpp LINK test_wire
    ENVIRONMENT ASAN_OPTIONS=quarantine_size_mb=1)
  add_dependencies(broker_${subject}_test hostbusd)
endforeach()
