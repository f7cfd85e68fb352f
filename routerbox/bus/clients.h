// clients.h: which plug-in a client of the broker is.
#pragma once
#include <cstdint>
#include <map>
#include <string>

namespace routerbox::bus {

// The broker gives a client a number. Who it is tells the box's own broker with each frame; with another one a client
// is known once it makes a plug-in's object, or calls one, which the broker passes on with the caller's user.
class Clients {
 public:
  // `folder` has the roster.
  explicit Clients(std::string folder) : folder_(std::move(folder)) {}

  void add_object(uint32_t client, const std::string& path);
  // A name, or a number where the user has none; empty: not known.
  void add_account(uint32_t client, const std::string& user);
  std::string name(uint32_t client);
  // The plug-in whose object has this name; the object's name for others.
  std::string owner(const std::string& object) const;
  // The broker has ended, and its numbers with it.
  void forget();

 private:
  const std::string* known_name(uint32_t client);  // null: not known
  void learn(uint32_t client, const std::string& name);

  const std::string folder_;
  // Nobody tells when a client goes. Those that show themselves stay among the recent ones.
  std::map<uint32_t, std::string> recent_, older_;
};

}  // namespace routerbox::bus
