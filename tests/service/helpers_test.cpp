#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zel/service.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <string>

#include "support/process.h"

namespace {

class PidFile : public testing::Test {
 protected:
  PidFile() { close(mkstemp(path_.data())); }
  ~PidFile() override { unlink(path_.c_str()); }
  std::string content() const {
    char text[64] = {};
    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_GE(read(fd, text, sizeof text - 1), 0);
    close(fd);
    return text;
  }
  std::string path_ = "pid.XXXXXX";
};

}  // namespace

TEST_F(PidFile, IsLockedAgainstOtherProcessesWhileItsOwnerLives) {
  Process owner(getuid(), [&](const Process::Self& self) {
    if (zel_store_pid(path_.c_str()) != 0) return 1;
    self.ready();
    self.wait_for_end();
    return 0;
  });
  EXPECT_EQ(zel_store_pid(path_.c_str()), -1);
  EXPECT_EQ(owner.finish(), 0);
  EXPECT_EQ(zel_store_pid(path_.c_str()), 0);
  EXPECT_EQ(content().substr(0, std::to_string(getpid()).size()), std::to_string(getpid()));
}

TEST_F(PidFile, StaysLockedAcrossExec) {
  const pid_t owner = fork();
  if (owner == 0) {
    if (zel_store_pid(path_.c_str()) == 0) execlp("sleep", "sleep", "60", nullptr);
    _exit(1);
  }
  char name[16] = {};
  while (strcmp(name, "sleep\n") != 0) {
    const int fd = open(("/proc/" + std::to_string(owner) + "/comm").c_str(), O_RDONLY | O_CLOEXEC);
    name[std::max<ssize_t>(read(fd, name, sizeof name - 1), 0)] = '\0';
    close(fd);
    ASSERT_EQ(kill(owner, 0), 0);
  }
  EXPECT_EQ(zel_store_pid(path_.c_str()), -1);
  kill(owner, SIGKILL);
  waitpid(owner, nullptr, 0);
}

TEST_F(PidFile, KeepsTheDigitsOfALongerOldId) {
  const int fd = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(write(fd, "99999999999", 11), 11);
  close(fd);
  ASSERT_EQ(zel_store_pid(path_.c_str()), 0);
  const std::string own = std::to_string(getpid());
  EXPECT_EQ(content(), own + std::string(11 - own.size(), '9'));
}

TEST(Memory, IsFreedAndItsPointerCleared) {
  char* text = static_cast<char*>(zel_malloc(4));
  zel_freep(&text);
  EXPECT_EQ(text, nullptr);
  zel_freep(&text);
  EXPECT_EQ(text, nullptr);
  zel_free(nullptr);
}

TEST(BoundedCopy, EndsTheTextAndPadsShortOnes) {
  char out[5];
  memset(out, '?', sizeof out);
  EXPECT_EQ(zel_strncpy(out, "longer", 4), out);
  EXPECT_STREQ(out, "lon");
  EXPECT_EQ(out[4], '?');
  zel_strncpy(out, "a", 4);
  EXPECT_EQ(memcmp(out, "a\0\0\0?", 5), 0);
}
