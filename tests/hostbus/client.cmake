# The client libraries against recorded frames and a broker that a test plays.
add_library(test_fake_broker STATIC fake_broker.cpp ../support/wire_capture.cpp)
target_compile_definitions(test_fake_broker PRIVATE TEST_DATA="${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(test_fake_broker PUBLIC hostbus_ubus GTest::gtest Threads::Threads PRIVATE zel_compile)

foreach(subject blob replay call)
  zel_add_test(client_${subject}_test SOURCES client_${subject}_test.cpp LINK test_fake_broker)
endforeach()
