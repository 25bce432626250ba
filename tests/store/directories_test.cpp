#include "store/directories.h"

#include <gtest/gtest.h>

#include <filesystem>

TEST(Directories, AreReachedThroughTheShareOfANamedComputer) {
  EXPECT_EQ(ReachedFrom("", R"(D:\logs)"), R"(D:\logs)");
  EXPECT_EQ(ReachedFrom("srv", R"(D:\logs)"), R"(srv\D$\logs)");
  EXPECT_EQ(ReachedFrom("srv", "x"), R"(srv\x$)");
  EXPECT_EQ(ReachedFrom("srv", ""), R"(srv\$)");
}

TEST(Directories, AreThereOrNot) {
  const std::string folder = std::filesystem::temp_directory_path().string();
  EXPECT_TRUE(DirectoryExists(folder));
  EXPECT_FALSE(DirectoryExists(folder + "/no such folder"));
}
