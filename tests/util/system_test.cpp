// Questions about paths, file systems, memory and processes, as root of a box; the tools are the host's and
// busybox's.
#include <fcntl.h>
#include <signal.h>
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

TEST(Paths, AreLookedForInTheCallersBufferWhichIsRestored) {
  put("/tmp/a b", "");
  char buffer[32] = "/tmp/";
  EXPECT_EQ(isFileExist(buffer, "a b") - isFileExist(buffer, "c") - isFileExist(nullptr, "x"), 1);
  EXPECT_STREQ(buffer, "/tmp");
  EXPECT_EQ(isAbsFileExist("/tmp/a b") - isAbsFileExist(nullptr) - isAbsFileExist("/none/x"), 1);
  Exact longest(std::string("/tmp/././.\0", 11) + std::string(1013, '\0'));
  const std::string far(1013, 'n');
  EXPECT_EQ(qo_logged([&] { isFileExist(longest.data(), far.c_str() + 1); }), "") << "1024 with its NUL";
  EXPECT_EQ(qo_logged([&] { isFileExist(longest.data(), far.c_str()); }),
            "E [isFileExist]Filename too long!\n");
}

TEST(Paths, AreDirectoriesThatMayBeWrittenOrNot) {
  mount_disk("/tmp/fixed", "ro");
  const std::string log = qo_logged([] {
    EXPECT_EQ(qo_checkDir("/tmp") - qo_checkDir(nullptr) - qo_checkDir("/proc/version"), 1);
    EXPECT_EQ(qo_checkDir_readonly("/tmp") + qo_checkDir_readonly("/proc/version"), 0);
    EXPECT_EQ(qo_checkDir_readonly("/tmp/fixed") - qo_checkDir("/tmp/fixed"), 1);
  });
  EXPECT_EQ(log,
            "I [qo_checkDir]Not a directory[/proc/version].\n"
            "I [qo_checkDir_readonly]directory[/tmp/fixed] is readonly.\n"
            "I [qo_checkDir]directory[/tmp/fixed] is not writable.\n");
}

TEST(Paths, AreJoinedWhereThereIsRoomAndMadeWhereTheyAreMissing) {
  const Rows<size_t, Text, int, Text> rows = {{"/mnt/", 7, "a", 1, "/mnt/a"},
                                              {"/mnt", 7, "ab", 0, "/mnt"},
                                              {"/mnt", 3, "a", 0, "/m"},
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
  int64_t used = -1;
  int64_t total = -1;
  int result = 7;
  const auto says = [&](const std::string& path) {
    return qo_logged([&] { result = getFsSize(path.c_str(), &used, &total); });
  };
  with_both_layouts([&] {
    const std::string log = says(folder);
    EXPECT_TRUE(log.starts_with(R"(D [getFsSize]run command: df '/tmp/it'\''s a $HOME disk' > /var/)"))
        << log;
    EXPECT_EQ(used * 100 + total * 10 + result, 380);
  });
  for (const char* output : {"", "head\\n", "head\\ndisk\\n", "head\\ndisk 2048\\n"}) {
    put_tool("df", std::string("printf '") + output + "'\n");
    EXPECT_TRUE(says("/tmp").starts_with("D [getFsSize]run command: df /tmp > /var/") && result == -1)
        << output;
  }
  for (const auto& entry : std::filesystem::directory_iterator("/var"))
    EXPECT_NE(entry.path().extension(), ".btmp");
  for (const auto& [path, why] :
       {std::pair("", "input param illegal"), std::pair("/none", "path[/none] not exist!"),
        std::pair("/proc/version", "path[/proc/version] not directory!")}) {
    EXPECT_EQ(says(path) + std::to_string(result), std::string("W [getFsSize]") + why + "\n-1");
  }
  ASSERT_EQ(mount("none", "/var", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  const std::string log = says("/tmp");
  EXPECT_NE(log.find("W [getFsSize]getFsSize fail! cmd[df /tmp > /var/"), std::string::npos) << log;
  EXPECT_TRUE(log.ends_with(".btmp], path[/tmp], errno[2], errMsg[No such file or directory]\n")) << log;
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
  for (const std::string& plain : {path, std::string("it's $(reboot) a %s")}) {
    EXPECT_EQ(get_df_info(plain.c_str(), out.data()), 0);
    EXPECT_EQ(out.data(), plain + "\n");
  }
  EXPECT_EQ(get_df_info("one", out.data()) + get_df_info((path + "f").c_str(), out.data()), -2);
  EXPECT_STREQ(out.data(), "2 df\n");
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

TEST(Process, IsFoundByItsNameInBothLayouts) {
  const char* const program = "/tmp/it's on";
  int started[2];
  ASSERT_EQ(symlink("/bin/sleep", program) + pipe2(started, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) _exit(execl(program, program, "60", nullptr));
  close(started[1]);
  char byte;
  ASSERT_EQ(read(started[0], &byte, 1), 0) << "ends when the program is in place";
  with_both_layouts([] {
    EXPECT_EQ(zel_detect_proc("it's on"), 0);
    EXPECT_EQ(zel_detect_proc("it's off") + zel_detect_proc("grep") + zel_detect_proc(nullptr), -3);
    const std::string longest = "." + std::string(96, '*');  // in every line
    EXPECT_EQ(zel_detect_proc(longest.c_str()) + zel_detect_proc((longest + "*").c_str()), -1);
  });
  kill(child, SIGKILL);
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
  EXPECT_EXIT(zel_sprintf_alloc(&text, "%lc", wint_t{0x20AC}),
              testing::ExitedWithCode(1),  // none in this locale
              "^zel_sprintf_alloc: encountered an output or encoding error during vsnprintf.\n$");
}

}  // namespace
