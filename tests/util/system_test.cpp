// Questions about paths, file systems, memory and processes, to the tools of the host and of busybox.
#include <sys/prctl.h>
#include <zel/device.h>
#include <zel/file.h>

#include <chrono>
#include <filesystem>

#include "support/cases.h"
#include "support/disk.h"
#include "support/qo_logged.h"

namespace {

// Runs `body` with each layout of the tools' output.
template <class Body>
void with_both_layouts(Body body) {
  const char* const path_now = getenv("PATH");
  const std::string usual = path_now != nullptr ? path_now : "/usr/bin:/bin";
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

TEST(Paths, AreLookedForInTheCallersBufferWhichIsRestored) {
  put("/tmp/a b", "");
  char buffer[32] = "/tmp/";
  EXPECT_EQ(isFileExist(buffer, "a b") - isFileExist(buffer, "c") - isFileExist(nullptr, "x"), 1);
  EXPECT_STREQ(buffer, "/tmp");
  EXPECT_EQ(isAbsFileExist("/tmp/a b") - isAbsFileExist(nullptr) - isAbsFileExist("/none/x"), 1);
  Exact longest(std::string("/tmp/././.\0", 11) + std::string(1013, '\0'));
  const std::string far(1013, 'n');
  isFileExist(longest.data(), far.c_str() + 1);  // fits exactly with its NUL
  EXPECT_EQ(qo_logged([&] { isFileExist(longest.data(), far.c_str()); }),
            "E [isFileExist]Filename too long!\n");
}

TEST(Paths, AreDirectoriesThatMayBeWrittenOrNot) {
  mount_disk("/tmp/fixed", "ro");
  EXPECT_EQ(
      qo_logged([] { EXPECT_EQ(qo_checkDir("/tmp") - qo_checkDir(nullptr) - qo_checkDir("/tmp/fixed"), 1); }),
      "I [qo_checkDir]directory[/tmp/fixed] is not writable.\n");
  EXPECT_EQ(
      qo_logged([] { EXPECT_EQ(qo_checkDir_readonly("/tmp/fixed") - qo_checkDir_readonly("/tmp"), 1); }),
      "I [qo_checkDir_readonly]directory[/tmp/fixed] is readonly.\n");
}

TEST(Paths, AreJoinedWhereThereIsRoomAndMadeWhereTheyAreMissing) {
  const Rows<size_t, Text, int, Text> rows = {{"/mnt/", 7, "a", 1, "/mnt/a"},
                                              {"/mnt", 7, "ab", 0, "/mnt"},
                                              {"", 7, "%s", 0, ""},
                                              {"", 0, "", 0, nullptr}};
  for (const auto& [directory, size, file, result, output] : rows) {
    Exact out(size);
    EXPECT_EQ(qo_abspath_generate(out.data(), size, directory, file), result) << directory;
    EXPECT_STREQ(size > 0 ? out.data() : nullptr, output);
  }
  const std::string far = "/tmp/" + std::string(200, 'x') + "/" + std::string(49, 'y');
  for (const auto& path : {std::string("/tmp/it's/a b/c"), std::string("/tmp/it's/"), far + "cut"}) {
    EXPECT_EQ(qo_mkdirp(path.c_str(), 0750), 1);
    EXPECT_TRUE(std::filesystem::is_directory(path.substr(0, 255))) << path;
  }
  EXPECT_EQ(qo_mkdirp("/proc/version/x", 0755) + qo_mkdirp("", 0755) + qo_mkdirp(nullptr, 0755), 0);
}

TEST(Paths, AreFilmsByFourCharacters) {
  for (const char* name : {"movie.M3U", "a.b.ts", "x.mp4abc", ".mkv"}) EXPECT_EQ(is_file_video(name), 1);
  for (const char* name : {"movie.tsx", "ts", "x.mkv.txt", Text{}}) EXPECT_EQ(is_file_video(name), 0);
}

TEST(FileSystems, AreMeasuredInBothLayoutsButNotWithoutATable) {
  const std::string folder = "/tmp/it's a $HOME disk";
  mount_disk(folder, "size=8m", "a-device-whose-name-is-longer-than-a-column");
  put(folder + "/file", std::string(3 << 20, 'x'));
  int64_t used = -1, total = -1;
  const auto says = [&](const std::string& path) {
    int result = 7;
    const std::string log = qo_logged([&] { result = getFsSize(path.c_str(), &used, &total); });
    return log + std::to_string(result);
  };
  with_both_layouts([&] {
    const std::string log = says(folder);
    EXPECT_EQ(log.find("D [getFsSize]run command: df '/tmp/it'\\''s a $HOME disk' > /var/"), 0U) << log;
    EXPECT_TRUE(used == 3 && total == 8 && log.ends_with(".btmp\n0"));
  });
  for (const char* output : {"", "head\\n", "head\\ndisk\\n", "head\\ndisk 2048\\n"}) {
    put_tool("df", std::string("printf '") + output + "'\n");
    EXPECT_TRUE(says("/tmp").ends_with(".btmp\n-1")) << output;
  }
  for (const auto& entry : std::filesystem::directory_iterator("/var"))
    EXPECT_NE(entry.path().extension(), ".btmp");
  EXPECT_EQ(says(""), "W [getFsSize]input param illegal\n-1");
  EXPECT_EQ(says("/proc/version"), "W [getFsSize]path[/proc/version] not directory!\n-1");
  ASSERT_EQ(mount("/var", "/var", nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(mount("none", "/var", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  EXPECT_TRUE(says("/tmp").ends_with(".btmp], path[/tmp], errno[2], errMsg[No such file or directory]\n-1"));
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
  const std::string path(512 - sizeof "norva_db df ", 'f');
  Exact out(std::string(1024, '\0'));
  for (const std::string& plain : {path, std::string("it's $(reboot) a %s")})
    EXPECT_TRUE(get_df_info(plain.c_str(), out.data()) == 0 && out.data() == plain + "\n") << out.data();
  EXPECT_TRUE(get_df_info("-it's", out.data()) == 0 && out.data() == std::string("./-it's\n")) << out.data();
  EXPECT_EQ(get_df_info("one", out.data()) + get_df_info((path + "f").c_str(), out.data()), -2);
  EXPECT_STREQ(out.data(), "2 df\n");
}

TEST(Memory, IsToldInBothLayouts) {
  int total = -1, used = -1;
  with_both_layouts([&] {
    EXPECT_EQ(qo_get_memory_info(&total, &used), 0);
    EXPECT_EQ(total, GetRamInKB() / 1000);
    EXPECT_TRUE(used > 0 && used < total) << used;
  });
  setenv("PATH", "/none", 1);
  EXPECT_TRUE(qo_get_memory_info(&total, &used) == 127 << 8 && total + used == 0) << "no such tool";
}

TEST(Process, IsFoundByItsNameInBothLayouts) {
  prctl(PR_SET_NAME, "it's on");
  with_both_layouts([] {
    const std::string longest = "." + std::string(96, '*');  // in every line
    EXPECT_EQ(zel_detect_proc("it's on") + zel_detect_proc(longest.c_str()), 0);
    EXPECT_EQ(zel_detect_proc("it's off") + zel_detect_proc("grep") + zel_detect_proc(nullptr), -3);
    EXPECT_EQ(zel_detect_proc((longest + "*").c_str()), -1);
  });
}

TEST(WaitSignal, EndsAtItsLimit) {
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  for (const int limit : {999, -1999}) {  // past the whole second at nearly every time of day
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(qo_wait_signal(&condition, &mutex, limit), ETIMEDOUT) << limit;
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(limit - 1));
  }
}

TEST(Text, IsAllocatedOrEndsTheProcess) {
  char* text = nullptr;
  const std::string large(5000, 'x');
  EXPECT_EQ(zel_sprintf_alloc(&text, "%d %s", 7, large.c_str()), 5002);
  EXPECT_EQ(text, "7 " + large);
  free(xrealloc(text, 2));
  EXPECT_EXIT(zel_sprintf_alloc(&text, "%lc", wint_t{0x20AC}), testing::ExitedWithCode(1),
              "^zel_sprintf_alloc: encountered an output or encoding error during vsnprintf.\n$");
}

}  // namespace
