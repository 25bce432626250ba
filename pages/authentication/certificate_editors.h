#pragma once

// What the options of certificates open: both work on this computer's server, at once.

#include <vector>

#include "framework/form_dialog.h"
#include "store/certificates.h"

struct AcceptedUsages {
  CStringList identifiers;  // of extended key usages: "1.3.6.1.5.5.7.3.2"
  bool mustHaveAll = false;
};

// Takes object identifiers alone, and says nothing about what it does not take.
class my_lbox final : public CVSListBox {
 protected:
  bool OnEndEditLabel(std::string& text) override;
};

class CDlgEditEKU final : public FormDialog<CDlgEditEKU, AcceptedUsages> {
 public:
  CDlgEditEKU() : FormDialog("Edit EKUs") {}
  static const std::span<const Row> kControls;

  void OnOK() override;

 protected:
  bool OnInitDialog() override;
};

class CDlgEditTrust final : public FormDialog<CDlgEditTrust, NoFields> {
 public:
  CDlgEditTrust() : FormDialog("Dialog") {}
  static const std::span<const Row> kControls;

  void Add();
  void Remove();
  void View();
  void OnOK() override;

  CListCtrl* m_list = nullptr;

 protected:
  bool OnInitDialog() override;

 private:
  void Fill();

  UniqueCertificateStore m_store;
  std::vector<UniqueCertificate> m_certificates;  // of the rows
};
