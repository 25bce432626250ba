#pragma once

// What Windows would show itself: the choice of a certificate, and one of them. They are dialogs as pages
// have them, so the browser shows them like any other.

#include <optional>
#include <vector>

#include "window/certificate_view.h"
#include "window/dialog.h"

namespace web {

class CertificatePicker final : public CDialog {
 public:
  explicit CertificatePicker(const std::vector<CertificateView>& all)
      : CDialog("Select Certificate"), m_all(all) {}

  // The place of the certificate that was picked.
  std::optional<size_t> Picked() const { return m_picked; }

  void OnOK() override;
  void OnControl(CWnd& control, Notice notice) override;

 protected:
  void BuildControls() override;

 private:
  void ShowSelected();

  const std::vector<CertificateView>& m_all;
  CListCtrl* m_list = nullptr;
  CEdit* m_uses = nullptr;
  CEdit* m_keyUses = nullptr;
  CStatic* m_thumbprint = nullptr;
  CButton* m_ok = nullptr;
  CButton* m_cancel = nullptr;
  std::optional<size_t> m_picked;
};

class CertificateWindow final : public CDialog {
 public:
  explicit CertificateWindow(const CertificateView& certificate)
      : CDialog("Certificate"), m_certificate(certificate) {}

  void OnControl(CWnd& control, Notice notice) override;

 protected:
  void BuildControls() override;

 private:
  const CertificateView& m_certificate;
};

}  // namespace web
