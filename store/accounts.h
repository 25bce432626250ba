#pragma once

// Accounts by name and by security identifier, and the access lists that pages build of them.

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "platform/win32.h"

// The bytes of a security identifier; empty for none.
using SidBytes = std::vector<BYTE>;

SidBytes WellKnownSid(WELL_KNOWN_SID_TYPE type);

// Whom to ask for the identifier of a name.
enum class AskedFor : unsigned char { ThisComputer, PrimaryDomain };

// The account's identifier, empty where none is known by that name. A controller of the primary domain is
// asked where there is one, else this computer.
SidBytes SidOfAccount(const CString& name, AskedFor where = AskedFor::ThisComputer);

// The name of an account as administrators know it: "user" on this computer, else "DOMAIN\user"; empty for an
// identifier that stands for none.
CString NameOfAccount(PSID sid);

// A discretionary access list of revision 2 and the descriptor that holds it, which points into this object.
class AccessList {
 public:
  // `bytes` are all that the list has room for.
  explicit AccessList(size_t bytes);
  AccessList(const AccessList&) = delete;
  AccessList& operator=(const AccessList&) = delete;

  // Adds an entry that allows. False where the list has no room for it, or there is no such identifier.
  bool Allow(const SidBytes& sid, DWORD access, DWORD inheritance = 0);
  // Null where the list could not be made.
  SECURITY_DESCRIPTOR* Descriptor();

 private:
  PACL List() { return reinterpret_cast<PACL>(m_bytes.data()); }

  std::vector<BYTE> m_bytes;
  SECURITY_DESCRIPTOR m_descriptor{};
  bool m_made = false;
};
