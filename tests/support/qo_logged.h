// qo_logged.h: what a piece of code logs with QO_Log, of every level.
#pragma once

#include <zel/service.h>

#include <string>

#include "support/captured.h"

// The messages in the form "E text\n", without their time.
template <class Body>
std::string qo_logged(Body body) {
  qo_debuglevel = 4;
  std::string lines = captured(stderr, body);
  for (size_t at = 0; (at = lines.find('[', at)) != std::string::npos; ++at) {
    // "[E-23  7: 5: 1] "
    if (at + 16 <= lines.size() && lines[at + 2] == '-' && lines[at + 8] == ':' && lines[at + 14] == ']')
      lines.replace(at, 15, 1, lines[at + 1]);
  }
  return lines;
}
