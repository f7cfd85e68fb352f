#include "schema.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace routerbox {
namespace {

enum class Type { kText, kTextOrNull, kNumber, kNumberOrNull, kBoolean, kList, kObjectOrNull, kAny };

struct Member {
  const char* name;
  Type type;
  const char* help;
  bool always = true;
};

struct Result {
  std::vector<const char*> verbs;
  std::vector<Member> members;
};

const Member kTargetMember = {"target", Type::kText, "the plug-in or service"};
const Member kStoppedMember = {"stopped", Type::kBoolean, "it ran before"};
const Member kStartedMember = {"started", Type::kBoolean, "it did not run before, or was stopped"};
const Member kEventMember = {"event", Type::kNumber, "the number of the event that was sent"};
const Member kSubeventMember = {"subevent", Type::kNumber, "of the event"};
const Member kPluginMember = {"plugin", Type::kText, "its name"};
const Member kAppidMember = {"appid", Type::kText, "its appid"};
const Member kBoxMember = {"box", Type::kText, "its name"};
const Member kFolderMember = {"folder", Type::kText, "where it is on the machine"};
const Member kTookMember = {"ms", Type::kNumber, "how long it took"};

const std::vector<Result> kResults = {
    {{"down"}, {kBoxMember}},
    {{"ps"},
     {kBoxMember,
      kFolderMember,
      {"at", Type::kNumber, "seconds since its start"},
      {"plugins", Type::kList, "name, appid, uid, program, state; pid and memory_kib, or status"},
      {"services", Type::kList, "name, program, state; pid and memory_kib, or status"}}},
    {{"enter"},
     {kFolderMember,
      {"environment", Type::kList, "NAME=VALUE"},
      {"target_roots", Type::kList, "folders with the libraries of other processors"},
      {"data", Type::kText, "folder that is to be seen as /data; empty: none"},
      {"uid", Type::kNumberOrNull, "of the plug-in; null: root of the box"},
      {"name", Type::kText, "of the plug-in, or root"},
      {"program", Type::kText, "of the plug-in", false},
      {"words", Type::kList, "of its command line", false},
      {"emulator", Type::kObjectOrNull, "qemu, root and libraries; null: it needs none", false}}},
    {{"start", "stop", "restart"}, {kTargetMember, kStoppedMember, kStartedMember}},
    {{"send"},
     {{"answer", Type::kTextOrNull, "what the plug-in answered", false},
      {"status", Type::kNumber, "of the call on the bus", false},
      {"meaning", Type::kText, "of the status", false},
      {kTookMember.name, kTookMember.type, kTookMember.help, false},
      {"background", Type::kBoolean, "nobody waits for the answer; then there is nothing else", false}}},
    {{"expect"}, {{"seen", Type::kTextOrNull, "what was found; null: nothing, as expected"}, kTookMember}},
    {{"mark"}, {}},
    {{"verify"}, {{"problems", Type::kList, "texts"}}},
    {{"record"},
     {{"test", Type::kText, "a file for routerbox test; of one line its step"},
      {"verbs", Type::kNumber, "how many it has", false},
      {"notes", Type::kList, "what is not in it, and why", false}}},
    {{"event"}, {kEventMember, kSubeventMember}},
    {{"wan", "disk"}, {{"state", Type::kText, "changed"}, kEventMember, kSubeventMember}},
    {{"set"},
     {{"path", Type::kText, "of the member"},
      {"before", Type::kAny, "its value before"},
      {"value", Type::kAny, "its value now"}}},
    {{"state"}, {{"state", Type::kAny, "the member's value"}}},
    {{"fault", "faults"},
     {{"faults", Type::kList, "service, method, kind, count, played, and what the kind has"},
      {"methods", Type::kList, "of faults of one service: what they can be for, besides *", false},
      {"kinds", Type::kList, "of faults of one service: what they can be", false}}},
    {{"ability"}, {kPluginMember, kAppidMember, {"abilities", Type::kList, "number, name, held"}}},
    {{"output"}, {kPluginMember, {"lines", Type::kList, "texts, the oldest first"}}},
    {{"downloads", "download"},
     {{"downloads", Type::kList, "id, plugin, state, completed, total, bytes_per_second, file, url, error"}}},
    {{"install"},
     {kPluginMember,
      kAppidMember,
      {"uid", Type::kNumber, "its user"},
      {"abilities", Type::kList, "the names of those it asks for"},
      {"processor", Type::kText, "that it is built for"},
      {"files", Type::kNumber, "how many"},
      {"bytes", Type::kNumber, "of all files"},
      {"folder", Type::kText, "where it is in the box"},
      {"replaced", Type::kBoolean, "there was one of this name and appid"},
      {"table", Type::kBoolean, "the permission table has it"}}},
};

Json schema_of(Type type) {
  switch (type) {
    case Type::kText:
      return {{"type", "string"}};
    case Type::kTextOrNull:
      return {{"type", {"string", "null"}}};
    case Type::kNumber:
      return {{"type", "number"}};
    case Type::kNumberOrNull:
      return {{"type", {"number", "null"}}};
    case Type::kBoolean:
      return {{"type", "boolean"}};
    case Type::kList:
      return {{"type", "array"}};
    case Type::kObjectOrNull:
      return {{"type", {"object", "null"}}};
    case Type::kAny:
      break;
  }
  return Json::object();
}

}  // namespace

Json result_schema(const std::string& verb) {
  const auto row = std::find_if(kResults.begin(), kResults.end(), [&](const Result& result) {
    return std::find(result.verbs.begin(), result.verbs.end(), verb) != result.verbs.end();
  });
  if (row == kResults.end()) return nullptr;
  Json properties = Json::object(), required = Json::array();
  for (const Member& member : row->members) {
    Json& property = properties[member.name] = schema_of(member.type);
    property["description"] = member.help;
    if (member.always) required.push_back(member.name);
  }
  return {{"type", "object"},
          {"properties", properties},
          {"required", required},
          {"additionalProperties", false}};
}

}  // namespace routerbox
