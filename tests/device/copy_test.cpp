// Copying and moving, as root of a box with disks of its own.
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utime.h>
#include <zel/file.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <tuple>

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

// What a copy takes over; a link has times of its own.
auto attributes(const std::string& path) {
  struct stat s {};
  lstat(path.c_str(), &s);
  return std::tuple(s.st_mode, s.st_uid, s.st_gid, s.st_rdev, S_ISLNK(s.st_mode) ? 0 : s.st_mtime);
}

TEST_F(Copy, TakesOverKindContentAndAttributes) {
  const std::string large(300001, 'x'), target(239, 't');
  const std::pair<mode_t, dev_t> kCases[] = {{S_IFREG | 04751, 0},
                                             {S_IFIFO | 0620, 0},
                                             {S_IFCHR | 0640, makedev(1, 3)},
                                             {S_IFBLK | 0660, makedev(7, 9)},
                                             {S_IFSOCK | 0606, 0},
                                             {S_IFLNK | 0777, 0}};
  for (const auto& [mode, device] : kCases) {
    const bool link = S_ISLNK(mode);
    const int made = link ? symlink(target.c_str(), kFrom.c_str()) : mknod(kFrom.c_str(), mode, device);
    if (made != 0 && device != 0) continue;  // a box of an ordinary user has no right to devices
    if (S_ISREG(mode)) put(kFrom, large);
    ASSERT_EQ(lchown(kFrom.c_str(), 10002, 10003), 0);
    const utimbuf times{6000, 7000};
    ASSERT_TRUE(link || (chmod(kFrom.c_str(), mode & 07777) == 0 && utime(kFrom.c_str(), &times) == 0));
    EXPECT_EQ(outcome(zel_file_copy, kFrom, kTo), "0");
    EXPECT_EQ(attributes(kTo), attributes(kFrom)) << mode;
    EXPECT_EQ(S_ISREG(mode) ? content_of(kTo) : large, large);
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
  const std::tuple<std::string, std::string, std::string> kCases[] = {
      {kNone, kTo, kNone},
      {kHome, kTo, kHome + ": omitting directory"},
      {kFrom, hard, "`" + kFrom + "' and `" + hard + "' are the same file"},
      {kFrom, kFrom + "/x", "unable to stat `" + kFrom + "/x'"},
      {kFrom, kHome, "unable to remove `" + kHome + "'"},
      {kFrom, kNone, "unable to open `" + kNone + "'"},
      {pipe, kFrom, "cannot create fifo `" + kFrom + "'"},
      {link, kFrom, "cannot create symlink `" + kFrom + "'"}};
  for (const auto& [from, to, says] : kCases)
    EXPECT_EQ(outcome(zel_file_copy, from, to), "E " + says + "\n" + failed(from, to));
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
  const std::string closing = "E unable to close `" + to + "'\n";  // shows what a buffer held
  const std::tuple<off64_t, size_t, std::string> kCases[] = {
      {100000, 0, "D write\n"}, {10, 16384, closing}, {5LL << 30, 0, "D write\n"}};
  for (const auto& [size, used, says] : kCases) {
    put(kDisk + "filler", std::string(used, 'f'));
    put(kFrom, "");
    ASSERT_EQ(truncate64(kFrom.c_str(), size), 0);
    EXPECT_EQ(outcome(zel_file_copy, kFrom, to), says + failed(kFrom, to));
    EXPECT_EQ(zel_file_move(kFrom.c_str(), to.c_str()), -1);
    EXPECT_EQ(access(kFrom.c_str(), F_OK), 0) << "a failed move keeps the source";
    unlink(to.c_str());
  }
}

TEST_F(Copy, OfAnotherUserLosesTheSetUserIdBit) {
  put(kFrom, "program");
  ASSERT_TRUE(chmod(kFrom.c_str(), 06755) == 0 && chmod(kHome.c_str(), 0777) == 0);
  const std::string says = "E unable to preserve ownership of `" + kTo + "'\n0";
  EXPECT_EQ(run_as(10002, [&] { return outcome(zel_file_copy, kFrom, kTo) == says ? 0 : 1; }), 0);
  EXPECT_EQ(std::get<0>(attributes(kTo)), S_IFREG | 0755U);
}

TEST_F(Copy, OfAFileThatComesAndGoesIsWholeOrFails) {
  std::atomic<bool> end{false};
  const std::string kept = kHome + "kept";
  put(kept, std::string(20000, 'k'));
  std::thread other([&] {
    while (!end) link(kept.c_str(), kFrom.c_str()), unlink(kFrom.c_str());
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
  const std::pair<std::string, std::string> kCases[] = {
      {kTo, "0"},
      {kDisk + "to", "0"},
      {fixed, "E unable to open `" + fixed + "'\n" + failed(kFrom, fixed)},
      {kNone, "E Failed to rename " + kFrom + " to " + kNone + "\n-1"}};
  for (const auto& [to, says] : kCases) {
    const bool moved = says == "0";
    put(kFrom, "moved");
    EXPECT_EQ(outcome(zel_file_move, kFrom, to), "D mv from " + kFrom + " to " + to + ".\n\n" + says);
    EXPECT_EQ(content_of(moved ? to : kFrom), "moved");
    EXPECT_EQ(access(kFrom.c_str(), F_OK), moved ? -1 : 0) << to;
  }
}

}  // namespace
