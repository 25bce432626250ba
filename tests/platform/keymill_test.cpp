// Keys that other SSH software accepts, with ssh-keygen as the judge.

#include "platform/keymill.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/embedded/public_keys.h"
#include "platform/text.h"

namespace {

namespace fs = std::filesystem;

class Keymill : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() / ("keymill" + std::to_string(getpid()));
    fs::create_directory(folder);
  }
  void TearDown() override { fs::remove_all(folder); }
  std::string Path(const char* name) const { return (folder / name).string(); }
  static std::string Contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  static void Write(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  // What a command prints.
  static std::string Output(const std::string& command) {
    std::string text;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) text += static_cast<char>(c);
    pclose(pipe);
    return text;
  }
  static int Generate(const char* type, const char* bits, const std::string& path,
                      const char* passphrase = "", const char* comment = "of the server",
                      const keymill::Turn& turn = {}) {
    return keymill::GenerateKey(type, bits, path.c_str(), passphrase, comment, turn);
  }

  fs::path folder;
};

}  // namespace

TEST_F(Keymill, MakesKeysThatOthersReadAndWithTheirFingerprints) {
  const mode_t before = umask(0);
  for (const auto& [type, bits] : {std::pair("rsa", "2048"), std::pair("dsa", "1024")}) {
    const std::string path = Path(type);
    ASSERT_EQ(Generate(type, bits, path), 0) << type;
    const std::string fingerprint = keymill::KGGetFingerprintString(path.c_str()).value_or("");
    const std::string sha256 = Output("ssh-keygen -l -f " + path + ".pub");
    EXPECT_EQ(sha256.substr(0, sha256.find(" of the server")),
              std::string(bits) + " " + fingerprint.substr(0, fingerprint.find(' ')));
    const std::string md5 = Output("ssh-keygen -l -E md5 -f " + path + ".pub");
    EXPECT_NE(md5.find(fingerprint.substr(fingerprint.find(' ') + 1)), std::string::npos) << md5;
    // The private half is the same key.
    const std::string line = Contents(path + ".pub");
    EXPECT_TRUE(line.starts_with(Output("ssh-keygen -y -P '' -f " + path).substr(0, 200))) << type;
    EXPECT_TRUE(line.ends_with(" of the server\n"));
    EXPECT_EQ(keymill::KGGetFingerprintStringFromBlob(line.c_str()), fingerprint);
    for (const char* half : {"", ".pub"}) {
      struct stat status {};
      ASSERT_EQ(stat((path + half).c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 0777, 0600u) << type << half;
    }
    // Without its public half a key tells it itself.
    fs::remove(path + ".pub");
    EXPECT_EQ(keymill::KGGetFingerprintString(path.c_str()), fingerprint);
  }
  umask(before);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2);
}

TEST_F(Keymill, WritesSsh1KeysInTheirOldFormat) {
  const std::string path = Path("old");
  ASSERT_EQ(Generate("rsa1", "1024", path, "", "c"), 0);
  const std::string bytes = Contents(path);
  constexpr char kHead[] = "SSH PRIVATE KEY FILE FORMAT 1.1\n\0\0\0\0\0\0\0\0\x04\0\x04\0";
  ASSERT_EQ(bytes.substr(0, sizeof kHead - 1), std::string(kHead, sizeof kHead - 1));
  // The modulus has 128 bytes, the exponent 17 bits; then the comment, and four bytes that repeat.
  const size_t exponent = sizeof kHead - 1 + 128;
  EXPECT_EQ(bytes.substr(exponent, 5), std::string("\0\x11\x01\0\x01", 5));
  EXPECT_EQ(bytes.substr(exponent + 5, 5), std::string("\0\0\0\x01"
                                                       "c",
                                                       5));
  EXPECT_EQ(bytes.substr(exponent + 10, 2), bytes.substr(exponent + 12, 2));
  EXPECT_EQ((bytes.size() - exponent - 10) % 8, 0u);
  EXPECT_TRUE(Contents(path + ".pub").starts_with("1024 65537 "));
  // Of modulus and exponent, as old ssh-keygen had it.
  const std::string modulus = bytes.substr(sizeof kHead - 1, 128);
  EXPECT_EQ(keymill::KGGetFingerprintString(path.c_str()),
            embedded::FingerprintOf(modulus + std::string("\x01\0\x01", 3)));
}

TEST_F(Keymill, RefusesWhatItCantDoAndLeavesNothing) {
  const std::string path = Path("key");
  for (const auto& [type, bits] :
       {std::pair("rsa", "511"), std::pair("rsa", "x"), std::pair("rsa", "99999999999"),
        std::pair("ed25519", "256"), std::pair("", "2048")}) {
    EXPECT_EQ(Generate(type, bits, path), -1) << type << bits;
  }
  EXPECT_EQ(Generate("rsa", "1024", Path("no/such/folder")), -1);
  EXPECT_EQ(Generate("rsa", "1024", ""), -1);
  int turns = 0;
  EXPECT_EQ(Generate("rsa", "4096", path, "", "", [&turns] { return ++turns < 3; }), -1);
  EXPECT_GE(turns, 3);
  EXPECT_TRUE(fs::is_empty(folder));

  // A key that is there stays whole until the new one is.
  Write(path, "mine");
  fs::create_directory(path + ".pub");
  EXPECT_EQ(Generate("rsa", "1024", path), -1);
  EXPECT_EQ(Contents(path), "mine");
}

TEST_F(Keymill, EncryptsAKeyWithItsPassphraseAlone) {
  const std::string path = Path("key");
  ASSERT_EQ(Generate("rsa", "1024", path, "open sesame"), 0);
  EXPECT_NE(Output("ssh-keygen -y -P wrong -f " + path).find("incorrect passphrase"), std::string::npos);
  EXPECT_TRUE(Output("ssh-keygen -y -P 'open sesame' -f " + path).starts_with("ssh-rsa "));
  fs::remove(path + ".pub");
  EXPECT_FALSE(keymill::KGGetFingerprintString(path.c_str()));
}

TEST_F(Keymill, ReadsLinesOfAuthorizedKeysAndNothingElse) {
  for (const char* type : {"ed25519", "ecdsa"}) {
    const std::string path = Path(type);
    Output("ssh-keygen -q -N '' -C 'a b' -t " + std::string(type) + " -f " + path);
    std::string line = Contents(path + ".pub");
    const std::string wanted = Output("ssh-keygen -l -f " + path + ".pub");
    for (const char* options : {"", "  ", "no-pty ", "command=\"say \\\"ssh-rsa x\\\" y\",from=\"a b\" "}) {
      const std::string found =
          keymill::KGGetFingerprintStringFromBlob((options + line).c_str()).value_or("");
      EXPECT_NE(wanted.find(" " + found.substr(0, found.find(' ')) + " "), std::string::npos)
          << options << wanted;
    }
    line.erase(line.find(' '), 5);
    EXPECT_FALSE(keymill::KGGetFingerprintStringFromBlob(line.c_str()));
  }
  for (const char* line : {"", "#", "# ssh-rsa AAAA", "ssh-rsa", "ssh-rsa !!!!", "ssh-rsa AAAAB3NzaC1kc3M=",
                           "x y z", "1024 65537", "1024 65537 12x", "2048 3 0", "\"", "a=\"b"}) {
    EXPECT_FALSE(keymill::KGGetFingerprintStringFromBlob(line)) << line;
  }
  for (const std::string& file :
       {std::string(100000, 'x'), std::string(3000, '\0'), std::string("\xFF\xFE")}) {
    Write(Path("bad"), file);
    Write(Path("bad2.pub"), file);
    EXPECT_FALSE(keymill::KGGetFingerprintString(Path("bad").c_str()));
    EXPECT_FALSE(keymill::KGGetFingerprintString(Path("bad2").c_str()));
  }
  EXPECT_FALSE(keymill::KGGetFingerprintString("/dev/zero"));
  EXPECT_FALSE(keymill::KGGetFingerprintString(folder.c_str()));
}
