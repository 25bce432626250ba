#include "console/computer.h"

#include <algorithm>

#include "console/code_page.h"
#include "console/host.h"
#include "platform/machine.h"
#include "platform/text.h"
#include "platform/win32.h"
#include "window/dialog.h"

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

// Told here, so that each command says it in the same words.
std::string WhyNotReached(const std::string& name) {
  HKEY reached = nullptr;
  const LSTATUS status = RegConnectRegistryA(name.c_str(), HKEY_LOCAL_MACHINE, &reached);
  if (status == ERROR_SUCCESS) {
    RegCloseKey(reached);
    return {};
  }
  std::vector<std::string> all = machine::Computers();
  const std::vector<std::string> near = NearestNames(name, all);
  std::string why = "The computer \"" + name + "\" can't be reached: ";
  why += SystemText(static_cast<unsigned>(status));
  if (!near.empty()) return why + "; did you mean " + OneOf(near) + "?";
  return why +
         (!machine::WritesCountAtOnce() ? ". \"marrowen computer list\" lists those of this home." : ".");
}

}  // namespace

ActingOn::ActingOn(const std::string& name) : m_before(machine::StandsOn()) {
  code_page::UseThatOfComputer();
  if (IsOwnName(name)) return;
  if (!IsEmbedded(name)) {
    m_name = name;
    m_why = WhyNotReached(name);
    return;
  }
  const machine::Outcome there = machine::StandOn(name);
  code_page::UseThatOfComputer();
  m_moved = static_cast<bool>(there);
  m_why = there.sentence;
}

ActingOn::~ActingOn() {
  if (m_moved) machine::StandOn(m_before);
}
