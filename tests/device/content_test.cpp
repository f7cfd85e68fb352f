// Digests, whole files, paths, and processes.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>
#include <zel/device.h>
#include <zel/file.h>

#include <cstdlib>
#include <tuple>

#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"

namespace {

std::string owned(char* text) {
  const std::string copy = text != nullptr ? text : "(null)";
  free(text);
  return copy;
}

TEST(Md5, OfAFileIsComparedIgnoringCaseAndNothingElse) {
  const char *const file = "/tmp/a file", *const sum = "/tmp/its sum";
  const std::string digest =
      "1af6d6f2f682f76f80e606aeaaee1680";  // of 100,000 letters "a", by another program
  put(file, std::string(100000, 'a'));
  char text[33] = "untouched";
  EXPECT_EQ(zel_check_file_md5("/tmp", text) + zel_check_file_md5("/none", text), -2);
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(zel_check_file_md5(file, text), 0);
  EXPECT_EQ(text, digest);
  const std::string who = "D [util]{zel_check_file_md5_with_md5_file} ",
                    calc = "D [util]md5Calc = " + digest + "\n";
  const std::tuple<const char*, std::string, std::string> kCases[] = {
      {file, digest, ""},
      {file, "1AF6D6F2F682F76F80E606AEAAEE1680", ""},
      {file, digest + "\n", calc + "D [util]md5File = " + digest + "\n\n"},
      {"/none", digest, "D [util]{zel_check_file_md5} open error\n" + who + "zel_check_file_md5 error\n"},
      {file, "", who + "zel_get_buf_from_file error\n"}};  // no file of sums
  for (const auto& [checked, digits, says] : kCases) {
    put(sum, digits);
    if (digits.empty()) unlink(sum);
    int result = 7;
    EXPECT_EQ(qo_logged([&, c = checked] { result = zel_check_file_md5_with_md5_file(c, sum); }), says);
    EXPECT_EQ(result, says.empty() ? 0 : -1);
  }
}

TEST(WholeFile, IsWrittenAndRead) {
  mount_disk("/tmp/full", "size=4k");
  put("/tmp/full/filler", std::string(4096, 'f'));
  const char* const file = "/tmp/a 'file'";
  EXPECT_EQ(zel_save_string_to_file("0123456789", file) + zel_save_file(file, "abc", 3), 0);
  EXPECT_EQ(owned(zel_get_buf_from_file(file)), "abc3456789") << "what a longer file had stays";
  EXPECT_EQ(zel_save_string_to_file("new", file), 0);
  EXPECT_EQ(owned(zel_get_buf_from_file(file)), "new");
  EXPECT_EQ(zel_save_file("/tmp/full/x", "abc", 3), -1);
  EXPECT_EQ(zel_save_string_to_file("abc", "/tmp/full/x"), 0) << "only a failed open counts";
  for (const char* bad : {"/none/x", "/tmp", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(zel_save_file(bad, "abc", 3) + zel_save_string_to_file("abc", bad), -2);
    EXPECT_EQ(zel_get_buf_from_file(bad), nullptr);
  }
  chmod(file, 0444);
  EXPECT_EQ(run_as(10002, [&] { return zel_get_buf_from_file(file) == nullptr ? 0 : 1; }), 0);
}

TEST(Paths, AreTakenApart) {
  for (const auto& [path, folder] : {std::pair("a/b/", "a"), std::pair("file", "."), std::pair("/x", "/"),
                                     std::pair("///", "/"), std::pair("", "."), std::pair("a//b", "a/")}) {
    EXPECT_EQ(owned(zel_dirname(path)), folder) << path;
  }
  for (const size_t length : {79U, 80U, 160U}) {
    unlink("/tmp/link");
    ASSERT_EQ(symlink(std::string(length, 't').c_str(), "/tmp/link"), 0);
    EXPECT_EQ(owned(xreadlink("/tmp/link")), std::string(length, 't'));
  }
  EXPECT_EQ(owned(xreadlink("/tmp")) + owned(zel_dirname(nullptr)), "(null)(null)");
}

TEST(Process, IsFoundByItsNameInBothLayoutsOfPs) {
  const char* const program = "/tmp/it's on";
  ASSERT_EQ(symlink("/bin/sleep", program), 0);
  int started[2];
  ASSERT_EQ(pipe2(started, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) _exit(execl(program, program, "60", nullptr));
  close(started[1]);
  char byte;
  ASSERT_EQ(read(started[0], &byte, 1), 0) << "ends when the program is in place";
  const std::string usual = getenv("PATH");
  for (const std::string& path : {usual, "/var/run/router/busybox:" + usual}) {
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(zel_detect_proc("it's on"), 0) << path;
    EXPECT_EQ(zel_detect_proc("it's off") + zel_detect_proc("grep") + zel_detect_proc(nullptr), -3);
    EXPECT_EQ(zel_detect_proc(std::string(200, '.').c_str()), -1) << "too long";
  }
  kill(child, SIGKILL);
}

}  // namespace
