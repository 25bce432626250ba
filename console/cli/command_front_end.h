#pragma once

#include <chrono>

#include "window/scripted_front_end.h"

// The command line's front end: answers that stand ready, and the progress of long work in one line of a
// terminal on standard error.
class CommandFrontEnd final : public ScriptedFrontEnd {
 public:
  CommandFrontEnd();
  // Takes the line away.
  ~CommandFrontEnd() override;
  CommandFrontEnd(const CommandFrontEnd&) = delete;
  CommandFrontEnd& operator=(const CommandFrontEnd&) = delete;

  bool TakeTurn(const Progress& progress) override;

 private:
  using Clock = std::chrono::steady_clock;

  void Show(const Progress& progress);

  bool m_onTerminal;
  bool m_lineStands = false;
  std::uint64_t m_done = 0;
  Clock::time_point m_begun;
  Clock::time_point m_shown;
};
