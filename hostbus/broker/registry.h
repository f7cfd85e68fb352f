#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "message.h"

namespace hostbus {

class Client;

// What methods the objects of a type have; as their owner described it, never checked against calls.
struct ObjectType {
  uint32_t id = 0;
  std::vector<uint8_t> signature;
};

struct Object {
  uint32_t id = 0;
  Client* owner = nullptr;
  std::optional<std::string> name;
  std::shared_ptr<const ObjectType> type;  // null: not shown to those who look it up
  size_t held = 0;                         // what is kept of its owner's for it, in bytes
};

// The objects of all clients. Names are unique; a type lives as long as an object has it.
class Registry {
 public:
  using Names = std::map<std::string, const Object*, std::less<>>;  // sorted byte-wise

  // Null when no object has this type.
  std::shared_ptr<const ObjectType> type(uint32_t id) const;
  std::shared_ptr<const ObjectType> add_type(std::vector<uint8_t> signature);

  // The name must be free.
  Object& add(Client& owner, std::optional<std::string> name, std::shared_ptr<const ObjectType> type);
  // Takes the object out. If it was the last one of its type, type() no longer knows that.
  Object remove(uint32_t id);

  Object* find(uint32_t id);
  const Names& names() const { return names_; }

  // The client's youngest object, 0 if it has none.
  uint32_t youngest_of(const Client& owner) const;

 private:
  std::unordered_map<uint32_t, std::weak_ptr<const ObjectType>> types_;
  std::unordered_map<uint32_t, Object> objects_;
  Names names_;
  std::unordered_map<const Client*, std::vector<uint32_t>> owned_;  // oldest first
};

// The signature in the form it is shown, or nothing if a method's description is malformed.
std::optional<std::vector<uint8_t>> check_signature(blob_attr* signature);

}  // namespace hostbus
