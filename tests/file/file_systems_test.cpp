// Questions about file systems, to the programs of the host and of busybox.
#include <zel/file.h>

#include <filesystem>

#include "support/cases.h"
#include "support/qo_logged.h"
#include "support/tools.h"

namespace {

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
    EXPECT_TRUE(log.ends_with(".btmp\n0")) << log;
    EXPECT_EQ(std::tuple(used, total), std::tuple(3, 8));
  });
  ASSERT_EQ(mkdir("/tmp/-h", 0755), 0);
  ASSERT_EQ(chdir("/tmp"), 0);
  EXPECT_EQ(says("-h").find("D [getFsSize]run command: df ./-h > /var/"), 0U);
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
    for (const Text path : {"/proc", "", Text{}}) EXPECT_EQ(is_type_fat(path), 0) << path;
  });
}

TEST(FileSystems, AreDescribedByTheRoutersTool) {
  put_tool("norva_db", "echo \"$# $1\"; [ \"$2\" = one ] || printf '%s\\n' \"$2\"\n");
  const std::string longest(512 - sizeof "norva_db df ", 'f'), longer = longest + "f",
                                                               odd = "it's $(reboot) a %s";
  const Rows<int, std::string> rows = {{longest.c_str(), 0, longest + "\n"},
                                       {odd.c_str(), 0, odd + "\n"},
                                       {"-it's", 0, "./-it's\n"},
                                       {"one", -1, "2 df\n"},
                                       {longer.c_str(), -1, "2 df\n"}};  // what was there
  Exact out(std::string(1024, '\0'));
  for (const auto& [path, result, output] : rows) {
    EXPECT_EQ(get_df_info(path, out.data()), result) << path;
    EXPECT_EQ(out.data(), output) << path;
  }
}

}  // namespace
