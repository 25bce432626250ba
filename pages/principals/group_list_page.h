#pragma once

// The layer of every list of groups: its words, its controls, and how groups are made.

#include <array>

#include "framework/ordered_list_page.h"
#include "pages/principals/group_picker.h"

inline constexpr ListRules kGroupListRules = {
    .folder = "Groups",
    .newFolder = "Users",  // a new group starts from the user of that name
    .ownFolder = "Groups",
    .selectToCopy = "Please Select Group to copy",
    .selectToDelete = "Please Select Group from List Box",
    .silentWithoutFolder = true,
};

// `box` is the caption of the switch, `list` the name of the list.
template <class Page>
constexpr std::array<Row, 7> GroupListControls(std::string_view box, std::string_view list) {
  using C = typename Page::Controls;
  return {
      C::template CheckBox<&Page::Record::allowOnly>(box),
      C::List(list).template As<&Page::m_list>(),
      C::Button("New Group").template On<&Page::NewPrincipal>(),
      C::Button("Copy Group").template On<&Page::CopyPrincipal>(),
      C::Button("Delete Group").template On<&Page::DeletePrincipal>(),
      C::Button("Up").template On<&Page::MoveUp>(),
      C::Button("Down").template On<&Page::MoveDown>(),
  };
}

template <class Page, class Record>
class GroupListPage : public OrderedListPage<Page, Record> {
  using Base = OrderedListPage<Page, Record>;

 public:
  using Base::Base;
  static constexpr std::string_view kSelectToMove = "Please Select Group";

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override {
    const CStringList chosen = PickGroups();
    if (chosen.empty()) return;
    CString path;
    for (CString name : chosen) {
      name.erase(0, name.find_first_not_of('\\'));
      if (Base::m_list->FindStringExact(name) >= 0) {
        AfxMessageBox("Cannot add group. Group " + name + " already exists.");
        continue;
      }
      path = Base::MakePrincipal(name, source, isCopy);
    }
    Base::TakeChange();
    // Once for all of them, with the last one's node.
    Base::RefreshNode(path);
  }
};
