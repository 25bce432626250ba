#pragma once

// Takes the principals of a folder out of the host's tree, and drops what the pages hold for them. The store
// stays as it is: it only gives the names.

#include <cstdint>
#include <string_view>

#include "platform/text.h"

namespace principal_removal {

struct Tree {
  const CString& computer;
  std::string_view productWord;
  void (*removeNode)(char const* path, std::uint32_t withFamily);  // null where the host offers none
};

// `keyPath` is the folder's key. For the kind "Groups", to the letter, its order gives the names and no page
// is touched.
void RemoveUsers(const Tree& tree, const char* keyPath, std::string_view kind);
void RemoveFileTransferUsers(const Tree& tree, bool isSftp);

}  // namespace principal_removal
