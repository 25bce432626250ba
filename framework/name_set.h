#pragma once

// Names to be looked up among very many, by their exact bytes. The names stay where they are: the set is one
// table of their places, without a node for each.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/text.h"

class NameSet {
 public:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  // `names` outlives the set and stays as it is.
  explicit NameSet(const CStringList& names) : m_names(names), m_slots(std::bit_ceil(names.size() * 2 + 1)) {
    for (size_t place = 0; place < names.size(); ++place) {
      std::uint32_t& slot = m_slots[SlotOf(names[place])];
      if (slot == 0) slot = static_cast<std::uint32_t>(place + 1);
    }
  }

  // The first place at which the name stands, kNone for none.
  size_t Find(std::string_view name) const {
    const std::uint32_t slot = m_slots[SlotOf(name)];
    return slot == 0 ? kNone : slot - 1;
  }
  bool Holds(std::string_view name) const { return Find(name) != kNone; }

 private:
  // The slot of the name, or the free one where it belongs.
  size_t SlotOf(std::string_view name) const {
    const size_t mask = m_slots.size() - 1;
    size_t slot = std::hash<std::string_view>()(name) & mask;
    while (m_slots[slot] != 0 && m_names[m_slots[slot] - 1] != name) slot = (slot + 1) & mask;
    return slot;
  }

  std::span<const CString> m_names;
  std::vector<std::uint32_t>
      m_slots;  // places counted from 1, 0 for a free slot; at most half of them are taken
};
