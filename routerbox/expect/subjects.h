// subjects.h: the things of a box that a test can expect.
#pragma once
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "../clients/bus_client.h"
#include "../plugins/plugins.h"
#include "../services/services.h"
#include "../support/json.h"
#include "../support/pattern.h"
#include "trace_reader.h"

namespace routerbox {

// What the verb `expect` says, as its arguments have it (verbs/table.h).
struct Wanted {
  std::string subject, what, value, from, to, of, size;
  bool none = false;
  std::chrono::milliseconds within{0};
};

// Lines of the trace that explain a failure.
inline constexpr size_t kContextLines = 20;

struct Look {
  bool found = false;
  std::string seen;  // what was found, or else what comes nearest to it
};

// Throws Failure for a text that is no expression.
Pattern pattern_from(const std::string& text);

class Subjects {
 public:
  struct Parts {
    Plugins& plugins;
    Services& services;
    BusClient& bus;
    TraceReader& trace;
  };

  explicit Subjects(const Parts& parts);

  // What came before is seen no more.
  void mark();
  // Throws Failure for a subject, an argument or a name that there is not, with the nearest.
  void check(const Wanted& wanted) const;
  // Looks once, or for up to `limit` where waiting is cheaper than looking again; `next` as in TraceReader.
  Look look(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  // The last 20 lines of what the subject is about, each with a line feed.
  std::string context(const Wanted& wanted);
  // Whether it is something that happens, which stays seen, or a state, which may pass.
  bool happens(const Wanted& wanted) const;

 private:
  struct Subject;
  static const std::vector<Subject> kAll;
  const Subject& named(const std::string& name) const;
  size_t plugin_named(const std::string& name) const;

  void check_router(const Wanted& wanted) const;
  void check_event(const Wanted& wanted) const;
  void check_file(const Wanted& wanted) const;
  void check_download(const Wanted& wanted) const;
  void check_output(const Wanted& wanted) const;
  void check_state(const Wanted& wanted) const;
  void check_nothing(const Wanted& wanted) const;

  Look look_at_trace(const Wanted& wanted, const TraceReader::Match& is_kind, const std::string& what,
                     size_t* next);
  Look look_at_router(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_event(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_object(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_file(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_download(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_output(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_process(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
  Look look_at_state(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);

  std::string host_path(const std::string& file) const;
  std::string owner_of_task(const std::string& appid) const;

  const Parts parts_;
  std::mutex mutex_;
  std::vector<size_t> first_lines_;  // of each plug-in's output since the mark; guarded by mutex_
};

}  // namespace routerbox
