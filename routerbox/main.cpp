// main.cpp: routerbox: a verb, or the options of a box and its command.
#include <unistd.h>

#include <iostream>

#include "box/outer.h"
#include "commands/commands.h"
#include "support/failure.h"
#include "support/printable.h"

namespace routerbox {
namespace {

int run(int argc, char** argv) {
  try {
    if (argc > 1 && argv[1][0] != '-') return run_verb(argc, argv);
    return run_in_front(read_options(argc, argv));
  } catch (const std::exception& error) {
    std::cerr << "routerbox: " + printable(error.what(), kLines) + "\n" << std::flush;
    const auto* const failure = dynamic_cast<const Failure*>(&error);
    return failure != nullptr ? failure->status() : kBoxFailed;
  }
}

}  // namespace
}  // namespace routerbox

int main(int argc, char** argv) {
  const int status = routerbox::run(argc, argv);
  // Not through exit(): this process can start no other once process 1 has ended, and the sanitizers' leak
  // check at exit, which needs one, would change the status.
  _exit(status);
}
