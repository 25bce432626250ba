// Two pages that each edit the values of a subkey as a table: environment variables, and what ends a program.

#include <algorithm>
#include <array>

#include "framework/principal_page.h"
#include "pages/pages.h"

namespace {

struct EnvVarEntry {
  CString name;
  CString value;
  CString location;
};

struct TerminateEntry {
  CString exe;
  CString text;
};

// A column of the table with the control that edits it, and what that control shows by itself.
template <class Entry>
struct Column {
  std::string_view control;
  CString Entry::*text;
  std::string_view afterShow;
  std::string_view afterSet;
  std::string_view afterDelete;
  Compare compare = Compare::NoCase;
};

template <class EntryType>
struct EntryList {
  using Entry = EntryType;
  std::vector<Entry> entries;
};

constexpr std::string_view kSet = "Set";
constexpr std::string_view kDelete = "Delete";

// `Page` holds kColumns, the first of them being the stored value's name, and says how an entry's data is
// stored (Encode) and read (Decode).
template <class Page, class Record>
class PairTablePage : public PrincipalPage<Page, Record> {
  using Base = PrincipalPage<Page, Record>;
  using Entry = typename Record::Entry;

 public:
  using Base::Base;

  // Entries go in at the top one after another, so the rows stand in reverse of the record.
  void ShowRecord(const Record& record) override {
    const CDialog::FillScope filling(*this);
    List().DeleteAllItems();
    for (const Entry& entry : record.entries) List().InsertItem(0, Cells(entry));
    ShowFields(&Column<Entry>::afterShow);
  }

  // Rows are read from the top, so each visit turns the order round, and a record of two or more differs
  // from the stored one after it.
  void ReadScreen(Record& record) override {
    record.entries.clear();
    for (size_t row = 0; row < List().GetItemCount(); ++row) {
      Entry& entry = record.entries.emplace_back();
      for (size_t i = 0; i < Page::kColumns.size(); ++i) {
        entry.*Page::kColumns[i].text = List().GetItemText(row, i);
      }
    }
  }

  // A value that is too long to be read ends the list.
  void LoadRecord(Record& record, const CString& target) override {
    const auto key = Base::OpenTargetKey(target);
    if (key == nullptr) return;
    record.entries.clear();
    RegistryValue value;
    for (DWORD index = 0; key->EnumValue(index, value) == ERROR_SUCCESS; ++index) {
      if (!value.name.empty()) record.entries.push_back(Page::Decode(value.name, value.Text()));
    }
  }

  // The index goes up after a deletion too, so every other value stays; one that was taken off the table can
  // come back with the next load.
  void SaveRecord(const Record& record, const CString& target) override {
    const auto key = Base::OpenTargetKey(target);
    if (key == nullptr) return;
    RegistryValue value;
    for (DWORD index = 0; key->EnumValue(index, value) == ERROR_SUCCESS; ++index) {
      key->DeleteValue(value.name.c_str());
    }
    for (const Entry& entry : record.entries) {
      key->SetStringValue((entry.*Page::kColumns[0].text).c_str(), Page::Encode(entry));
    }
  }

  bool Differs(const Record& a, const Record& b) const override {
    return !std::equal(a.entries.begin(), a.entries.end(), b.entries.begin(), b.entries.end(),
                       [](const Entry& left, const Entry& right) {
                         for (const Column<Entry>& column : Page::kColumns) {
                           const CString& l = left.*column.text;
                           const CString& r = right.*column.text;
                           if (column.compare == Compare::NoCase ? !text::EqualNoCase(l, r) : l != r)
                             return false;
                         }
                         return true;
                       });
  }

  void Set() {
    Entry entry;
    for (const Column<Entry>& column : Page::kColumns) entry.*column.text = FieldText(column.control);
    if ((entry.*Page::kColumns[0].text).empty()) return;
    size_t row = 0;
    if (const std::ptrdiff_t selected = List().GetSelected(); selected >= 0) {
      row = static_cast<size_t>(selected);
      List().DeleteItem(row);
    }
    List().InsertItem(row, Cells(entry));
    ShowFields(&Column<Entry>::afterSet);
    Base::TakeChange();
  }

  void Delete() {
    const std::ptrdiff_t selected = List().GetSelected();
    if (selected < 0) {
      AfxMessageBox("Error: Must select item for deletion.");
      return;
    }
    List().DeleteItem(static_cast<size_t>(selected));
    ShowFields(&Column<Entry>::afterDelete);
    Base::TakeChange();
  }

  void TakeSelection() {
    const std::ptrdiff_t selected = List().GetSelected();
    if (selected < 0) return;
    const CDialog::FillScope filling(*this);
    for (size_t i = 0; i < Page::kColumns.size(); ++i) {
      ShowField(Page::kColumns[i].control, List().GetItemText(static_cast<size_t>(selected), i));
    }
  }

 private:
  static std::vector<std::string> Cells(const Entry& entry) {
    std::vector<std::string> cells;
    cells.reserve(Page::kColumns.size());
    for (const Column<Entry>& column : Page::kColumns) cells.push_back(entry.*column.text);
    return cells;
  }

  CListCtrl& List() const { return Base::m_form.template Get<CListCtrl>(""); }

  // A field is an edit or a drop-down list.
  CString FieldText(std::string_view caption) const { return this->Find(caption).control->Value(); }
  void ShowField(std::string_view caption, std::string_view text) {
    CWnd& control = *this->Find(caption).control;
    if (control.Kind() == ControlKind::ComboBox) {
      static_cast<CComboBox&>(control).SetText(text);
    } else {
      static_cast<CEdit&>(control).SetText(text);
    }
  }
  void ShowFields(std::string_view Column<Entry>::*text) {
    const CDialog::FillScope filling(*this);
    for (const Column<Entry>& column : Page::kColumns) ShowField(column.control, column.*text);
  }
};

class CPrpUserEnv final : public PairTablePage<CPrpUserEnv, EntryList<EnvVarEntry>> {
 public:
  using PairTablePage::PairTablePage;
  static const Table kTable;

  // "Append" is no row of the list: showing a record leaves it without a selection, and what is then set
  // without choosing a location is stored without one, which reads back as "End".
  static constexpr std::array<Column<EnvVarEntry>, 3> kColumns{{
      {"Variable", &EnvVarEntry::name, "", "", ""},
      {"Value", &EnvVarEntry::value, "", "", ""},
      {"Location if exist", &EnvVarEntry::location, "Append", "End", ""},
  }};
  static EnvVarEntry Decode(const CString& name, const CString& data);
  static CString Encode(const EnvVarEntry& entry);
};

constexpr std::string_view kEnd = "End";
constexpr std::string_view kLocations[] = {kEnd, "Beginning", "Replace"};
// Characters that an environment variable's data takes with its location; what is longer is cut off.
constexpr size_t kDataLimit = 279;

EnvVarEntry CPrpUserEnv::Decode(const CString& name, const CString& data) {
  const size_t comma = data.rfind(',');
  const CString word = comma == CString::npos ? CString() : data.substr(comma + 1);
  const auto* location = std::find_if(std::begin(kLocations), std::end(kLocations),
                                      [&word](std::string_view row) { return text::EqualNoCase(row, word); });
  return {name, data.substr(0, comma), CString(location == std::end(kLocations) ? kEnd : *location)};
}

CString CPrpUserEnv::Encode(const EnvVarEntry& entry) {
  return (entry.value + ',' + entry.location).substr(0, kDataLimit);
}

using Env = CPrpUserEnv;
using EnvControls = Env::Controls;

constexpr std::string_view kEnvColumns[] = {"Variable", "Value", "Location"};
constexpr int kEnvWidths[] = {90, 150, 60};
const EnvControls::R kEnvControls[] = {
    EnvControls::Group("Environment Variables for User Session"),
    EnvControls::Table("", kEnvColumns, kEnvWidths).On(&Env::TakeSelection),
    EnvControls::Edit("Variable"),
    EnvControls::Edit("Value"),
    EnvControls::DropDown("Location if exist", kLocations),
    EnvControls::Button(kSet, &Env::Set),
    EnvControls::Button(kDelete, &Env::Delete),
    EnvControls::EndGroup(),
};

constexpr Env::Table Env::kTable = {
    .caption = "Environment Variables",
    .helpTopic = "::IDH_UserEnvironmentVariables.htm",
    .routing = Routing::PrincipalEnvironment,
    .hears = Hears::ListChangesToo,
    .controls = kEnvControls,
};

class CPrpUserTerminate final : public PairTablePage<CPrpUserTerminate, EntryList<TerminateEntry>> {
 public:
  using PairTablePage::PairTablePage;
  static const Table kTable;

  static constexpr std::array<Column<TerminateEntry>, 2> kColumns{{
      {"Executable Name", &TerminateEntry::exe, "", "", ""},
      {"Termination String", &TerminateEntry::text, "", "", "", Compare::Exact},
  }};
  static TerminateEntry Decode(const CString& name, const CString& data) { return {name, data}; }
  static CString Encode(const TerminateEntry& entry) { return entry.text; }
};

using Terminate = CPrpUserTerminate;
using TerminateControls = Terminate::Controls;

constexpr std::string_view kTerminateColumns[] = {"Executable", "Terminate String"};
constexpr int kTerminateWidths[] = {100, 290};
const TerminateControls::R kTerminateControls[] = {
    TerminateControls::Group("Graceful Application Termination Strings"),
    TerminateControls::Table("", kTerminateColumns, kTerminateWidths).On(&Terminate::TakeSelection),
    TerminateControls::Edit("Executable Name"),
    TerminateControls::Edit("Termination String"),
    TerminateControls::Button(kSet, &Terminate::Set),
    TerminateControls::Button(kDelete, &Terminate::Delete),
    TerminateControls::EndGroup(),
};

constexpr Terminate::Table Terminate::kTable = {
    .caption = "Graceful Termination",
    .helpTopic = "::IDH_UserGracefulTermination.htm",
    .routing = Routing::PrincipalTerminate,
    .hears = Hears::ListChangesToo,
    .controls = kTerminateControls,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserEnvPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserEnv>(arguments);
}

std::unique_ptr<CTesselPropertyPage> MakeUserTerminatePage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserTerminate>(arguments);
}
