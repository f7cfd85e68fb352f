// Copying and moving, as root of a box with disks of its own.
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utime.h>
#include <zel/file.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"

namespace {

// Every path here is hard on whoever hands one to a shell or a format.
const std::string kHome = "/tmp/it's a \"%s\" $HOME/";
const std::string kFrom = kHome + "from", kTo = kHome + "to", kDisk = kHome + "disk";

std::string failed(const std::string& from, const std::string& to) {
  return "E Failed to copy file " + from + " to " + to + ".\n\n";
}

class Copy : public testing::Test {
 protected:
  void SetUp() override {
    umask(077);
    ASSERT_EQ(mkdir(kHome.c_str(), 0755), 0);
  }
};
using Move = Copy;

// The attributes a copy takes over, as one text.
std::string attributes(const std::string& path) {
  struct stat s;
  if (lstat(path.c_str(), &s) != 0) return "none";
  const bool link = S_ISLNK(s.st_mode);
  return std::to_string(s.st_mode) + " " + std::to_string(s.st_uid) + " " + std::to_string(s.st_gid) + " " +
         std::to_string(s.st_rdev) + " " + std::to_string(link ? 0 : s.st_mtime) + " " +
         std::to_string(s.st_mtime == 7000 ? s.st_atime : 0);
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
                {S_IFSOCK | 0606, "", 0},
                {S_IFCHR | 0640, "", makedev(1, 3)},
                {S_IFBLK | 0660, "", makedev(7, 9)},
                {S_IFLNK | 0777, "", 0}};
  for (const auto& c : kCases) {
    const bool link = S_ISLNK(c.mode);
    const int made = link ? symlink(target.c_str(), kFrom.c_str()) : mknod(kFrom.c_str(), c.mode, c.device);
    if (made != 0 && c.device != 0) continue;  // a box of an ordinary user has no right to devices
    ASSERT_EQ(made, 0);
    if (S_ISREG(c.mode)) put(kFrom, c.content);
    ASSERT_EQ(lchown(kFrom.c_str(), 10002, 10003), 0);
    const utimbuf times{6000, 7000};
    ASSERT_TRUE(link || (chmod(kFrom.c_str(), c.mode & 07777) == 0 && utime(kFrom.c_str(), &times) == 0));
    const std::string wanted = attributes(kFrom);

    EXPECT_EQ(qo_logged([] { EXPECT_EQ(zel_file_copy(kFrom.c_str(), kTo.c_str()), 0); }), "");
    EXPECT_EQ(attributes(kTo), wanted) << c.mode;
    EXPECT_EQ(S_ISREG(c.mode) ? content_of(kTo) : "", c.content);
    EXPECT_EQ(link ? std::filesystem::read_symlink(kTo).string() : target, target);
    unlink(kFrom.c_str());
    unlink(kTo.c_str());
  }
}

TEST_F(Copy, ReplacesContentAndCopiesWhatTheKernelCannot) {
  put(kTo, std::string(9000, 'o'));
  EXPECT_EQ(zel_file_copy("/proc/version", kTo.c_str()), 0);
  EXPECT_EQ(content_of(kTo), content_of("/proc/version"));
}

TEST_F(Copy, TellsWhatItRefuses) {
  put(kFrom, "data");
  const std::string pipe = kHome + "pipe", none = kHome + "none", below = kFrom + "/x", deep = none + "/x",
                    link = kHome + "link", socket = kHome + "socket", hard = kHome + "hard";
  ASSERT_TRUE(::link(kFrom.c_str(), hard.c_str()) == 0 && symlink("x", link.c_str()) == 0 &&
              mkfifo(pipe.c_str(), 0600) == 0 && mknod(socket.c_str(), S_IFSOCK | 0600, 0) == 0);
  const struct {
    std::string from, to, says;
  } kCases[] = {{none, kTo, "E " + none},
                {kHome, kTo, "E " + kHome + ": omitting directory"},
                {kFrom, hard, "E `" + kFrom + "' and `" + hard + "' are the same file"},
                {kFrom, below, "E unable to stat `" + below + "'"},
                {kFrom, kHome, "E unable to remove `" + kHome + "'"},
                {kFrom, deep, "E unable to open `" + deep + "'"},
                {pipe, kFrom, "E cannot create fifo `" + kFrom + "'"},
                {socket, kFrom, "E unable to create `" + kFrom + "'"},
                {link, kFrom, "E cannot create symlink `" + kFrom + "'"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(qo_logged([&] { EXPECT_EQ(zel_file_copy(c.from.c_str(), c.to.c_str()), -1); }),
              c.says + "\n" + failed(c.from, c.to));
  }
  EXPECT_EQ(qo_logged([&] { EXPECT_EQ(zel_file_copy(nullptr, kTo.c_str()), -1); }), failed("(null)", kTo));
  EXPECT_EQ(content_of(kFrom), "data");
}

TEST_F(Copy, TakesEqualInodeNumbersOfTwoDisksForOneFile) {
  mount_disk(kDisk, "size=64k");
  mount_disk(kHome + "other", "size=64k");
  put(kDisk + "/file", "a");
  struct stat wanted, found{};
  ASSERT_EQ(stat((kDisk + "/file").c_str(), &wanted), 0);
  std::string other;
  for (int i = 0; i < 10 && found.st_ino != wanted.st_ino; ++i) {
    put(other = kHome + "other/" + std::to_string(i), "b");
    stat(other.c_str(), &found);
  }
  if (found.st_ino != wanted.st_ino) GTEST_SKIP() << "this kernel numbers the files of all disks in one row";
  EXPECT_EQ(zel_file_copy((kDisk + "/file").c_str(), other.c_str()), -1);
  EXPECT_EQ(content_of(other), "b");
}

TEST_F(Copy, ReportsDataThatDidNotReachTheDisk) {
  const std::string to = kDisk + "/to";
  mount_disk(kDisk, "size=16k");
  const std::string closing = "E unable to close `" + to + "'\n";
  const struct {
    const char* why;
    off64_t size;
    size_t free;
    std::string says;
  } kCases[] = {{"some blocks fit", 100000, 16384, "D write\n"},
                {"what a buffer held shows at the close", 10, 0, closing},
                {"sizes beyond 32 bit", 5LL << 30, 16384, "D write\n"}};
  for (const auto& c : kCases) {
    put(kDisk + "/filler", std::string(16384 - c.free, 'f'));
    ASSERT_TRUE(truncate64(kFrom.c_str(), 0) == 0 || errno == ENOENT);
    put(kFrom, "");
    ASSERT_EQ(truncate64(kFrom.c_str(), c.size), 0);
    std::string log = qo_logged([&] { EXPECT_EQ(zel_file_copy(kFrom.c_str(), to.c_str()), -1) << c.why; });
    EXPECT_EQ(log.substr(0, c.says.size()), c.says) << c.why << log;
    EXPECT_TRUE(log.ends_with(failed(kFrom, to))) << c.why;
    EXPECT_EQ(zel_file_move(kFrom.c_str(), to.c_str()), -1) << c.why;
    EXPECT_EQ(access(kFrom.c_str(), F_OK), 0) << "a failed move keeps the source";
    unlink(to.c_str());
  }
}

TEST_F(Copy, OfAnotherUserLosesTheSetUserIdBit) {
  ASSERT_EQ(chmod("/tmp", 01777), 0);
  put(kFrom, "program");
  ASSERT_TRUE(chmod(kFrom.c_str(), 06755) == 0 && chmod(kHome.c_str(), 0777) == 0);
  EXPECT_EQ(run_as(10002,
                   [] {
                     const std::string log =
                         qo_logged([] { EXPECT_EQ(zel_file_copy(kFrom.c_str(), kTo.c_str()), 0); });
                     return log == "E unable to preserve ownership of `" + kTo + "'\n" ? 0 : 1;
                   }),
            0);
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
  int copied = 0;
  captured(stderr, [&] {
    for (int i = 0; i < 300; ++i) {
      unlink(kTo.c_str());
      if (zel_file_copy(kFrom.c_str(), kTo.c_str()) != 0) continue;
      EXPECT_EQ(content_of(kTo).size(), 20000U);
      ++copied;
    }
  });
  end = true;
  other.join();
  RecordProperty("copied", copied);
}

TEST_F(Move, RemovesTheSourceOnlyOnceItIsThere) {
  mount_disk(kDisk, "size=64k");
  mount_disk(kHome + "fixed", "ro");
  const std::string begun = "D mv from " + kFrom + " to ", disk = kDisk + "/to", fixed = kHome + "fixed/to",
                    none = kHome + "none/to";
  const struct {
    std::string to;
    int result;
    std::string says;
  } kCases[] = {{kTo, 0, ""},
                {disk, 0, ""},
                {fixed, -1, "E unable to open `" + fixed + "'\n" + failed(kFrom, fixed)},
                {none, -1, "E Failed to rename " + kFrom + " to " + none + "\n"}};
  for (const auto& c : kCases) {
    put(kFrom, "moved");
    EXPECT_EQ(qo_logged([&] { EXPECT_EQ(zel_file_move(kFrom.c_str(), c.to.c_str()), c.result) << c.to; }),
              begun + c.to + ".\n\n" + c.says);
    EXPECT_EQ(content_of(c.result == 0 ? c.to : kFrom), "moved");
    EXPECT_EQ(access(kFrom.c_str(), F_OK), c.result == 0 ? -1 : 0) << c.to;
  }
  EXPECT_EQ(zel_file_move(nullptr, kTo.c_str()), -1);
}

}  // namespace
