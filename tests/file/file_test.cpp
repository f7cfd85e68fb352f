// Files copied, moved, downloaded, checked and written, as root of a box with disks of its own.
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utime.h>
#include <zel/file.h>

#include <atomic>
#include <filesystem>

#include "../../routerbox/files/content.h"
#include "support/cancelled.h"
#include "support/disk.h"
#include "support/owned.h"
#include "support/process.h"
#include "support/qo_logged.h"

namespace {

// Hard on whoever hands it to a shell or a format.
const std::string kHome = "/tmp/it's a \"%s\" $HOME/";
const std::string kFrom = kHome + "from", kTo = kHome + "to", kDisk = kHome + "disk/",
                  kFull = kHome + "full/", kNone = kHome + "none/to";

class Files : public testing::Test {
 protected:
  void SetUp() override {
    umask(077);
    mkdir(kHome.c_str(), 0755);
    mount_disk(kDisk, "size=512k");
    mount_disk(kFull, "size=16k");
  }
};

// What a call logs, and its result.
std::string outcome(int (*call)(const char*, const char*), const std::string& from, const std::string& to) {
  int result = 7;
  const std::string log = qo_logged([&] { result = call(from.c_str(), to.c_str()); });
  return log + std::to_string(result);
}

std::string failed(const std::string& from, const std::string& to) {
  return "E Failed to copy file " + from + " to " + to + ".\n\n-1";
}

struct stat status_of(const std::string& path) {
  struct stat status {};
  lstat(path.c_str(), &status);
  return status;
}

// What a copy takes over; a link has times of its own.
auto attributes(const std::string& path) {
  const struct stat s = status_of(path);
  return std::tuple(s.st_mode, s.st_uid, s.st_gid, s.st_rdev, S_ISLNK(s.st_mode) ? 0 : s.st_mtime);
}

TEST_F(Files, AreCopiedWithKindContentAndAttributes) {
  const std::string large(300001, 'x'), target(240, 't');
  for (const mode_t mode :
       {S_IFREG | 04751, S_IFIFO | 0620, S_IFCHR | 0640, S_IFBLK | 0660, S_IFSOCK | 0606, S_IFLNK | 0777}) {
    const bool link = S_ISLNK(mode), device = S_ISCHR(mode) || S_ISBLK(mode);
    const int made = link ? symlink(target.c_str(), kFrom.c_str())
                          : mknod(kFrom.c_str(), mode, device ? makedev(1, 3) : 0);
    if (made != 0 && device) continue;  // a box of an ordinary user has no right to devices
    if (S_ISREG(mode)) put(kFrom, large);
    const utimbuf times{6000, 7000};
    ASSERT_EQ(lchown(kFrom.c_str(), 10002, 10003), 0);
    if (!link) {
      ASSERT_EQ(chmod(kFrom.c_str(), mode & 07777), 0);
      ASSERT_EQ(utime(kFrom.c_str(), &times), 0);
    }
    EXPECT_EQ(outcome(zel_file_copy, kFrom, kTo), "0");
    EXPECT_EQ(attributes(kTo), attributes(kFrom)) << mode;
    EXPECT_EQ(S_ISREG(mode) ? content_of(kTo) : large, large);
    EXPECT_EQ(link ? std::filesystem::read_symlink(kTo).string() : target, target);
    for (const std::string& path : {kFrom, kTo}) EXPECT_EQ(unlink(path.c_str()), 0) << path;
  }
  put(kTo, std::string(9000, 'o'));
  EXPECT_EQ(outcome(zel_file_copy, "/proc/version", kTo), "0") << "the kernel does not copy it by itself";
  EXPECT_EQ(content_of(kTo), content_of("/proc/version"));
}

TEST_F(Files, AreNotCopiedForReasonsGivenInTheLog) {
  const std::string pipe = kHome + "pipe", link = kHome + "link", hard = kHome + "hard", far = kDisk + "far",
                    other = kFull + "far";
  for (const std::string& path : {kFrom, far, other}) put(path, path);
  ASSERT_EQ(::link(kFrom.c_str(), hard.c_str()), 0);
  ASSERT_EQ(symlink("x", link.c_str()), 0);
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::tuple<std::string, std::string, std::string> kCases[] = {
      {kNone, kTo, kNone},
      {kHome, kTo, kHome + ": omitting directory"},
      {kFrom, hard, "`" + kFrom + "' and `" + hard + "' are the same file"},
      {kFrom, kFrom + "/x", "unable to stat `" + kFrom + "/x'"},
      {kFrom, kHome, "unable to remove `" + kHome + "'"},
      {kFrom, kNone, "unable to open `" + kNone + "'"},
      {pipe, kFrom, "cannot create fifo `" + kFrom + "'"},
      {link, kFrom, "cannot create symlink `" + kFrom + "'"},
      // Of two disks, but by chance of equal inode numbers. Last: not every kernel numbers each disk for itself.
      {far, other, "`" + far + "' and `" + other + "' are the same file"}};
  for (const auto& [from, to, says] : kCases) {
    if (from == far && status_of(far).st_ino != status_of(other).st_ino) break;
    EXPECT_EQ(outcome(zel_file_copy, from, to), "E " + says + "\n" + failed(from, to));
  }
  EXPECT_EQ(zel_file_copy(nullptr, kTo.c_str()), -1);
  EXPECT_EQ(zel_file_move(kTo.c_str(), nullptr), -1);
  EXPECT_EQ(content_of(kFrom), kFrom);
}

TEST_F(Files, AreNotCopiedWhenTheirDataDidNotReachTheDisk) {
  const std::string to = kFull + "to", closing = "E unable to close `" + to + "'\n";
  const std::tuple<off64_t, size_t, std::string> kCases[] = {
      {100000, 0, "D write\n"}, {10, 16384, closing}, {5LL << 30, 0, "D write\n"}};
  for (const auto& [size, used, says] : kCases) {
    put(kFull + "filler", std::string(used, 'f'));
    put(kFrom, "");
    ASSERT_EQ(truncate64(kFrom.c_str(), size), 0);
    EXPECT_EQ(outcome(zel_file_copy, kFrom, to), says + failed(kFrom, to));
    EXPECT_EQ(zel_file_move(kFrom.c_str(), to.c_str()), -1);
    EXPECT_EQ(access(kFrom.c_str(), F_OK), 0) << "a failed move keeps the source";
    EXPECT_EQ(unlink(to.c_str()), 0) << says;
  }
}

TEST_F(Files, OfOthersLoseTheSetUserIdBitAsCopies) {
  put(kFrom, "program");
  ASSERT_EQ(chmod(kFrom.c_str(), 06755), 0);
  ASSERT_EQ(chmod(kHome.c_str(), 0777), 0);
  const std::string says = "E unable to preserve ownership of `" + kTo + "'\n0";
  EXPECT_EQ(run_as(10002, [&] { return outcome(zel_file_copy, kFrom, kTo) == says ? 0 : 1; }), 0);
  EXPECT_EQ(status_of(kTo).st_mode, S_IFREG | 0755U);
}

TEST_F(Files, AreMovedToAnotherDiskAndGoFromTheirPlaceLast) {
  put(kFrom, "moved");
  EXPECT_EQ(outcome(zel_file_move, kFrom, kNone), "D mv from " + kFrom + " to " + kNone + ".\n\n" +
                                                      "E Failed to rename " + kFrom + " to " + kNone +
                                                      "\n-1");
  EXPECT_EQ(zel_file_move(kFrom.c_str(), kTo.c_str()), 0);
  EXPECT_EQ(zel_file_move(kTo.c_str(), (kDisk + "to").c_str()), 0);
  EXPECT_EQ(content_of(kDisk + "to"), "moved");
  for (const std::string& path : {kFrom, kTo}) EXPECT_EQ(access(path.c_str(), F_OK), -1) << path;
}

int see(void* seen, double total, double now, double, double) {
  *static_cast<double*>(seen) = now;
  return total == 300001 ? 1 : 0;  // of that size, breaks off
}

TEST_F(Files, AreDownloadedWholeOrStayAsTheyWere) {
  const std::string late = "Timeout was reached", full = "Failed writing received data to disk/application";
  put(kFull + "filler", std::string(16384, 'f'));
  const std::tuple<std::string, std::string, std::string> kCases[] = {
      {"/bytes/300000", kTo, ""},
      {"/redirect/302?to=/bytes/5", kTo, ""},
      {"/status/404", kTo, "HTTP response code said error"},
      {"/drop/5000/300000", kTo, "Transferred a partial file"},
      {"/hang", kTo, late},
      {"/slow/1000/300000", kTo, late},
      {"/bytes/300001", kTo, "Operation was aborted by an application callback"},
      {"/bytes/10", kFull + "to", full}};  // shows at the close
  for (const auto& [target, path, says] : kCases) {
    const std::string url = "http://127.0.0.1:8080" + target, last = target.substr(target.rfind('/') + 1);
    std::string wanted = path == kTo ? "old" : "";
    put(kTo, wanted);
    double seen = 0;
    int result = 7;
    const int limit = says == late ? 1 : 30;
    const std::string log = qo_logged(
        [&, u = url.c_str(), p = path.c_str()] { result = zel_download_file(u, p, see, &seen, 0, limit); });
    EXPECT_EQ(result, says.empty() ? 0 : -1) << url;
    if (says.empty()) {
      wanted.resize(std::stoul(last));
      routerbox::files::fill_content(0, wanted.data(), wanted.size());
      EXPECT_EQ(seen, static_cast<double>(wanted.size()));
    } else {
      EXPECT_EQ(log,
                std::string("D Downloading ").append(url).append(".\n\nD Failed to download ").append(url) +
                    ": " + says + ".\n\n");
      EXPECT_EQ(unlink((path.substr(0, path.size() - 2) + last).c_str()), 0) << "what came stays beside it";
    }
    EXPECT_EQ(content_of(path), wanted) << url;
  }
  const char* const url = "http://127.0.0.1:8080/bytes/5";
  EXPECT_EQ(zel_download_file(url, kNone.c_str(), nullptr, nullptr, 0, 9), -1);
  EXPECT_EQ(zel_download_file(url, kTo.c_str(), nullptr, nullptr, 0, 0), 0);
}

TEST_F(Files, AreLeftAsTheyWereByADownloadInACancelledThread) {
  SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED();
  put(kTo, "old");
  const auto before = open_descriptors();
  std::atomic<bool> begun = false;
  const auto cancel = [](void* seen, double, double now, double, double) {
    if (now > 0 && !static_cast<std::atomic<bool>*>(seen)->exchange(true)) pthread_cancel(pthread_self());
    return 0;
  };
  const auto download = [&] {
    zel_download_file("http://127.0.0.1:8080/slow/1000/300000", kTo.c_str(), cancel, &begun, 0, 30);
  };
  EXPECT_TRUE(ends_cancelled(download, [&] { return begun.load(); }));
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(content_of(kTo), "old");
}

TEST_F(Files, AreComparedWithTheirDigestIgnoringCaseAndNothingElse) {
  const std::string digest = "1af6d6f2f682f76f80e606aeaaee1680", who = "D [util]{zel_check_file_md5",
                    unread = who + "_with_md5_file} zel_check_file_md5 error\n-1";
  put(kFrom, std::string(100000, 'a'));  // another program's figure
  const std::tuple<std::string, std::string, std::string> kCases[] = {
      {kFrom, "1AF6D6F2F682F76F80E606AEAAEE1680", "0"},
      {kFrom, digest + "\n", "D [util]md5Calc = " + digest + "\nD [util]md5File = " + digest + "\n\n-1"},
      {kFrom, digest + '\0' + "x", "D [util]md5Calc = " + digest + "\nD [util]md5File = " + digest + "\n-1"},
      {kNone, digest, who + "} open error\n" + unread},
      {kHome, digest, who + "} read error\n" + unread}};
  for (const auto& [path, digits, says] : kCases) {
    put(kTo, digits);
    EXPECT_EQ(outcome(zel_check_file_md5_with_md5_file, path, kTo), says);
  }
}

TEST_F(Files, AreWrittenAndReadWhole) {
  const char* const file = kTo.c_str();
  EXPECT_EQ(zel_save_string_to_file("0123456789", file), 0);
  EXPECT_EQ(zel_save_file(file, "abc", 3), 0);
  EXPECT_EQ(owned(zel_get_buf_from_file(file)), "abc3456789") << "what a longer file had stays";
  EXPECT_EQ(zel_save_string_to_file("new", file), 0);
  EXPECT_EQ(owned(zel_get_buf_from_file(file)), "new");
  for (const char* bad : {"/none/x", "/tmp", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(zel_save_file(bad, "abc", 3), -1) << bad;
    EXPECT_EQ(zel_save_string_to_file("abc", bad), -1) << bad;
    EXPECT_EQ(zel_get_buf_from_file(bad), nullptr) << bad;
  }
  chmod(file, 0444);
  EXPECT_EQ(run_as(10002, [&] { return zel_get_buf_from_file(file) == nullptr ? 0 : 1; }), 0);
  put(kFull + "filler", std::string(16384, 'f'));
  EXPECT_EQ(zel_save_file((kFull + "x").c_str(), "abc", 3), -1);
  EXPECT_EQ(zel_save_string_to_file("abc", (kFull + "x").c_str()), 0) << "only a failed open counts";
}

}  // namespace
