// What the calls make of the daemon's answers, good and bad.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/download.h>
#include <zel/service.h>

#include <cstring>

#include "download/daemon.h"

namespace {

constexpr int kMark = 0x55;  // Records are filled with it, so that what a call leaves alone shows.

std::string entry(const std::string& appid, const std::string& gid, const std::string& rest = "") {
  return R"({"appid":")" + appid + R"(","gid":")" + gid +
         R"(","status":"active","totalLength":"9","completedLength":"8","downloadSpeed":"7")" + rest + "}";
}

std::string lists(const std::string& active, const std::string& waiting = "",
                  const std::string& stopped = "") {
  return R"([{"result":[)" + active + R"(]},{"result":[)" + waiting + R"(]},{"result":[)" + stopped + "]}]";
}

class DownloadAnswers : public testing::Test {
 protected:
  void SetUp() override { zel_debug = 0; }
};

}  // namespace

TEST_F(DownloadAnswers, OfACreationAreATextThatFitsItsField) {
  ASSERT_EQ(setuid(kAll), 0);
  const task_param param = {"http://127.0.0.1/f", "/tmp", "f"};
  const struct {
    std::string answer;
    std::string id;  // or
    const char* message;
  } kCases[] = {{R"({"result":"2089b05ecca3d829"})", kGid, ""},
                {R"({"Result":"abc"} and more)", "abc", ""},
                {R"({"result":")" + std::string(24, 'x') + R"("})", std::string(23, 'x'), ""},
                {R"({"result":7})", "", "|task_id parse error"},
                {R"({"error":{"code":1,"message":"%s%n"}})", "", "|task_id parse error"},
                {"[]", "", "|task_id parse error"},
                {"", "", "|Parse dst_buffer error"},
                {"<html>", "", "|Parse dst_buffer error"}};
  for (const auto& c : kCases) {
    const Daemon daemon({c.answer});
    char id[ZEL_TASK_ID_SIZE + 1];
    memset(id, kMark, sizeof id);
    EXPECT_EQ(logged([&] { EXPECT_EQ(zel_download_task_create(&param, id), c.id.empty() ? -1 : 0); }),
              c.message);
    char expected[ZEL_TASK_ID_SIZE + 1];
    memset(expected, c.id.empty() ? kMark : 0, ZEL_TASK_ID_SIZE);
    expected[ZEL_TASK_ID_SIZE] = kMark;
    memcpy(expected, c.id.data(), c.id.size());
    EXPECT_EQ(memcmp(id, expected, sizeof id), 0) << c.answer;
  }
}

TEST_F(DownloadAnswers, AreMappedToStatesAndErrors) {
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
    const Daemon daemon({std::string(R"([{"result":{"gid":"2089b05ecca3d829","status":")") + c.status +
                         R"(","totalLength":"4294967297","completedLength":"-9223372036854775808",)" +
                         R"("downloadSpeed":"99999999999","errorCode":)" + c.error + "}}]"});
    task_info info;
    memset(&info, kMark, sizeof info);
    ASSERT_EQ(zel_download_task_query(kGid, &info), 0);
    EXPECT_STREQ(info.task_id, kGid);
    EXPECT_EQ(info.status, c.mapped_status) << c.status;
    EXPECT_EQ(info.error_code, c.mapped_error) << c.error;
    EXPECT_EQ(info.total_length, 4294967297);
    EXPECT_EQ(info.completed_length, INT64_MIN);
    EXPECT_EQ(info.download_speed, INT32_MAX);
  }
}

TEST_F(DownloadAnswers, OfAQueryFillTheRecordUpToTheirFirstFault) {
  ASSERT_EQ(setuid(kAll), 0);
  const std::string gid = R"("gid":"2089b05ecca3d829")";
  const struct {
    std::string answer;
    const char* message;
    int filled = 0;  // members
  } kCases[] = {{"{}", "|Parse dst_buffer error"},
                {"nothing", "|Parse dst_buffer error"},
                {"[]", "|Response JSON get object error"},
                {"[[]]", "|Response JSON get object error"},
                {R"([{"error":{}}])", "|Response JSON get result object error"},
                {R"([{"result":"OK"}])", "|Response JSON get result object error"},
                {R"([{"result":{"gid":2089}}])", "|Response parse gid error"},
                {R"([{"result":{"gid":"2089B05ECCA3D829"}}])", "|Response parse gid error"},
                {R"([{"result":{)" + gid + R"(,"status":1}}])", "|Response parse status error", 1},
                {R"([{"result":{)" + gid + R"(,"status":"w","totalLength":1}}])",
                 "|Response parse totalLength error", 2},
                {R"([{"result":{)" + gid + R"(,"status":"w","totalLength":"1"}}])",
                 "|Response parse completelLength error", 3},
                {R"([{"result":{)" + gid + R"(,"status":"w","totalLength":"1","completedLength":"2"}}])",
                 "|Response parse downloadSpeed error", 4}};
  for (const auto& c : kCases) {
    const Daemon daemon({c.answer});
    task_info info;
    memset(&info, kMark, sizeof info);
    task_info expected = info;
    if (c.filled > 0) strncpy(expected.task_id, kGid, sizeof expected.task_id);
    if (c.filled > 1) expected.status = 2;
    if (c.filled > 2) expected.total_length = 1;
    if (c.filled > 3) expected.completed_length = 2;
    EXPECT_EQ(logged([&] { EXPECT_EQ(zel_download_task_query(kGid, &info), -1); }), c.message);
    EXPECT_EQ(memcmp(&info, &expected, sizeof info), 0) << c.answer;
  }
}

TEST_F(DownloadAnswers, MakeACountAndAListFailAlike) {
  ASSERT_EQ(setuid(kAll), 0);
  const std::string own = entry("1001", "a");
  const std::string no_owner = own + R"(,{"appid":1001})";
  const struct {
    std::string answer;
    const char* message;
  } kCases[] = {{"", "|parst dst_buffer fail "},
                {R"({"error":{}})", "|parst dst_buffer fail "},
                {R"([{"error":{}}])", "|infomation size error "},
                {"[{},{},{},{}]", "|infomation size error "},
                {R"([{"result":[)" + own + "]},7,{}]", "|get j_res[i] error "},
                {R"([{"result":[)" + own + R"(]},{"result":{}},{}])", "|get result array error "},
                {lists(own, "", R"({"gid":"b"})"), "|get appid error "},
                {lists(own, "[]"), "|get appid error "},
                {lists(no_owner), "|get appid error "},
                {lists(own + std::string(9'999, ' ')), "|parst dst_buffer fail "}};
  for (const auto& c : kCases) {
    const Daemon daemon({c.answer});
    task_info list[3] = {};
    EXPECT_EQ(logged([] { EXPECT_EQ(zel_download_task_getnum(), -1); }), c.message) << c.answer;
    EXPECT_EQ(logged([&] { EXPECT_EQ(zel_download_task_get_list(list, 3), -1); }), c.message) << c.answer;
    EXPECT_STREQ(list[0].task_id, strncmp(c.message, "|get", 4) == 0 ? "a" : "");
  }
  const Daemon daemon({lists(entry("1001", "a"), R"({"appid":"1001","gid":7})")});
  task_info list[3] = {};
  EXPECT_EQ(zel_download_task_getnum(), 2);
  EXPECT_EQ(logged([&] { EXPECT_EQ(zel_download_task_get_list(list, 3), -1); }),
            "|Response parse gid error|get info error ");
  EXPECT_EQ(zel_download_task_get_list(list, 1), 0);  // It stops before the bad one.
}

TEST_F(DownloadAnswers, BelongToTheCallerByTwoRules) {
  const std::string long_id(40, 'e');
  const Daemon daemon(
      {lists(entry("1001", "a") + "," + entry("1", "b"), entry("10011", "c", R"(,"errorCode":"9")"),
             entry("100", "d") + "," + entry("1001", long_id))});
  const auto listed = [](int max_count) {
    task_info list[6] = {};
    EXPECT_EQ(zel_download_task_get_list(list, max_count), 0);
    std::string ids;
    for (const task_info& info : list) ids += info.task_id + std::string(" ", info.status == 1 ? 1 : 0);
    EXPECT_EQ(list[max_count].task_id[0], '\0');
    return ids;
  };
  const std::string cut(23, 'e');
  EXPECT_EQ(zel_download_task_getnum(), 5);  // Root is "1", which sees all.
  EXPECT_EQ(listed(5), "a b c d " + cut + " ");
  ASSERT_EQ(setuid(kAll), 0);
  EXPECT_EQ(zel_download_task_getnum(), 2);
  EXPECT_EQ(listed(5), "a c " + cut + " ");
  EXPECT_EQ(listed(2), "a c ");
}

TEST_F(DownloadAnswers, OfNoTasksAreNoFailure) {
  const Daemon daemon({lists("")});
  task_info info = {};
  EXPECT_EQ(zel_download_task_getnum(), 0);
  EXPECT_EQ(zel_download_task_get_list(&info, 1), 0);
  EXPECT_EQ(info.task_id[0], '\0');
}

TEST_F(DownloadAnswers, OfAControlCallNeedAnyResult) {
  ASSERT_EQ(setuid(kAll), 0);
  const struct {
    const char* answer;
    const char* message;
  } kCases[] = {{R"([{"result":"2089b05ecca3d829"}])", ""},
                {R"([{"result":null}])", ""},
                {R"([{"id":"x","error":{"code":1}}])", "|task_id not find in downloading list"},
                {"[]", "|Response JSON get object error"},
                {"[null]", "|Response JSON get object error"},
                {R"({"result":"OK"})", "|Parse dst_buffer error"},
                {"OK", "|Parse dst_buffer error"}};
  for (const auto& c : kCases) {
    const Daemon daemon({c.answer});
    for (const auto call : {zel_download_task_pause, zel_download_task_del}) {
      EXPECT_EQ(logged([&] { EXPECT_EQ(call(kGid), *c.message == '\0' ? 0 : -1); }), c.message) << c.answer;
    }
  }
}
