#include "console/web/losses_dialog.h"

#include "console/captions.h"

namespace web {

void LossesDialog::BuildControls() {
  CListCtrl& list = Add(std::make_unique<CListCtrl>(), -1);
  list.caption = "Does not come back from the file as it is stored";
  list.columns = {{"Page", 160}, {"Setting", 140}, {"Why", 480}, {"Stored As", 180}};
  for (const ExportLoss& loss : m_losses) {
    list.InsertItem(list.GetItemCount(), {ShownPath(loss.page), loss.setting, loss.why, loss.stored});
  }
  Add(std::make_unique<CButton>(), -1).caption = "Close";
}

void LossesDialog::OnControl(CWnd& /*control*/, Notice notice) {
  if (notice == Notice::Clicked) OnCancel();
}

}  // namespace web
