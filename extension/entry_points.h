#pragma once

// The functions that the library exports, all with C linkage; none of them throws. The host calls
// InitPropExt once, GetPropPage until it gives null, and ClosePropExt once when it is done with the pages.

#include <cstdint>

#include "framework/tessel_property_page.h"
#include "platform/win32.h"

extern "C" {

// Copies the context, which the host may then discard, and starts the sequence of pages anew. Always 1.
std::uint32_t InitPropExt(PropExtContext* context, std::uint32_t firstPageId) noexcept;

// The next page, made if it does not exist yet, for `computer` (null or empty: the local one). `*pageFlags`
// gets 1, and 2 more for the first page and the about page; `*pageId` the page's index plus the first id.
// Null behind the last page, and for a page that could not be made. The library owns the pages.
CTesselPropertyPage* GetPropPage(char const* computer, std::uint32_t* pageFlags, std::uint32_t* pageId,
                                 std::int32_t useProductWord) noexcept;

// Destroys the pages, but for two that live on. The pointers to them are not forgotten.
void ClosePropExt() noexcept;

// The key's access list as a self-relative descriptor that the caller releases with LocalFree, or null.
void* GetKeySecurity(char const* path) noexcept;
// Installs a descriptor over a key and all below it; only the view bits of `access` count.
std::uint32_t SetKeySecurity(HKEY root, char const* path, std::uint32_t access,
                             void* securityDescriptor) noexcept;
// Grants everyone full access to a key and all below it.
std::uint32_t ClearKeySecurity(HKEY root, char const* path, std::uint32_t access) noexcept;

// Take the principals of a folder out of the host's tree.
void RemoveUsers(char const* keyPath, char const* kind) noexcept;
void RemoveFileTransferUsers(std::int32_t isSftp) noexcept;
}
