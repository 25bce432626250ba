#include "console/review.h"

#include <algorithm>
#include <unordered_set>

#include "console/describe.h"
#include "platform/text.h"

using nlohmann::ordered_json;

namespace {

// So many rows of a list are told each way.
constexpr size_t kMostRows = 20;

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// The rows of `some` that `others` does not hold.
std::vector<std::string> RowsBesides(std::string_view some, std::string_view others) {
  const std::vector<std::string_view> there = Lines(others);
  std::unordered_multiset<std::string_view> left(there.begin(), there.end());
  std::vector<std::string> besides;
  for (const std::string_view row : Lines(some)) {
    if (const auto found = left.find(row); found != left.end()) {
      left.erase(found);
    } else if (besides.size() < kMostRows) {
      std::string text(row);
      std::replace(text.begin(), text.end(), '\t', ' ');
      besides.push_back(std::move(text));
    }
  }
  return besides;
}

// The rows that are ticked, without that word.
std::string Ticked(std::string_view shown) {
  std::string ticked;
  for (const std::string_view row : Lines(shown)) {
    if (row.starts_with("on ")) ticked += std::string(row.substr(3)) + "\n";
  }
  return ticked;
}

bool IsList(ControlKind kind) {
  return kind == ControlKind::ListBox || kind == ControlKind::ListView || kind == ControlKind::EditableList;
}

std::string Shown(const std::string& value) { return value.empty() ? "(empty)" : OneLine(value); }

}  // namespace

std::optional<ReviewedSetting> CompareSetting(const CTesselPropertyPage& page, size_t control,
                                              const std::string& stored, const std::string& shown) {
  if (stored == shown || !page.EditsSetting(control)) return std::nullopt;
  const CWnd& window = *page.Controls()[control];
  // Of several buttons the one that is ticked tells it all.
  if (window.Kind() == ControlKind::RadioButton && shown != "on") return std::nullopt;
  ReviewedSetting setting;
  setting.control = control;
  setting.name = page.NameOf(control);
  setting.alone = page.EditsField(control);
  const auto* const edit = dynamic_cast<const CEdit*>(&window);
  if (edit != nullptr && edit->password) {
    setting.secret = true;
  } else if (IsList(window.Kind())) {
    setting.list = true;
    setting.ticks = window.HasCheckBoxes();
    const std::string before = setting.ticks ? Ticked(stored) : stored;
    const std::string after = setting.ticks ? Ticked(shown) : shown;
    setting.added = RowsBesides(after, before);
    setting.removed = RowsBesides(before, after);
  } else {
    setting.was = stored;
    setting.now = shown;
  }
  return setting;
}

std::vector<ReviewedPage> Review(const Host& host, size_t first, size_t count, size_t& total) {
  const std::vector<Host::WaitingNode> nodes = host.WaitingNodes();
  total = nodes.size();
  std::vector<ReviewedPage> pages;
  for (size_t i = first; i < nodes.size() && pages.size() < count; ++i) {
    const auto& [page, node] = nodes[i];
    const CTesselPropertyPage::TargetValues values = page->ValuesOf(node);
    ReviewedPage& reviewed = pages.emplace_back(ReviewedPage{node, {}});
    for (size_t control = 0; control < values.waiting.size(); ++control) {
      if (auto setting = CompareSetting(*page, control, values.stored[control], values.waiting[control])) {
        reviewed.settings.push_back(std::move(*setting));
      }
    }
  }
  return pages;
}

ordered_json ReviewJson(const ReviewedSetting& setting) {
  ordered_json json{{"control", setting.control}, {"name", setting.name}, {"alone", setting.alone}};
  if (setting.secret) {
    json["secret"] = true;
  } else if (setting.list) {
    json["added"] = setting.added;
    json["removed"] = setting.removed;
    if (setting.ticks) json["ticks"] = true;
  } else {
    json["was"] = setting.was;
    json["now"] = setting.now;
  }
  return json;
}

ordered_json ReviewJson(const std::vector<ReviewedPage>& pages) {
  ordered_json json = ordered_json::array();
  for (const ReviewedPage& page : pages) {
    ordered_json settings = ordered_json::array();
    for (const ReviewedSetting& setting : page.settings) settings.push_back(ReviewJson(setting));
    json.push_back({{"node", page.node}, {"settings", std::move(settings)}});
  }
  return json;
}

std::string PrintReview(const std::vector<ReviewedPage>& pages) {
  std::string text;
  for (const ReviewedPage& page : pages) {
    text += page.node + "\n";
    if (page.settings.empty()) text += "  settings behind its buttons\n";
    for (const ReviewedSetting& setting : page.settings) {
      text += "  " + setting.name + ": ";
      if (setting.secret) {
        text += "another password";
      } else if (!setting.list) {
        text += Shown(setting.was) + " -> " + Shown(setting.now);
      } else if (setting.added.empty() && setting.removed.empty()) {
        text += "in another order";
      } else {
        std::vector<std::string> rows;
        for (const std::string& row : setting.removed) rows.push_back("-" + row);
        for (const std::string& row : setting.added) rows.push_back("+" + row);
        text += text::Joined(rows, ", ");
      }
      text += "\n";
    }
  }
  return text;
}
