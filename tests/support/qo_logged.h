// qo_logged.h: what a piece of code logs with QO_Log, of every level.
#ifndef TESTS_SUPPORT_QO_LOGGED_H
#define TESTS_SUPPORT_QO_LOGGED_H

#include <zel/service.h>

#include <algorithm>
#include <string>

#include "support/captured.h"

// The messages in the form "E text\n", without their time.
template <class Body>
std::string qo_logged(Body body) {
  qo_debuglevel = 4;
  const std::string lines = captured(stderr, body);
  constexpr size_t kStamp = sizeof "[E-31 23:59:59]";
  std::string text;
  for (size_t at = 0, end; at < lines.size(); at = end) {
    end = std::min(lines.find('\n', at), lines.size() - 1) + 1;
    const bool stamped =
        end - at > kStamp && lines[at] == '[' && lines[at + 2] == '-' && lines[at + 14] == ']';
    text += stamped ? lines.substr(at + 1, 1) + " " + lines.substr(at + kStamp, end - at - kStamp)
                    : lines.substr(at, end - at);
  }
  return text;
}

#endif
