#include "store/accounts.h"

#include <array>
#include <memory>
#include <string>

namespace {

using WideText = std::basic_string<WCHAR>;

struct NetBufferFree {
  void operator()(WCHAR* buffer) const { NetApiBufferFree(buffer); }
};

WideText Wide(const CString& text) {
  const int size = MultiByteToWideChar(CP_THREAD_ACP, 0, text.c_str(), -1, nullptr, 0);
  if (size <= 0) return {};
  WideText wide(static_cast<size_t>(size), 0);
  MultiByteToWideChar(CP_THREAD_ACP, 0, text.c_str(), -1, wide.data(), size);
  return wide;
}

}  // namespace

SidBytes WellKnownSid(WELL_KNOWN_SID_TYPE type) {
  DWORD size = 0;
  CreateWellKnownSid(type, nullptr, nullptr, &size);
  SidBytes sid(size);
  if (size == 0 || !CreateWellKnownSid(type, nullptr, sid.data(), &size)) return {};
  return sid;
}

SidBytes SidOfAccount(const CString& name, AskedFor where) {
  const WideText account = Wide(name);
  if (account.empty()) return {};
  LPBYTE found = nullptr;
  if (where == AskedFor::PrimaryDomain && NetGetAnyDCName(nullptr, nullptr, &found) != NERR_Success)
    found = nullptr;
  const std::unique_ptr<WCHAR, NetBufferFree> controller(reinterpret_cast<WCHAR*>(found));
  DWORD sidSize = 0;
  DWORD domainSize = 0;
  SID_NAME_USE use{};
  LookupAccountNameW(controller.get(), account.c_str(), nullptr, &sidSize, nullptr, &domainSize, &use);
  if (sidSize == 0) return {};
  SidBytes sid(sidSize);
  std::vector<WCHAR> domain(size_t{domainSize} + 1);
  if (!LookupAccountNameW(controller.get(), account.c_str(), sid.data(), &sidSize, domain.data(), &domainSize,
                          &use)) {
    return {};
  }
  return sid;
}

CString NameOfAccount(PSID sid) {
  DWORD nameSize = 0;
  DWORD domainSize = 0;
  SID_NAME_USE use{};
  LookupAccountSidA(nullptr, sid, nullptr, &nameSize, nullptr, &domainSize, &use);
  std::vector<char> name(size_t{nameSize} + 1);
  std::vector<char> domain(size_t{domainSize} + 1);
  if (nameSize == 0 ||
      !LookupAccountSidA(nullptr, sid, name.data(), &nameSize, domain.data(), &domainSize, &use)) {
    return {};
  }
  std::array<char, MAX_COMPUTERNAME_LENGTH + 1> computer{};
  auto size = static_cast<DWORD>(computer.size());
  GetComputerNameA(computer.data(), &size);
  if (text::EqualNoCase(domain.data(), computer.data())) return name.data();
  return CString(domain.data()) + '\\' + name.data();
}

AccessList::AccessList(size_t bytes) : m_bytes(bytes) {
  m_made = InitializeAcl(List(), static_cast<DWORD>(bytes), ACL_REVISION) &&
           InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&m_descriptor, TRUE, List(), FALSE);
}

bool AccessList::Allow(const SidBytes& sid, DWORD access, DWORD inheritance) {
  if (!m_made || sid.empty()) return false;
  SidBytes copy = sid;  // the system takes it as if it could change it
  return AddAccessAllowedAceEx(List(), ACL_REVISION, inheritance, access, copy.data()) != FALSE;
}

SECURITY_DESCRIPTOR* AccessList::Descriptor() { return m_made ? &m_descriptor : nullptr; }
