#pragma once

// Gives a test program a home of its own, removed at its end, so that no test touches the settings of the
// person who runs it. On Windows, where there are no homes, the variable has no reader.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/win32.h"

namespace test_support {

class ScratchHome : public ::testing::Environment {
 public:
  ScratchHome()
      : m_path(std::filesystem::temp_directory_path() /
               ("marrowen-test-" + std::to_string(GetCurrentProcessId()))) {
    SetEnvironmentVariableA("MARROWEN_HOME", m_path.string().c_str());
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

 private:
  std::filesystem::path m_path;
};

inline ::testing::Environment* const scratchHome = ::testing::AddGlobalTestEnvironment(new ScratchHome);

}  // namespace test_support
