// Questions about paths, paths joined and taken apart.
#include <zel/file.h>

#include <filesystem>

#include "support/cases.h"
#include "support/disk.h"
#include "support/owned.h"
#include "support/qo_logged.h"

namespace {

TEST(Paths, AreAskedFor) {
  put("/tmp/a b", "");
  mount_disk("/tmp/fixed", "ro");
  const Rows<int (*)(Text), Text, int> rows = {{"isAbsFileExist", isAbsFileExist, "/tmp/a b", 1},
                                               {"isAbsFileExist", isAbsFileExist, "/none/x", 0},
                                               {"isAbsFileExist", isAbsFileExist, nullptr, 0},
                                               {"qo_checkDir", qo_checkDir, "/tmp", 1},
                                               {"qo_checkDir", qo_checkDir, "/tmp/a b", 0},
                                               {"qo_checkDir", qo_checkDir, nullptr, 0},
                                               {"qo_checkDir_readonly", qo_checkDir_readonly, "/tmp", 0},
                                               {"is_file_video", is_file_video, "movie.M3U", 1},
                                               {"is_file_video", is_file_video, "a.b.ts", 1},
                                               {"is_file_video", is_file_video, "x.mp4abc", 1},
                                               {"is_file_video", is_file_video, ".mkv", 1},
                                               {"is_file_video", is_file_video, "movie.tsx", 0},
                                               {"is_file_video", is_file_video, "ts", 0},
                                               {"is_file_video", is_file_video, "x.mkv.txt", 0},
                                               {"is_file_video", is_file_video, nullptr, 0}};
  for (const auto& [name, call, path, result] : rows) EXPECT_EQ(call(path), result) << name << " " << path;
  EXPECT_EQ(qo_logged([] { EXPECT_EQ(qo_checkDir("/tmp/fixed"), 0); }),
            "I [qo_checkDir]directory[/tmp/fixed] is not writable.\n");
  EXPECT_EQ(qo_logged([] { EXPECT_EQ(qo_checkDir_readonly("/tmp/fixed"), 1); }),
            "I [qo_checkDir_readonly]directory[/tmp/fixed] is readonly.\n");
}

TEST(Paths, AreLookedForInTheCallersBufferWhichIsRestored) {
  put("/tmp/a b", "");
  for (const auto& [name, result] : {std::pair("a b", 1), std::pair("c", 0)}) {
    char buffer[32] = "/tmp/";
    EXPECT_EQ(isFileExist(buffer, name), result) << name;
    EXPECT_STREQ(buffer, "/tmp");
  }
  EXPECT_EQ(isFileExist(nullptr, "x"), 0);
  Exact longest(std::string("/tmp/././.\0", 11) + std::string(1013, '\0'));
  const std::string far(1013, 'n');
  isFileExist(longest.data(), far.c_str() + 1);  // fits exactly with its NUL
  EXPECT_EQ(qo_logged([&] { isFileExist(longest.data(), far.c_str()); }),
            "E [isFileExist]Filename too long!\n");
}

TEST(Paths, AreJoinedWhereThereIsRoom) {
  const Rows<size_t, Text, int, Text> rows = {{"/mnt/", 7, "a", 1, "/mnt/a"},
                                              {"/mnt", 7, "ab", 0, "/mnt"},
                                              {"", 7, "%s", 0, ""},
                                              {"", 0, "", 0, nullptr}};
  for (const auto& [directory, size, file, result, output] : rows) {
    Exact out(size);
    EXPECT_EQ(qo_abspath_generate(out.data(), size, directory, file), result) << directory;
    EXPECT_STREQ(size > 0 ? out.data() : nullptr, output);
  }
}

TEST(Paths, AreMadeWhereTheyAreMissing) {
  const std::string far = "/tmp/" + std::string(200, 'x') + "/" + std::string(49, 'y');
  for (const auto& path : {std::string("/tmp/it's/a b/c"), std::string("/tmp/it's/"), far + "cut"}) {
    EXPECT_EQ(qo_mkdirp(path.c_str(), 0750), 1) << path;
    EXPECT_TRUE(std::filesystem::is_directory(path.substr(0, 255))) << path;
  }
  for (const Text path : {"/proc/version/x", "", Text{}}) EXPECT_EQ(qo_mkdirp(path, 0755), 0) << path;
}

TEST(Paths, AreTakenApart) {
  const Rows<Text> rows = {{"a/b/", "a"}, {"file", "."},  {"/x", "/"},        {"///", "/"},
                           {"", "."},     {"a//b", "a/"}, {nullptr, "(null)"}};
  for (const auto& [path, folder] : rows) EXPECT_EQ(owned(zel_dirname(path)), folder) << path;
  EXPECT_EQ(owned(xreadlink("/tmp")), "(null)") << "no link";
}

}  // namespace
