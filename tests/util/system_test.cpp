// Questions about paths, file systems and memory, as root of a box; the tools are the host's and busybox's.
#include <unistd.h>
#include <zel/device.h>
#include <zel/file.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "cases.h"
#include "support/disk.h"
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

void put_tool(const char* name, const std::string& lines) {
  mkdir("/tmp/bin", 0755);
  put_script(std::string("/tmp/bin/") + name, lines);
  setenv("PATH", (std::string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
}

size_t tables_left() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/var")) {
    count += entry.path().extension() == ".btmp";
  }
  return count;
}

TEST(Paths, AreLookedForInTheCallersBufferWhichIsRestored) {
  put("/tmp/a b", "");
  for (const auto& [name, result] : {std::pair("a b", 1), std::pair("c", 0), std::pair(Text{}, 0)}) {
    char buffer[32] = "/tmp/";
    EXPECT_EQ(isFileExist(buffer, name), result);
    EXPECT_EQ(buffer, name != nullptr ? std::string("/tmp") : "/tmp/");
  }
  Exact longest(std::string("/tmp/././.\0", 11) + std::string(1013, '\0'));
  std::string far(1012, 'n');
  EXPECT_EQ(qo_logged([&] { isFileExist(longest.data(), far.c_str()); }), "") << "1024 with its NUL";
  far += 'n';
  EXPECT_EQ(qo_logged([&] { isFileExist(longest.data(), far.c_str()); }),
            "E [isFileExist]Filename too long!\n");
  EXPECT_EQ(isFileExist(nullptr, "x") + isAbsFileExist(nullptr) + isAbsFileExist("") + isAbsFileExist("/x"),
            0);
}

TEST(Paths, AreDirectoriesThatMayBeWrittenOrNot) {
  mount_disk("/tmp/fixed", "ro");
  put("/tmp/file", "");
  const Rows<int, int, std::string> rows = {
      {"/tmp", 1, 0, ""},
      {"/tmp/fixed", 0, 1,
       "I [qo_checkDir]directory[/tmp/fixed] is not writable.\n"
       "I [qo_checkDir_readonly]directory[/tmp/fixed] is readonly.\n"},
      {"/tmp/file", 0, 0, "I [qo_checkDir]Not a directory[/tmp/file].\n"},
      {nullptr, 0, 0, ""}};
  for (const auto& [path, writable, readonly, says] : rows) {
    int found[2];
    EXPECT_EQ(qo_logged([&, p = path] { found[0] = qo_checkDir(p), found[1] = qo_checkDir_readonly(p); }),
              says);
    EXPECT_TRUE(found[0] == writable && found[1] == readonly) << says;
  }
}

TEST(Paths, AreJoinedWhereThereIsRoom) {
  const std::string too_long = "E [qo_abspath_generate]Filename too long\n";
  const Rows<size_t, Text, Text, std::string> rows = {
      {"/mnt/", 7, "a", "/mnt/a", ""},
      {"/mnt", 7, "ab", "/mnt", too_long},
      {"/mnt", 3, "a", "/m", too_long},
      {"", 7, "%s", "", "W [qo_abspath_generate]Invalid path[] file[%s]\n"}};
  for (const auto& [directory, size, file, output, says] : rows) {
    Exact out(size);
    int joined = -1;
    EXPECT_EQ(qo_logged([&, d = directory, f = file] {
                joined = qo_abspath_generate(out.data(), out.size(), d, f);
              }),
              says);
    EXPECT_EQ(joined, says.empty() ? 1 : 0) << output;
    EXPECT_STREQ(out.data(), output);
  }
  EXPECT_EQ(qo_abspath_generate(Exact(0).data(), 0, "/mnt", "a"), 0);
}

TEST(Paths, AreMadeWhereTheyAreMissing) {
  put("/tmp/file", "");
  const std::string far = "/tmp/" + std::string(200, 'x') + "/" + std::string(49, 'y');
  const std::tuple<std::string, int, std::string> rows[] = {{"/tmp/it's/a b/c", 1, "/tmp/it's/a b/c"},
                                                            {"/tmp/it's/a b/c/", 1, "/"},
                                                            {far + "zzz", 1, far},
                                                            {"/tmp/file/x/y", 0, "/"},
                                                            {"", 0, "/"}};
  for (const auto& [path, result, made] : rows) {
    EXPECT_EQ(qo_mkdirp(path.c_str(), 0750), result) << path;
    EXPECT_TRUE(std::filesystem::is_directory(made)) << path;
  }
}

TEST(Paths, AreFilmsByFourCharacters) {
  for (const char* name : {"movie.M3U", "a.b.ts", "x.mp4abc", ".mkv", "x.rmvb"})
    EXPECT_EQ(is_file_video(name), 1);
  for (const char* name : {"movie.tsx", "ts", "x.rmx", "x.mkv.txt", Text{}})
    EXPECT_EQ(is_file_video(name), 0);
}

TEST(FileSystems, AreMeasuredInBothLayouts) {
  const std::string folder = "/tmp/it's a $HOME disk";
  mount_disk(folder, "size=8m", "a-device-whose-name-is-longer-than-a-column");
  put(folder + "/file", std::string(3 << 20, 'x'));
  with_both_layouts([&] {
    int64_t used = -1;
    int64_t total = -1;
    EXPECT_EQ(getFsSize(folder.c_str(), &used, &total), 0);
    EXPECT_EQ(used * 10 + total, 38);
    const std::string log = qo_logged([&] { EXPECT_EQ(getFsSize("/tmp", &used, &total), 0); });
    EXPECT_TRUE(log.starts_with("D [getFsSize]run command: df /tmp > /var/")) << log;
  });
  EXPECT_EQ(tables_left(), 0U);
}

TEST(FileSystems, AreNotMeasuredWithoutATable) {
  int64_t used = -1;
  int64_t total = -1;
  put("/tmp/file", "");
  const Rows<int64_t*, std::string> rows = {{"", &used, "input param illegal"},
                                            {"/tmp", nullptr, "input param illegal"},
                                            {"/none", &used, "path[/none] not exist!"},
                                            {"/tmp/file", &used, "path[/tmp/file] not directory!"}};
  for (const auto& [path, out, says] : rows) {
    EXPECT_EQ(qo_logged([&, p = path, o = out] { EXPECT_EQ(getFsSize(p, o, &total), -1); }),
              "W [getFsSize]" + says + "\n");
  }
  for (const char* output : {"", "head\\n", "head\\ndisk\\n", "head\\ndisk 2048\\n", "head\\ndisk - -\\n"}) {
    put_tool("df", std::string("printf '") + output + "'\n");
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
  with_both_layouts([] {
    EXPECT_EQ(is_type_fat("/tmp/it's fat"), 1);
    EXPECT_EQ(is_type_fat("/proc") + is_type_fat("") + is_type_fat(nullptr), 0);
  });
}

TEST(FileSystems, AreDescribedByTheRoutersTool) {
  put_tool("norva_db", "echo \"$# $1\"; [ \"$2\" = one ] || printf '%s\\n' \"$2\"\n");
  std::string path(512 - sizeof "norva_db df ", 'f');
  for (const std::string& plain : {path, std::string("it's $(reboot) a %s"), std::string("one")}) {
    Exact out(std::string(1024, '\0'));
    EXPECT_EQ(get_df_info(plain.c_str(), out.data()), plain == "one" ? -1 : 0) << plain;
    EXPECT_EQ(out.data(), plain == "one" ? "2 df\n" : plain + "\n");
  }
  path += 'f';
  char untouched[] = "?";
  EXPECT_TRUE(qo_logged([&] {
                EXPECT_EQ(get_df_info(path.c_str(), untouched), -1);
              }).starts_with("E [get_df_info]Failed to run command[norva_db df fff"));
  EXPECT_STREQ(untouched, "?");
}

TEST(Memory, IsToldInBothLayouts) {
  int total = -1;
  int used = -1;
  with_both_layouts([&] {
    EXPECT_EQ(qo_get_memory_info(&total, &used), 0);
    EXPECT_EQ(total, GetRamInKB() / 1000);
    EXPECT_TRUE(used > 0 && used < total) << used;
  });
  setenv("PATH", "/none", 1);
  EXPECT_EQ(qo_get_memory_info(&total, &used), 127 << 8) << "the shell's word for a tool that is not there";
  EXPECT_EQ(total + used, 0);
}

TEST(WaitSignal, EndsAtItsLimit) {
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  for (const int limit : {999, -1999}) {  // past the whole second at nearly every time of day
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(qo_wait_signal(&condition, &mutex, limit), ETIMEDOUT) << limit;
    const double took =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    EXPECT_TRUE(took >= limit - 1 && took < 1900) << limit;
  }
}

TEST(Memory, IsAllocatedForTexts) {
  char* text = nullptr;
  const std::string large(5000, 'x');
  EXPECT_EQ(zel_sprintf_alloc(&text, "%d %s", 7, large.c_str()), 5002);
  EXPECT_EQ(text, "7 " + large);
  free(xrealloc(text, 2));
  // The C locale has no form for this character.
  EXPECT_EXIT(zel_sprintf_alloc(&text, "%lc", static_cast<wint_t>(0x20AC)), testing::ExitedWithCode(1),
              "^zel_sprintf_alloc: encountered an output or encoding error during vsnprintf.\n$");
}

}  // namespace
