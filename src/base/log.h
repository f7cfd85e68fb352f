// log.h: the library's own messages. Each is written once and comes in two forms, chosen by zel_debug at the
// moment of logging: "tag function:line text" or "tag text".
#pragma once

#include <syslog.h>
#include <zel/service.h>

namespace zel {

// What the macros below call: puts the form together and hands it to zel_log. `tag` and `function` are names in this
// library: together far shorter than a message.
void log_in_form(int level, const char* tag, const char* function, int line, const char* format, ...)
    ZEL_PRINTF(5, 6);

}  // namespace zel

// LOG_AT gives the function and the line, for a message whose line readers of logs know it by.
#define ZEL_LOG_AT(function, line, level, tag, text, ...) \
  zel::log_in_form((level), (tag), (function), (line), text, ##__VA_ARGS__)
// LOG_AS names the function, for a step that logs under the name of the call it belongs to.
#define ZEL_LOG_AS(function, level, tag, text, ...) \
  ZEL_LOG_AT(function, __LINE__, level, tag, text, ##__VA_ARGS__)
#define ZEL_LOG(level, tag, text, ...) ZEL_LOG_AS(__func__, level, tag, text, ##__VA_ARGS__)

// A message with no short form: always with function and line.
#define ZEL_LOG_LONG_AS(function, level, tag, text, ...) \
  zel_log((level), tag " %s:%d " text, (function), __LINE__, ##__VA_ARGS__)
#define ZEL_LOG_LONG(level, tag, text, ...) ZEL_LOG_LONG_AS(__func__, level, tag, text, ##__VA_ARGS__)

// A message with no short form that exists only while zel_debug is set.
#define ZEL_TRACE_AS(function, tag, text, ...)                                          \
  do {                                                                                  \
    if (zel_debug != 0) ZEL_LOG_LONG_AS(function, LOG_DEBUG, tag, text, ##__VA_ARGS__); \
  } while (0)
#define ZEL_TRACE(tag, text, ...) ZEL_TRACE_AS(__func__, tag, text, ##__VA_ARGS__)
