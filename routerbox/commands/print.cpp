#include "print.h"

#include <algorithm>
#include <vector>

#include "../pack/readable.h"
#include "../support/printable.h"

namespace routerbox {
namespace {

using Table = std::vector<std::vector<std::string>>;

std::string align(const Table& table) {
  std::vector<size_t> widths;
  for (const auto& row : table)
    for (size_t column = 0; column < row.size(); ++column) {
      widths.resize(std::max(widths.size(), column + 1));
      widths[column] = std::max(widths[column], row[column].size());
    }
  std::string text;
  for (const auto& row : table) {
    std::string line;
    for (size_t column = 0; column < row.size(); ++column)
      line += row[column] + std::string(widths[column] - row[column].size() + 2, ' ');
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

std::string text_at(const Json& row, const char* key) {
  const Json value = row.value(key, Json());
  if (value.is_null()) return "-";
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string state_of(const Json& row) {
  return text_at(row, "state") + (row.contains("status") ? " (status " + text_at(row, "status") + ")" : "");
}

std::string memory_of(const Json& row) {
  return row.contains("memory_kib") ? text_at(row, "memory_kib") + " KiB" : "-";
}

// A service may be several processes: what one has of them is told in one row, and by the first that has ended.
std::vector<Json> whole_services(const Json& rows) {
  std::vector<Json> whole;
  for (const Json& row : rows) {
    const auto found = std::find_if(whole.begin(), whole.end(), [&](const Json& earlier) {
      return earlier.at("name") == row.at("name");
    });
    if (found == whole.end())
      whole.push_back(row);
    else if (!row.contains("memory_kib"))
      *found = found->contains("memory_kib") ? row : *found;
    else if (found->contains("memory_kib"))
      (*found)["memory_kib"] = found->at("memory_kib").get<long>() + row.at("memory_kib").get<long>();
  }
  return whole;
}

std::string ps(const Json& result) {
  Table table{{"NAME", "APPID", "UID", "STATE", "PID", "MEMORY"}};
  for (const Json& row : result.at("plugins"))
    table.push_back({text_at(row, "name"), text_at(row, "appid"), text_at(row, "uid"), state_of(row),
                     text_at(row, "pid"), memory_of(row)});
  for (const Json& row : whole_services(result.at("services")))
    table.push_back({text_at(row, "name"), "-", "0", state_of(row), text_at(row, "pid"), memory_of(row)});
  return align(table);
}

std::string send(const Json& result) {
  if (!result.contains("answer")) return {};
  std::string text = result.at("answer").is_string() ? result.at("answer").get<std::string>() + "\n" : "";
  if (result.at("status") != 0)
    text += "(status " + text_at(result, "status") + ": " + text_at(result, "meaning") + ")\n";
  return text;
}

std::string expect(const Json& result) {
  return result.at("seen").is_string() ? result.at("seen").get<std::string>() + "\n" : "";
}

std::string state(const Json& result) {
  const Json& state = result.at("state");
  return (state.is_string() ? state.get<std::string>() : state.dump(2)) + "\n";
}

std::string set(const Json& result) {
  return text_at(result, "path") + ": " + result.at("before").dump() + " -> " + result.at("value").dump() +
         "\n";
}

// With the values of its kind: "delay ms=9000".
std::string kind_of(const Json& fault) {
  std::string text = text_at(fault, "kind");
  for (const auto& [key, value] : fault.items())
    if (key != "service" && key != "method" && key != "kind" && key != "count" && key != "played")
      text += " " + key + "=" + value.dump();
  return text;
}

std::string faults(const Json& result) {
  Table table{{"SERVICE", "METHOD", "KIND", "COUNT", "PLAYED"}};
  for (const Json& row : result.at("faults"))
    table.push_back({text_at(row, "service"), text_at(row, "method"), kind_of(row), text_at(row, "count"),
                     text_at(row, "played")});
  return table.size() > 1 ? align(table) : "no faults\n";
}

std::string abilities(const Json& result) {
  Table table{{"NUMBER", "ABILITY", "HELD"}};
  for (const Json& row : result.at("abilities"))
    table.push_back({text_at(row, "number"), text_at(row, "name"), row.at("held") ? "yes" : "no"});
  return align(table);
}

std::string output(const Json& result) {
  std::string text;
  for (const Json& line : result.at("lines")) text += printable(line) + "\n";
  return text;
}

std::string downloads(const Json& result) {
  Table table{{"ID", "PLUG-IN", "STATE", "BYTES", "OF", "FILE"}};
  for (const Json& row : result.at("downloads"))
    table.push_back({text_at(row, "id"), text_at(row, "plugin"), text_at(row, "state"),
                     text_at(row, "completed"), text_at(row, "total"), printable(text_at(row, "file"))});
  return table.size() > 1 ? align(table) : "no downloads\n";
}

std::string new_project(const Json& result) {
  std::string text;
  for (const Json& file : result.at("files"))
    text += text_at(result, "folder") + "/" + file.get<std::string>() + "\n";
  return text + "\nNow: cd " + text_at(result, "folder") +
         " && cmake -B build && cmake --build build && routerbox run\n";
}

std::string install(const Json& result) {
  return pack::readable(result) +
         (result.at("replaced") ? "It runs in place of the one that was there, from " : "It runs, from ") +
         text_at(result, "folder") +
         (result.at("table") ? "\n" : "; the box was started without a permission table\n");
}

std::string doctor(const Json& result) {
  Table table;
  std::string advice;
  for (const Json& row : result.at("checks")) {
    const bool ok = row.at("ok");
    table.push_back({ok                 ? "ok"
                     : row.at("needed") ? "MISSING"
                                        : "missing",
                     text_at(row, "what"), "for " + text_at(row, "for"), ok ? text_at(row, "found") : ""});
    if (ok) continue;
    advice += text_at(row, "what") + ": " +
              (text_at(row, "advice").empty() ? text_at(row, "found") : text_at(row, "advice")) + "\n";
  }
  return align(table) + (advice.empty() ? "" : "\nTo get what is missing:\n" + advice) +
         (result.at("ready") ? "" : "\nNo box can run here yet.\n");
}

constexpr struct {
  const char* verb;
  std::string (*print)(const Json& result);
} kPrinters[] = {{"ps", ps},
                 {"send", send},
                 {"state", state},
                 {"set", set},
                 {"expect", expect},
                 {"new", new_project},
                 {"doctor", doctor},
                 {"fault", faults},
                 {"faults", faults},
                 {"install", install},
                 {"ability", abilities},
                 {"output", output},
                 {"downloads", downloads},
                 {"download", downloads}};

}  // namespace

std::string readable_result(const std::string& verb, const Json& result) {
  for (const auto& row : kPrinters)
    if (verb == row.verb) return printable(row.print(result), kLines);
  return {};
}

std::string help_for(const Verb& verb) {
  const bool named = verb.where != Where::kAlone;
  std::string text = std::string("Example: ") + verb.example + "\n\nUsage: routerbox " + verb.name + " " +
                     verb.usage + (named ? " [--name BOX]" : "") + " [--json]\n" + verb.help + ".\n";
  Table arguments;
  for (const Argument& argument : verb.arguments)
    arguments.push_back(
        {(argument.form == Form::kWord ? "  " : "  --") + std::string(argument.name), argument.help});
  if (!arguments.empty()) text += "\n" + align(arguments);
  return text +
         (named ? "\n--name names one of several boxes; --json prints the result as JSON.\n"
                : "\n--json prints the result as JSON.\n") +
         "Exit status: 0 done, 1 not there or no, 2 wrong command line, 3 failed, 4 not allowed, 5 timed "
         "out.\n";
}

std::string list_of_verbs() {
  Table table;
  for (const Verb& verb : verbs())
    table.push_back({std::string("  ") + verb.name + " " + verb.usage, verb.help});
  return align(table);
}

}  // namespace routerbox
