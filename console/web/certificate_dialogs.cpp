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

}  // namespace

void CertificatePicker::BuildControls() {
  m_list = &Add(std::make_unique<CListCtrl>(), -1);
  m_list->caption = "Certificates";
  m_list->columns = {{"Issued To", 120}, {"Issued By", 120}, {"Valid", 160},
                     {"For", 160},       {"Key Usage", 160}, {"Thumbprint", 220}};
  for (const CertificateView& certificate : m_all) {
    m_list->InsertItem(m_list->GetItemCount(),
                       {certificate.subject, certificate.issuer, ValidityOf(certificate), UsesOf(certificate),
                        KeyUsesOf(certificate), certificate.thumbprint});
  }
  m_ok = &AddButton(*this, "OK", true);
  m_cancel = &AddButton(*this, "Cancel", false);
  m_ok->EnableWindow(false);
}

void CertificatePicker::OnOK() {
  const std::ptrdiff_t row = m_list->GetSelected();
  if (row < 0) return;
  m_picked = static_cast<size_t>(row);
  EndDialog(Reply::Ok);
}

void CertificatePicker::OnControl(CWnd& control, Notice notice) {
  if (&control == m_list) {
    m_ok->EnableWindow(m_list->GetSelected() >= 0);
    if (notice == Notice::DoubleClicked) OnOK();
  } else if (&control == m_ok) {
    OnOK();
  } else if (&control == m_cancel) {
    OnCancel();
  }
}

void CertificateWindow::BuildControls() {
  const std::pair<const char*, std::string> lines[] = {
      {"Issued To", m_certificate.subject},          {"Issued By", m_certificate.issuer},
      {"Valid", ValidityOf(m_certificate)},          {"For", UsesOf(m_certificate)},
      {"Key Usage", KeyUsesOf(m_certificate)},       {"Thumbprint", m_certificate.thumbprint},
      {"Friendly Name", m_certificate.friendlyName},
  };
  for (const auto& [caption, text] : lines) {
    CEdit& line = Add(std::make_unique<CEdit>(), -1);
    line.caption = caption;
    line.readOnly = true;
    line.SetText(text);
  }
  AddButton(*this, "OK", true);
}

void CertificateWindow::OnControl(CWnd& control, Notice notice) {
  if (control.Kind() == ControlKind::Button && notice == Notice::Clicked) OnOK();
}

}  // namespace web
