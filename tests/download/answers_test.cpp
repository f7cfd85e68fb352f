// What the calls make of the daemon's answers, good and bad.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/download.h>
#include <zel/service.h>

#include <cstring>
#include <vector>

#include "download/daemon.h"

namespace {

const task_param kFile = {"http://127.0.0.1/f", "/tmp", "f"};
char id[ZEL_TASK_ID_SIZE + 1];
task_info info;
task_info list[6];

constexpr int kMark = 0x55;  // Records are filled with it, so that what a call leaves alone shows.

int create() {
  memset(id, kMark, sizeof id);
  return zel_download_task_create(&kFile, id);
}
int query() {
  memset(&info, kMark, sizeof info);
  return zel_download_task_query(kGid, &info);
}
int get_list(int max_count) {
  memset(list, 0, sizeof list);
  return zel_download_task_get_list(list, max_count);
}
int fill() {
  return get_list(3);
}
int pause_task() {
  return zel_download_task_pause(kGid);
}

// An answer to a query whose task has these members besides its id.
std::string task(const std::string& members) {
  return R"([{"result":{"gid":"2089b05ecca3d829")" + members + "}}]";
}

std::string entry(const std::string& appid, const std::string& gid) {
  return R"({"appid":")" + appid + R"(","gid":")" + gid +
         R"(","status":"active","totalLength":"9","completedLength":"8","downloadSpeed":"7"})";
}

std::string lists(const std::string& active, const std::string& waiting = "",
                  const std::string& stopped = "") {
  return R"([{"result":[)" + active + R"(]},{"result":[)" + waiting + R"(]},{"result":[)" + stopped + "]}]";
}

}  // namespace

TEST(DownloadAnswers, AreRefusedForTheirFirstFault) {
  ASSERT_EQ(setuid(kAll), 0);
  zel_debug = 0;
  const auto getnum = zel_download_task_getnum;
  const std::string own = entry("1001", "a");
  const std::string begun = R"(,"status":"w","totalLength":"1","completedLength":"2")";
  const struct {
    std::vector<int (*)()> calls;
    std::string answer;
    const char* message;
  } kCases[] = {
      {{create}, "<html>", "|Parse dst_buffer error"},
      {{create}, R"({"error":{"code":1,"message":"%s%n"}})", "|task_id parse error"},
      {{create}, R"({"result":7})", "|task_id parse error"},
      {{query, pause_task}, "{}", "|Parse dst_buffer error"},
      {{query, pause_task}, "?", "|Parse dst_buffer error"},
      {{query, pause_task}, "[[]]", "|Response JSON get object error"},
      {{pause_task}, R"([{"error":{"code":1}}])", "|task_id not find in downloading list"},
      {{query}, R"([{"error":{"code":1}}])", "|Response JSON get result object error"},
      {{query}, R"([{"result":{"gid":2089}}])", "|Response parse gid error"},
      {{query}, R"([{"result":{"gid":"2089B05ECCA3D829"}}])", "|Response parse gid error"},
      {{query}, task(R"(,"status":1)"), "|Response parse status error"},
      {{query}, task(R"(,"status":"w","totalLength":1)"), "|Response parse totalLength error"},
      {{query}, task(R"(,"status":"w","totalLength":"1")"), "|Response parse completelLength error"},
      {{query}, task(begun), "|Response parse downloadSpeed error"},
      {{getnum, fill}, R"({"error":{}})", "|parst dst_buffer fail "},
      {{getnum, fill}, R"([{"error":{}}])", "|infomation size error "},
      {{getnum, fill}, "[{},{},{},{}]", "|infomation size error "},
      {{getnum, fill}, R"([{"result":[]},7,{}])", "|get j_res[i] error "},
      {{getnum, fill}, R"([{"result":[]},{"result":{}},{}])", "|get result array error "},
      {{getnum, fill}, lists(own, "", R"({"appid":1001})"), "|get appid error "},
      {{fill}, lists(own, R"({"appid":"1001","gid":7})"), "|Response parse gid error|get info error "},
  };
  for (const auto& c : kCases) {
    const test::Server daemon = daemon_of(c.answer);
    for (const auto call : c.calls) EXPECT_EQ(logged([&] { EXPECT_EQ(call(), -1); }), c.message) << c.answer;
  }
  EXPECT_EQ(id[0], kMark);
  EXPECT_STREQ(list[0].task_id, "a");
  // What the last query filled before its fault.
  EXPECT_STREQ(info.task_id, kGid);
  EXPECT_EQ(info.status, ZEL_TASK_WAITING);
  EXPECT_EQ(info.total_length, 1);
  EXPECT_EQ(info.completed_length, 2);
  EXPECT_EQ(info.download_speed, info.error_code);  // Both still marked.
}

TEST(DownloadAnswers, AreMappedToStatesAndErrors) {
  ASSERT_EQ(setuid(kAll), 0);
  const struct {
    const char* status;
    const char* error;  // as JSON
    int mapped_status, mapped_error;
  } kCases[] = {{"active", "\"0\"", 1, 0},  {"waiting", "\"2\"", 2, 1},
                {"paused", "\"9\"", 3, 2},  {"error", "\"17\"", 5, 3},
                {"removed", "\"3\"", 6, 4}, {"complete", "\"24\"", 7, 4},
                {"r", "\"11\"", 6, 5},      {"cold", "\"13\"", 7, 5},
                {"Active", "\"1\"", 0, 14}, {"", "\"-2\"", 0, 14},
                {"a", "2", 1, 0},           {"a", "\"2 \"", 1, 1},
                {"a", "\"none\"", 1, 0},    {"a", "\"4294967298\"", 1, 14}};
  for (const auto& c : kCases) {
    const test::Server daemon = daemon_of(
        task(std::string(R"(,"status":")") + c.status + R"(","totalLength":"4294967297","completedLength":)" +
             R"("-9223372036854775808","downloadSpeed":"99999999999","errorCode":)" + c.error));
    ASSERT_EQ(query(), 0);
    EXPECT_EQ(info.status, c.mapped_status) << c.status;
    EXPECT_EQ(info.error_code, c.mapped_error) << c.error;
    EXPECT_EQ(info.total_length, 4294967297);
    EXPECT_EQ(info.completed_length, INT64_MIN);
    EXPECT_EQ(info.download_speed, INT32_MAX);
  }
}

TEST(DownloadAnswers, BelongToTheCallerByTwoRules) {
  const std::string cut(23, 'e');
  const test::Server daemon = daemon_of(lists(entry("1001", "a") + "," + entry("1", "b"), entry("10011", "c"),
                                              entry("100", "d") + "," + entry("1001", cut + cut)));
  const auto listed = [](int max_count) {
    EXPECT_EQ(get_list(max_count), 0);
    std::string ids;
    for (const task_info& record : list) ids += std::string(",") + record.task_id;
    return ids;
  };
  EXPECT_EQ(zel_download_task_getnum(), 5);  // Root is "1", which sees all.
  EXPECT_EQ(listed(6), ",a,b,c,d," + cut + ",");
  ASSERT_EQ(setuid(kAll), 0);
  EXPECT_EQ(zel_download_task_getnum(), 2);
  EXPECT_EQ(listed(6), ",a,c," + cut + ",,,");
  EXPECT_EQ(listed(2), ",a,c,,,,");
}

TEST(DownloadAnswers, OfACreationAreCutToTheirField) {
  ASSERT_EQ(setuid(kAll), 0);
  for (const size_t size : {16, 24}) {
    const test::Server daemon = daemon_of(R"({"Result":")" + std::string(size, 'x') + R"("} and more)");
    ASSERT_EQ(create(), 0);
    const std::string kept(std::min<size_t>(size, 23), 'x');
    EXPECT_EQ(std::string(id, sizeof id), kept + std::string(24 - kept.size(), '\0') + "\x55");
  }
}
