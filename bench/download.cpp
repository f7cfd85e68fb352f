// Reading one task and listing many, beside the same exchange by bare libcurl and cJSON with the same server. The
// peer asks for no permission.
#include <cjson/cJSON.h>
#include <zel/zel.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "canned_server.h"
#include "pairs.h"

namespace {

constexpr uint16_t kPort = 6800;
constexpr char kUrl[] = "http://127.0.0.1:6800/jsonrpc";
constexpr char kGid[] = "2089b05ecca3d829";
constexpr int kMostTasks = 58;  // One more passes the 9,999 characters of an answer.
constexpr int kTasks[] = {0, 1, 5, 10, 20, 40, kMostTasks};
constexpr int kRoom = kMostTasks + 1;
constexpr const char* kKeys[] = {"gid",           "status",   "totalLength", "completedLength",
                                 "downloadSpeed", "errorCode"};

task_info ours[kRoom];
task_info theirs[kRoom];

// As the daemon writes them.
std::string entry() {
  return std::string(R"({"appid":"2004","completedLength":"1234567890123","downloadSpeed":"12345678",)") +
         R"("errorCode":"0","gid":")" + kGid + R"(","status":"complete","totalLength":"1234567890123"})";
}

std::string result(const std::string& method, const std::string& text) {
  return R"({"id":")" + method + R"(","jsonrpc":"2.0","result":)" + text + "}";
}

std::string lists_of(int count) {
  std::string entries;
  for (int i = 0; i < count; ++i) entries += (i != 0 ? "," : "") + entry();
  return "[" + result("aria2.tellActive", "[]") + "," + result("aria2.tellWaiting", "[]") + "," +
         result("aria2.tellStopped", "[" + entries + "]") + "]";
}

cJSON* add_request(cJSON* batch, const char* id, const char* method) {
  cJSON* const request = cJSON_CreateObject();
  cJSON_AddItemToArray(batch, request);
  cJSON_AddStringToObject(request, "jsonrpc", "2.0");
  cJSON_AddStringToObject(request, "id", id);
  cJSON_AddStringToObject(request, "method", method);
  return cJSON_AddArrayToObject(request, "params");
}

void add_keys(cJSON* params) {
  cJSON_AddItemToArray(params, cJSON_CreateStringArray(kKeys, 6));
}

// Posts the batch, which it deletes, and parses the answer.
cJSON* bare_exchange(cJSON* batch, long timeout_s) {
  static bench::Text answer;
  char* const request = cJSON_Print(batch);
  cJSON_Delete(batch);
  const bool done = bench::bare_transfer(kUrl, request, timeout_s, answer);
  cJSON_free(request);
  return done ? cJSON_Parse(answer.bytes) : nullptr;
}

const char* text_of(const cJSON* task, const char* key) {
  return cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(task, key));
}

void read_task(const cJSON* task, task_info* info) {
  std::strncpy(info->task_id, text_of(task, "gid"), sizeof info->task_id - 1);
  info->status = *text_of(task, "status") == 'c' ? ZEL_TASK_COMPLETE : ZEL_TASK_UNKNOWN;
  info->total_length = std::atoll(text_of(task, "totalLength"));
  info->completed_length = std::atoll(text_of(task, "completedLength"));
  info->download_speed = std::atoi(text_of(task, "downloadSpeed"));
  info->error_code = std::atoi(text_of(task, "errorCode"));
}

bool bare_query() {
  cJSON* const batch = cJSON_CreateArray();
  char id[33];
  cJSON* const params = add_request(batch, md5_string(kGid, sizeof kGid - 1, id), "aria2.tellStatus");
  cJSON_AddItemToArray(params, cJSON_CreateString(kGid));
  add_keys(params);
  cJSON* const answer = bare_exchange(batch, 20);
  const cJSON* const task = cJSON_GetObjectItemCaseSensitive(cJSON_GetArrayItem(answer, 0), "result");
  if (task != nullptr) read_task(task, theirs);
  cJSON_Delete(answer);
  return task != nullptr;
}

bool bare_list() {
  cJSON* const batch = cJSON_CreateArray();
  add_keys(add_request(batch, "aria2.tellActive", "aria2.tellActive"));
  for (const char* method : {"aria2.tellWaiting", "aria2.tellStopped"}) {
    cJSON* const params = add_request(batch, method, method);
    cJSON_AddItemToArray(params, cJSON_CreateNumber(0));
    cJSON_AddItemToArray(params, cJSON_CreateNumber(100));
    add_keys(params);
  }
  cJSON* const answer = bare_exchange(batch, 10);
  task_info* info = theirs;
  const cJSON* list;
  cJSON_ArrayForEach(list, answer) {
    const cJSON* task;
    cJSON_ArrayForEach(task, cJSON_GetObjectItemCaseSensitive(list, "result")) {
      if (text_of(task, "appid") != nullptr) read_task(task, info++);
    }
  }
  cJSON_Delete(answer);
  return answer != nullptr;
}

bool our_query() {
  return zel_download_task_query(kGid, ours) == 0;
}

bool our_list() {
  return zel_download_task_get_list(ours, kRoom) == 0;
}

bool allowed() {
  char appid[PERM_APPID_SIZE] = {};
  return perm_get_id(appid) == 0 && perm_check(ability_download, appid) == 0;
}

template <bool (*Call)()>
void timed() {
  benchmark::DoNotOptimize(Call());
}

// The first of each also makes what the process keeps.
void require_equal(const std::string& what, bool (*our_call)(), bool (*their_call)()) {
  std::memset(ours, 0, sizeof ours);
  std::memset(theirs, 0, sizeof theirs);
  if (our_call() && their_call() && std::memcmp(ours, theirs, sizeof ours) == 0) return;
  std::fprintf(stderr, "%s: the two exchanges differ\n", what.c_str());
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  zel_debug = 0;
  bench::stay_on_one_processor();
  std::vector<std::string> answers = {"[" + result("id", entry()) + "]"};
  for (const int count : kTasks) answers.push_back(lists_of(count));
  answers.push_back(lists_of(kMostTasks + 1));
  const bench::CannedServer server(answers, kPort);

  require_equal("query", our_query, bare_query);
  const auto query = [&server] { server.answer_with(0); };
  pairs::compare("query", timed<our_query>, timed<bare_query>, query);
  pairs::compare(
      "query, the peer with both permission calls", timed<our_query>,
      [] { benchmark::DoNotOptimize(allowed() && bare_query()); }, query);
  for (size_t i = 0; i < std::size(kTasks); ++i) {
    const std::string what =
        "list of " + std::to_string(kTasks[i]) + ", " + std::to_string(answers[i + 1].size()) + " characters";
    server.answer_with(i + 1);
    require_equal(what, our_list, bare_list);
    pairs::compare(what, timed<our_list>, timed<bare_list>, [&server, i] { server.answer_with(i + 1); });
  }
  server.answer_with(answers.size() - 1);
  if (our_list()) {
    std::fputs("a list past the transport's limit did not fail\n", stderr);
    return 1;
  }
  // Most of a call is the kernel's and varies; many short repetitions find quiet moments on a busy machine.
  char repetitions[] = "--benchmark_repetitions=300";
  char duration[] = "--benchmark_min_time=0.001";
  std::vector<char*> options = {argv[0], repetitions, duration};
  options.insert(options.end(), argv + 1, argv + argc);
  return pairs::run(static_cast<int>(options.size()), options.data());
}
