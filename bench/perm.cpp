// The two permission queries every guarded call begins with, beside the system calls they cannot do without.
#include <unistd.h>
#include <zel/zel.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bare_query.h"
#include "pairs.h"

namespace {

constexpr int kPlugins = 98;  // and the two the router reserves: a full table
constexpr uid_t kFirstUid = 10001;
constexpr int kFirstAppid = 3001;

volatile uint32_t ability_bits;  // where a peer's reads go, so that they are made

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

void fill_table() {
  FILE* const file = std::fopen("/etc/norva/packages.json", "we");
  if (file == nullptr) give_up("packages.json");
  for (int i = 0; i < kPlugins; ++i)
    std::fprintf(file, R"(%s{"appname": "plugin", "appid": "%d", "abilitybits": 2, "uid": %u})",
                 i == 0 ? R"({"plugin": [)" : ",", kFirstAppid + i, kFirstUid + static_cast<uid_t>(i));
  std::fputs("]}\n", file);
  if (std::fclose(file) != 0 || perm_init() != 0) give_up("perm_init");
}

void ask_library(const char* expected_appid) {
  char appid[PERM_APPID_SIZE] = {};
  if (perm_get_id(appid) != 0 || std::strcmp(appid, expected_appid) != 0 ||
      perm_check(ability_cloud_communication, appid) != 0)
    give_up("the permission queries");
}

// Both queries. The first also needs to know who asks; the second needs all of its own, because the queries
// are separate calls and leave nothing attached behind.
template <class Read>
void two_queries(Read read) {
  benchmark::DoNotOptimize(getuid());
  bare_query::ask(read);
  bare_query::ask(read);
}

// Only the real user id tells who asks; the effective one stays root's, so that the next row can change it.
void become_plugin(int index) {
  if (setresuid(kFirstUid + static_cast<uid_t>(index), 0, 0) != 0) give_up("setresuid");
}

// Two peers. The first looks at nothing, so it answers nothing: the system calls alone. The second reads the
// table as far as the caller's slot. That much no answer can do without, as the first slot that fits counts,
// and it is not for free: every page of a segment just attached costs a page fault when it is first touched.
void compare_for_plugin(int index) {
  const std::string appid = std::to_string(kFirstAppid + index);
  const std::string slot = " slot " + std::to_string(index + 1);
  const auto ours = [=] { ask_library(appid.c_str()); };
  const auto before = [=] { become_plugin(index); };
  pairs::compare(
      "perm queries / bare calls," + slot, ours, [] { two_queries([](const perm_table&) {}); }, before);
  const auto read_slots = [=](const perm_table& table) {
    for (int i = 0; i <= index; ++i) ability_bits = table.plugins[i].abilitybits;
  };
  pairs::compare(
      "perm queries / bare calls + reading," + slot, ours, [=] { two_queries(read_slots); }, before);
}

}  // namespace

int main(int argc, char** argv) {
  zel_debug = 0;
  fill_table();
  for (const int index : {0, 9, 29, kPlugins - 1})  // up to the most that a router can have
    compare_for_plugin(index);
  return pairs::run(argc, argv);
}
