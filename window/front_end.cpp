#include "window/front_end.h"

#include "window/dialog.h"

namespace {

// Nobody is there: questions are declined, dialogs cancelled.
class Nobody final : public FrontEnd {
 public:
  void RunModal(CDialog& dialog) override { dialog.EndDialog(Reply::Cancel); }
  Reply ShowMessage(std::string_view, Buttons buttons) override {
    switch (buttons) {
      case Buttons::Ok:
        return Reply::Ok;
      case Buttons::YesNo:
        return Reply::No;
      default:
        return Reply::Cancel;
    }
  }
  std::optional<std::string> PickFile(const FileRequest&) override { return std::nullopt; }
  std::optional<std::string> PickFolder(std::string_view, std::string_view) override { return std::nullopt; }
  void OpenDocument(std::string_view) override {}
  void ShowHelp(std::string_view) override {}
};

Nobody nobody;
FrontEnd* current = nullptr;

}  // namespace

FrontEnd& CurrentFrontEnd() { return current != nullptr ? *current : nobody; }

FrontEnd* SetFrontEnd(FrontEnd* frontEnd) {
  FrontEnd* const before = current;
  current = frontEnd;
  return before;
}

Reply AfxMessageBox(std::string_view text, Buttons buttons) {
  return CurrentFrontEnd().ShowMessage(text, buttons);
}
