#include "store/stored_secret.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/scratch_home.h"

TEST(StoredSecret, EnciphersInPlaceAsOtherBuildsDo) {
  // RC4 under the whole MD5 of the pass phrase, worked out apart from any provider.
  const std::string expected("\x46\x90\xf5\xec\xe6\x65\x91\x11\x83\x8b\x7a\x36\x97", 13);
  const std::string clear = "correct horse";
  std::string secret = clear;
  BYTE* bytes = reinterpret_cast<BYTE*>(secret.data());
  EXPECT_EQ(TesselEncrypt(bytes, 13), 0u);
  EXPECT_EQ(secret, expected);
  EXPECT_EQ(TesselDecrypt(bytes, 13), 0u);
  EXPECT_EQ(secret, clear);
  EXPECT_EQ(TesselEncrypt(bytes, 0), 0u);
  EXPECT_NE(TesselDecrypt(bytes, -1), 0u);
  EXPECT_EQ(secret, clear);
}
