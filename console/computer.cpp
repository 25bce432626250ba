#include "console/computer.h"

#include <algorithm>

#include "platform/machine.h"
#include "platform/text.h"
#include "platform/win32.h"

namespace {

bool IsOwnName(const std::string& name) {
  char own[MAX_COMPUTERNAME_LENGTH + 1] = "";
  DWORD size = sizeof own;
  return name.empty() || (GetComputerNameA(own, &size) && text::EqualNoCase(name, own));
}

bool IsEmbedded(const std::string& name) {
  const std::vector<std::string> names = machine::Computers();
  return std::any_of(names.begin(), names.end(),
                     [&name](const std::string& other) { return text::EqualNoCase(name, other); });
}

}  // namespace

ActingOn::ActingOn(const std::string& name) : m_before(machine::StandsOn()) {
  if (IsOwnName(name)) return;
  if (!IsEmbedded(name)) {
    m_name = name;
    return;
  }
  const machine::Outcome there = machine::StandOn(name);
  m_moved = static_cast<bool>(there);
  m_why = there.sentence;
}

ActingOn::~ActingOn() {
  if (m_moved) machine::StandOn(m_before);
}
