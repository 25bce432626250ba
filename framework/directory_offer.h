#pragma once

// What pages do after a save about a folder that is not there: they offer to make it.

#include <string_view>

#include "platform/text.h"
#include "platform/win32.h"

struct DirectoryOffer {
  CString computer;             // whose folder it is; empty for the local one
  CString directory;            // as the setting names it
  std::string_view alsoSaid{};  // behind the question, on a line of its own
  bool madeAsTyped = false;     // made on this computer under its own name, whosever it is
  // What the page's edit holds, which is what is asked about and made; null where it is the setting.
  const CString* typed = nullptr;
  void* descriptor = nullptr;  // the security descriptor that it is made with; null for the default one
};

// Asks nothing where the folder is there. A folder that can't be made is told; the setting stays.
void OfferDirectory(const DirectoryOffer& offer);
