#pragma once

// The layer of lists whose principals have a rank: it stands in a value of the folder, and two buttons change
// it.

#include <string_view>

#include "framework/list_page.h"
#include "store/diagnostic_log.h"

struct OrderedListRecord : PrincipalListRecord {
  CString order;  // the principals by rank, as the screen shows them, with commas between
};

// Which of the folder's keys are principals of the list.
enum class Counted : unsigned char {
  NamedInOrder,  // a key whose name does not stand in the order, be it as a part of another name, is none
  All,
};

namespace ordered_list {

// Reads the names and the order. Where only named keys count, a name without a key drops out of the order.
void Load(const CTesselRegObject& folder, Counted counted, OrderedListRecord& record);
// Writes the order without a terminator, then the keys.
void Save(CTesselRegObject& folder, const OrderedListRecord& record);

}  // namespace ordered_list

// `Page` holds `static constexpr Counted kCounted` and `static constexpr std::string_view kSelectToMove`,
// what a person is told who moves nothing.
template <class Page, class Record>
class OrderedListPage : public ListPage<Page, Record> {
  using Base = ListPage<Page, Record>;

 public:
  using Base::Base;

  void ReadScreen(Record& record) override;
  bool Differs(const Record& a, const Record& b) const override {
    return !text::EqualNoCase(a.order, b.order) || Base::Differs(a, b);
  }

  void MoveUp() { Move(-1); }
  void MoveDown() { Move(1); }

 protected:
  // By rank; names without a place in the order have no row.
  CStringList RowsOf(const Record& record) const override {
    LogPrint(0, "order = ");
    return text::Split(record.order, ',');
  }
  void LoadFolder(const CTesselRegObject& folder, Record& record) override {
    ordered_list::Load(folder, Page::kCounted, record);
  }
  void SaveFolder(CTesselRegObject& folder, const Record& record) override {
    ordered_list::Save(folder, record);
  }

 private:
  void Move(std::ptrdiff_t by);
};

template <class Page, class Record>
void OrderedListPage<Page, Record>::ReadScreen(Record& record) {
  Base::ReadScreen(record);
  const CListBox& list = *Base::m_list;
  LogPrint(0, "GroupCount = %d\n", static_cast<int>(list.GetCount()));
  record.order.clear();
  for (size_t row = 0; row < list.GetCount(); ++row) {
    if (row > 0) record.order += ',';
    record.order += list.GetRow(row);
  }
  LogPrint(0, "Write Order =|%s|\n", record.order.c_str());
}

template <class Page, class Record>
void OrderedListPage<Page, Record>::Move(std::ptrdiff_t by) {
  const CString selected = Base::Selected();
  if (selected.empty()) {
    AfxMessageBox(Page::kSelectToMove);
    return;
  }
  CListBox& list = *Base::m_list;
  const std::ptrdiff_t row = list.FindStringExact(selected);
  const std::ptrdiff_t place = row + by;
  if (place >= 0 && place < static_cast<std::ptrdiff_t>(list.GetCount())) {
    list.DeleteString(static_cast<size_t>(row));
    list.InsertString(static_cast<size_t>(place), selected);
    list.SetCurSel(place);
  }
  Base::TakeChange();
}
