#include "console/web/acts.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "console/code_page.h"

namespace web {
namespace {

// Takes the selection from all rows but the given ones, as a click without a key held does.
std::string SelectOnly(CWnd& control, const std::vector<std::uint32_t>& rows) {
  std::string refusal;
  if (control.Kind() == ControlKind::ListView) refusal = control.Select(-1).refusal;
  for (size_t i = 0; i < rows.size() && refusal.empty(); ++i) {
    refusal = control.Select(static_cast<std::ptrdiff_t>(rows[i])).refusal;
  }
  return refusal;
}

struct ControlAct {
  std::string_view name;
  Act (*run)(CWnd& control, const PersonsAct& act);
};

constexpr ControlAct kActs[] = {
    {"click", [](CWnd& control, const PersonsAct&) { return control.Click(); }},
    {"type", [](CWnd& control, const PersonsAct& act) { return control.Type(act.text); }},
    {"enter", [](CWnd& control, const PersonsAct& act) { return control.Enter(act.text); }},
    {"rewrite", [](CWnd& control, const PersonsAct& act) { return control.Rewrite(act.text); }},
    {"leave", [](CWnd& control, const PersonsAct&) { return control.LeaveFocus(); }},
    {"select", [](CWnd& control, const PersonsAct& act) { return control.Select(act.row, act.on); }},
    {"check", [](CWnd& control, const PersonsAct& act) { return control.Check(act.row, act.on); }},
    {"open", [](CWnd& control, const PersonsAct& act) { return control.DoubleClick(act.row); }},
    {"editRow", [](CWnd& control, const PersonsAct& act) { return control.EditRow(act.row, act.text); }},
    {"removeRow", [](CWnd& control, const PersonsAct& act) { return control.RemoveRow(act.row); }},
    {"drag", [](CWnd& control, const PersonsAct& act) { return control.Drag(act.number); }},
    {"spin", [](CWnd& control, const PersonsAct& act) { return control.Spin(act.number); }},
};

// A field that is missing leaves the value; false for one of another type or out of the type's range.
template <class Value>
bool Take(const nlohmann::json& json, const char* name, Value& value) {
  const auto field = json.find(name);
  if (field == json.end()) return true;
  if constexpr (std::is_same_v<Value, std::string>) {
    if (!field->is_string()) return false;
    value = field->template get_ref<const std::string&>();
  } else if constexpr (std::is_same_v<Value, bool>) {
    if (!field->is_boolean()) return false;
    value = field->template get<bool>();
  } else if (field->is_number_unsigned()) {
    const auto number = field->template get<std::uint64_t>();
    if (!std::in_range<Value>(number)) return false;
    value = static_cast<Value>(number);
  } else {
    if (!field->is_number_integer()) return false;
    const auto number = field->template get<std::int64_t>();
    if (!std::in_range<Value>(number)) return false;
    value = static_cast<Value>(number);
  }
  return true;
}

}  // namespace

std::string DoAtControl(CDialog& dialog, const PersonsAct& act, RowCache& rows) {
  if (act.control >= dialog.Controls().size()) return "There is no such control.";
  CWnd& control = *dialog.Controls()[act.control];
  if (act.name == "only") {
    return SelectOnly(control, act.row < 0 ? std::vector<std::uint32_t>{}
                                           : std::vector{static_cast<std::uint32_t>(act.row)});
  }
  if (act.name == "range") {
    // From row to row, of those that the filter shows.
    std::vector<std::uint32_t> between;
    const auto [low, high] = std::minmax(act.row, act.to);
    for (const std::uint32_t row : rows.Matching(control, act.filter, RowOrder::AsTheyStand)) {
      if (row >= low && row <= high) between.push_back(row);
    }
    return SelectOnly(control, between);
  }
  for (const ControlAct& known : kActs) {
    if (known.name == act.name) return known.run(control, act).refusal;
  }
  return "There is no act \"" + act.name + "\".";
}

std::optional<PersonsAct> ActOf(std::string_view text, std::string& why) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_object()) {
    why = "The request is no JSON object.";
    return std::nullopt;
  }
  PersonsAct act;
  const bool fits = Take(json, "act", act.name) && Take(json, "window", act.window) &&
                    Take(json, "control", act.control) && Take(json, "text", act.text) &&
                    Take(json, "row", act.row) && Take(json, "to", act.to) &&
                    Take(json, "number", act.number) && Take(json, "on", act.on) &&
                    Take(json, "filter", act.filter) && Take(json, "tab", act.tab);
  if (fits) {
    for (std::string* text : {&act.text, &act.filter}) {
      std::optional<std::string> taken = code_page::FromUtf8(*text, why);
      if (!taken) {
        why = code_page::ToUtf8(why);
        return std::nullopt;
      }
      *text = *std::move(taken);
    }
    return act;
  }
  why = "The request's JSON has a field of another type.";
  return std::nullopt;
}

std::string RefusalText(std::string_view sentence) { return nlohmann::json{{"refusal", sentence}}.dump(); }

}  // namespace web
