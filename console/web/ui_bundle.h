#pragma once

// The browser's part, built into the program.

#include <span>
#include <string_view>

namespace web {

struct UiFile {
  const char* path;
  std::string_view type;
  std::string_view bytes;  // compressed with gzip
};

std::span<const UiFile> UiFiles();

}  // namespace web
