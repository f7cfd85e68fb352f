# The broker program on a socket of each test's own, and clients of it without any library.
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
add_library(test_broker STATIC
  ../support/broker_process.cpp ../support/raw_client.cpp ../support/wire_capture.cpp)
target_compile_definitions(test_broker PRIVATE
  TEST_EMULATOR="${emulator}" TEST_BIN="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
  TEST_DATA="${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(test_broker PRIVATE zel_compile PUBLIC GTest::gtest)
add_dependencies(test_broker hostbusd)

# The address sanitizer keeps freed memory for a while; the broker's own thrift is what a test looks at.
foreach(subject start rules robust replay)
  zel_add_test(broker_${subject}_test SOURCES broker_${subject}_test.cpp LINK test_broker
    ENVIRONMENT ASAN_OPTIONS=quarantine_size_mb=1)
endforeach()
