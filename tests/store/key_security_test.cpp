#include "store/key_security.h"

#include "store/error_text.h"
#include "tests/store/scratch_key.h"
#include "tests/support/access_list.h"

namespace {

// Both spellings of full access to a key.
bool IsOpenToEveryone(const CString& path) {
  const CString list = ListOf(path);
  return list.ends_with("(A;;KA;;;SY)(A;;KA;;;WD)") ||
         list.ends_with("(A;;0x000f003f;;;SY)(A;;0x000f003f;;;WD)");
}

}  // namespace

using KeySecurity = ScratchKeyTest;

TEST_F(KeySecurity, OpensASubtreeAndPutsItsListBack) {
  Make("Top 50%s%n\\Middle\\Leaf");
  const CString top = Under("Top 50%s%n");
  const CString paths[] = {top, top + "\\Middle", top + "\\Middle\\Leaf"};
  const CString before = ListOf(top);
  const LocalMemory<void> saved(key_security::GetKeySecurity(top.c_str()));
  ASSERT_TRUE(saved);

  EXPECT_EQ(key_security::ClearKeySecurity(HKEY_LOCAL_MACHINE, top.c_str(), KEY_ALL_ACCESS), 0u);
  for (const CString& path : paths) EXPECT_TRUE(IsOpenToEveryone(path)) << path << ": " << ListOf(path);
  EXPECT_FALSE(IsOpenToEveryone(kPath)) << "the parent was not named";

  EXPECT_EQ(key_security::SetKeySecurity(HKEY_LOCAL_MACHINE, top.c_str(), KEY_ALL_ACCESS, saved.get()), 0u);
  for (const CString& path : paths) EXPECT_EQ(ListOf(path), before) << path;
}

TEST_F(KeySecurity, RefusesWhatItCannotReachAndChangesNothing) {
  const CString before = ListOf(kPath);
  const auto set = [](const CString& path, void* descriptor) {
    return key_security::SetKeySecurity(HKEY_LOCAL_MACHINE, path.c_str(), KEY_ALL_ACCESS, descriptor);
  };
  const LocalMemory<void> saved(key_security::GetKeySecurity(kPath));
  EXPECT_EQ(set("Software", saved.get()), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(set(Under("Missing"), saved.get()), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(set(Under("Missing\\Leaf"), saved.get()), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_NE(set(kPath, nullptr), 0u);
  EXPECT_EQ(ListOf(kPath), before);
  EXPECT_EQ(key_security::GetKeySecurity(Under("Missing").c_str()), nullptr);
}

TEST_F(KeySecurity, ReachesAKeyOfTheOtherView) {
  HKEY created = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Under("Only32").c_str(), 0, nullptr, 0,
                            KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr, &created, nullptr),
            0);
  const UniqueKey made(created);
  EXPECT_EQ(key_security::ClearKeySecurity(HKEY_LOCAL_MACHINE, Under("Only32").c_str(), 0xF003F),
            DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(key_security::ClearKeySecurity(HKEY_LOCAL_MACHINE, Under("Only32").c_str(), 0xF023F), 0u);
}
