#include "value.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "../support/duration.h"
#include "../support/failure.h"
#include "../support/io.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

// What stands there, as the user wrote it if that is short.
std::string describe(const toml::node& node) {
  if (node.is_table()) return "a table";
  if (node.is_array()) return "a list";
  std::ostringstream text;
  node.visit([&](const auto& value) { text << value; });
  constexpr size_t kShort = 60;
  return text.str().size() <= kShort ? text.str() : text.str().substr(0, kShort) + "...";
}

}  // namespace

std::string Value::text() const {
  if (!is_text()) refuse("must be a text in quotes");
  return **node_->as_string();
}

bool Value::is_on() const {
  if (!is_switch()) refuse("must be true or false");
  return **node_->as_boolean();
}

int64_t Value::number(int64_t least, int64_t most) const {
  const int64_t value = is_number() ? **node_->as_integer() : least;
  if (!is_number() || value < least || value > most)
    refuse("must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  return value;
}

double Value::seconds() const {
  if (node_->is_number() && *node_->value<double>() >= 0) return *node_->value<double>();
  const std::optional<std::chrono::milliseconds> time = is_text() ? duration_from(text()) : std::nullopt;
  if (!time) refuse("must be a time such as \"500ms\" or \"9s\"");
  return std::chrono::duration<double>(*time).count();
}

std::string Value::path() const {
  return (fs::absolute(*file_).parent_path() / text()).lexically_normal();
}

std::vector<Value> Value::elements() const {
  const toml::array* const list = node_->as_array();
  if (list == nullptr)
    refuse(node_->is_table() ? "must be written [[" + name_ + "]]" : "must be a list in brackets");
  std::vector<Value> values;
  for (const toml::node& element : *list) values.emplace_back(*file_, element, name_);
  return values;
}

std::vector<std::pair<std::string, Value>> Value::members() const {
  const toml::table* const table = node_->as_table();
  if (table == nullptr) refuse("must be a table");
  std::vector<std::pair<std::string, Value>> values;
  for (const auto& [key, node] : *table)
    values.emplace_back(std::string(key.str()), Value(*file_, node, std::string(key.str())));
  // The library sorts by key.
  std::stable_sort(values.begin(), values.end(), [](const auto& one, const auto& other) {
    return one.second.node_->source().begin < other.second.node_->source().begin;
  });
  return values;
}

bool Value::has(const char* key) const {
  const toml::table* const table = node_->as_table();
  return table != nullptr && table->contains(key);
}

std::string Value::place() const {
  return *file_ + ":" + std::to_string(node_->source().begin.line);
}

void Value::refuse(const std::string& why) const {
  const std::string found = node_->is_table() ? "" : " = " + describe(*node_);
  throw Failure(place() + ": " + name_ + found + " " + why);
}

TomlFile::TomlFile(const std::string& file) : file_(file) {
  try {
    table_ = toml::parse(read_file(file), file);
  } catch (const toml::parse_error& error) {
    throw Failure(file + ":" + std::to_string(error.source().begin.line) + ": " +
                  std::string(error.description()));
  }
}

std::string TomlFile::folder() const {
  return fs::absolute(file_).parent_path().lexically_normal();
}

}  // namespace routerbox
