// Questions about paths, file systems and memory, as root of a box; the tools are the host's and busybox's.
#include <unistd.h>
#include <zel/device.h>
#include <zel/file.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "cases.h"
#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"

namespace {

// Runs `body` with each layout of the tools' output.
template <class Body>
void with_both_layouts(Body body) {
  const std::string usual = getenv("PATH");
  for (const std::string& path : {usual, "/var/run/router/busybox:" + usual}) {
    SCOPED_TRACE(path);
    setenv("PATH", path.c_str(), 1);
    body();
  }
}

size_t tables_left() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/var"))
    count += entry.path().extension() == ".btmp";
  return count;
}

TEST(Exists, JoinsInTheCallersBufferAndRestoresIt) {
  put("/tmp/a b", "");
  const std::string far(1012, 'n');
  const Rows<std::string, Text, int, std::string> rows = {
      {"a slash at the end goes", "/tmp/", "a b", 1, "/tmp"},
      {"not there", "/tmp", "c", 0, "/tmp"},
      {"only one slash goes", "/tmp//", "a b", 1, "/tmp/"},
      {"empty", "", "tmp", 0, ""},
      {"null name", "/tmp", nullptr, 0, "/tmp"}};
  for (const auto& [why, directory, name, result, after] : rows) {
    char buffer[32];
    qo_strncpy(buffer, directory.c_str(), sizeof buffer);
    EXPECT_EQ(isFileExist(buffer, name), result) << why;
    EXPECT_EQ(buffer, after) << why;
  }
  Exact longest(std::string("/tmp/./././\0", 12) + std::string(1012, '\0'));
  EXPECT_EQ(qo_logged([&] { EXPECT_EQ(isFileExist(longest.data(), far.c_str()), 0); }), "")
      << "1024 with its NUL";
  EXPECT_EQ(qo_logged([&] { EXPECT_EQ(isFileExist(longest.data(), (far + "n").c_str()), 0); }),
            "E [isFileExist]Filename too long!\n");
  EXPECT_EQ(
      isFileExist(nullptr, "x") + isAbsFileExist(nullptr) + isAbsFileExist("") + isAbsFileExist("/none"), 0);
  EXPECT_EQ(isAbsFileExist("/tmp/a b"), 1);
}

TEST(CheckDir, TellsDirectoriesByWhatTheCallerMayDo) {
  mount_disk("/tmp/fixed", "ro");
  put("/tmp/file", "");
  const Rows<int, int, std::string, std::string> rows = {
      {"/tmp", 1, 0, "", ""},
      {"/tmp/fixed", 0, 1, "I [qo_checkDir]directory[/tmp/fixed] is not writable.\n",
       "I [qo_checkDir_readonly]directory[/tmp/fixed] is readonly.\n"},
      {"/tmp/file", 0, 0, "I [qo_checkDir]Not a directory[/tmp/file].\n", ""},
      {"/none", 0, 0, "", ""},
      {"", 0, 0, "", ""},
      {nullptr, 0, 0, "", ""}};
  for (const auto& [path, writable, readonly, says, says_readonly] : rows) {
    EXPECT_EQ(qo_logged([&, p = path, w = writable] { EXPECT_EQ(qo_checkDir(p), w); }), says);
    EXPECT_EQ(qo_logged([&, p = path, r = readonly] { EXPECT_EQ(qo_checkDir_readonly(p), r); }),
              says_readonly);
  }
}

TEST(Abspath, FitsExactlyOrFails) {
  const Rows<size_t, Text, Text, int, Text, std::string> rows = {
      {"fits exactly", 7, "/mnt", "a", 1, "/mnt/a", ""},
      {"a slash at the end counts not", 7, "/mnt/", "a", 1, "/mnt/a", ""},
      {"one too small", 7, "/mnt", "ab", 0, "/mnt", "E [qo_abspath_generate]Filename too long\n"},
      {"the directory is cut", 3, "/mnt", "a", 0, "/m", "E [qo_abspath_generate]Filename too long\n"},
      {"no directory", 7, "", "%s", 0, "", "W [qo_abspath_generate]Invalid path[] file[%s]\n"},
      {"no file", 7, "/mnt", "", 0, "", "W [qo_abspath_generate]Invalid path[/mnt] file[]\n"}};
  for (const auto& [why, size, directory, file, result, output, says] : rows) {
    Exact out(size);
    int joined = -1;
    EXPECT_EQ(qo_logged([&, d = directory, f = file, s = size] {
                joined = qo_abspath_generate(out.data(), s, d, f);
              }),
              says);
    EXPECT_EQ(joined, result) << why;
    EXPECT_STREQ(out.data(), output) << why;
  }
  EXPECT_EQ(qo_abspath_generate(Exact(0).data(), 0, "/mnt", "a"), 0);
  EXPECT_EQ(qo_abspath_generate(nullptr, 9, "/mnt", "a"), 0);
}

TEST(Mkdirp, MakesWhatIsMissing) {
  put("/tmp/file", "");
  const std::string far = "/tmp/" + std::string(200, 'x') + "/" + std::string(48, 'y') + "z";
  const Rows<std::string, int, std::string> rows = {{"several", "/tmp/it's/a b/c", 1, "/tmp/it's/a b/c"},
                                                    {"again", "/tmp/it's/a b/c/", 1, "/tmp/it's"},
                                                    {"the root", "/", 1, "/"},
                                                    {"cut to 255", far + "zzz", 1, far},
                                                    {"below a file", "/tmp/file/x/y", 0, "/tmp"},
                                                    {"empty", "", 0, "/"}};
  for (const auto& [why, path, result, made] : rows) {
    EXPECT_EQ(qo_mkdirp(path.c_str(), 0750), result) << why;
    EXPECT_TRUE(std::filesystem::is_directory(made)) << why;
  }
  EXPECT_EQ(qo_mkdirp(nullptr, 0755), 0);
}

TEST(Film, IsKnownByFourCharacters) {
  for (const char* name : {"movie.M3U", "a.b.ts", "x.mp4abc", ".mkv", "x.rmvb", "x.m2ts", "x.mpeg", "x.MPE"})
    EXPECT_EQ(is_file_video(name), 1) << name;
  for (const char* name : {"movie.tsx", "ts", "x.mp", "x.rmx", "x.mkv.txt", "x.", static_cast<Text>(nullptr)})
    EXPECT_EQ(is_file_video(name), 0);
}

TEST(FileSystems, AreMeasuredInBothLayouts) {
  const std::string folder = "/tmp/it's a $HOME disk";
  mount_disk(folder, "size=8m", "a-device-whose-name-is-longer-than-a-column");
  put(folder + "/file", std::string(3 << 20, 'x'));
  mount_disk("/tmp/plain", "size=5m");
  with_both_layouts([&] {
    int64_t used = -1;
    int64_t total = -1;
    EXPECT_EQ(getFsSize(folder.c_str(), &used, &total), 0);
    EXPECT_EQ(used, 3);
    EXPECT_EQ(total, 8);
    std::string log = qo_logged([&] { EXPECT_EQ(getFsSize("/tmp/plain", &used, &total), 0); });
    EXPECT_TRUE(log.starts_with("D [getFsSize]run command: df /tmp/plain > /var/")) << log;
    EXPECT_EQ(total, 5);
  });
  EXPECT_EQ(tables_left(), 0U);
}

TEST(FileSystems, AreNotMeasuredWithoutATable) {
  int64_t used = -1;
  int64_t total = -1;
  put("/tmp/file", "");
  const Rows<int64_t*, std::string> rows = {
      {"", &used, "W [getFsSize]input param illegal\n"},
      {"/tmp", nullptr, "W [getFsSize]input param illegal\n"},
      {"/none", &used, "W [getFsSize]path[/none] not exist!\n"},
      {"/tmp/file", &used, "W [getFsSize]path[/tmp/file] not directory!\n"}};
  for (const auto& [path, out, says] : rows)
    EXPECT_EQ(qo_logged([&, p = path, o = out] { EXPECT_EQ(getFsSize(p, o, &total), -1); }), says);
  const std::string usual = getenv("PATH");
  mkdir("/tmp/bin", 0755);
  setenv("PATH", ("/tmp/bin:" + usual).c_str(), 1);
  for (const char* output :
       {"", "header\\n", "header\\ndisk\\n", "header\\ndisk 2048\\n", "header\\ndisk - -\\n"}) {
    put_script("/tmp/bin/df", std::string("printf '") + output + "'\n");
    EXPECT_EQ(getFsSize("/tmp", &used, &total), -1) << output;
  }
  EXPECT_EQ(tables_left(), 0U);
  ASSERT_EQ(mount("none", "/var", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  const std::string log = qo_logged([&] { EXPECT_EQ(getFsSize("/tmp", &used, &total), -1); });
  EXPECT_NE(log.find("W [getFsSize]getFsSize fail! cmd[df /tmp > /var/"), std::string::npos) << log;
  EXPECT_TRUE(log.ends_with(".btmp], path[/tmp], errno[2], errMsg[No such file or directory]\n")) << log;
  EXPECT_EQ(used + total, -2) << "untouched";
}

TEST(FileSystems, AreFatWhenMountSaysSo) {
  // The name of its device makes the line of this disk one of type vfat, with every form of `mount`.
  mount_disk("/tmp/it's fat", "", "device type vfat");
  mount_disk("/tmp/thin", "");
  with_both_layouts([] {
    EXPECT_EQ(is_type_fat("/tmp/it's fat"), 1);
    for (const char* path : {"/tmp/thin", "", static_cast<Text>(nullptr)}) EXPECT_EQ(is_type_fat(path), 0);
  });
}

TEST(DfInfo, IsTheSecondLineOfTheRoutersTool) {
  mkdir("/tmp/bin", 0755);
  setenv("PATH", (std::string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
  put_script("/tmp/bin/norva_db", "echo \"$# $1\"; [ \"$2\" = one ] || printf '%s\\n' \"$2\"\n");
  const std::string fits(512 - sizeof "norva_db df ", 'f');
  const Rows<std::string, int, std::string> rows = {
      {"plain", "/mnt/a", 0, "/mnt/a\n"},
      {"quoted", "it's $(reboot) a %s", 0, "it's $(reboot) a %s\n"},
      {"one line", "one", -1, "2 df\n"},
      {"the longest", fits, 0, fits + "\n"}};
  for (const auto& [why, path, result, text] : rows) {
    Exact out(std::string(1024, '\0'));
    EXPECT_EQ(get_df_info(path.c_str(), out.data()), result) << why;
    EXPECT_EQ(out.data(), text) << why;
  }
  char untouched[] = "?";
  const std::string log = qo_logged([&] { EXPECT_EQ(get_df_info((fits + "f").c_str(), untouched), -1); });
  EXPECT_TRUE(log.starts_with("E [get_df_info]Failed to run command[norva_db df fff")) << log;
  EXPECT_EQ(get_df_info(nullptr, untouched), -1);
  EXPECT_STREQ(untouched, "?");
}

TEST(Memory, IsToldInBothLayouts) {
  with_both_layouts([] {
    int total = -1;
    int used = -1;
    EXPECT_EQ(qo_get_memory_info(&total, &used), 0);
    EXPECT_EQ(total, GetRamInKB() / 1000);
    EXPECT_TRUE(used > 0 && used < total) << used;
  });
  setenv("PATH", "/none", 1);
  int total = -1;
  int used = -1;
  EXPECT_EQ(qo_get_memory_info(&total, &used), 127 << 8) << "the shell's word for a tool that is not there";
  EXPECT_EQ(total + used, 0);
  EXPECT_EQ(qo_get_memory_info(nullptr, &used), -1);
}

TEST(WaitSignal, EndsAtItsLimit) {
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  using Clock = std::chrono::steady_clock;
  // Past the whole second whatever the time of day.
  for (const int limit : {1, 999, -1, -1999}) {
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(qo_wait_signal(&condition, &mutex, limit), ETIMEDOUT) << limit;
    EXPECT_GE(Clock::now() - start + std::chrono::milliseconds(1), std::chrono::milliseconds(limit));
  }
  std::thread other([&] {
    pthread_mutex_lock(&mutex);
    pthread_cond_signal(&condition);
    pthread_mutex_unlock(&mutex);
  });
  EXPECT_EQ(qo_wait_signal(&condition, &mutex, 30000), 0);
  pthread_mutex_unlock(&mutex);
  other.join();
}

TEST(Text, IsAllocatedAtItsLength) {
  char* text = nullptr;
  const std::string large(5000, 'x');
  EXPECT_EQ(zel_sprintf_alloc(&text, "%d %s", 7, large.c_str()), 5002);
  EXPECT_EQ(text, "7 " + large);
  text = static_cast<char*>(xrealloc(text, 2));
  free(text);
  EXPECT_EQ(zel_strdup(nullptr), nullptr);
  // The C locale has no form for this character.
  EXPECT_EXIT(zel_sprintf_alloc(&text, "%lc", static_cast<wint_t>(0x20AC)), testing::ExitedWithCode(1),
              "^zel_sprintf_alloc: encountered an output or encoding error during vsnprintf.\n$");
}

}  // namespace
