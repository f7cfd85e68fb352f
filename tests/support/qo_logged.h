// qo_logged.h: what a piece of code logs with QO_Log, of every level.
#ifndef TESTS_SUPPORT_QO_LOGGED_H
#define TESTS_SUPPORT_QO_LOGGED_H

#include <zel/service.h>

#include <regex>
#include <string>

#include "support/captured.h"

// The messages in the form "E text\n", without their time.
template <class Body>
std::string qo_logged(Body body) {
  qo_debuglevel = 4;
  const std::string lines = captured(stderr, body);
  return std::regex_replace(lines, std::regex(R"(\[([EWID])-[ \d]\d [ \d]\d:[ \d]\d:[ \d]\d\] )"), "$1 ");
}

#endif
