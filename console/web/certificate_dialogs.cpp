#include "console/web/certificate_dialogs.h"

#include <string_view>
#include <utility>

#include "console/certificate_words.h"

namespace web {
namespace {

CButton& AddButton(CDialog& dialog, std::string_view caption, bool isDefault) {
  CButton& button = dialog.Add(std::make_unique<CButton>(), -1);
  button.caption = caption;
  button.isDefault = isDefault;
  return button;
}

// As a text it is seen whole, which an edit of its length is not.
std::string ThumbprintText(const CertificateView& certificate) {
  return "Thumbprint: " + certificate.thumbprint;
}

CEdit& AddLine(CDialog& dialog, std::string_view caption, std::string_view text) {
  CEdit& line = dialog.Add(std::make_unique<CEdit>(), -1);
  line.caption = caption;
  line.readOnly = true;
  line.SetText(text);
  return line;
}

}  // namespace

// What is too long for a column stands below the list, of the certificate that is selected there.
void CertificatePicker::BuildControls() {
  const FillScope filling(*this);
  m_list = &Add(std::make_unique<CListCtrl>(), -1);
  m_list->caption = "Certificates";
  m_list->columns = {{"Issued To", 180}, {"Issued By", 180}, {"Valid", 330}, {"Friendly Name", 130}};
  for (const CertificateView& certificate : m_all) {
    m_list->InsertItem(m_list->GetItemCount(), {certificate.subject, certificate.issuer,
                                                ValidityOf(certificate), certificate.friendlyName});
  }
  m_uses = &AddLine(*this, "For", "");
  m_keyUses = &AddLine(*this, "Key Usage", "");
  m_thumbprint = &Add(std::make_unique<CStatic>(), -1);
  m_ok = &AddButton(*this, "OK", true);
  m_cancel = &AddButton(*this, "Cancel", false);
  m_ok->EnableWindow(false);
}

void CertificatePicker::ShowSelected() {
  const std::ptrdiff_t row = m_list->GetSelected();
  const CertificateView* const selected = row < 0 ? nullptr : &m_all[static_cast<size_t>(row)];
  m_uses->SetText(selected == nullptr ? "" : UsesOf(*selected));
  m_keyUses->SetText(selected == nullptr ? "" : KeyUsesOf(*selected));
  m_thumbprint->caption = selected == nullptr ? "" : ThumbprintText(*selected);
  m_ok->EnableWindow(selected != nullptr);
}

void CertificatePicker::OnOK() {
  const std::ptrdiff_t row = m_list->GetSelected();
  if (row < 0) return;
  m_picked = static_cast<size_t>(row);
  EndDialog(Reply::Ok);
}

void CertificatePicker::OnControl(CWnd& control, Notice notice) {
  if (&control == m_list) {
    ShowSelected();
    if (notice == Notice::DoubleClicked) OnOK();
  } else if (&control == m_ok) {
    OnOK();
  } else if (&control == m_cancel) {
    OnCancel();
  }
}

void CertificateWindow::BuildControls() {
  const std::pair<const char*, std::string> lines[] = {
      {"Issued To", m_certificate.subject},    {"Issued By", m_certificate.issuer},
      {"Valid", ValidityOf(m_certificate)},    {"For", UsesOf(m_certificate)},
      {"Key Usage", KeyUsesOf(m_certificate)}, {"Friendly Name", m_certificate.friendlyName},
  };
  for (const auto& [caption, text] : lines) AddLine(*this, caption, text);
  Add(std::make_unique<CStatic>(), -1).caption = ThumbprintText(m_certificate);
  AddButton(*this, "Close", true);
}

void CertificateWindow::OnControl(CWnd& control, Notice notice) {
  if (control.Kind() == ControlKind::Button && notice == Notice::Clicked) OnOK();
}

}  // namespace web
