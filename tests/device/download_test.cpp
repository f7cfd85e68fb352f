// Downloads from the box's file server.
#include <unistd.h>
#include <zel/file.h>

#include "../../routerbox/files/content.h"
#include "support/disk.h"
#include "support/qo_logged.h"

namespace {

const std::string kHost = "http://127.0.0.1:8080";
const std::string kFolder = "/tmp/it's a \"folder\"/";

struct Seen {
  double total = 0, now = 0;
  int stop = 0;
};

int see(void* data, double total, double now, double, double) {
  auto* const seen = static_cast<Seen*>(data);
  *seen = {total, now, seen->stop};
  return now > 0 ? seen->stop : 0;
}

TEST(Download, PutsTheFileInPlaceWhenItIsWholeAndOnlyThen) {
  mount_disk(kFolder, "size=512k");
  mount_disk(kFolder + "full", "size=4k");
  put(kFolder + "full/filler", std::string(4096, 'f'));
  const std::string late = "Timeout was reached", full = "Failed writing received data to disk/application";
  const struct {
    std::string target;
    std::string to;
    int stop;
    std::string beside, says;  // of a failure
  } kCases[] = {
      {"/bytes/300000", "to", 0, "", ""},
      {"/redirect/302?to=/bytes/5", "to", 0, "", ""},
      {"/status/404", "to", 0, "404", "HTTP response code said error"},
      {"/drop/5000/300000", "to", 0, "300000", "Transferred a partial file"},
      {"/hang", "to", 0, "hang", late},
      {"/slow/1000/300000", "to", 0, "300000", late},
      {"/bytes/300001", "to", 1, "300001", "Operation was aborted by an application callback"},
      {"/bytes/10", "full/to", 0, "full/10", full},
      {"/bytes/300000", "full/to", 0, "full/300000", full},
  };
  for (const auto& c : kCases) {
    const std::string path = kFolder + c.to, url = kHost + c.target;
    std::string wanted = c.to == "to" ? "old" : "";
    if (c.to == "to") put(path, wanted);
    Seen seen{0, 0, c.stop};
    const int result = c.says.empty() ? 0 : -1, limit = c.says == late ? 1 : 30;
    const std::string log = qo_logged([&] {
      EXPECT_EQ(zel_download_file(url.c_str(), path.c_str(), see, &seen, 0, limit), result) << url;
    });
    if (result == 0) {
      wanted.resize(std::stoul(c.target.substr(c.target.rfind('/') + 1)));
      routerbox::files::fill_content(0, wanted.data(), wanted.size());
      EXPECT_EQ(seen.now + seen.total, 2.0 * static_cast<double>(wanted.size()));
    } else {
      EXPECT_EQ(log, "D Downloading " + url + ".\n\nD Failed to download " + url + ": " + c.says + ".\n\n");
      EXPECT_EQ(unlink((kFolder + c.beside).c_str()), 0) << "what came stays beside the destination";
    }
    EXPECT_EQ(content_of(path), wanted) << url;
  }
}

}  // namespace
