// Every family's commands as root, as a plug-in that holds every ability, and as a user that is no plug-in's.
#include "zelctl.h"

namespace {

struct Row {
  const char* command;
  int root, plugin, nobody;  // statuses
};

constexpr Row kPerm[] = {
    {"perm list", 0, 0, 0},
    {"perm check 1001 wan", 0, 0, 0},
    {"perm lint", 0, 0, 0},
    {"perm insert 7 --name x --uid 70", 0, 4, 4},
    {"perm update 7 --uid 71", 0, 4, 4},
    {"perm delete 7", 0, 4, 4},
    {"perm save", 0, 4, 4},
    {"perm init --again", 0, 4, 4},
    {"perm run 1001 true", 0, 4, 4},
};
// Root's processes are the router's own plug-in 1, which may not serve.
constexpr Row kCloud[] = {{"cloud serve --for 1", 4, 0, 4}, {"cloud send 4711 x", 1, 1, 1}};
constexpr Row kEvent[] = {{"event send disk 1", 0, 0, 4}, {"event listen --for 1", 0, 0, 4}};
constexpr Row kBus[] = {{"bus list", 0, 0, 0},
                        {"bus call nosuch x", 1, 1, 1},
                        {"bus listen --for 1", 0, 0, 0},
                        {"bus monitor --for 1", 0, 4, 4}};
constexpr Row kRouter[] = {{"router name", 0, 0, 4},    {"router id", 0, 0, 4},     {"router speed", 0, 0, 4},
                           {"router status", 0, 0, 4},  {"router wifi", 0, 0, 4},   {"router disks", 0, 0, 4},
                           {"router dns get", 0, 0, 0}, {"router capture", 0, 0, 0}};
constexpr Row kDownload[] = {
    {"download add http://127.0.0.1:8080/bytes/1 --dir /tmp --name x", 0, 0, 4},
    {"download list", 0, 0, 4},
    {"download show 123", 1, 1, 4},
    {"download pause 123", 1, 1, 4},
};
constexpr Row kDevice[] = {{"device info", 0, 0, 0},
                           {"device hw", 0, 0, 0},
                           {"device mac", 0, 0, 0},
                           {"device memory", 0, 0, 0},
                           {"device config weburl_state", 0, 0, 0}};
constexpr Row kHttp[] = {{"http get http://127.0.0.1:8080/bytes/1", 0, 0, 0},
                         {"http post http://127.0.0.1:6800/jsonrpc /tmp/question", 0, 0, 0}};
constexpr Row kDoctor[] = {{"doctor", 0, 0, 0}};

struct Table {
  const char* family;
  std::span<const Row> rows;
};
[[maybe_unused]] void PrintTo(const Table& table, std::ostream* out) {
  *out << table.family;
}
class Users : public Zelctl, public testing::WithParamInterface<Table> {};

TEST_P(Users, MayDoAsMuchAsTheLibraryLetsThem) {
  run("echo '{\"id\":1,\"method\":\"aria2.getVersion\"}' >/tmp/question");
  setenv("PLUGIN", "setpriv --reuid 10001 --regid 10001 --clear-groups", 1);
  for (const Row& row : GetParam().rows) {
    const std::string command = row.command;
    const Outcome root = run("$Z " + command);
    EXPECT_EQ(row.root, root.status) << command << " as root: " << root.output;
    const Outcome plugin = run("$PLUGIN $Z " + command);
    EXPECT_EQ(row.plugin, plugin.status) << command << " as a plug-in: " << plugin.output;
    const Outcome nobody = run("$NOBODY $Z " + command);
    EXPECT_EQ(row.nobody, nobody.status) << command << " as nobody: " << nobody.output;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Users,
                         testing::Values(Table{"perm", kPerm}, Table{"cloud", kCloud}, Table{"event", kEvent},
                                         Table{"bus", kBus}, Table{"router", kRouter},
                                         Table{"download", kDownload}, Table{"device", kDevice},
                                         Table{"http", kHttp}, Table{"doctor", kDoctor}),
                         [](const auto& table) { return table.param.family; });

}  // namespace
