#pragma once

// What the host hands to the extension: flags and callbacks. Each entry is as wide as a pointer, and its
// place is part of the interface between the two.

#include <cstddef>
#include <cstdint>

#include "platform/text.h"

struct PropExtContext {
  std::uint32_t configServerMode;  // nonzero: targets begin with the name of a stored configuration
  std::uint32_t unusedHalf;
  // Two numbers that are always 65535 and 4 follow the path of a principal's new node.
  void (*pfnAddNode)(char const* path, std::uint32_t, std::uint32_t);
  void (*pfnRefreshNode)(char const* path);
  void (*pfnRemoveNode)(char const* path, std::uint32_t withFamily);
  void* unused4;
  void* unused5;
  void (*pfnBeforeRestore)();
  void* unused7;
  void (*pfnAfterImport)();
  std::uint32_t (*pfnHasUnsavedChanges)(PropExtContext* self);
  // Writes the title of the page at `pagePath` into `title`.
  void (*pfnMakeTitle)(char const* computer, char const* productWord, char const* pagePath, CString* title);
  char fileTransferListTitle[13 * sizeof(void*)];
  void (*pfnInit)(char const* baseKey, std::uint32_t firstPageId);
  // 0 for success, 0xFFFFFFFF when the file is not for the product, else a system error code.
  std::uint32_t (*pfnImportSettings)(CString product, CString file);
};

static_assert(sizeof(PropExtContext) == 26 * sizeof(void*));
static_assert(offsetof(PropExtContext, pfnAddNode) == 1 * sizeof(void*));
static_assert(offsetof(PropExtContext, pfnBeforeRestore) == 6 * sizeof(void*));
static_assert(offsetof(PropExtContext, pfnAfterImport) == 8 * sizeof(void*));
static_assert(offsetof(PropExtContext, pfnMakeTitle) == 10 * sizeof(void*));
static_assert(offsetof(PropExtContext, fileTransferListTitle) == 11 * sizeof(void*));
static_assert(offsetof(PropExtContext, pfnInit) == 24 * sizeof(void*));
static_assert(offsetof(PropExtContext, pfnImportSettings) == 25 * sizeof(void*));
