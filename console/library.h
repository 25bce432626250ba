#pragma once

// The extension's library, loaded at run time through its exported functions.

#include <cstdint>
#include <optional>
#include <string>

#include "framework/tessel_property_page.h"

struct Library {
  std::uint32_t (*initPropExt)(PropExtContext* context, std::uint32_t firstPageId);
  CTesselPropertyPage* (*getPropPage)(char const* computer, std::uint32_t* pageFlags, std::uint32_t* pageId,
                                      std::int32_t useProductWord);
  void (*closePropExt)();
  void (*removeUsers)(char const* keyPath, char const* kind);
  void (*removeFileTransferUsers)(std::int32_t isSftp);
  void* module;
};

// Loads the library that lies beside the program. Nothing, with one sentence in `why`, when it is missing or
// lacks a function.
std::optional<Library> LoadExtension(std::string& why);

// After closePropExt: the library serves pages once in its life, so that another host needs it loaded anew.
void UnloadExtension(const Library& library);
