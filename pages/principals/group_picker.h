#pragma once

// The dialog that picks groups among those of a computer or a domain.

#include "framework/form_dialog.h"

struct GroupQuery {
  CString system;  // "\\" and a computer's name, or a domain
};

class CDlgAddGroups final : public FormDialog<CDlgAddGroups, GroupQuery> {
 public:
  CDlgAddGroups() : FormDialog("Group Access Control") {}
  static const std::span<const Row> kControls;

  // The picked groups as DOMAIN\name, in reverse of their rows.
  const CStringList& GetChosen() const { return m_chosen; }

  void Refresh();
  void AddChosen();
  void RemoveChosen();
  void OnOK() override;

  CListBox* m_allowed = nullptr;
  CListBox* m_available = nullptr;

 protected:
  bool OnInitDialog() override;

 private:
  CStringList m_chosen;
};

// Shows the dialog until groups are picked; none where the person cancels.
CStringList PickGroups();
