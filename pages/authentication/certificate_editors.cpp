#include "pages/authentication/certificate_editors.h"

#include <algorithm>
#include <array>

#include "platform/certificate_files.h"
#include "store/privilege.h"
#include "store/registry_object.h"

namespace {

using D = Rows<AcceptedUsages>;
using T = Rows<NoFields>;

constexpr const char* kServer = R"(Software\TesselWorks\SSHD)";
constexpr const char* kUsages = "ValidCertificateEKUs";
constexpr const char* kMatch = "AuthCertEKUMatchOperation";

constexpr Row kUsageControls[] = {
    D::Radio<&AcceptedUsages::mustHaveAll>("Certificate MUST have all EKUs", 1),
    D::Radio<&AcceptedUsages::mustHaveAll>("Certificate MAY have any EKU", 0),
    D::EditableList<&AcceptedUsages::identifiers>("EKUs").MadeOf<my_lbox>(),
    D::Button("OK").Default().On<&CDlgEditEKU::OnOK>(),
    D::Button("Cancel").On<&CDialog::OnCancel>(),
};

constexpr std::string_view kColumns[] = {"Issued To", "Issued By", "Expiration Date", "Friendly Name"};
constexpr int kWidths[] = {100, 100, 80, 80};
constexpr const char* kFilter =
    "Certificates (*.cer;*.crt;*.pem;*.der;*.p7b)|*.cer;*.crt;*.pem;*.der;*.p7b|All Files (*.*)|*.*||";

constexpr Row kTrustControls[] = {
    T::Table("Trusted Certificates", kColumns, kWidths)
        .As<&CDlgEditTrust::m_list>()
        .OnDoubleClick<&CDlgEditTrust::View>(),
    T::Button("Add").On<&CDlgEditTrust::Add>(),
    T::Button("Remove").On<&CDlgEditTrust::Remove>(),
    T::Button("OK").Default().On<&CDlgEditTrust::OnOK>(),
};

// Of this computer, whichever one the page shows. Null after a message.
UniqueKey OpenServer() {
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS, key) != ERROR_SUCCESS)
    AfxMessageBox("Error opening key");
  return key;
}

CString ExpirationOf(const CERT_CONTEXT& certificate) {
  SYSTEMTIME day{};
  std::array<char, 64> text{};
  if (!FileTimeToSystemTime(&certificate.pCertInfo->NotAfter, &day)) return {};
  GetDateFormatA(LOCALE_SYSTEM_DEFAULT, DATE_SHORTDATE, &day, nullptr, text.data(),
                 static_cast<int>(text.size()));
  return text.data();
}

// What a certificate's file may hold; nothing for one that is larger or can't be read.
CString ReadFileOfCertificates(const CString& path) {
  constexpr DWORD kLargest = 1 << 20;
  const HANDLE opened =
      CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return {};
  const UniqueHandle file(opened);
  CString bytes(kLargest, '\0');
  DWORD size = 0;
  if (!ReadFile(file.get(), bytes.data(), kLargest, &size, nullptr) || size == kLargest) return {};
  bytes.resize(size);
  return bytes;
}

}  // namespace

const std::span<const Row> CDlgEditEKU::kControls = kUsageControls;
const std::span<const Row> CDlgEditTrust::kControls = kTrustControls;

// Numbers with dots between them.
bool my_lbox::OnEndEditLabel(std::string& text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  char before = '.';
  for (const char c : text) {
    if (!isDigit(c) && (c != '.' || before == '.')) return false;
    before = c;
  }
  return before != '.';
}

bool CDlgEditEKU::OnInitDialog() {
  if (UniqueKey key = OpenServer()) {
    const CTesselRegObject server(HKEY_LOCAL_MACHINE, key.release());
    CString usages = server.GetBinaryValue(kUsages);
    std::replace(usages.begin(), usages.end(), '\0', '\r');
    m_data.identifiers = text::Split(usages, '\r');
    char match[200];
    server.GetStringValue(kMatch, reinterpret_cast<BYTE*>(match), sizeof match);
    m_data.mustHaveAll = text::EqualNoCase(match, "and");
  }
  return FormDialog::OnInitDialog();
}

// The texts' terminators are part of the values here: the server reads them so.
void CDlgEditEKU::OnOK() {
  m_form.Read(m_data);
  if (const UniqueKey key = OpenServer()) {
    CString usages;
    for (const CString& identifier : m_data.identifiers) usages.append(identifier).push_back('\0');
    usages.push_back('\0');
    if (RegSetValueExA(key.get(), kUsages, 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(usages.data()),
                       static_cast<DWORD>(usages.size())) != ERROR_SUCCESS) {
      AfxMessageBox("Error setting value");
    }
    const CString match = m_data.mustHaveAll ? "and" : "or";
    RegSetValueExA(key.get(), kMatch, 0, REG_SZ, reinterpret_cast<const BYTE*>(match.c_str()),
                   static_cast<DWORD>(match.size() + 1));
  }
  FormDialog::OnOK();
}

void CDlgEditTrust::OnOK() {
  m_certificates.clear();
  m_store.reset();
  FormDialog::OnOK();
}

bool CDlgEditTrust::OnInitDialog() {
  Fill();
  return true;
}

void CDlgEditTrust::Fill() {
  const FillScope filling(*this);
  m_list->DeleteAllItems();
  m_certificates.clear();
  // A store may write itself down when it is closed.
  m_store.reset();
  bool keyMade = false;
  m_store = OpenTrustedStore(keyMade);
  if (!m_store) {
    if (keyMade) AfxMessageBox("Error creating store");
    return;
  }
  for (UniqueCertificate& certificate : CertificatesOf(m_store.get())) {
    const CString friendly = Describe(*certificate).friendlyName;
    m_list->InsertItem(0,
                       {CertificateName(*certificate), CertificateName(*certificate, CERT_NAME_ISSUER_FLAG),
                        ExpirationOf(*certificate), friendly.empty() ? "<none>" : friendly});
    m_certificates.insert(m_certificates.begin(), std::move(certificate));
  }
}

void CDlgEditTrust::Add() {
  if (!m_store) return;
  const auto path = CurrentFrontEnd().PickFile({.fileName = "", .filter = kFilter, .contentsOnly = true});
  if (!path) return;
  bool added = false;
  for (const std::string& encoded : CertificatesIn(ReadFileOfCertificates(*path)).certificates) {
    const UniqueCertificate certificate(
        CertCreateCertificateContext(X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoded.data()),
                                     static_cast<DWORD>(encoded.size())));
    added = (certificate && CertAddCertificateContextToStore(m_store.get(), certificate.get(),
                                                             CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) ||
            added;
  }
  if (added) {
    Fill();
  } else {
    AfxMessageBox("The file \"" + *path + "\" holds no certificate that could be added.");
  }
}

void CDlgEditTrust::Remove() {
  const std::ptrdiff_t row = m_list->GetSelected();
  if (!m_store || row < 0) return;
  // The store frees what it is given.
  if (!CertDeleteCertificateFromStore(
          CertDuplicateCertificateContext(m_certificates[static_cast<size_t>(row)].get())))
    return;
  m_list->DeleteItem(static_cast<size_t>(row));
  m_certificates.erase(m_certificates.begin() + row);
}

void CDlgEditTrust::View() {
  const std::ptrdiff_t row = m_list->GetSelected();
  if (row < 0) return;
  CurrentFrontEnd().ShowCertificate(Describe(*m_certificates[static_cast<size_t>(row)]));
  Fill();
}
