// Copying and moving, as root of a box with disks of its own.
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utime.h>
#include <zel/file.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"

namespace {

// Hard on whoever hands it to a shell or a format.
const std::string kHome = "/tmp/it's a \"%s\" $HOME/";
const std::string kFrom = kHome + "from", kTo = kHome + "to", kDisk = kHome + "disk/",
                  kNone = kHome + "none/to";

class Copy : public testing::Test {
 protected:
  void SetUp() override {
    umask(077);
    mkdir(kHome.c_str(), 0755);
    mount_disk(kDisk, "size=16k");
  }
};
using Move = Copy;

// What a call logs, and its result.
std::string outcome(int (*call)(const char*, const char*), const std::string& from, const std::string& to) {
  int result = 7;
  const std::string log = qo_logged([&] { result = call(from.c_str(), to.c_str()); });
  return log + std::to_string(result);
}

std::string failed(const std::string& from, const std::string& to) {
  return "E Failed to copy file " + from + " to " + to + ".\n\n-1";
}

// What a copy takes over.
std::string attributes(const std::string& path) {
  struct stat s {};
  lstat(path.c_str(), &s);
  std::string text;
  for (const auto number : {dev_t{s.st_mode}, dev_t{s.st_uid}, dev_t{s.st_gid}, s.st_rdev})
    text += std::to_string(number) + " ";
  return text + (S_ISLNK(s.st_mode) ? "" : std::to_string(s.st_mtime));
}

TEST_F(Copy, TakesOverKindContentAndAttributes) {
  const std::string large(300001, 'x'), target(239, 't');
  const struct {
    mode_t mode;
    std::string content;
    dev_t device;
  } kCases[] = {{S_IFREG | 04751, large, 0},
                {S_IFREG | 02600, "", 0},
                {S_IFIFO | 0620, "", 0},
                {S_IFCHR | 0640, "", makedev(1, 3)},
                {S_IFBLK | 0660, "", makedev(7, 9)},
                {S_IFSOCK | 0606, "", 0},
                {S_IFLNK | 0777, "", 0}};
  for (const auto& c : kCases) {
    const bool link = S_ISLNK(c.mode);
    const int made = link ? symlink(target.c_str(), kFrom.c_str()) : mknod(kFrom.c_str(), c.mode, c.device);
    if (made != 0 && c.device != 0) continue;  // a box of an ordinary user has no right to devices
    if (S_ISREG(c.mode)) put(kFrom, c.content);
    ASSERT_EQ(lchown(kFrom.c_str(), 10002, 10003), 0);
    const utimbuf times{6000, 7000};
    ASSERT_TRUE(link || (chmod(kFrom.c_str(), c.mode & 07777) == 0 && utime(kFrom.c_str(), &times) == 0));
    EXPECT_EQ(outcome(zel_file_copy, kFrom, kTo), "0");
    EXPECT_EQ(attributes(kTo), attributes(kFrom)) << c.mode;
    EXPECT_EQ(S_ISREG(c.mode) ? content_of(kTo) : "", c.content);
    EXPECT_EQ(link ? std::filesystem::read_symlink(kTo).string() : target, target);
    unlink(kFrom.c_str());
    unlink(kTo.c_str());
  }
  put(kTo, std::string(9000, 'o'));
  EXPECT_EQ(outcome(zel_file_copy, "/proc/version", kTo), "0")
      << "one that the kernel does not copy by itself";
  EXPECT_EQ(content_of(kTo), content_of("/proc/version"));
}

TEST_F(Copy, TellsWhatItRefuses) {
  put(kFrom, "data");
  const std::string pipe = kHome + "pipe", link = kHome + "link", hard = kHome + "hard";
  ASSERT_TRUE(::link(kFrom.c_str(), hard.c_str()) == 0 && symlink("x", link.c_str()) == 0 &&
              mkfifo(pipe.c_str(), 0600) == 0);
  const struct {
    std::string from, to, says;
  } kCases[] = {{kNone, kTo, kNone},
                {kHome, kTo, kHome + ": omitting directory"},
                {kFrom, hard, "`" + kFrom + "' and `" + hard + "' are the same file"},
                {kFrom, kFrom + "/x", "unable to stat `" + kFrom + "/x'"},
                {kFrom, kHome, "unable to remove `" + kHome + "'"},
                {kFrom, kNone, "unable to open `" + kNone + "'"},
                {pipe, kFrom, "cannot create fifo `" + kFrom + "'"},
                {link, kFrom, "cannot create symlink `" + kFrom + "'"}};
  for (const auto& c : kCases)
    EXPECT_EQ(outcome(zel_file_copy, c.from, c.to), "E " + c.says + "\n" + failed(c.from, c.to));
  EXPECT_EQ(zel_file_copy(nullptr, kTo.c_str()) + zel_file_move(kTo.c_str(), nullptr), -2);
  EXPECT_EQ(content_of(kFrom), "data");
}

TEST_F(Copy, TakesEqualInodeNumbersOfTwoDisksForOneFile) {
  const std::string here = kDisk + "file", there = kHome + "other/file";
  mount_disk(kHome + "other", "size=64k");
  put(here, "a");
  put(there, "b");
  struct stat one, two;
  ASSERT_TRUE(stat(here.c_str(), &one) == 0 && stat(there.c_str(), &two) == 0);
  if (one.st_ino != two.st_ino) GTEST_SKIP() << "this kernel numbers the files of all disks in one row";
  EXPECT_EQ(zel_file_copy(here.c_str(), there.c_str()), -1);
}

TEST_F(Copy, ReportsDataThatDidNotReachTheDisk) {
  const std::string to = kDisk + "to";
  const struct {
    const char* why;
    off64_t size;
    size_t free;
    std::string says;
  } kCases[] = {{"some blocks fit", 100000, 16384, "D write\n"},
                {"what a buffer held shows at the close", 10, 0, "E unable to close `" + to + "'\n"},
                {"sizes beyond 32 bit", 5LL << 30, 16384, "D write\n"}};
  for (const auto& c : kCases) {
    put(kDisk + "filler", std::string(16384 - c.free, 'f'));
    put(kFrom, "");
    ASSERT_EQ(truncate64(kFrom.c_str(), c.size), 0);
    EXPECT_EQ(outcome(zel_file_copy, kFrom, to), c.says + failed(kFrom, to)) << c.why;
    EXPECT_EQ(zel_file_move(kFrom.c_str(), to.c_str()), -1) << c.why;
    EXPECT_EQ(access(kFrom.c_str(), F_OK), 0) << "a failed move keeps the source";
    unlink(to.c_str());
  }
}

TEST_F(Copy, OfAnotherUserLosesTheSetUserIdBit) {
  put(kFrom, "program");
  ASSERT_TRUE(chmod(kFrom.c_str(), 06755) == 0 && chmod(kHome.c_str(), 0777) == 0);
  const std::string says = "E unable to preserve ownership of `" + kTo + "'\n0";
  EXPECT_EQ(run_as(10002, [&] { return outcome(zel_file_copy, kFrom, kTo) == says ? 0 : 1; }), 0);
  struct stat s {};
  EXPECT_EQ(stat(kTo.c_str(), &s), 0);
  EXPECT_EQ(s.st_mode & 07777, 0755U);
}

TEST_F(Copy, OfAFileThatComesAndGoesIsWholeOrFails) {
  std::atomic<bool> end{false};
  put(kHome + "kept", std::string(20000, 'k'));
  std::thread other([&] {
    while (!end) {
      if (link((kHome + "kept").c_str(), kFrom.c_str()) == 0) unlink(kFrom.c_str());
    }
  });
  for (int i = 0; i < 300; ++i) {
    unlink(kTo.c_str());
    const bool copied = outcome(zel_file_copy, kFrom, kTo) == "0";
    EXPECT_EQ(content_of(kTo).size(), copied ? 20000U : 0U);
  }
  end = true;
  other.join();
}

TEST_F(Move, RemovesTheSourceOnlyOnceItIsThere) {
  const std::string fixed = kHome + "fixed/to";
  mount_disk(kHome + "fixed", "ro");
  const struct {
    std::string to, says;
  } kCases[] = {{kTo, "0"},
                {kDisk + "to", "0"},
                {fixed, "E unable to open `" + fixed + "'\n" + failed(kFrom, fixed)},
                {kNone, "E Failed to rename " + kFrom + " to " + kNone + "\n-1"}};
  for (const auto& c : kCases) {
    const bool moved = c.says == "0";
    put(kFrom, "moved");
    EXPECT_EQ(outcome(zel_file_move, kFrom, c.to), "D mv from " + kFrom + " to " + c.to + ".\n\n" + c.says);
    EXPECT_EQ(content_of(moved ? c.to : kFrom), "moved");
    EXPECT_EQ(access(kFrom.c_str(), F_OK), moved ? -1 : 0) << c.to;
  }
}

}  // namespace
