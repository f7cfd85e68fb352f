// Downloads from the box's file server.
#include <unistd.h>
#include <zel/file.h>

#include <chrono>

#include "../../routerbox/files/content.h"
#include "support/disk.h"
#include "support/qo_logged.h"

namespace {

const std::string kHost = "http://127.0.0.1:8080";
const std::string kFolder = "/tmp/it's a \"folder\"/";

std::string content(size_t size) {
  std::string bytes(size, '\0');
  routerbox::files::fill_content(0, bytes.data(), size);
  return bytes;
}

struct Seen {
  double total = 0, now = 0;
  int stop = 0;
};

int see(void* data, double total, double now, double, double) {
  auto* const seen = static_cast<Seen*>(data);
  seen->total = total;
  seen->now = now;
  return now > 0 ? seen->stop : 0;
}

TEST(Download, PutsTheFileInPlaceWhenItIsWholeAndOnlyThen) {
  mount_disk(kFolder, "size=512k");
  mount_disk(kFolder + "full", "size=4k");
  put(kFolder + "full/filler", std::string(4096, 'f'));
  const struct {
    std::string target;
    const char* to;
    int result, stop;
    std::string beside;  // what a failure leaves
    const char* says;
  } kCases[] = {
      {"/bytes/300000", "to", 0, 0, "", ""},
      {"/redirect/302?to=/bytes/5", "to", 0, 0, "", ""},
      {"/status/404", "to", -1, 0, "404", "HTTP response code said error"},
      {"/drop/5000/300000", "to", -1, 0, "300000", "Transferred a partial file"},
      {"/hang", "to", -1, 0, "hang", "Timeout was reached"},
      {"/slow/1000/300000", "to", -1, 0, "300000", "Timeout was reached"},
      {"/bytes/300001", "to", -1, 1, "300001", "Operation was aborted by an application callback"},
      {"/bytes/10", "full/to", -1, 0, "full/10", "Failed writing received data to disk/application"},
      {"/bytes/300000", "full/to", -1, 0, "full/300000", "Failed writing received data to disk/application"},
  };
  for (const auto& c : kCases) {
    const std::string path = kFolder + c.to, url = kHost + c.target;
    if (std::string(c.to) == "to") put(path, "old");
    Seen seen{0, 0, c.stop};
    const std::string log = qo_logged(
        [&] { EXPECT_EQ(zel_download_file(url.c_str(), path.c_str(), see, &seen, 0, 1), c.result) << url; });
    EXPECT_EQ(log.substr(0, log.find("\n\n") + 2), "D Downloading " + url + ".\n\n");
    if (c.result == 0) {
      const size_t size = std::stoul(c.target.substr(c.target.rfind('/') + 1));
      EXPECT_EQ(content_of(path), content(size)) << url;
      EXPECT_EQ(seen.now, static_cast<double>(size));
      EXPECT_EQ(seen.total, static_cast<double>(size));
    } else {
      EXPECT_TRUE(log.ends_with("D Failed to download " + url + ": " + c.says + ".\n\n")) << log;
      EXPECT_EQ(content_of(path), std::string(c.to) == "to" ? "old" : "");
      EXPECT_EQ(unlink((kFolder + c.beside).c_str()), 0) << "what came stays beside the destination";
    }
  }
}

TEST(Download, RefusesAPlaceWhereItCannotWrite) {
  mkdir("/tmp/10", 0755);
  EXPECT_EQ(qo_logged([] {
              EXPECT_EQ(zel_download_file((kHost + "/bytes/10").c_str(), "/tmp/x", nullptr, nullptr, 0, 9),
                        -1);
            }),
            "D Downloading " + kHost + "/bytes/10.\n\nD Failed to unlink /tmp/10\n");
  EXPECT_EQ(qo_logged([] {
              EXPECT_EQ(zel_download_file((kHost + "/bytes/10").c_str(), "/none/x", nullptr, nullptr, 0, 9),
                        -1);
            }),
            "D Downloading " + kHost + "/bytes/10.\n\nD Failed to fopen /none/10\n");
  EXPECT_EQ(zel_download_file(nullptr, "/tmp/x", nullptr, nullptr, 0, 9), -1);
  EXPECT_EQ(zel_download_file((kHost + "/bytes/7").c_str(), "/tmp/x", nullptr, nullptr, 0, 0), 0);
  EXPECT_EQ(content_of("/tmp/x"), content(7));
}

}  // namespace
