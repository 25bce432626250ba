#pragma once

// The text and list types that stand for those of the window class library, and the few operations on
// texts that every layer needs. Texts are bytes in the computer's code page.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

using CString = std::string;
using CStringList = std::vector<CString>;

namespace text {

constexpr char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
inline std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = LowerAscii(c);
  return lower;
}

// Negative, zero or positive as `_stricmp` in the "C" locale: letters A to Z only, the rest by byte.
inline int CompareNoCase(std::string_view a, std::string_view b) {
  const size_t shared = std::min(a.size(), b.size());
  for (size_t i = 0; i < shared; ++i) {
    const int difference =
        static_cast<unsigned char>(LowerAscii(a[i])) - static_cast<unsigned char>(LowerAscii(b[i]));
    if (difference != 0) return difference;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

inline bool EqualNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

inline std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// Every occurrence of `from` (not empty) becomes `to`.
inline CString Replaced(std::string_view source, std::string_view from, std::string_view to) {
  CString result;
  result.reserve(source.size());
  for (;;) {
    const size_t at = source.find(from);
    result += source.substr(0, at);
    if (at == std::string_view::npos) return result;
    result += to;
    source.remove_prefix(at + from.size());
  }
}

// The pieces between `separator`; empty pieces are dropped.
inline CStringList Split(std::string_view source, char separator) {
  CStringList pieces;
  while (!source.empty()) {
    const size_t end = std::min(source.find(separator), source.size());
    if (end > 0) pieces.emplace_back(source.substr(0, end));
    source.remove_prefix(std::min(end + 1, source.size()));
  }
  return pieces;
}

inline CString Joined(const CStringList& pieces, std::string_view separator) {
  CString result;
  for (const CString& piece : pieces) {
    if (!result.empty()) result += separator;
    result += piece;
  }
  return result;
}

// The number that a text begins with, as `atoi` reads it; 0 if there is none. One beyond an int becomes the
// nearest int, where `atoi` promises nothing.
inline int ToInt(const CString& text) {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(
      std::clamp<long long>(std::strtoll(text.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

// The text up to the first zero byte, as C functions see it.
inline std::string_view UpToZero(std::string_view bytes) { return bytes.substr(0, bytes.find('\0')); }

}  // namespace text
