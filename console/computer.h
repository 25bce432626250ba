#pragma once

#include <string>

// The computer of that name, for the life of the object. An embedded one is the local computer meanwhile, so
// that whatever acts on the local one acts on it; what was opened before is closed. Make it outside an event.
class ActingOn {
 public:
  explicit ActingOn(const std::string& name);
  ~ActingOn();
  ActingOn(const ActingOn&) = delete;
  ActingOn& operator=(const ActingOn&) = delete;

  // Under which name pages and keys reach it: empty for the local one.
  const std::string& Name() const { return m_name; }
  // One sentence where the computer is there but can't be opened; else empty.
  const std::string& Why() const { return m_why; }

 private:
  std::string m_name;
  std::string m_why;
  std::string m_before;  // on which the process stood
  bool m_moved = false;
};
