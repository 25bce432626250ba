#pragma once

// Names of keys and values: bytes of UTF-8 that compare without case. Two names are one when their
// characters are equal after upper-casing one to one, as Windows does it. A byte that is not UTF-8 is a
// character of its own.

#include <array>
#include <cstdint>
#include <string_view>

namespace embedded {

constexpr size_t kLongestKeyName = 255;  // In 16-bit units, as on Windows.
constexpr size_t kLongestValueName = 16383;

bool SameName(std::string_view a, std::string_view b);
uint32_t HashName(std::string_view name);  // Equal for names that are one.
size_t NameUnits(std::string_view name);   // Its length in 16-bit units.

// A key's name as it stands in the store's order: upper case, and short enough for one of LMDB's keys. A
// name that is too long for that is cut and ends in a digest of the whole; who finds one compares the name.
class FoldedName {
 public:
  explicit FoldedName(std::string_view name);
  std::string_view Text() const { return {m_bytes.data(), m_size}; }
  bool Cut() const { return m_cut; }

 private:
  // 511 is LMDB's limit; the parent's identifier stands before the name.
  static constexpr size_t kCapacity = 511 - sizeof(uint32_t);
  std::array<char, kCapacity> m_bytes;
  size_t m_size = 0;
  bool m_cut = false;
};

}  // namespace embedded
