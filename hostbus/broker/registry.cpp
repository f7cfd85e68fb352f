#include "registry.h"

#include <algorithm>

#include "random_id.h"

namespace hostbus {

std::shared_ptr<const ObjectType> Registry::type(uint32_t id) const {
  const auto found = types_.find(id);
  return found != types_.end() ? found->second.lock() : nullptr;
}

std::shared_ptr<const ObjectType> Registry::add_type(std::vector<uint8_t> signature) {
  const auto type = std::make_shared<ObjectType>();
  type->id = unused_id(types_);
  type->signature = std::move(signature);
  types_[type->id] = type;
  return type;
}

Object& Registry::add(Client& owner, std::optional<std::string> name,
                      std::shared_ptr<const ObjectType> type) {
  const uint32_t id = unused_id(objects_);
  Object& object = objects_[id] = {id, &owner, std::move(name), std::move(type)};
  if (object.name) names_.emplace(*object.name, &object);
  owned_[&owner].push_back(id);
  return object;
}

Object Registry::remove(uint32_t id) {
  Object object = std::move(objects_.at(id));
  objects_.erase(id);
  if (object.name) names_.erase(*object.name);
  auto& siblings = owned_[object.owner];
  // From the end: a client that vanishes loses its youngest first, be they ever so many.
  siblings.erase(std::find(siblings.rbegin(), siblings.rend(), id).base() - 1);
  if (siblings.empty()) owned_.erase(object.owner);
  if (object.type && object.type.use_count() == 1) types_.erase(object.type->id);
  return object;
}

Object* Registry::find(uint32_t id) {
  const auto found = objects_.find(id);
  return found != objects_.end() ? &found->second : nullptr;
}

uint32_t Registry::youngest_of(const Client& owner) const {
  const auto found = owned_.find(&owner);
  return found != owned_.end() ? found->second.back() : 0;
}

std::optional<std::vector<uint8_t>> check_signature(blob_attr* signature) {
  std::vector<uint8_t> checked;
  blob_attr* method = nullptr;
  size_t rest = 0;
  blob_for_each_attr(method, signature, rest) {
    if (!blob_is_extended(method) || !blobmsg_check_attr_len(method, true, rest)) return std::nullopt;
    const auto* bytes = reinterpret_cast<const uint8_t*>(method);
    checked.insert(checked.end(), bytes, bytes + blob_pad_len(method));
  }
  return checked;
}

}  // namespace hostbus
