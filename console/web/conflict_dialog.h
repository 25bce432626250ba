#pragma once

// What to do where another program has changed what an Apply would change, too.

#include <string>
#include <vector>

#include "window/dialog.h"

namespace web {

class ConflictDialog final : public CDialog {
 public:
  enum class Choice { KeepWaiting, TakeStored, StoreMine };

  // Page, setting, what is stored now and what the Apply would store.
  using Rows = std::vector<std::vector<std::string>>;
  explicit ConflictDialog(const Rows& rows) : CDialog("Changed Meanwhile"), m_rows(rows) {}

  Choice Chosen() const { return m_choice; }

  void OnControl(CWnd& control, Notice notice) override;

 protected:
  void BuildControls() override;

 private:
  const Rows& m_rows;
  Choice m_choice = Choice::KeepWaiting;
};

}  // namespace web
