// test.h: tests of a project, run by bats, each with a box of its own.
#pragma once
#include "client.h"

namespace routerbox {

// `routerbox test ...`; returns its exit status: 0, or 1 when a test failed or left something. Throws Failure,
// also when no box could start for any of them.
int run_tests(int argc, char** argv);

// Prints what the verb `verify` finds, with the last lines of the box's output; 0 when there is nothing.
int verify_box(const BoxClient& box, const Json& arguments);

// What a test does at last: verifies its box, ends it, and kills the processes that the test has left.
int end_test(const std::string& box);

}  // namespace routerbox
