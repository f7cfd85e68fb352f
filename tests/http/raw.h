// raw.h: what the tests of the client on plain sockets share.
#pragma once

#include "util/cases.h"
#include "util/owners.h"
#include "zel/http_raw.h"

namespace test {

// So small that most of what is allocated has memory of its own, whose bounds the address sanitizer knows.
class Pool {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): stands for the pool
  operator mem_pool*() const { return pool_.get(); }

 private:
  std::unique_ptr<mem_pool, zel::Call<mem_destroy_pool>> pool_{mem_create_pool(96, nullptr, 0)};
};

}  // namespace test
