#pragma once

// The layer of every list of users: its words, its controls, and how a user is made.

#include <array>

#include "framework/list_page.h"
#include "pages/principals/user_name.h"

inline constexpr ListRules kUserListRules = {
    .folder = "Users",
    .emptyRow = "Default",
    .cannotDelete = "Default",
    .cannotDeleteText = "Sorry, cannot delete user Default",
    .selectToCopy = "Please Select User to copy",
    .selectToDelete = "Please Select User from List Box",
};

// `box` is the caption of the switch, `list` the name of the list.
template <class Page>
constexpr std::array<Row, 5> UserListControls(std::string_view box, std::string_view list) {
  using C = typename Page::Controls;
  return {
      C::template CheckBox<&Page::Record::allowOnly>(box),
      C::List(list).Sorted().template As<&Page::m_list>(),
      C::Button("New User").template On<&Page::NewPrincipal>(),
      C::Button("Copy User").template On<&Page::CopyPrincipal>(),
      C::Button("Delete User").template On<&Page::DeletePrincipal>(),
  };
}

template <class Page, class Record>
class UserListPage : public ListPage<Page, Record> {
  using Base = ListPage<Page, Record>;

 public:
  using Base::Base;

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override {
    const CString name = AskUserName('?');
    if (name.empty()) return;
    // A name that differs by case alone passes, though the store takes both for one key.
    if (principal_list::Holds(Base::m_current.names, name)) {
      AfxMessageBox("Cannot add user. User " + name + " already exists.");
      return;
    }
    Base::RefreshNode(Base::MakePrincipal(principal_list::DisplayName(name), source, isCopy));
    Base::TakeChange();
  }
};
