#pragma once

// A page or dialog as a table: one row a control, with what it shows of a record and what else is true of it.
// The form makes the controls, fills them from records and reads them back; only what is particular to one
// page stands in that page's own functions. Rows are found by their field or through the member that they
// fill, never by caption: captions come twice on one page.

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "framework/field.h"
#include "framework/smart_edit.h"
#include "framework/static_link.h"
#include "window/dialog.h"

// One row of a list that stands for two flags of the record.
struct Choice {
  std::string_view text;
  bool first;
  bool second;
};

// When a control's enabling follows its condition.
enum class Enabling : unsigned char {
  ShownAndChanged,    // when a record is shown, and when a person changes what the condition reads
  Changed,            // at changes alone: showing a record leaves the control as it stands
  DisabledWhenShown,  // showing a record may disable the control but never enables it
};

struct Condition {
  Predicate holds = nullptr;
  std::span<const Field> reads{};
  Enabling when = Enabling::ShownAndChanged;
};

// What a drop-down list shows for a text that is none of its rows.
enum class Otherwise : unsigned char { NoRow, FirstRow };

struct Row;
using Handler = void (*)(CDialog& dialog, const Row& row, Notice notice);

// What a "Browse" button asks the person for; the answer goes into the edit of the same field.
struct Picker {
  enum class Kind : unsigned char { None, File, Folder };
  Kind kind = Kind::None;
  std::string_view words{};                    // the filter of a file dialog, the title of a folder's
  CString (*start)(const CString&) = nullptr;  // from the edit's text to where the dialog begins
  bool onlyMarks = false;  // the page is marked as modified, and reads the screen when it is next read
};

enum class RowKind : unsigned char {
  Text,
  Picture,
  Group,
  EndGroup,
  Button,
  CheckBox,
  Radio,
  Edit,
  NumberEdit,
  Slider,
  ListBox,
  CheckList,
  ListView,
  EditableList,
  ComboBox,
  ChoiceList,
  Address,
  Date,
  Link,
};

struct Row {
  RowKind kind = RowKind::Text;
  std::string_view caption;
  Field field{};

  Field secondFlag{};                        // the other flag of a list that stands for two
  std::span<const Choice> choices{};         // its rows
  std::span<const std::string_view> rows{};  // rows of a list, or columns of a list view
  std::span<const int> widths{};             // of the columns
  std::string_view text{};  // what a text that can only be read holds from the start, or a radio's own word
  int value = 0;            // the number or flag that a radio button stands for
  bool digitsOnly = false;
  bool multiLine = false;
  bool readOnly = false;
  bool hidden = false;
  bool disabled = false;
  bool sorted = false;
  bool editable = false;
  bool multipleSelection = false;
  bool isDefault = false;          // Enter presses it
  bool forOtherComputers = false;  // shown where the page edits another computer than this one
  bool byBeginning = false;        // a text selects the first row that begins with it
  Otherwise otherwise = Otherwise::NoRow;
  int maxLength = 0;    // bytes that an edit takes; 0 for any number
  bool ranged = false;  // min and max bound a number edit and its slider, or an edit's arrows
  int min = 0;
  int max = 0;
  Condition condition{};
  Picker picker{};
  Handler onChange = nullptr;  // runs instead of the common change handler
  Handler onLeave = nullptr;
  Handler onDoubleClick = nullptr;
  std::unique_ptr<CWnd> (*make)() = nullptr;              // a control class of the row's own
  void (*fill)(CDialog& owner, CWnd& control) = nullptr;  // the owner's member that points at the control
};

// Calls a member function of the owner, with or without the row and the notice.
template <auto Function>
struct HandlerOf;
template <class Owner, void (Owner::*Function)()>
struct HandlerOf<Function> {
  static void Call(CDialog& dialog, const Row&, Notice) { (static_cast<Owner&>(dialog).*Function)(); }
};
template <class Owner, void (Owner::*Function)(const Row&, Notice)>
struct HandlerOf<Function> {
  static void Call(CDialog& dialog, const Row& row, Notice notice) {
    (static_cast<Owner&>(dialog).*Function)(row, notice);
  }
};

// Lets a member of the owner point at the row's control: `Control* Owner::*`.
template <auto Member>
struct MemberOf;
template <class Owner, class Control, Control* Owner::*Member>
struct MemberOf<Member> {
  static void Fill(CDialog& owner, CWnd& control) {
    static_cast<Owner&>(owner).*Member = dynamic_cast<Control*>(&control);
  }
};

template <class Control>
std::unique_ptr<CWnd> MakeOwn() {
  return std::make_unique<Control>();
}

// A row with what a table may say of it; tables keep plain rows.
template <class Record>
struct TypedRow : Row {
  constexpr TypedRow DigitsOnly() const { return With(&Row::digitsOnly, true); }
  constexpr TypedRow MultiLine() const { return With(&Row::multiLine, true); }
  constexpr TypedRow ReadOnly() const { return With(&Row::readOnly, true); }
  constexpr TypedRow Hidden() const { return With(&Row::hidden, true); }
  constexpr TypedRow Disabled() const { return With(&Row::disabled, true); }
  constexpr TypedRow Sorted() const { return With(&Row::sorted, true); }
  constexpr TypedRow Editable() const { return With(&Row::editable, true); }
  constexpr TypedRow MultipleSelection() const { return With(&Row::multipleSelection, true); }
  constexpr TypedRow Default() const { return With(&Row::isDefault, true); }
  constexpr TypedRow ForOtherComputers() const { return With(&Row::forOtherComputers, true); }
  constexpr TypedRow MaxLength(int bytes) const { return With(&Row::maxLength, bytes); }
  constexpr TypedRow Range(int low, int high) const {
    return With(&Row::ranged, true).With(&Row::min, low).With(&Row::max, high);
  }
  constexpr TypedRow ByBeginning(Otherwise otherwise) const {
    return With(&Row::byBeginning, true).With(&Row::otherwise, otherwise);
  }
  // Enabled while the predicate, which takes the record and reads these fields of it, says so.
  template <auto Question, auto... Reads>
  constexpr TypedRow EnabledWhen(Enabling when = Enabling::ShownAndChanged) const {
    return With(&Row::condition, Condition{Asks<Record, Question>, kFields<Record, Reads...>, when});
  }
  template <auto Flag>
  constexpr TypedRow EnabledBy(Enabling when = Enabling::ShownAndChanged) const {
    return With(&Row::condition, Condition{AsksFlag<Record, Flag>, kFields<Record, Flag>, when});
  }
  template <auto Flag>
  constexpr TypedRow DisabledBy(Enabling when = Enabling::ShownAndChanged) const {
    return With(&Row::condition, Condition{AsksFlag<Record, Flag, true>, kFields<Record, Flag>, when});
  }
  template <auto Function>
  constexpr TypedRow On() const {
    return With(&Row::onChange, &HandlerOf<Function>::Call);
  }
  template <auto Function>
  constexpr TypedRow OnLeave() const {
    return With(&Row::onLeave, &HandlerOf<Function>::Call);
  }
  template <auto Function>
  constexpr TypedRow OnDoubleClick() const {
    return With(&Row::onDoubleClick, &HandlerOf<Function>::Call);
  }
  template <auto Member>
  constexpr TypedRow As() const {
    return With(&Row::fill, &MemberOf<Member>::Fill);
  }
  template <class Control>
  constexpr TypedRow MadeOf() const {
    return With(&Row::make, &MakeOwn<Control>);
  }

 private:
  template <class Value>
  constexpr TypedRow With(Value Row::*member, std::type_identity_t<Value> value) const {
    TypedRow copy = *this;
    copy.*member = value;
    return copy;
  }
};

// The rows, as a table over one record type names them. Members are those of the record or of its base.
template <class Record>
struct Rows {
  using R = TypedRow<Record>;

  static constexpr R Note(std::string_view text) { return Make(RowKind::Text, text); }
  static constexpr R Group(std::string_view caption) { return Make(RowKind::Group, caption); }
  static constexpr R EndGroup() { return Make(RowKind::EndGroup, {}); }
  // `name` is that of the image, which front ends know.
  static constexpr R Picture(std::string_view name) {
    R row = Make(RowKind::Picture, {});
    row.text = name;
    return row;
  }
  static constexpr R Button(std::string_view caption) { return Make(RowKind::Button, caption); }
  template <auto Member>
  static constexpr R CheckBox(std::string_view caption) {
    return Make(RowKind::CheckBox, caption, FieldOf<Record, Member>());
  }
  // Buttons of one field exclude each other wherever they stand: each stands for a number, for a flag's
  // two values, or for a word. Where the field holds none of them, the first one is ticked.
  template <auto Member>
  static constexpr R Radio(std::string_view caption, int value) {
    R row = Make(RowKind::Radio, caption, FieldOf<Record, Member>());
    row.value = value;
    return row;
  }
  template <auto Member>
  static constexpr R Radio(std::string_view caption, const char* word) {
    R row = Make(RowKind::Radio, caption, FieldOf<Record, Member>());
    row.text = word;
    return row;
  }
  template <auto Member>
  static constexpr R Edit(std::string_view caption) {
    return Make(RowKind::Edit, caption, FieldOf<Record, Member>());
  }
  // Several lines that can only be read and selected.
  static constexpr R ReadOnlyText(std::string_view text) {
    R row = Make(RowKind::Edit, {}).MultiLine().ReadOnly();
    row.text = text;
    return row;
  }
  // Beside the edit of the same field. `start` says where the dialog begins; without it, at the edit's text.
  template <auto Member>
  static constexpr R BrowseFile(std::string_view filter, CString (*start)(const CString&) = nullptr) {
    return Browse<Member>({Picker::Kind::File, filter, start});
  }
  template <auto Member>
  static constexpr R BrowseFolder(std::string_view title, CString (*start)(const CString&) = nullptr) {
    return Browse<Member>({Picker::Kind::Folder, title, start});
  }
  template <auto Member>
  static constexpr R Browse(Picker picker) {
    R row = Make(RowKind::Button, "Browse", FieldOf<Record, Member>());
    row.picker = picker;
    return row;
  }
  // An edit of one whole number; a Slider row that follows is tied to it.
  template <auto Member>
  static constexpr R NumberEdit(std::string_view caption) {
    return Make(RowKind::NumberEdit, caption, FieldOf<Record, Member>());
  }
  static constexpr R Slider(std::string_view caption) { return Make(RowKind::Slider, caption); }
  static constexpr R List(std::string_view caption) { return Make(RowKind::ListBox, caption); }
  // A list view with a check box a row; the page fills and reads it, and the field is what it edits.
  template <auto Member>
  static constexpr R CheckList(std::string_view caption) {
    return Make(RowKind::CheckList, caption, FieldOf<Record, Member>());
  }
  static constexpr R Table(std::string_view caption, std::span<const std::string_view> columns,
                           std::span<const int> widths = {}) {
    R row = Make(RowKind::ListView, caption);
    row.rows = columns;
    row.widths = widths;
    return row;
  }
  // One that the page fills and reads; the field is what it edits.
  template <auto Member>
  static constexpr R Table(std::string_view caption, std::span<const std::string_view> columns) {
    R row = Table(caption, columns);
    row.field = FieldOf<Record, Member>();
    return row;
  }
  // A list whose rows a person types, adds and removes.
  template <auto Member>
  static constexpr R EditableList(std::string_view caption) {
    return Make(RowKind::EditableList, caption, FieldOf<Record, Member>());
  }
  // The selected row's text, or its place where the field is a number.
  template <auto Member>
  static constexpr R DropDown(std::string_view caption, std::span<const std::string_view> rows) {
    R row = Make(RowKind::ComboBox, caption, FieldOf<Record, Member>());
    row.rows = rows;
    return row;
  }
  // One whose selection no field holds.
  static constexpr R DropDown(std::string_view caption, std::span<const std::string_view> rows) {
    R row = Make(RowKind::ComboBox, caption);
    row.rows = rows;
    return row;
  }
  // A drop-down list that stands for two flags. It writes the record only when a person chooses a row, so a
  // pair that no row holds stays as it is stored.
  template <auto First, auto Second>
  static constexpr R ChoiceList(std::string_view caption, std::span<const Choice> choices) {
    R row = Make(RowKind::ChoiceList, caption, FieldOf<Record, First>());
    row.secondFlag = FieldOf<Record, Second>();
    row.choices = choices;
    return row;
  }
  static constexpr R Address(std::string_view caption) { return Make(RowKind::Address, caption); }
  // A day as "2026-01-31"; empty for none.
  template <auto Member>
  static constexpr R Date(std::string_view caption) {
    return Make(RowKind::Date, caption, FieldOf<Record, Member>());
  }
  static constexpr R Link(std::string_view caption) { return Make(RowKind::Link, caption); }

 private:
  static constexpr R Make(RowKind kind, std::string_view caption, Field field = {}) {
    R row;
    row.kind = kind;
    row.caption = caption;
    row.field = field;
    return row;
  }
};

// Rows that several pages share, with a page's own behind them.
template <size_t Shared, size_t Own>
constexpr std::array<Row, Shared + Own> Joined(const std::array<Row, Shared>& shared,
                                               const std::array<Row, Own>& own) {
  std::array<Row, Shared + Own> rows{};
  std::copy(shared.begin(), shared.end(), rows.begin());
  std::copy(own.begin(), own.end(), rows.begin() + Shared);
  return rows;
}

class Form {
 public:
  struct Entry {
    CWnd* control;
    const Row* row;
  };

  // Makes a control for each row and fills the members that rows name. Rows live as long as the program:
  // tables are constants.
  void Build(CDialog& dialog, std::span<const Row> rows);
  std::span<const Entry> Entries() const { return m_entries; }
  // The control's row; null if the form did not make it.
  const Row* RowOf(const CWnd& control) const;
  // The edit or list that shows the field; null if no row does.
  CWnd* ControlOf(const Field& field) const;

  // Puts the record's fields on the screen; fields of other record types stay. The caller keeps the dialog
  // from hearing of it.
  void Show(ConstRecordRef record);
  // Copies what the screen holds into the record's fields.
  void Read(RecordRef record) const;
  // Ties sliders to their edits and gives both the edit's number, after a record was shown.
  void ShowNumbers();
  // Applies the conditions over a record that was shown.
  void EnableShown(ConstRecordRef record);
  // Applies the conditions that read a field which a person has just changed.
  void EnableChanged(const Field& changed, ConstRecordRef record);
  // Takes a person's choice in a list that stands for two flags into the record.
  static void TakeChoice(const Row& row, const CWnd& control, RecordRef record);

  // Runs the row's own handler of the notice; false if it has none.
  static bool Handle(CDialog& dialog, const Row& row, Notice notice);
  // Asks the person for the row's file or folder and puts it into the edit, of which the dialog does not
  // hear. False where the person cancels.
  bool Pick(CDialog& dialog, const Row& row);

 private:
  // Tells the controls which others enable them.
  void NameWhatEnables();
  std::vector<Entry> m_entries;
};
