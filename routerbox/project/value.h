// value.h: reading TOML with errors that say where, what was found and what was expected.
#pragma once
#include <toml++/toml.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../support/nearest.h"

namespace routerbox {

// A value of the file, and what it is called in messages. Valid as long as its file.
class Value {
 public:
  Value(const std::string& file, const toml::node& node, std::string name)
      : file_(&file), node_(&node), name_(std::move(name)) {}

  bool is_text() const { return node_->is_string(); }
  bool is_number() const { return node_->is_integer(); }
  bool is_switch() const { return node_->is_boolean(); }

  // These throw Failure for a value of another kind.
  std::string text() const;
  bool is_on() const;
  int64_t number(int64_t least, int64_t most) const;
  double seconds() const;    // "500ms", "9s", "2min", or a number of seconds
  std::string path() const;  // a text, made absolute from the file's folder
  std::vector<Value> elements() const;
  bool has(const char* key) const;                             // a table
  std::vector<std::pair<std::string, Value>> members() const;  // as they stand in the file

  std::string place() const;  // FILE:LINE
  // Throws Failure: place, name, what was found, and `why`, which follows it in the sentence.
  [[noreturn]] void refuse(const std::string& why) const;

 private:
  const std::string* file_;
  const toml::node* node_;
  std::string name_;
};

class TomlFile {
 public:
  // Throws Failure for one that cannot be read or is no TOML.
  explicit TomlFile(const std::string& file);
  Value whole() const { return {file_, table_, ""}; }
  std::string folder() const;  // absolute

 private:
  const std::string file_;
  toml::table table_;
};

template <class Target>
struct Key {
  const char* name;
  void (*read)(const Value& value, Target* target);
};

// Reads each member by its key; one without a key is refused, with the nearest.
template <class Target>
void read_keys(const Value& table, const std::vector<Key<Target>>& keys, Target* target) {
  for (const auto& [name, value] : table.members()) {
    const auto found = std::find_if(keys.begin(), keys.end(),
                                    [&name = name](const Key<Target>& key) { return name == key.name; });
    if (found == keys.end()) {
      std::vector<std::string> known;
      for (const Key<Target>& key : keys) known.emplace_back(key.name);
      value.refuse("is no key that is known here" + advice_for(name, known));
    }
    found->read(value, target);
  }
}

}  // namespace routerbox
