#include "permissions.h"

#include <zel/perm.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "failure.h"

namespace routerbox {
namespace {

struct Meaning {
  int code;
  const char* text;
};
constexpr Meaning kMeanings[] = {
    {7002, "its semaphore could not be made; the kernel's limit is /proc/sys/kernel/sem"},
    {7003, "its shared memory could not be made; the kernel's limits are /proc/sys/kernel/shm*"},
    {7004, "its shared memory could not be attached"},
    {7006, "the permission file could not be read; check the file given with --permissions"},
    {7007, "the package file could not be read; check the file given with --packages"},
    {7019, "the system's own plug-ins could not be added"},
};

}  // namespace

void fill_permission_table() {
  const int code = perm_init();
  if (code == 0) return;
  const Meaning* const row = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                          [&](const Meaning& meaning) { return meaning.code == code; });
  throw Failure("the permission table was not filled, perm_init gave " + std::to_string(code) + ": " +
                (row != std::end(kMeanings) ? row->text : "a code without a meaning here"));
}

}  // namespace routerbox
