// zelctl device: the router as a device.
#include <sys/wait.h>
#include <unistd.h>
#include <zel/device.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ending.h"
#include "families.h"
#include "handles.h"
#include "output.h"
#include "patience.h"
#include "perm_table.h"
#include "result.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr const char* kDaemonFile = "/tmp/norva_daemon.info";
constexpr const char* kScript = "/usr/local/localshell/norva_daemon_shell";
constexpr unsigned kScriptSeconds = 30;

using Text = std::unique_ptr<char, GivenBackBy<std::free>>;

int info(const Call&) {
  zel_device_info device;
  if (zel_get_device_info(&device) != 0) {
    if (access(kDaemonFile, R_OK | W_OK) == 0)
      fail(kFailed, "Start the router's daemon again: it writes the file.", "%s is not as it should be",
           kDaemonFile);
    const bool denied = errno == EACCES;
    fail(exit_for(errno),
         denied ? "The library wants to write the file, too: run it as root."
                : "Is the router's daemon running? In a box: routerbox --router",
         "%s: %s", kDaemonFile, std::strerror(errno));
  }
  Result result;
  result.field("device_id", device.device_id);
  result.field("device_name", device.deviceName);
  result.field("daemon_version", device.daemon_version);
  result.field("firmware_version", device.fw_version);
  result.field("hardware_name", device.hw_name);
  result.number("sdk_version", device.zelSdkVersion);
  result.show();
  return kDone;
}

int hardware(const Call&) {
  const Limit limit = router_patience();
  char* texts[2] = {};
  const int code = zel_get_hw_info_from_fw(&texts[0], &texts[1]);
  const Text firmware(texts[0]);
  const Text name(texts[1]);
  if (code != 0)
    fail_with(code, kFailed, "What is wrong: zelctl doctor",
              "the router did not tell its firmware and hardware");
  Result result;
  result.text("firmware", firmware.get());
  result.text("hardware", name.get());
  result.show();
  return kDone;
}

int lan_address(const Call&) {
  const Limit limit(kScriptSeconds, "What it waits for: ps", "%s did not end within %u s", kScript,
                    kScriptSeconds);
  uint8_t mac[6] = {};
  zel_get_lan_mac(mac);
  if (std::all_of(std::begin(mac), std::end(mac), [](uint8_t byte) { return byte == 0; }))
    fail(kFailed, "Its answer: zelctl device config lanmac", "%s gave no address", kScript);
  Result result;
  result.text(
      "lan_mac",
      format("%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]).c_str());
  result.show();
  return kDone;
}

int memory(const Call&) {
  int total = 0;
  int used = 0;
  const int status = qo_get_memory_info(&total, &used);
  const int kib = GetRamInKB();
  if (kib < 0)
    fail(kFailed, "Mount it: mount -t proc proc /proc", "/proc/meminfo does not tell the memory's size");
  if (status != 0 || total == 0)
    fail(kFailed, "Is the program `free` on PATH?", "`free` does not tell the memory in use");
  Result result;
  result.number("total_kib", kib, size_text(kib * 1024ULL).c_str());
  // `free` is read in thousands of KiB.
  add_number(result.json(), "used_kib_about", used * int64_t{1000});
  result.row("used\tabout %s", size_text(used * 1024'000ULL).c_str());
  result.show();
  return kDone;
}

constexpr struct {
  const char* name;
  int key;
} kKeys[] = {
    {"sign", NORVA_CONFIG_SIGN},       {"cloudsign", NORVA_CONFIG_CLOUDSIGN},
    {"lanmac", NORVA_CONFIG_LANMAC},   {"weburl_state", NORVA_CONFIG_WEBURL_STATE},
    {"weburl", NORVA_CONFIG_WEBURL},   {"weburl_black", NORVA_CONFIG_WEBURL_BLACK},
    {"upgrade", NORVA_CONFIG_UPGRADE},
};
constexpr const char* kKeyNames = "sign|cloudsign|lanmac|weburl_state|weburl|weburl_black|upgrade";

int start_upgrade(const Call& call) {
  if (!call.has("yes"))
    fail(kUsage, "If that is wanted: zelctl device config upgrade --yes",
         "upgrade starts an upgrade of the firmware");
  if (norva_config_get(NORVA_CONFIG_UPGRADE, nullptr, 0) != 0)
    fail(kFailed, "Is there memory for another process?", "%s could not be started", kScript);
  Result result;
  add_text(result.json(), "key", "upgrade");
  add_text(result.json(), "answer", "");
  add_bool(result.json(), "may_be_longer", false);
  result.line("The upgrade was started; whether it runs, the router does not tell.");
  result.show();
  return kDone;
}

int config(const Call& call) {
  const auto& row = kKeys[choice_value("KEY", call.argument(0), kKeyNames)];
  if (row.key == NORVA_CONFIG_UPGRADE) return start_upgrade(call);
  const Limit limit(kScriptSeconds, "What it waits for: ps", "%s did not end within %u s", kScript,
                    kScriptSeconds);
  std::string answer(65536, '\0');
  const int status = norva_config_get(row.key, answer.data(), static_cast<int>(answer.size()));
  if (status != 0)
    fail_with(WIFEXITED(status) ? WEXITSTATUS(status) : status, kFailed,
              "Is it there, and may this user execute it? Try it in a shell.", "%s failed", kScript);
  const size_t length = std::strlen(answer.c_str());
  const bool cut = length + 257 >= answer.size();  // the library leaves out a line that does not fit
  Result result;
  add_text(result.json(), "key", row.name);
  add_text(result.json(), "answer", answer.c_str());
  add_bool(result.json(), "may_be_longer", cut);
  result.line("%s", answer.c_str());
  result.show();
  if (cut) note("the answer may be longer");
  return kDone;
}

constexpr Option kYes[] = {{"yes", nullptr, "Confirms what lasts: an upgrade"}};

constexpr Command kCommands[] = {
    {"device info", "", "What the router's daemon says of the device", "zelctl device info", info},
    {"device hw", "", "Firmware and hardware, as the router itself names them", "zelctl device hw", hardware},
    {"device mac", "", "The LAN's MAC address", "zelctl device mac", lan_address},
    {"device memory", "", "Main memory, and how much is in use", "zelctl device memory", memory},
    {"device config", kKeyNames,
     "What the daemon's script answers to a question. Signatures are secrets; upgrade starts an upgrade "
     "instead",
     "zelctl device config weburl_state", config, kYes},
};

}  // namespace

constinit const Family kDeviceFamily = {
    "device", "The router as a device: identity, memory, its daemon's answers", kCommands};

}  // namespace zelctl
