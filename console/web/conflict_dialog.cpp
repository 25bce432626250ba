#include "console/web/conflict_dialog.h"

namespace web {
namespace {

constexpr std::string_view kTakeStored = "Take What Is Stored";
constexpr std::string_view kStoreMine = "Store Mine";

}  // namespace

void ConflictDialog::BuildControls() {
  Add(std::make_unique<CStatic>(), -1).caption =
      "Another program has changed these settings since they were shown here. Nothing was stored.";
  CListCtrl& list = Add(std::make_unique<CListCtrl>(), -1);
  list.caption = "Changed Meanwhile";
  list.columns = {{"Page", 220}, {"Setting", 200}, {"Stored Now", 180}, {"Yours", 180}};
  for (const std::vector<std::string>& row : m_rows) list.InsertItem(list.GetItemCount(), row);
  for (const std::string_view caption : {kTakeStored, kStoreMine, std::string_view("Cancel")}) {
    Add(std::make_unique<CButton>(), -1).caption = caption;
  }
}

void ConflictDialog::OnControl(CWnd& control, Notice notice) {
  if (notice != Notice::Clicked) return;
  if (control.caption == kTakeStored) m_choice = Choice::TakeStored;
  if (control.caption == kStoreMine) m_choice = Choice::StoreMine;
  m_choice == Choice::KeepWaiting ? OnCancel() : EndDialog(Reply::Ok);
}

}  // namespace web
