#include "ability_verb.h"

#include <algorithm>
#include <cstdio>

#include "../processes/zelctl_run.h"
#include "../support/nearest.h"
#include "../support/status.h"

namespace routerbox {
namespace {

constexpr std::string_view kPrefix = "ability_";

class Table {
 public:
  Table(const Plan& plan, Processes& processes) : zelctl_(plan.zelctl), processes_(processes) {
    if (zelctl_.empty()) throw Failure("the box was started without a permission table", kNo);
  }

  Json ask(std::vector<std::string> words) const {
    words.emplace_back("--json");
    return Json::parse(run(words));
  }

  void write(const std::string& appid, uint32_t bits) const {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", bits);
    run({"update", appid, "--abilities", text});
  }

 private:
  std::string run(const std::vector<std::string>& words) const {
    std::string output;
    if (run_zelctl(processes_, zelctl_, words, &output) != 0)
      throw Failure("the permission table refuses: " + output, kNo);
    return output;
  }

  const std::string zelctl_;
  Processes& processes_;
};

Json abilities_with(const Table& table, uint32_t bits) {
  Json shown = Json::array();
  const Json catalogue = table.ask({"abilities"});
  for (const Json& row : catalogue.at("abilities")) {
    std::string name = row.at("name");
    if (name.starts_with(kPrefix)) name.erase(0, kPrefix.size());
    const int number = row.at("number");
    shown.push_back({{"number", number}, {"name", name}, {"held", (bits >> (number - 1) & 1U) != 0}});
  }
  return shown;
}

Json& ability_named(Json* abilities, std::string wanted) {
  if (wanted.starts_with(kPrefix)) wanted.erase(0, kPrefix.size());
  std::vector<std::string> names;
  for (Json& row : *abilities) {
    names.push_back(row.at("name"));
    if (wanted == names.back() || wanted == row.at("number").dump()) return row;
  }
  throw Failure("there is no ability '" + wanted + "'" + advice_for(wanted, names), kWrongCommandLine);
}

}  // namespace

Json change_ability(const Plan& plan, Processes& processes, const PluginRun& plugin,
                    const std::string& ability, const std::string& change) {
  const std::vector<std::string> changes{"on", "off"};
  if (ability.empty() != change.empty() ||
      (!change.empty() && std::find(changes.begin(), changes.end(), change) == changes.end()))
    throw Failure("a change is an ability and on or off, such as: wan off", kWrongCommandLine);
  const Table table(plan, processes);
  auto bits = static_cast<uint32_t>(table.ask({"show", plugin.appid}).at("abilitybits").get<int64_t>());
  Json abilities = abilities_with(table, bits);
  if (!ability.empty()) {
    Json& row = ability_named(&abilities, ability);
    const uint32_t bit = 1U << (row.at("number").get<unsigned>() - 1);
    row["held"] = change == "on";
    bits = change == "on" ? bits | bit : bits & ~bit;
    table.write(plugin.appid, bits);
  }
  return {{"plugin", plugin.name}, {"appid", plugin.appid}, {"abilities", abilities}};
}

}  // namespace routerbox
