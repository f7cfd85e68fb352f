#include "install.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "../processes/zelctl_run.h"
#include "../support/places.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "../support/unfinished.h"
#include "../trace/peers.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr Processes::Limit kUnpackLimit(30000);
const std::string kStaging = std::string(kInstalled) + "/.new";

std::string last_line(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text.substr(text.rfind('\n') + 1);
}

// What was there of this plug-in and what comes must be the same to the router, which knows plug-ins by these three.
void refuse_other(const Package& row, const Package& there) {
  const std::string here =
      "; here is " + there.appname + " with appid " + there.appid + " and user " + std::to_string(there.uid);
  const bool same_id = row.appid == there.appid, same_name = row.appname == there.appname,
             same_uid = row.uid == there.uid;
  if (same_id && same_name && same_uid) return;
  if (same_id)
    throw Failure("the archive has " + row.appname + " with appid " + row.appid + " and user " +
                      std::to_string(row.uid) + here,
                  kNo);
  if (same_name) throw Failure("the archive's " + row.appname + " has the appid " + row.appid + here, kNo);
  if (same_uid)
    throw Failure("the archive's " + row.appname + " has the user " + std::to_string(row.uid) + here +
                      ", and the router tells plug-ins apart by it",
                  kNo);
}

std::string data_of(const std::string& plugin) {
  return std::string(kInstalled) + "/" + plugin + "/data";
}

void add_account(const Package& row) {
  write_file("/etc/passwd", with_accounts(read_file("/etc/passwd"), {row}), 0644);
  write_file("/etc/group", with_groups(read_file("/etc/group"), {row}), 0644);
  Roster roster = read_roster(kBoxFolder);
  const auto known = std::find_if(roster.plugins.begin(), roster.plugins.end(),
                                  [&](const Plugin& plugin) { return plugin.uid == row.uid; });
  Plugin& plugin = known != roster.plugins.end() ? *known : roster.plugins.emplace_back();
  const std::string data = plugin.data.empty() ? data_of(row.appname) : plugin.data;
  plugin = {row.appname, row.appid, row.uid, data};
  write_roster(kBoxFolder, roster);
}

Json result_of(const pack::Manifest& manifest, const std::string& folder) {
  uint64_t bytes = 0;
  for (const pack::PackedFile& file : manifest.files) bytes += file.size;
  return {{"plugin", manifest.row.appname},
          {"appid", manifest.row.appid},
          {"uid", manifest.row.uid},
          {"abilities", abilities_of(manifest.row.abilities)},
          {"processor", manifest.processor},
          {"files", manifest.files.size()},
          {"bytes", bytes},
          {"folder", folder}};
}

}  // namespace

Json Installer::install(const std::string& file) {
  const pack::Manifest manifest = unpack(file);
  Unfinished unfinished(kStaging);
  check_identity(manifest.row);
  PluginRun run = run_of(manifest);
  add_account(manifest.row);
  register_row(manifest.row);
  const std::optional<size_t> there = ways_.plugins.find(run.appid);
  if (there) {
    ways_.plugins.stop(*there);
    run.data = ways_.plugins.row(*there).run.data;
  }
  put_in_place(&run);
  unfinished.finish();
  start(run);
  Json result = result_of(manifest, std::string(kInstalled) + "/" + run.name);
  result["replaced"] = there.has_value();
  result["table"] = !ways_.plan.zelctl.empty();
  return result;
}

void Installer::start(const PluginRun& run) const {
  const size_t place = ways_.plugins.put(run);
  try {
    ways_.start_plugin(place);
  } catch (const Failure& failure) {
    throw Failure(run.name + " is installed, and does not start: " + failure.what(), kFailed);
  }
}

pack::Manifest Installer::unpack(const std::string& file) const {
  const std::string boxpack =
      find_own(ways_.plan.own, "boxpack", "the program that reads archives", "the verb");
  std::string output;
  const Launch launch{
      boxpack, {"boxpack", "unpack", file, kStaging}, {}, [&](std::string_view piece) { output += piece; }};
  const pid_t process = ways_.processes.start(launch);
  const std::optional<int> status = ways_.processes.wait(process, kUnpackLimit);
  if (!status) {
    ways_.processes.signal(process, SIGKILL);
    ways_.processes.wait(process);  // so that nothing more is written to `output`
  }
  if (status == kDone) return pack::manifest_from(output);
  std::error_code ignored;
  fs::remove_all(kStaging, ignored);  // of one that was killed
  throw Failure(status ? last_line(output) : "the archive was not unpacked within 30 seconds",
                status == kFailed ? kNo : kFailed);
}

void Installer::check_identity(const Package& row) const {
  for (const Package& there : ways_.plan.packages) refuse_other(row, there);
  for (size_t place = 0; place < ways_.plugins.size(); ++place) {
    const PluginRun run = ways_.plugins.row(place).run;
    refuse_other(row, {run.name, run.appid, run.uid});
  }
}

// In the table that is in force, and with it in the package file, as the router's package manager does it.
void Installer::register_row(const Package& row) const {
  if (ways_.plan.zelctl.empty()) return;
  std::string output;
  const auto zelctl = [&](const std::vector<std::string>& words) {
    return run_zelctl(ways_.processes, ways_.plan.zelctl, words, &output);
  };
  const bool known = zelctl({"show", row.appid}) == 0;
  output.clear();
  char bits[16];
  std::snprintf(bits, sizeof bits, "0x%x", row.abilities);
  const int status = zelctl({known ? "update" : "insert", row.appid, "--name", row.appname, "--uid",
                             std::to_string(row.uid), "--abilities", bits});
  if (status != 0) throw Failure("the router does not take " + row.appname + ": " + output, kNo);
}

PluginRun Installer::run_of(const pack::Manifest& manifest) const {
  const Package& row = manifest.row;
  const std::string place = std::string(kInstalled) + "/" + row.appname;
  PluginRun run{row.appname,
                row.appid,
                row.appname,
                row.uid,
                row.may_receive_cloud_messages(),
                place + "/" + manifest.program,
                {place + "/" + manifest.program},
                data_of(row.appname)};
  run.words.insert(run.words.end(), manifest.arguments.begin(), manifest.arguments.end());
  run.emulator =
      emulator_for(kStaging + "/" + manifest.program, ways_.plan.options.target_roots, ways_.plan.own);
  if (!run.emulator) run.valgrind = ways_.plan.valgrind;
  return run;
}

// Over what an earlier archive of this plug-in has left; of that its data stays.
void Installer::put_in_place(PluginRun* run) const {
  const fs::path place = fs::path(kInstalled) / run->name, staging = kStaging;
  if (run->data.empty()) run->data = data_of(run->name);
  if (fs::exists(place / "data")) {
    fs::remove_all(staging / "data");
    fs::rename(place / "data", staging / "data");
  }
  fs::remove_all(place);
  fs::rename(staging, place);
}

}  // namespace routerbox
