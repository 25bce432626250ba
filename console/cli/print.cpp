#include <iostream>

#include "console/cli/command.h"
#include "console/describe.h"

int Print(const Settings& settings, const Outcome& outcome) {
  if (settings.json) {
    nlohmann::ordered_json json;
    json["status"] = static_cast<int>(outcome.status);
    json["error"] = outcome.error;
    json["notes"] = outcome.notes;
    for (const std::string& warning : outcome.warnings) json["notes"].push_back(warning);
    json["messages"] = outcome.messages;
    json["data"] = outcome.data;
    std::cout << DumpJson(json) << '\n';
  } else {
    std::cout << outcome.text;
    for (const std::string& message : outcome.messages) std::cout << message << '\n';
    for (const std::string& note : outcome.notes) std::cout << note << '\n';
    for (const std::string& warning : outcome.warnings) std::cerr << "marrowen: " << warning << '\n';
    if (!outcome.error.empty()) std::cerr << "marrowen: " << outcome.error << '\n';
  }
  std::cout.flush();
  return std::cout.good() ? static_cast<int>(outcome.status) : static_cast<int>(Status::NotDone);
}
