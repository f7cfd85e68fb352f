// log.h: the box's trace for people.
#pragma once
#include <functional>
#include <string>
#include <vector>

#include "../support/json.h"

namespace routerbox {

struct LogWish {
  std::vector<std::string> filters;  // channels, plug-ins and services; empty: everything
  bool follow = false;
  bool json = false;  // the lines as they are
};

// "  12.345  router  weather -> router  query_disk_info  0  (3 ms)"
std::string readable(const Json& line);

// Throws Failure, with the nearest of `known`, where a filter is none of them and no line of the file fits it.
void check_filters(const std::string& file, const LogWish& wish, const std::vector<std::string>& known);

// Prints the lines of the file that fit; with `follow` also those to come, until `ended` is true.
void print_log(const std::string& file, const LogWish& wish, const std::function<bool()>& ended);

}  // namespace routerbox
