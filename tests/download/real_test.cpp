// Real downloads by a real daemon from the box's file server.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/download.h>
#include <zel/http.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/captured.h"
#include "support/disk.h"
#include "support/wait_until.h"

namespace {

constexpr char kSlow[] = "/slow/1000/100000";

std::string create(const std::string& path, const std::string& name = "file",
                   const std::string& directory = "/tmp") {
  const std::string url = "http://127.0.0.1:8080" + path;
  const task_param param = {url.c_str(), directory.c_str(), name.c_str()};
  char id[ZEL_TASK_ID_SIZE] = {};
  EXPECT_EQ(zel_download_task_create(&param, id), 0) << path;
  return id;
}

task_info query(const std::string& id) {
  task_info info = {};
  EXPECT_EQ(zel_download_task_query(id.c_str(), &info), 0);
  return info;
}

bool becomes(const std::string& id, int status) {
  return wait_until([&] { return query(id).status == status; });
}

}  // namespace

TEST(RealDownloads, GoThroughTheirStates) {
  ASSERT_EQ(setuid(10001), 0);  // See packages.json: it may do all, but is not the plug-in "1".
  std::vector<std::string> ids;
  for (int i = 0; i < 6; ++i)
    ids.push_back(create(kSlow, std::to_string(i)));  // The daemon runs five at once.
  EXPECT_TRUE(becomes(ids[0], ZEL_TASK_ACTIVE));
  EXPECT_EQ(query(ids[5]).status, ZEL_TASK_WAITING);
  EXPECT_TRUE(wait_until([&] { return query(ids[0]).total_length == 100000; }));

  EXPECT_EQ(zel_download_task_pause(ids[0].c_str()), 0);
  EXPECT_TRUE(becomes(ids[0], ZEL_TASK_PAUSED));
  EXPECT_TRUE(becomes(ids[5], ZEL_TASK_ACTIVE));
  captured(stderr, [&] { EXPECT_EQ(zel_download_task_pause(ids[0].c_str()), -1); });
  captured(stderr, [&] { EXPECT_EQ(zel_download_task_resume(ids[0].c_str()), 0); });
  EXPECT_TRUE(becomes(ids[0], ZEL_TASK_WAITING));
  EXPECT_EQ(zel_download_task_del(ids[5].c_str()), 0);
  EXPECT_TRUE(becomes(ids[5], ZEL_TASK_REMOVED));
  EXPECT_TRUE(becomes(ids[0], ZEL_TASK_ACTIVE));
  EXPECT_EQ(zel_download_task_getnum(), 6);
  for (const auto call : {zel_download_task_pause, zel_download_task_resume, zel_download_task_del}) {
    captured(stderr, [&] { EXPECT_EQ(call("0123456789abcdef"), -1); });
  }
}

// A limit on the size of the daemon's files stands for a disk that fails.
TEST(RealDownloads, EndInEveryKindOfError) {
  mount_disk("/tmp/small", "size=1m");
  ASSERT_EQ(system("kill -KILL $(cat /var/run/downloads/daemon.pid)"), 0);
  captured(stderr, [] { ASSERT_TRUE(wait_until([] { return zel_download_task_getnum() == -1; })); });
  ASSERT_EQ(system("trap '' XFSZ; ulimit -f 4000; /var/run/downloads/daemon >/dev/null 2>&1 &"), 0);
  captured(stderr, [] { ASSERT_TRUE(wait_until([] { return zel_download_task_getnum() == 0; })); });
  // For tasks to come; the calls have no argument for it.
  const std::string options = R"({"jsonrpc":"2.0","id":"1","method":"aria2.changeGlobalOption","params":[)"
                              R"({"timeout":"1","max-tries":"2","auto-file-renaming":"false"}]})";
  ASSERT_EQ(HttpPostBuffer(dst_buffer, "http://127.0.0.1:6800/jsonrpc", options.data(),
                           static_cast<uint32_t>(options.size()), 10, 1),
            0);
  put("/tmp/there", "already");
  const std::string first = create(kSlow, "twice");
  ASSERT_TRUE(becomes(first, ZEL_TASK_ACTIVE));
  const struct {
    const char* path;
    int status, error;
    const char* name = "file";
    const char* directory = "/tmp";
  } kCases[] = {{"/bytes/100000", 7, 0, "complete"},
                {"/redirect/302?to=http://127.0.0.1:8080/bytes/10", 7, 0, "redirected"},
                {"/drop/50000/100000", 7, 0, "resumed"},
                {"/hang", 5, 1},
                {"/bytes/3000000", 5, 2, "file", "/tmp/small"},
                {"/bytes/9000000", 5, 3, "large"},
                {"/status/404", 5, 4},
                {"/status/401", 5, 4},
                {kSlow, 5, 5, "twice"},
                {"/bytes/10", 5, 5, "there"},
                {"/status/500", 5, 14},
                {"/bytes/10", 7, 0, "odd \x01\xff%s"}};
  for (const auto& c : kCases) {
    const std::string id = create(c.path, c.name, c.directory);
    ASSERT_TRUE(wait_until([&] { return query(id).status >= ZEL_TASK_ERROR; })) << c.path;
    EXPECT_EQ(query(id).status, c.status) << c.path << c.name;
    EXPECT_EQ(query(id).error_code, c.error) << c.path << c.name;
  }
}

TEST(RealDownloads, AreAskedForByManyThreadsAtOnceUntilThereAreTooMany) {
  std::vector<std::string> ids;
  for (int i = 0; i < 50; ++i) ids.push_back(create(kSlow, std::to_string(i)));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&id = ids[i]] {
      for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(query(id).task_id, id);
        EXPECT_EQ(zel_download_task_getnum(), 50);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 50; i < 200; ++i) create(kSlow, std::to_string(i));
  const std::string log = captured(stderr, [] { EXPECT_EQ(zel_download_task_getnum(), -1); });
  EXPECT_NE(log.find("parst dst_buffer fail"), std::string::npos) << log;
}
