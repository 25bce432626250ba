#pragma once

// What the event under way has touched, noted in few bytes as it happens. What that amounts to is looked up
// when it is asked for: in the state before the event, and in the one that it makes.

#include <algorithm>
#include <string>
#include <vector>

#include "platform/embedded/store.h"

namespace embedded {

// A set of numbers to which adding is cheap: what was added twice is dropped when it has grown.
template <typename Number>
class NotedNumbers {
 public:
  void Add(Number number) {
    if (!m_numbers.empty() && m_numbers.back() == number) return;
    if (m_numbers.size() >= m_limit) m_limit = std::max(kSmallestLimit, 2 * Sorted().size());
    m_numbers.push_back(number);
  }
  const std::vector<Number>& Sorted() {
    std::ranges::sort(m_numbers);
    m_numbers.erase(std::unique(m_numbers.begin(), m_numbers.end()), m_numbers.end());
    return m_numbers;
  }

 private:
  static constexpr size_t kSmallestLimit = size_t{1} << 20;
  std::vector<Number> m_numbers;
  size_t m_limit = kSmallestLimit;
};

// Keys and values that the write transaction has made need no note: it tells their identifiers from others.
struct EventNotes {
  NotedNumbers<uint64_t> values;  // As kNames has them.
  NotedNumbers<KeyId> removed;
  NotedNumbers<KeyId> read;
  std::vector<std::string> changed_by_others;
  bool writes = false;           // The event has written.
  NotedNumbers<KeyId> readLate;  // What it has read since then, where reads are remembered.
};

// Null outside an event.
inline EventNotes* notes = nullptr;
// The number of the event under way as long as it has only read, or reads are remembered; else 0.
inline uint32_t reading_event = 0;

inline void NoteValue(uint64_t place) {
  if (notes != nullptr && place >> 32 < Transaction::made_from) notes->values.Add(place);
}
inline void NoteRemoved(KeyId key) {
  if (notes != nullptr && key < Transaction::made_from) notes->removed.Add(key);
}
inline void NoteRead(KeyId key) {
  if (reading_event != 0) (notes->writes ? notes->readLate : notes->read).Add(key);
}

void BeginNotes();
void EndNotes();
// The event writes from here on. `before` is null where it has read nothing; else the keys that it has read
// are compared in the two states.
void EndNotesOfReading(Transaction* before, Transaction* now);

}  // namespace embedded
