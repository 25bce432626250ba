#include "pages/configuration/administrators.h"

#include <algorithm>

#include "framework/form_dialog.h"
#include "store/accounts.h"
#include "store/error_text.h"
#include "store/key_security.h"
#include "store/privilege.h"

namespace {

struct Trustee {
  std::string_view code;
  std::string_view name;
};

// The two-letter codes of a descriptor's text (sddl.h), under the names by which this list shows them.
constexpr Trustee kTrustees[] = {
    {"AN", "Anonymous"},
    {"AO", "Account Operators"},
    {"AU", "Authenticated Users"},
    {"BA", "Administrators"},
    {"BG", "Guests"},
    {"BO", "Backup Operators"},
    {"BU", "Users"},
    {"CA", "Certificate Administrators"},
    {"CG", "Creator Group"},
    {"CO", "Creator Owner"},
    {"DA", "Domain Administrators"},
    {"DC", "Domain Computers"},
    {"DD", "Domain Controllers"},
    {"DG", "Domain Guests"},
    {"DU", "Domain Users"},
    {"EA", "Enterprise Admins"},
    {"ED", "Enterprise Domain Controllers"},
    {"IU", "INTERACTIVE"},
    {"LA", "Local Administrator"},
    {"LG", "Local Guests"},
    {"LS", "Local Service"},
    {"MU", "Performance Monitor users"},
    {"NO", "Network Configuration Operators"},
    {"NS", "Network Service"},
    {"NU", "Network logon user"},
    {"PA", "Group Policy Administrators"},
    {"PO", "Printer Operators"},
    {"PS", "Principal Self"},
    {"PU", "Power Users"},
    {"RC", "Restricted Code"},
    {"RD", "Terminal Server Users"},
    {"RE", "Replicator"},
    {"RO", "Enterprise Read-only domain controllers"},
    {"RS", "RAS servers group"},
    {"SA", "Schema Administrators"},
    {"SO", "Server Operations"},
    {"SU", "Service"},
    {"SY", "SYSTEM"},
    {"WD", "Everyone"},
};

// Bytes of an entry of an access list with the longest security identifier, and of what else the list holds.
constexpr size_t kEntrySize = 68;
constexpr size_t kListSize = 40;

// Stands between the rights and the trustee of an entry's text, "A;CI;KR;;;BU".
constexpr std::string_view kBeforeTrustee = ";;;";

CString NameOfTrustee(std::string_view trustee) {
  for (const auto& [code, name] : kTrustees) {
    if (text::EqualNoCase(code, trustee)) return CString(name);
  }
  PSID sid = nullptr;
  if (!ConvertStringSidToSidA(CString(trustee).c_str(), &sid)) return {};
  const LocalMemory<void> held(sid);
  return NameOfAccount(sid);
}

void AddEntry(std::string_view entry, AdminList& list) {
  const size_t end = entry.find(kBeforeTrustee);
  if (end == std::string_view::npos || end == 0) return;  // what stands before the entries
  const CString name = NameOfTrustee(entry.substr(end + kBeforeTrustee.size()));
  const bool known = std::any_of(list.begin(), list.end(),
                                 [&name](const CAdminStruct& other) { return other.name == name; });
  if (name.empty() || known) return;
  // The last letter decides: KR and GR may read, and whatever else there is may write.
  list.push_back({name, true, text::LowerAscii(entry[end - 1]) != 'r'});
}

class CDlgCfgAccess final : public FormDialog<CDlgCfgAccess, CAdminStruct> {
 public:
  explicit CDlgCfgAccess(CAdminStruct entry) : FormDialog("Configuration Access", std::move(entry)) {}
  static const std::span<const Row> kControls;

  CStatic* m_account = nullptr;

 protected:
  bool OnInitDialog() override {
    m_account->caption = "Configuration access for " + m_data.name;
    return FormDialog::OnInitDialog();
  }
};

using D = Rows<CAdminStruct>;
constexpr Row kAccessControls[] = {
    D::Note("").As<&CDlgCfgAccess::m_account>(),  D::CheckBox<&CAdminStruct::read>("Read"),
    D::CheckBox<&CAdminStruct::write>("Write"),   D::Button("OK").Default().On<&CDlgCfgAccess::OnOK>(),
    D::Button("Cancel").On<&CDialog::OnCancel>(),
};
const std::span<const Row> CDlgCfgAccess::kControls = kAccessControls;

}  // namespace

AdminList SortList(AdminList list) {
  std::stable_sort(list.begin(), list.end(),
                   [](const CAdminStruct& a, const CAdminStruct& b) { return a.name < b.name; });
  return list;
}

bool ContainsName(const AdminList& list, std::string_view name) {
  return std::any_of(list.begin(), list.end(),
                     [name](const CAdminStruct& entry) { return text::EqualNoCase(entry.name, name); });
}

CString AccessText(const CAdminStruct& entry) {
  if (entry.read) return entry.write ? "Read/Write" : "Read";
  return entry.write ? "Write" : "";
}

CAdminStruct EntryOf(const CString& name, std::string_view access) {
  return {name, access.starts_with("Read"), access.ends_with("Write")};
}

AdminList AdministratorsIn(std::string_view descriptor) {
  AdminList list;
  for (const CString& piece : text::Split(descriptor, '(')) {
    for (const CString& entry : text::Split(piece, ')')) AddEntry(entry, list);
  }
  return SortList(std::move(list));
}

std::optional<AdminList> ReadAdministrators() {
  constexpr SECURITY_INFORMATION kAccessList =
      PROTECTED_DACL_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  char name[] = R"(MACHINE\SOFTWARE\TesselWorks\SSHD)";
  PSECURITY_DESCRIPTOR found = nullptr;
  if (GetNamedSecurityInfoA(name, SE_REGISTRY_KEY, kAccessList, nullptr, nullptr, nullptr, nullptr, &found) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  const LocalMemory<void> descriptor(found);
  char* written = nullptr;
  if (!ConvertSecurityDescriptorToStringSecurityDescriptorA(found, SDDL_REVISION_1, kAccessList, &written,
                                                            nullptr)) {
    return std::nullopt;
  }
  const LocalMemory<char> descriptorText(written);
  return AdministratorsIn(written);
}

DWORD WriteAdministrators(const CTesselRegObject& key, const AdminList& list) {
  const HeldPrivilege privilege(SE_TAKE_OWNERSHIP_NAME);
  if (!privilege.Asked()) return privilege.Status();
  AccessList access(kEntrySize * list.size() + kListSize);
  for (const CAdminStruct& entry : list) {
    access.Allow(SidOfAccount(entry.name, AskedFor::PrimaryDomain), entry.write ? GENERIC_ALL : GENERIC_READ,
                 OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
  }
  if (access.Descriptor() == nullptr) return ERROR_INVALID_PARAMETER;
  return key_security::SetKeySecurity(key.GetRoot(), key.GetKeyPath().c_str(), key.GetAccess(),
                                      access.Descriptor());
}

bool EditAccess(CAdminStruct& entry) {
  CDlgCfgAccess dialog(entry);
  if (dialog.DoModal() != Reply::Ok) return false;
  entry = dialog.Data();
  return true;
}
