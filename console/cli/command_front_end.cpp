#include "console/cli/command_front_end.h"

#include <iostream>

#include "platform/program.h"

namespace {

constexpr const char* kClearLine = "\r\033[K";

}  // namespace

CommandFrontEnd::CommandFrontEnd() : m_onTerminal(platform::ErrorsAreTerminal()) {}

CommandFrontEnd::~CommandFrontEnd() {
  if (m_lineStands) std::cerr << kClearLine << std::flush;
}

bool CommandFrontEnd::TakeTurn(const Progress& progress) {
  if (m_onTerminal) Show(progress);
  // A command that won't count need not go on.
  return Unanswered().empty() && Refusal().empty();
}

void CommandFrontEnd::Show(const Progress& progress) {
  constexpr std::chrono::milliseconds kBetween(100);
  const auto now = Clock::now();
  if (m_done == 0 || progress.done < m_done) m_begun = m_shown = now;
  m_done = progress.done;
  if (now - m_shown < kBetween) return;
  m_shown = now;
  const std::chrono::duration<double> taken = now - m_begun;
  const auto rate = static_cast<std::uint64_t>(static_cast<double>(progress.done) / taken.count());
  std::cerr << kClearLine << progress.done << ' ' << progress.unit << ", " << rate << ' ' << progress.unit
            << "/s" << std::flush;
  m_lineStands = true;
}
