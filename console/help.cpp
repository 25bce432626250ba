#include "console/help.h"

#include <algorithm>

#include "platform/text.h"

using nlohmann::ordered_json;

namespace {

ordered_json Names(const std::string& list) {
  return list.empty() ? ordered_json::array()
                      : ordered_json(text::Split(text::Replaced(list, ", ", ","), ','));
}

struct Mark {
  std::string_view text;
  std::string SettingHelp::*field;
};
constexpr Mark kMarks[] = {{"Default: ", &SettingHelp::byDefault}, {"Under: ", &SettingHelp::under},
                           {"Danger: ", &SettingHelp::danger},     {"Also: ", &SettingHelp::also},
                           {"Rows: ", &SettingHelp::rows},         {"Rank: ", &SettingHelp::rank}};

void TakeLine(std::string_view line, PageHelp& page) {
  if (page.settings.empty()) {
    page.about.append(line).append("\n");
    return;
  }
  SettingHelp& setting = page.settings.back();
  for (const Mark& mark : kMarks) {
    if (!line.starts_with(mark.text)) continue;
    setting.*mark.field = line.substr(mark.text.size());
    return;
  }
  if (line.empty()) return;
  if (!setting.text.empty()) setting.text += ' ';
  setting.text += line;
}

void TakeFile(std::string_view text, std::vector<PageHelp>& all) {
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.starts_with("# ")) {
      PageHelp& page = all.emplace_back();
      const size_t arrow = std::min(line.find(" > "), line.size());
      page.title = line.substr(2, arrow - 2);
      if (arrow < line.size()) page.dialog = line.substr(arrow + 3);
    } else if (line.starts_with("## ") && !all.empty()) {
      all.back().settings.emplace_back().name = line.substr(3);
    } else if (!all.empty()) {
      TakeLine(line, all.back());
    }
  }
}

}  // namespace

std::string_view BareName(std::string_view name) {
  while (!name.empty() && (name.back() == ' ' || name.back() == ':')) name.remove_suffix(1);
  return name;
}

const SettingHelp* PageHelp::Of(std::string_view name) const {
  const auto found = std::find_if(settings.begin(), settings.end(), [name](const SettingHelp& setting) {
    return text::EqualNoCase(BareName(setting.name), BareName(name));
  });
  return found == settings.end() ? nullptr : &*found;
}

const std::vector<PageHelp>& AllHelp() {
  static const std::vector<PageHelp> all = [] {
    std::vector<PageHelp> pages;
    for (const std::string_view text : HelpTexts()) TakeFile(text, pages);
    for (PageHelp& page : pages) {
      while (page.about.ends_with('\n')) page.about.pop_back();
    }
    return pages;
  }();
  return all;
}

const PageHelp* HelpOf(const Tree& tree, std::string_view node, std::string_view dialog) {
  for (const std::string& root : tree.Roots()) {
    if (!root.empty() && node.starts_with(root + "::")) node.remove_prefix(root.size() + 2);
  }
  const CTesselPropertyPage* const page = tree.PageOf(node);
  const PageHelp* found = nullptr;
  for (const PageHelp& help : AllHelp()) {
    if (help.dialog != dialog) continue;
    // A page of its own name comes before one that the same page object serves.
    if (help.title == node) return &help;
    if (found == nullptr && page != nullptr && tree.PageOf(help.title) == page) found = &help;
  }
  return found;
}

std::optional<size_t> HelpNumber(const PageHelp* help) {
  if (help == nullptr) return std::nullopt;
  return static_cast<size_t>(help - AllHelp().data());
}

ordered_json HelpJson(const PageHelp& help) {
  ordered_json settings = ordered_json::object();
  for (const SettingHelp& setting : help.settings) {
    settings[std::string(BareName(setting.name))] = {
        {"text", setting.text},     {"default", setting.byDefault}, {"under", setting.under},
        {"danger", setting.danger}, {"rows", Names(setting.rows)},  {"rank", Names(setting.rank)}};
  }
  return {{"title", help.title}, {"about", help.about}, {"settings", std::move(settings)}};
}

std::string PrintHelp(const PageHelp& help) {
  std::string text = help.about + "\n";
  for (const SettingHelp& setting : help.settings) {
    text += "\n" + setting.name + "\n  " + setting.text + "\n";
    if (!setting.byDefault.empty()) text += "  Default: " + setting.byDefault + "\n";
    if (!setting.under.empty()) text += "  Counts while \"" + setting.under + "\" is on.\n";
    if (!setting.danger.empty()) text += "  Danger: " + setting.danger + "\n";
  }
  return text;
}
