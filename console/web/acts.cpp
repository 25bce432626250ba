#include "console/web/acts.h"

#include <algorithm>

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
    {"drag", [](CWnd& control, const PersonsAct& act) { return control.Drag(act.number); }},
    {"spin", [](CWnd& control, const PersonsAct& act) { return control.Spin(act.number); }},
};

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
    for (const std::uint32_t row : rows.Matching(control, act.filter)) {
      if (row >= low && row <= high) between.push_back(row);
    }
    return SelectOnly(control, between);
  }
  for (const ControlAct& known : kActs) {
    if (known.name == act.name) return known.run(control, act).refusal;
  }
  return "There is no act \"" + act.name + "\".";
}

PersonsAct ActOf(const nlohmann::json& json) {
  PersonsAct act;
  act.name = json.value("act", act.name);
  act.window = json.value("window", act.window);
  act.control = json.value("control", act.control);
  act.text = json.value("text", act.text);
  act.row = json.value("row", act.row);
  act.to = json.value("to", act.to);
  act.number = json.value("number", act.number);
  act.on = json.value("on", act.on);
  act.filter = json.value("filter", act.filter);
  return act;
}

}  // namespace web
