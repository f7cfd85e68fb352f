#include "perm_codes.h"

#include <zel/perm.h>

#include <cstdarg>

#include "failure.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr const char* kCheckFile = "Check the file's content and the rights to it.";
constexpr const char* kMakeWritable =
    "Make room in /etc/norva or make it writable. If the file is a link, the folder that it leads to must "
    "exist; if something is mounted on the file itself, unmount that. Then run: zelctl perm save";
constexpr const char* kCheckMemory =
    "The kernel's limits are /proc/sys/kernel/shm*; ipcs -m shows what there is.";

struct Meaning {
  int code;
  Exit exit;
  const char* meaning;
  const char* advice;
};
constexpr Meaning kMeanings[] = {
    {PERM_BAD_ARGUMENT, kUsage, "not a valid value", "Appids are digits; abilities: zelctl perm abilities"},
    {PERM_NO_SEMAPHORE, kFailed, "the table's semaphore could not be made",
     "The kernel's limits are /proc/sys/kernel/sem; ipcs -s shows what there is."},
    {PERM_NO_SEGMENT, kFailed, "the table's shared memory could not be had", kCheckMemory},
    {PERM_NOT_ATTACHED, kFailed, "the table's shared memory could not be attached", kCheckMemory},
    {PERM_PERMISSIONS, kFailed, "/etc/norva/permissions.json could not be made or read",
     "Mend the file, or remove it to get the default one, then run: zelctl perm init"},
    {PERM_PACKAGES, kFailed, "/etc/norva/packages.json could not be read",
     "Mend the file (zelctl perm lint shows where), then run: zelctl perm init. Until then zelctl changes "
     "nothing, since that would write the file anew without what could not be read."},
    {PERM_NOT_OPENED, kFailed, "a file of /etc/norva could not be opened or made beside the old one",
     kMakeWritable},
    {PERM_NO_MEMORY, kFailed, "out of memory while reading a file", "End some programs and try again."},
    {PERM_SHORT_READ, kFailed, "a file could not be read to its end", kCheckFile},
    {PERM_NOT_JSON, kFailed, "a file is no JSON", kCheckFile},
    {PERM_REJECTED, kFailed, "a file's content was rejected", kCheckFile},
    {PERM_NO_JSON, kFailed, "a file could not be written", kMakeWritable},
    {PERM_NOT_WRITTEN, kFailed, "/etc/norva/packages.json could not be written", kMakeWritable},
    {PERM_UNKNOWN_APP, kNo, "there is no plug-in with this appid", "These are known: zelctl perm list"},
    {PERM_NOT_GRANTED, kNo, "the plug-in does not hold the ability",
     "What it holds: zelctl perm show APPID. To grant more: zelctl perm update APPID --abilities LIST"},
    {PERM_NO_PACKAGES, kFailed, "/etc/norva/packages.json does not exist", "Write it with: zelctl perm save"},
    {PERM_NOT_RESERVED, kFailed, "the system's own plug-ins could not be added", kCheckFile},
    {PERM_ALREADY_THERE, kNo, "there is a plug-in with this appid already",
     "To change it: zelctl perm update APPID"},
    {PERM_MALFORMED, kFailed, "a file's JSON has another shape than it should", kCheckFile},
};

}  // namespace

void fail_perm(int code, const char* what, ...) {
  va_list values;
  va_start(values, what);
  const std::string text = format_list(what, values);
  va_end(values);
  for (const Meaning& row : kMeanings) {
    if (row.code == code) fail_with(code, row.exit, row.advice, "%s: %s", text.c_str(), row.meaning);
  }
  fail_with(code, kFailed, "It is newer than this zelctl.", "%s: a code that zelctl does not know",
            text.c_str());
}

}  // namespace zelctl
