#include "base/in_child.h"

namespace {

const zel::InChild* newest = nullptr;

}  // namespace

namespace zel {

InChild::InChild(Repair repair, void* object) noexcept : repair_(repair), object_(object), next_(newest) {
  if (newest == nullptr) pthread_atfork(nullptr, nullptr, repair_all);
  newest = this;
}

void InChild::repair_all() noexcept {
  for (const InChild* each = newest; each != nullptr; each = each->next_) each->repair_(each->object_);
}

Mutex::Mutex(int kind) noexcept : kind_(kind) {
  make();
}

void Mutex::make() noexcept {
  pthread_mutexattr_t attribute;
  pthread_mutexattr_init(&attribute);
  pthread_mutexattr_settype(&attribute, kind_);
  pthread_mutex_init(&mutex_, &attribute);
  pthread_mutexattr_destroy(&attribute);
}

}  // namespace zel
