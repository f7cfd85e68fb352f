// client.h: a running box, from outside.
#pragma once
#include <sys/types.h>

#include <string>

#include "../support/json.h"

namespace routerbox {

class BoxClient {
 public:
  // The box of this name; without one that of the project in this folder, or else the only one that runs. Throws
  // Failure when there is none.
  explicit BoxClient(const std::string& name);

  const std::string& name() const { return name_; }
  // On the host; the box's trace lies there.
  std::string folder() const;
  // The verb's result. Throws Failure with one of Status.
  Json call(const std::string& verb, const Json& arguments) const;
  // Process 1 of the box, as this process sees it.
  pid_t process_one() const;
  // Ends the box, and returns when it has ended. Throws Failure after ten seconds.
  void end() const;

 private:
  void wait_for_end(pid_t process_one) const;

  std::string name_, socket_;
};

}  // namespace routerbox
