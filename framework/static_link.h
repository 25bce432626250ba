#pragma once

// A text that behaves like a hyperlink: a click runs its dialog if it has one, and else opens its link.

#include <string>
#include <string_view>

#include "window/dialog.h"

class CStaticLink : public CStatic {
 public:
  CStaticLink() : CStatic(ControlKind::Link) {}

  // An empty link stands for the control's own caption.
  void SetLink(std::string_view target) { m_link = target; }
  // The dialog is borrowed; null for none.
  void SetDialog(CDialog* dialog) { m_dialog = dialog; }

  std::string Value() const override { return m_link.empty() ? caption : m_link; }

 protected:
  std::string DoClick() override {
    if (m_dialog != nullptr) {
      m_dialog->DoModal();
    } else {
      CurrentFrontEnd().OpenDocument(Value());
    }
    return {};
  }

 private:
  std::string m_link = "https://www.tesselworks.example";
  CDialog* m_dialog = nullptr;
};
