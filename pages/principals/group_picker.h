#pragma once

// The dialog that picks groups among those of a computer or a domain.

#include "framework/form.h"

struct GroupQuery {
  CString system;  // "\\" and a computer's name, or a domain
};

class CDlgAddGroups final : public CDialog {
 public:
  CDlgAddGroups();

  // The picked groups as DOMAIN\name, in reverse of their rows.
  const CStringList& GetChosen() const { return m_chosen; }

  void Refresh();
  void AddChosen();
  void RemoveChosen();
  void OnOK() override;

 protected:
  void BuildControls() override;
  bool OnInitDialog() override;
  void OnControl(CWnd& control, Notice notice) override;

 private:
  Form<CDlgAddGroups, GroupQuery> m_form;
  GroupQuery m_query;
  CStringList m_chosen;
};
