#pragma once

// A table of entries on a page, each a few texts: the list view's rows, and the fields beside it that a
// person edits one entry with. "Set" puts the fields into the table, "Delete" takes the selected row out, and
// a selected row is copied into the fields.

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/form.h"

// A column of the table; the rows of a form whose record is an entry edit the same texts.
template <class Entry>
struct EntryColumn {
  CString Entry::*text;
  bool noCase = true;  // whether two entries differ by the case of this text
};

template <class Entry>
std::vector<std::string> CellsOf(std::span<const EntryColumn<Entry>> columns, const Entry& entry) {
  std::vector<std::string> cells;
  cells.reserve(columns.size());
  for (const EntryColumn<Entry>& column : columns) cells.push_back(entry.*column.text);
  return cells;
}

template <class Entry>
Entry EntryAt(std::span<const EntryColumn<Entry>> columns, const CListCtrl& table, size_t row) {
  Entry entry;
  for (size_t i = 0; i < columns.size(); ++i) entry.*columns[i].text = table.GetItemText(row, i);
  return entry;
}

// Entries go in at the top one after another, so the rows stand in reverse of the list.
template <class Entry>
void ShowEntries(std::span<const EntryColumn<Entry>> columns, const std::vector<Entry>& entries,
                 CListCtrl& table) {
  table.DeleteAllItems();
  for (const Entry& entry : entries) table.InsertItem(0, CellsOf(columns, entry));
}

template <class Entry>
std::vector<Entry> ReadEntries(std::span<const EntryColumn<Entry>> columns, const CListCtrl& table) {
  std::vector<Entry> entries;
  entries.reserve(table.GetItemCount());
  for (size_t row = 0; row < table.GetItemCount(); ++row) entries.push_back(EntryAt(columns, table, row));
  return entries;
}

template <class Entry>
bool EntriesDiffer(std::span<const EntryColumn<Entry>> columns, const std::vector<Entry>& a,
                   const std::vector<Entry>& b) {
  return !std::equal(
      a.begin(), a.end(), b.begin(), b.end(), [columns](const Entry& left, const Entry& right) {
        return std::all_of(columns.begin(), columns.end(), [&](const EntryColumn<Entry>& column) {
          const CString& l = left.*column.text;
          const CString& r = right.*column.text;
          return column.noCase ? text::EqualNoCase(l, r) : l == r;
        });
      });
}

inline constexpr std::string_view kNothingToDelete = "Error: Must select item for deletion.";

// Over a page of the life cycle, whose record is a list of entries. `Page` holds kColumns, and a row of its
// table fills m_table.
template <class Base>
class EntryTablePage : public Base {
 public:
  using Record = typename Base::Record;
  using Entry = typename Record::value_type;

  using Base::Base;

  void ShowRecord(const Record& record) override {
    const CDialog::FillScope filling(*this);
    ShowEntries(Columns(), record, *m_table);
    Base::m_form.Show(FieldsAfterShow());
  }
  // Rows are read from the top, so each visit turns the order round, and a record of two or more differs
  // from the stored one after it.
  void ReadScreen(Record& record) override { record = ReadEntries(Columns(), *m_table); }
  bool Differs(const Record& a, const Record& b) const override { return EntriesDiffer(Columns(), a, b); }

  void Set() {
    Entry entry;
    Base::m_form.Read(entry);
    if ((entry.*Columns().front().text).empty()) return;
    size_t row = 0;
    if (const std::ptrdiff_t selected = m_table->GetSelected(); selected >= 0) {
      row = static_cast<size_t>(selected);
      m_table->DeleteItem(row);
    }
    m_table->InsertItem(row, CellsOf(Columns(), entry));
    ShowFields(FieldsAfterSet());
    Base::TakeChange();
  }

  void Delete() {
    const std::ptrdiff_t selected = m_table->GetSelected();
    if (selected < 0) {
      AfxMessageBox(kNothingToDelete);
      return;
    }
    m_table->DeleteItem(static_cast<size_t>(selected));
    ShowFields({});
    Base::TakeChange();
  }

  void TakeSelection() {
    const std::ptrdiff_t selected = m_table->GetSelected();
    if (selected >= 0) ShowFields(EntryAt(Columns(), *m_table, static_cast<size_t>(selected)));
  }

  CListCtrl* m_table = nullptr;

 protected:
  virtual std::span<const EntryColumn<Entry>> Columns() const = 0;
  // What the fields show by themselves.
  virtual Entry FieldsAfterShow() const { return {}; }
  virtual Entry FieldsAfterSet() const { return {}; }

 private:
  void ShowFields(const Entry& entry) {
    const CDialog::FillScope filling(*this);
    Base::m_form.Show(entry);
  }
};
