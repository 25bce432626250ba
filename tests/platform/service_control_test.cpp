// Restarting a service, on an embedded computer, whose services change their state at once.

#include "store/service_control.h"

#include <gtest/gtest.h>

#include "platform/embedded/services.h"
#include "platform/machine.h"
#include "tests/support/scratch_home.h"

TEST(RestartService, StartsItAgainOnItsOwnComputer) {
  ASSERT_TRUE(machine::AddComputer("restart1"));
  ASSERT_EQ(embedded::SetServiceState("restart1", "Spooler", embedded::ServiceState::kStopped), 0);
  ASSERT_EQ(embedded::SetServiceState("", "Spooler", embedded::ServiceState::kStopped), 0);
  EXPECT_TRUE(RestartService("restart1", "Spooler", {.onlyIfRunning = true}));
  EXPECT_FALSE(embedded::ServiceIsRunning("restart1", "Spooler")) << "it did not run";
  EXPECT_TRUE(RestartService("restart1", "Spooler", {.waitsForStart = true}));
  EXPECT_TRUE(embedded::ServiceIsRunning("restart1", "Spooler"));
  EXPECT_FALSE(embedded::ServiceIsRunning("", "Spooler"));
  EXPECT_TRUE(RestartService("", "Spooler", {}));
  EXPECT_FALSE(RestartService("", "NoSuchService", {}));
  EXPECT_FALSE(RestartService("nowhere", "Spooler", {}));
}
