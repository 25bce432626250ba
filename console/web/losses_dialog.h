#pragma once

// What does not come back from a settings file that a person has saved.

#include <vector>

#include "console/export_losses.h"
#include "window/dialog.h"

namespace web {

class LossesDialog final : public CDialog {
 public:
  explicit LossesDialog(const std::vector<ExportLoss>& losses) : CDialog("Not Whole"), m_losses(losses) {}

  void OnControl(CWnd& control, Notice notice) override;

 protected:
  void BuildControls() override;

 private:
  const std::vector<ExportLoss>& m_losses;
};

}  // namespace web
