#include <iostream>

#include "console/cli/command.h"
#include "console/code_page.h"
#include "console/describe.h"

namespace {

constexpr size_t kLongestSentence = 2000;

// Goes up when a field goes or changes its meaning; a new field leaves it.
constexpr int kJsonVersion = 1;

// What came from a file or the store is shown, and not obeyed, by the terminal: control characters stand as
// "\x1b", the second set of them, which UTF-8 writes in two bytes, as "\x9b".
std::string Shown(std::string_view stored) {
  const std::string text = code_page::ToUtf8(stored);
  std::string shown;
  shown.reserve(text.size());
  const auto escape = [&shown](unsigned char c) {
    constexpr char kDigits[] = "0123456789abcdef";
    shown += "\\x";
    shown += kDigits[c >> 4];
    shown += kDigits[c & 15];
  };
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
    if (c == 0xC2 && next >= 0x80 && next < 0xA0) {
      escape(next);
      ++i;
    } else if ((c < ' ' && c != '\n' && c != '\t' && c != '\r') || c == 0x7F) {
      escape(c);
    } else {
      shown += text[i];
    }
  }
  return shown;
}

// A sentence that quotes what it was given is cut where that was long.
std::string Sentence(std::string_view text) {
  if (text.size() <= kLongestSentence) return Shown(text);
  return Shown(text.substr(0, kLongestSentence)) + "... (" + std::to_string(text.size()) + " bytes)";
}

}  // namespace

int Print(const Settings& settings, const Outcome& outcome) {
  if (settings.json) {
    nlohmann::ordered_json json;
    json["version"] = kJsonVersion;
    json["status"] = static_cast<int>(outcome.status);
    json["error"] = outcome.error;
    json["notes"] = outcome.notes;
    for (const std::string& warning : outcome.warnings) json["notes"].push_back(warning);
    json["messages"] = outcome.messages;
    json["data"] = outcome.data;
    std::cout << DumpJson(json) << '\n';
  } else {
    std::cout << Shown(outcome.text);
    for (const std::string& message : outcome.messages) {
      // Where it is the reason of a failure, the sentence below says it.
      if (outcome.error.find(message) == std::string::npos) std::cout << Sentence(message) << '\n';
    }
    for (const std::string& note : outcome.notes) std::cout << Sentence(note) << '\n';
    for (const std::string& warning : outcome.warnings)
      std::cerr << "marrowen: " << Sentence(warning) << '\n';
    if (!outcome.error.empty()) std::cerr << "marrowen: " << Sentence(outcome.error) << '\n';
  }
  std::cout.flush();
  return std::cout.good() ? static_cast<int>(outcome.status) : static_cast<int>(Status::NotDone);
}
