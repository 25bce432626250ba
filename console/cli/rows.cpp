#include "console/cli/rows.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <optional>

#include "console/cli/page_command.h"
#include "console/describe.h"
#include "platform/text.h"
#include "window/dialog.h"

namespace {

enum class Verb : unsigned char { Add, Set, Remove };

struct Assignment {
  std::string field;
  std::string value;
};
using Assignments = std::vector<Assignment>;
using Cells = std::vector<std::string>;

using text::Quoted;

// "Variable=PATH" and so on, as a person has given them.
std::string Told(const Assignments& assignments) {
  std::string told;
  for (const Assignment& a : assignments) told += (told.empty() ? "" : ", ") + a.field + "=" + a.value;
  return told;
}

CListCtrl* AsTable(CWnd& control) {
  auto* const table = dynamic_cast<CListCtrl*>(&control);
  return table != nullptr && !table->checkBoxes && table->IsWindowVisible() ? table : nullptr;
}

// One table of a page, with the buttons that edit it: "Set" and "Delete" take the fields that stand beside
// it, "Add", "Edit" and "Remove" ask for them in a dialog.
class TableOnPage {
 public:
  TableOnPage(CDialog& page, CListCtrl& table) : m_page(page), m_table(table) {}

  const std::vector<CListCtrl::Row>& Rows() const { return m_table.Rows(); }
  std::string Name() const { return Quoted(m_table.Name()); }

  // The first of these buttons behind the table, before the next table.
  CWnd* Button(std::initializer_list<std::string_view> captions) const {
    for (const std::string_view caption : captions) {
      bool behind = false;
      for (const auto& control : m_page.Controls()) {
        if (control.get() == &m_table) {
          behind = true;
        } else if (behind && AsTable(*control) != nullptr) {
          break;
        } else if (behind && control->Kind() == ControlKind::Button &&
                   text::EqualNoCase(control->caption, caption)) {
          return control.get();
        }
      }
    }
    return nullptr;
  }

  // Selects the first row of these cells.
  Act Select(const Cells& cells) {
    const auto row = std::find_if(Rows().begin(), Rows().end(),
                                  [&cells](const CListCtrl::Row& one) { return one.cells == cells; });
    return m_table.Select(row - Rows().begin());
  }

  bool HasField(const std::string& field) const {
    return ColumnOf(field) < m_table.columns.size() || m_page.Find(field).control != nullptr;
  }
  // Whether the row holds the value: in the column of that name, or in the field that it fills when it is
  // selected.
  bool Holds(size_t row, const Assignment& wanted) {
    const size_t column = ColumnOf(wanted.field);
    if (column < m_table.columns.size())
      return text::EqualNoCase(m_table.GetItemText(row, column), wanted.value);
    if (!m_table.Select(static_cast<std::ptrdiff_t>(row))) return false;
    const CWnd* const field = m_page.Find(wanted.field).control;
    return field != nullptr && text::EqualNoCase(field->Value(), wanted.value);
  }
  std::vector<size_t> RowsWith(const Assignments& wanted) {
    std::vector<size_t> rows;
    for (size_t row = 0; row < Rows().size(); ++row) {
      if (std::all_of(wanted.begin(), wanted.end(), [&](const Assignment& a) { return Holds(row, a); }))
        rows.push_back(row);
    }
    return rows;
  }
  size_t Count(const Cells& cells) const {
    return static_cast<size_t>(std::count_if(
        Rows().begin(), Rows().end(), [&cells](const CListCtrl::Row& row) { return row.cells == cells; }));
  }

 private:
  size_t ColumnOf(const std::string& field) const {
    return static_cast<size_t>(std::find_if(m_table.columns.begin(), m_table.columns.end(),
                                            [&](const CListCtrl::Column& column) {
                                              return text::EqualNoCase(column.title, field);
                                            }) -
                               m_table.columns.begin());
  }

  CDialog& m_page;
  CListCtrl& m_table;
};

// The command on one row, up to and with Apply.
class RowCommand {
 public:
  RowCommand(PageCommand& command, Verb verb) : m_command(command), m_verb(verb) {}

  // Takes the words apart and finds the table that they mean; a failure says why not.
  std::optional<Outcome> Take(const std::vector<std::string>& words);
  Outcome Run();

 private:
  CDialog& Page() { return *m_command.host->Page(); }
  TableOnPage Table() { return {Page(), *m_table}; }
  std::optional<Outcome> FindTable(std::string_view name);
  std::optional<Outcome> FindRow();
  std::optional<Outcome> Fill();
  std::optional<Outcome> Delete();
  std::optional<Outcome> Press(CWnd* button, std::string_view captions);
  Outcome Apply();
  bool IsLeft() { return Table().Count(m_cells) >= m_count; }
  // Whether the row holds these before anything was done.
  bool FitsAlready(const Assignments& wanted);
  // What the row is to hold in the end, as far as the page shows it.
  Assignments Wanted();

  PageCommand& m_command;
  Verb m_verb;
  CListCtrl* m_table = nullptr;
  Assignments m_which;    // of the row that is there
  Assignments m_changes;  // what its fields are to hold
  Cells m_cells;          // of that row
  size_t m_count = 0;     // rows of the same cells
};

std::optional<Outcome> RowCommand::Take(const std::vector<std::string>& words) {
  const bool named = !words.empty() && words.front().find('=') == std::string::npos;
  if (auto failure = FindTable(named ? std::string_view(words.front()) : std::string_view())) return failure;
  for (size_t i = named ? 1 : 0; i < words.size(); ++i) {
    const auto parts = SplitAssignment(words[i]);
    if (!parts) return Failed(Quoted(words[i]) + " is not of the form FIELD=VALUE.", Status::WrongUse);
    m_changes.push_back({std::string(parts->first), std::string(parts->second)});
  }
  if (m_changes.empty()) return Failed("\"row\" needs FIELD=VALUE.", Status::WrongUse);
  return std::nullopt;
}

std::optional<Outcome> RowCommand::FindTable(std::string_view name) {
  std::vector<std::string> names;
  for (const auto& control : Page().Controls()) {
    CListCtrl* const table = AsTable(*control);
    if (table == nullptr) continue;
    names.push_back(table->Name());
    if (name.empty() || text::EqualNoCase(names.back(), name)) m_table = table;
  }
  const std::string node = Quoted(m_command.host->NodePath());
  if (names.empty()) return Failed(node + " has no table.");
  if (name.empty() && names.size() > 1) return Failed(node + " has the tables " + AllOf(names) + ".");
  if (m_table == nullptr)
    return Failed(node + " has no table " + Quoted(name) + ", but " + AllOf(names) + ".");
  return std::nullopt;
}

// The first assignments say which row: as many of them as it takes to leave one. The others are its changes.
std::optional<Outcome> RowCommand::FindRow() {
  TableOnPage table = Table();
  std::vector<size_t> found;
  while (!m_changes.empty() && (m_which.empty() || m_verb == Verb::Remove || found.size() > 1)) {
    if (!table.HasField(m_changes.front().field)) {
      return Failed(table.Name() + " has neither a column nor a field " + Quoted(m_changes.front().field) +
                    ".");
    }
    m_which.push_back(m_changes.front());
    std::vector<size_t> rows = table.RowsWith(m_which);
    if (rows.empty()) return Failed(table.Name() + " has no entry with " + Told(m_which) + ".");
    m_changes.erase(m_changes.begin());
    found = std::move(rows);
  }
  m_cells = table.Rows()[found.front()].cells;
  m_count = table.Count(m_cells);
  if (found.size() > m_count) {
    return Failed(table.Name() + " has " + std::to_string(found.size()) + " entries with " + Told(m_which) +
                  ": say more of the one that is meant.");
  }
  if (m_verb == Verb::Set && m_changes.empty()) {
    return Failed("The fields that change are missing behind those that say which entry.", Status::WrongUse);
  }
  return std::nullopt;
}

std::optional<Outcome> RowCommand::Press(CWnd* button, std::string_view captions) {
  if (button == nullptr) return Failed(Table().Name() + " has no button " + std::string(captions) + ".");
  if (const Act act = button->Click(); !act) return Failed(act.refusal);
  return Unfinished(m_command.frontEnd);
}

// Selects the row that is meant, where one is, and brings the changes into the fields or the dialog.
std::optional<Outcome> RowCommand::Fill() {
  TableOnPage table = Table();
  if (m_verb == Verb::Set) {
    if (const Act act = table.Select(m_cells); !act) return Failed(act.refusal);
  }
  if (CWnd* const asks = table.Button({m_verb == Verb::Add ? "Add" : "Edit"})) {
    for (const auto& [field, value] : m_changes)
      m_command.frontEnd.AddAnswer(std::string(field).append("=").append(value));
    m_command.frontEnd.AddAnswer("OK");
    return Press(asks, {});
  }
  for (const auto& [field, value] : m_changes) {
    if (const Act act = Page().Put(field, value); !act) return Failed(act.refusal);
  }
  return Press(table.Button({"Set"}), m_verb == Verb::Add ? "\"Add\" or \"Set\"" : "\"Edit\" or \"Set\"");
}

std::optional<Outcome> RowCommand::Delete() {
  TableOnPage table = Table();
  if (const Act act = table.Select(m_cells); !act) return Failed(act.refusal);
  return Press(table.Button({"Remove", "Delete"}), "\"Remove\" or \"Delete\"");
}

Outcome RowCommand::Apply() {
  Outcome outcome = m_command.Apply(false);
  outcome.text += m_command.Count();
  return Unfinished(m_command.frontEnd).value_or(outcome);
}

bool RowCommand::FitsAlready(const Assignments& wanted) {
  const std::vector<size_t> rows = Table().RowsWith(wanted);
  return std::any_of(rows.begin(), rows.end(),
                     [&](size_t row) { return Table().Rows()[row].cells == m_cells; });
}

Assignments RowCommand::Wanted() {
  Assignments wanted = m_changes;
  for (const Assignment& which : m_which) {
    const bool changes = std::any_of(m_changes.begin(), m_changes.end(), [&](const Assignment& change) {
      return text::EqualNoCase(change.field, which.field);
    });
    if (!changes) wanted.push_back(which);
  }
  std::erase_if(wanted, [&](const Assignment& a) { return !Table().HasField(a.field); });
  return wanted;
}

// Some pages store anew a part of what was taken out of their tables. A row that is back after Apply is then
// taken out again, as a person would do it, until that changes nothing more: other pages go on showing a row
// of which the store holds nothing.
Outcome RowCommand::Run() {
  const auto stored = [] { return StoredChanges::OfEvent(StoredChanges::Keep::Counts); };
  if (m_verb != Verb::Add) {
    if (auto failure = FindRow()) return *failure;
  }
  const Assignments wanted = Wanted();
  const bool leaves = m_verb == Verb::Remove || (m_verb == Verb::Set && !FitsAlready(wanted));
  if (auto failure = m_verb == Verb::Remove ? Delete() : Fill()) return *failure;
  Outcome outcome = Apply();
  for (CString count; leaves && outcome.status == Status::Done && IsLeft() && count != stored().Count();) {
    count = stored().Count();
    if (auto failure = Delete()) return *failure;
    outcome = Apply();
  }
  if (outcome.status != Status::Done) return outcome;
  if (leaves && IsLeft() && stored().Empty())
    return Failed("The page keeps the entry with " + Told(m_which) + ".");
  if (m_verb == Verb::Remove || !Table().RowsWith(wanted).empty()) return outcome;
  std::string why = "The page keeps no entry with " + Told(wanted) + ".";
  if (m_verb == Verb::Add && !wanted.empty() && !Table().RowsWith({wanted.front()}).empty())
    why += " \"row set\" changes one that is there.";
  return Failed(why);
}

Outcome RunOnce(const Settings& settings, Verb verb, const std::string& node,
                const std::vector<std::string>& words, bool alone) {
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  command.BeginWriting(alone);
  if (!command.Select(node)) return Failed(command.why);
  const Host::WaitingEdits before = command.host->Waiting();
  RowCommand row(command, verb);
  std::optional<Outcome> refused = row.Take(words);
  Outcome outcome = refused ? *refused : row.Run();
  NoteOthers(*command.host, before, outcome.notes);
  outcome.messages = command.frontEnd.Messages();
  return command.End(std::move(outcome), true);
}

}  // namespace

void AddRowCommands(CLI::App& app, const Settings& settings, const AddCommand& add) {
  struct Words {
    std::string node;
    std::vector<std::string> rest;
  };
  const auto words = std::make_shared<Words>();
  CLI::App* group = app.add_subcommand("row", "Entries of the tables on pages");
  group->require_subcommand(1);
  const auto verb = [&](const std::string& word, const std::string& help, Verb which) {
    CLI::App* command = add(*group, word, help, [&settings, words, which] {
      return Undisturbed(
          [&](bool alone) { return RunOnce(settings, which, words->node, words->rest, alone); });
    });
    command->add_option("PAGE", words->node)->required();
    command->add_option("[TABLE] FIELD=VALUE", words->rest, "The table only where the page has several")
        ->required();
  };
  verb("add", "Add an entry with these fields", Verb::Add);
  verb("set", "Change the entry that the first fields name: the others are its changes", Verb::Set);
  verb("remove", "Remove the entry with these fields", Verb::Remove);
}
