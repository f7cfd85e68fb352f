// expectations.h: what a test says of a box, and what it hears when that is not so.
#pragma once
#include "../clients/fault_verbs.h"
#include "../plugins/cores.h"
#include "../support/pattern.h"
#include "subjects.h"

namespace routerbox {

// The verbs `mark`, `expect`, `verify` and the part of `send` that expects (verbs/table.h). Safe from any thread.
// All throw Failure with what was expected, what was seen nearest to it, and the last lines of the trace.
class Expectations {
 public:
  struct Parts {
    Plugins& plugins;
    Services& services;
    BusClient& bus;
    FaultVerbs& faults;
    Cores& cores;
  };

  Expectations(const Parts& parts, const std::string& trace_file);

  Json mark(const Json& arguments);
  // {"seen", "ms"}
  Json expect(const Json& arguments);
  // {"problems": [TEXT]}; "end" stops the plug-ins before, so that a crash at the last moment is seen.
  Json verify(const Json& arguments);
  // Of a message that was answered, or not, within its limit.
  Json send(const PluginRun& plugin, const Json& arguments);
  // Of the router. When it returns, the trace has it.
  void send_event(int event, int subevent, const std::optional<std::string>& text);

 private:
  Json wait_for(const Wanted& wanted);
  Json wait_for_none(const Wanted& wanted);
  std::string last_messages();
  Json ask(const PluginRun& plugin, const std::string& text, const Pattern& pattern,
           std::chrono::milliseconds within);
  void let_trace_follow(const TraceReader::Match& fits, size_t next);
  Json unplayed_faults() const;

  const Parts parts_;
  TraceReader trace_;
  Subjects subjects_;
};

// A duration as people write it, or else this one. Throws Failure.
std::chrono::milliseconds duration_in(const Json& arguments, const char* name,
                                      std::chrono::milliseconds otherwise);

}  // namespace routerbox
