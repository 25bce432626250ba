#pragma once

// How what a key holds is handed to a caller: the buffers of the registry functions, and what they promise
// about them. Texts are given in the computer's code page. Inline where enumerations spend their time.

#include <cstring>
#include <string>
#include <string_view>

#include "platform/embedded/codepage.h"
#include "platform/embedded/values.h"
#include "platform/win32.h"

namespace embedded {

// Where a caller wants a value; null parts are not wanted. `name_size` comes with `name`, and `size` with
// `data`.
struct ValueOut {
  LPSTR name;
  LPDWORD name_size;
  LPDWORD type;
  LPBYTE data;
  LPDWORD size;
};

struct SubkeyOut {
  LPSTR name;
  LPDWORD name_size;
  LPSTR class_name;
  LPDWORD class_size;
  PFILETIME last_write;
};

struct KeyOut {
  LPSTR class_name;
  LPDWORD class_size;
  LPDWORD subkeys;
  LPDWORD longest_subkey;
  LPDWORD longest_class;
  LPDWORD values;
  LPDWORD longest_value_name;
  LPDWORD longest_data;
  LPDWORD descriptor_size;
  PFILETIME last_write;
};

// Names and data are short as a rule, and a call for each would be much of an enumeration's time.
inline uint64_t WordAt(const char* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}
inline void CopyShort(void* to, const char* from, size_t size) {
  constexpr size_t kWord = sizeof(uint64_t);
  if (size < kWord || size > 2 * kWord) {
    std::memcpy(to, from, size);
    return;
  }
  const uint64_t first = WordAt(from);
  const uint64_t last = WordAt(from + size - kWord);
  std::memcpy(to, &first, kWord);
  std::memcpy(static_cast<char*>(to) + size - kWord, &last, kWord);
}

// A text of ASCII alone is the same in every code page.
inline bool IsPlain(std::string_view text) {
  constexpr size_t kWord = sizeof(uint64_t);
  uint64_t seen = 0;
  if (text.size() < kWord) {
    for (const char c : text) seen |= static_cast<unsigned char>(c);
  } else {
    for (size_t at = 0; at + kWord <= text.size(); at += kWord) seen |= WordAt(text.data() + at);
    seen |= WordAt(text.data() + text.size() - kWord);
  }
  return (seen & 0x8080808080808080u) == 0;
}

inline LONG GiveBytes(std::string_view text, LPSTR buffer, LPDWORD size) {
  const auto length = static_cast<DWORD>(text.size());
  if (buffer != nullptr) {
    if (*size <= length) return ERROR_MORE_DATA;
    CopyShort(buffer, text.data(), length);
    buffer[length] = '\0';
  }
  if (size != nullptr) *size = length;
  return ERROR_SUCCESS;
}

// As enumerations do: the terminator needs room, and the size is changed when the text was given.
// ERROR_MORE_DATA when it does not fit.
inline LONG GiveText(std::string_view text, LPSTR buffer, LPDWORD size) {
  if (IsPlain(text) || GetACP() == CP_UTF8) return GiveBytes(text, buffer, size);
  return GiveBytes(Utf8ToAcp(text), buffer, size);
}

inline LONG GiveValue(const Value& value, const ValueOut& out) {
  const auto size = static_cast<DWORD>(value.data.size());
  const DWORD room = out.size == nullptr ? 0 : *out.size;
  if (out.type != nullptr) *out.type = value.type;
  if (out.size != nullptr) *out.size = size;
  if (out.data != nullptr && room < size) return ERROR_MORE_DATA;
  if (out.name != nullptr) {
    const LONG status = GiveText(value.name, out.name, out.name_size);
    if (status != 0) return status;
  }
  if (out.data == nullptr || size == 0) return ERROR_SUCCESS;
  CopyShort(out.data, value.data.data(), size);
  // A text without its terminator gets one where there is room, which does not count.
  const bool is_text = value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
  if (is_text && size < room && out.data[size - 1] != 0) out.data[size] = 0;
  return ERROR_SUCCESS;
}

}  // namespace embedded
