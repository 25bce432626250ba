#include "console/key_name.h"

#include <algorithm>
#include <string>

#include "platform/text.h"
#include "platform/win32.h"

namespace {

using WideText = std::basic_string<WCHAR>;

WideText Wide(std::string_view text) {
  const int size = static_cast<int>(text.size());
  WideText wide(text.size(), WCHAR{});
  const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), size);
  wide.resize(static_cast<size_t>(std::max(length, 0)));
  return wide;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

bool SameKeyName(std::string_view a, std::string_view b) {
  if (text::EqualNoCase(a, b)) return true;
  if (IsAscii(a) && IsAscii(b)) return false;
  const WideText left = Wide(a);
  const WideText right = Wide(b);
  return CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                              static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}
