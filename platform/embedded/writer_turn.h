#pragma once

// Whose turn it is to write. LMDB lets one process write and has the others wait in silence, for as long as
// it takes; so the turn is taken before, where a wait can be told and given up. It is a lock on a file beside
// the store, of which nothing is left when its holder dies.

#include <string>

namespace embedded {

class WriterTurn {
 public:
  WriterTurn() = default;
  ~WriterTurn() { Release(); }
  WriterTurn(const WriterTurn&) = delete;
  WriterTurn& operator=(const WriterTurn&) = delete;

  // Waits; false when the teller of waits (machine::SetWaitTeller) gave up. Where there can be no such file
  // LMDB alone decides.
  bool Take(const std::string& storeFile);
  void Release();

 private:
  int m_file = -1;
};

}  // namespace embedded
