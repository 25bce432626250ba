#include "console/cli/edits.h"

#include <algorithm>

#include "console/describe.h"
#include "console/key_name.h"
#include "platform/text.h"
#include "store/registry_object.h"
#include "window/scripted_front_end.h"

using nlohmann::ordered_json;

namespace {

constexpr std::string_view kHive = R"(HKEY_LOCAL_MACHINE\)";
constexpr const char* kResults[] = {"no setting", "stored", "stored as", "nothing to store", "not stored"};
constexpr std::string_view kSwitches[] = {"on", "off", "yes", "no"};

// The lines of a text end in CR LF, however they were given.
std::string Lines(std::string_view text) { return text::Replaced(text, "\r\n", "\n"); }

std::string Shown(const CWnd& control, const std::string& row) {
  if (row.empty()) return control.Value();
  for (size_t i = 0; i < control.RowCount(); ++i) {
    if (control.RowText(i) == row) return control.IsChecked(i) ? "on" : "off";
  }
  return "";
}

// The values that the control edits; a slider those of the edit before it, which it moves.
std::vector<std::string> StoredNames(const CDialog& page, const CWnd& control) {
  const std::string* names = &control.storedAs;
  for (size_t i = 1; names->empty() && i < page.Controls().size(); ++i) {
    const bool moves = page.Controls()[i].get() == &control && control.Kind() == ControlKind::Slider;
    if (moves) names = &page.Controls()[i - 1]->storedAs;
  }
  return text::Split(text::Replaced(*names, ", ", ","), ',');
}

// Whether the control alone edits its one value, as text.
bool IsPlain(const CDialog& page, const CWnd& control, const std::vector<std::string>& names) {
  if (names.size() != 1) return false;
  if (control.Kind() != ControlKind::Edit && control.Kind() != ControlKind::ComboBox) return false;
  return std::count_if(page.Controls().begin(), page.Controls().end(),
                       [&control](const auto& other) { return other->storedAs == control.storedAs; }) == 1;
}

std::string StoredText(const std::string& computer, const std::string& path, const std::string& name) {
  CTesselRegObject key;
  if (key.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, path.c_str()) != ERROR_SUCCESS) return {};
  return key.GetStringValue(name.c_str());
}

// The control that CDialog::Put means by the name: where a box and an edit share it, the value decides.
CDialog::Found ControlFor(const CDialog& page, std::string_view name, std::string_view value) {
  const bool isSwitch =
      std::any_of(std::begin(kSwitches), std::end(kSwitches),
                  [value](std::string_view word) { return text::EqualNoCase(word, value); });
  const std::vector<CWnd*> all = page.FindAll(name);
  for (CWnd* control : all) {
    const ControlKind kind = control->Kind();
    const bool isBox = kind == ControlKind::CheckBox || kind == ControlKind::RadioButton;
    if (all.size() > 1 && !isSwitch && !isBox) return {control, -1};
  }
  return page.Find(name);
}

bool IsValueOf(const machine::Change& change, const std::string& path) {
  const std::string_view key = change.key;
  return !change.isKey && key.starts_with(kHive) && SameKeyName(key.substr(kHive.size()), path);
}

bool Holds(const std::vector<std::string>& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [name](const std::string& own) { return SameKeyName(own, name); });
}

// What became of a value that no one has asked for; empty for one that is new.
std::string Replaced(const machine::Change& change) {
  const std::string before = change.before ? TextOf(*change.before) : "";
  if (before.empty()) return {};
  const std::string after = change.after ? TextOf(*change.after) : "";
  const std::string held = change.name + " held ";
  if (after.empty() && before.size() >= kValueBufferSize) {
    return held + std::to_string(before.size()) + " bytes, which the page can't show; it is empty now.";
  }
  return held + QuotedShort(before) + "; it " +
         (!change.after   ? "is gone now."
          : after.empty() ? "is empty now."
                          : "holds " + QuotedShort(after) + " now.");
}

}  // namespace

Act Edits::Assign(Host& host, std::string_view assignment, std::vector<std::string>& notes) {
  CTesselPropertyPage& page = *host.Page();
  const auto parts = SplitAssignment(assignment);
  if (!parts) return {"\"" + std::string(assignment) + "\" is not of the form CAPTION=VALUE."};
  const auto& [name, value] = *parts;
  const CDialog::Found found = ControlFor(page, name, value);
  Assignment made;
  made.node = host.NodePath();
  made.key = page.m_shownKey;
  made.caption = name;
  made.value = value;
  made.control = found.control;
  if (found.row >= 0) made.row = found.control->RowText(static_cast<size_t>(found.row));
  Act act = page.Put(name, value);
  if (!act) return act;
  made.became = Lines(Shown(*made.control, made.row));
  made.names = StoredNames(page, *made.control);
  made.plain = IsPlain(page, *made.control, made.names);
  const bool typed = made.row.empty() && made.control->Kind() == ControlKind::Edit;
  made.asked = typed ? Lines(value) : made.became;
  if (made.asked != made.became) {
    notes.push_back("\"" + made.caption + "\" became " + (made.became.empty() ? "empty" : made.became) +
                    ", not " + made.value + ".");
  }
  std::erase_if(m_all, [&made](const Assignment& other) {
    return other.node == made.node && other.control == made.control && other.row == made.row;
  });
  m_all.push_back(std::move(made));
  return act;
}

Edits::Verdict Edits::Judge(const Host& host, const Assignment& made, const StoredChanges& changes) {
  using Kind = Verdict::Kind;
  if (made.names.empty()) return {};
  if (host.NodePath() != made.node) return {Kind::NotStored, "", "", "its page is no longer there"};
  if (const DWORD status = host.Page()->m_shownStatus; status != ERROR_SUCCESS) {
    return {Kind::NotStored, "", "",
            "the key HKEY_LOCAL_MACHINE\\" + made.key + " can't be opened: " + SystemText(status)};
  }
  Verdict verdict;
  bool pageWrote = false;
  bool verbatim = true;
  for (const machine::Change& change : changes.All()) {
    if (!IsValueOf(change, made.key)) continue;
    pageWrote = true;
    if (!Holds(made.names, change.name)) continue;
    const std::string text = change.after ? TextOf(*change.after) : "";
    if (!verdict.stored.empty()) verdict.stored += ", ";
    verdict.stored += change.name + "=" + OneLine(text);
    verbatim = verbatim && Lines(text) == made.asked;
  }
  const std::string shown = Lines(Shown(*made.control, made.row));
  const bool reads = shown == made.asked;
  const bool isText = made.row.empty() && made.control->Kind() == ControlKind::Edit;
  if (!verdict.stored.empty()) {
    verdict.kind = reads && (verbatim || !isText) ? Kind::Stored : Kind::StoredAs;
    if (!reads && !(made.plain && verdict.stored.ends_with("=" + shown))) verdict.shown = OneLine(shown);
    return verdict;
  }
  std::string texts;
  for (const std::string& name : made.names) {
    const std::string text = StoredText(host.ComputerName(), made.key, name);
    texts += (texts.empty() ? "" : ", ") + name + "=" + QuotedShort(text);
    if (!made.plain) continue;
    const bool same = Lines(text) == made.asked || Lines(text) == made.became;
    verdict.kind = same || (reads && text.empty()) ? Kind::NothingToStore : Kind::NotStored;
  }
  if (!made.plain) verdict.kind = reads ? Kind::NothingToStore : Kind::NotStored;
  if (verdict.kind == Kind::NotStored) {
    verdict.why = pageWrote ? "the page leaves " + texts
                            : "the page takes it for no difference to what is stored, " + texts;
  }
  return verdict;
}

std::string Edits::Describe(const Verdict& verdict) {
  std::string text = kResults[static_cast<size_t>(verdict.kind)];
  if (verdict.kind == Verdict::Kind::StoredAs) text += " " + verdict.stored;
  if (!verdict.shown.empty()) text += ", shown as " + verdict.shown;
  return verdict.why.empty() ? text : text + ": " + verdict.why;
}

// Other values of the keys that were edited: a page writes all of its values when one was edited.
std::vector<std::string> Edits::Besides(const StoredChanges& changes) const {
  std::vector<std::string> notes;
  size_t fresh = 0;
  for (const machine::Change& change : changes.All()) {
    bool edited = false;
    bool asked = false;
    for (const Assignment& made : m_all) {
      if (made.names.empty() || !IsValueOf(change, made.key)) continue;
      edited = true;
      asked = asked || Holds(made.names, change.name);
    }
    if (!edited || asked) continue;
    std::string note = Replaced(change);
    note.empty() ? static_cast<void>(++fresh) : notes.push_back(std::move(note));
  }
  if (fresh > 0) {
    notes.push_back(std::to_string(fresh) + (fresh == 1 ? " more value is" : " more values are") +
                    " new, since a page writes all of its values.");
  }
  return notes;
}

Edits::Report Edits::Look(Host& host, const StoredChanges& changes, bool withNodes) const {
  Report report;
  const std::string front = host.NodePath();
  const Host::WaitingEdits waiting = host.Waiting();
  std::string ignored;
  // By node and reason, so that a list of boxes with one reason gives one sentence.
  std::vector<std::pair<std::string, std::vector<std::string>>> notStored;
  for (const Assignment& made : m_all) {
    if (!made.names.empty() && made.node != host.NodePath()) host.Select(made.node, ignored);
    const Verdict verdict = Judge(host, made, changes);
    const std::string said = made.caption + "=" + OneLine(made.value);
    report.json.push_back({{"node", made.node},
                           {"caption", made.caption},
                           {"value", made.value},
                           {"result", kResults[static_cast<size_t>(verdict.kind)]},
                           {"stored", verdict.stored},
                           {"shown", verdict.shown},
                           {"why", verdict.why}});
    if (made.names.empty()) continue;
    report.text += (withNodes ? made.node + ": " : "") + said + ": " + Describe(verdict) + "\n";
    if (verdict.kind != Verdict::Kind::NotStored) continue;
    const std::string rest = " of \"" + made.node + "\" not stored: " + verdict.why + ".";
    if (notStored.empty() || notStored.back().first != rest) notStored.push_back({rest, {}});
    notStored.back().second.push_back(said);
  }
  for (const auto& [rest, edits] : notStored) report.notStored.push_back(AllOf(edits) + rest);
  // To look at a page is no edit.
  if (host.NodePath() != front) host.Select(front, ignored);
  host.PutBack(waiting);
  report.notes = Besides(changes);
  return report;
}
