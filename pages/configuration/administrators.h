#pragma once

// Who may read and who may change the configuration: the access list of the server's key, as a list of names.

#include <optional>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "store/registry_object.h"

struct CAdminStruct {
  CString name;  // "user", "DOMAIN\user", or that of a well-known account
  bool read = true;
  bool write = true;

  bool operator==(const CAdminStruct&) const = default;
};
using AdminList = std::vector<CAdminStruct>;

// In order of names, with case; equal ones keep their order.
AdminList SortList(AdminList list);
// Without case.
bool ContainsName(const AdminList& list, std::string_view name);

// "Read", "Write", "Read/Write", or nothing; and the flags of such a text.
CString AccessText(const CAdminStruct& entry);
CAdminStruct EntryOf(const CString& name, std::string_view access);

// The entries of a descriptor's text, sorted. An account that has several entries has the first one's rights.
AdminList AdministratorsIn(std::string_view descriptor);

// Those of this computer's server, whichever computer or configuration the page shows. Nothing where the
// access list can't be read.
std::optional<AdminList> ReadAdministrators();

// Makes them the access list of the key and of all below it. Names that no account has drop out, and none at
// all deny everything to everyone. The status of key_security::SetKeySecurity.
DWORD WriteAdministrators(const CTesselRegObject& key, const AdminList& list);

// Asks for the rights of an entry. False, and the entry as it was, where the person cancels.
bool EditAccess(CAdminStruct& entry);
