// record.h: what was done by hand in a box, as a test.
#pragma once
#include <map>
#include <set>
#include <string>
#include <vector>

#include "../support/json.h"

namespace routerbox {

struct Recording {
  std::string test;                // a file for `routerbox test`; empty: nothing was done
  size_t verbs = 0;                // how many it has
  std::vector<std::string> notes;  // what is not in it, and why
};

// What of a box is not in its trace.
struct Seen {
  Json faults;               // as the verb `faults` lists them
  std::vector<Json> output;  // of plug-ins: {"at", "channel": "output", "from", "what"}
  std::map<std::string, std::set<std::string>> downloads;  // the states of each plug-in's
};

// Of the lines of a box's trace from `since` on, in seconds since its start: each verb of its author that was carried
// out, with the answer of a message, and behind it what came of it: requests of plug-ins to the router, events they
// were given or sent, objects they made, the first lines they wrote, what became of their downloads. A fault that was
// never played is taken back at the end, as a test would have to. An empty title is made of the verbs. Throws Failure
// when there is no such file.
Recording record_test(const std::string& trace_file, double since, const Seen& seen,
                      const std::string& title);

// What a test does, or expects, so that this line comes to be in the trace: "box wan down". Throws Failure for a line
// that is nothing of the kind.
std::string test_step(const Json& line);

}  // namespace routerbox
