#include "console/cli/process.h"

#include <iostream>

#include "platform/machine.h"

void TellWaits() {
  machine::SetWaitTeller([](const std::string& who, int seconds) {
    constexpr int kBetween = 10;
    static int told = 0;
    if (told > 0 && seconds < told) told = 0;
    if (told > 0 && seconds - told < kBetween) return true;
    told = seconds;
    std::cerr << "marrowen: Waiting for " << who << ", which writes settings." << std::endl;
    return true;
  });
}
