#include "pages/authentication/authorized_keys.h"

#include <algorithm>
#include <array>

#include "pages/transport/key_generation.h"
#include "platform/keymill.h"
#include "store/privilege.h"

namespace {

using C = CPrpAuthKeys::Controls;
using R = AuthorizedKeysRecord;

// Bytes of a line and of a stored key, with a zero behind either.
constexpr size_t kLineSize = 16384;
constexpr const char* kComment = "Comment";

constexpr std::string_view kColumns[] = {"User", "Public Key Fingerprint", "Comment"};
constexpr int kWidths[] = {100, 150, 175};
constexpr Row kControls[] = {
    C::Table("Authorized Keys", kColumns, kWidths)
        .MultipleSelection()
        .As<&CPrpAuthKeys::m_list>()
        .OnDoubleClick<&CPrpAuthKeys::Edit>(),
    C::Button("Import").On<&CPrpAuthKeys::Import>(),
    C::Button("Export").On<&CPrpAuthKeys::Export>(),
    C::Button("Delete").On<&CPrpAuthKeys::Delete>(),
    C::Button("Edit").On<&CPrpAuthKeys::Edit>(),
};

CString FingerprintOf(const CString& keyText) {
  return keymill::KGGetFingerprintStringFromBlob(keyText.c_str()).value_or("");
}

CString ExchangeFile() {
  std::array<char, MAX_PATH> profile{};
  GetEnvironmentVariableA("USERPROFILE", profile.data(), static_cast<DWORD>(profile.size()));
  return CString(profile.data()) + R"(\Application Data\TesselSSH\authorized_keys2)";
}
constexpr const char* kFilter = "All Files (*.*)|*.*||";

CString NewKeyName() {
  GUID guid{};
  std::array<WCHAR, 40> wide{};
  std::array<char, 40> name{};
  if (CoCreateGuid(&guid) < 0) return {};
  StringFromGUID2(guid, wide.data(), static_cast<int>(wide.size()));
  WideCharToMultiByte(CP_ACP, 0, wide.data(), -1, name.data(), static_cast<int>(name.size()), nullptr,
                      nullptr);
  return name.data();
}

// A comment that is longer than the key reads as none: it is read into as much room.
void LoadEntry(HKEY user, AuthorizedKeyEntry& entry) {
  UniqueKey opened;
  if (OpenUniqueKey(user, entry.keyName.c_str(), KEY_ALL_ACCESS, opened) != ERROR_SUCCESS) return;
  const CTesselRegObject key(HKEY_LOCAL_MACHINE, opened.release());
  const DWORD size = key.GetValueSize(nullptr);
  if (size >= kLineSize) return;
  entry.keyText = key.GetBinaryValue(nullptr);
  entry.fingerprint = FingerprintOf(entry.keyText);
  if (key.GetValueSize(kComment) <= size) entry.comment = key.GetStringValue(kComment);
}

// The next name of the enumeration; false at its end, and for a name of more than 260 characters.
bool SubkeyAt(HKEY key, DWORD index, CString& name) {
  std::array<char, kValueBufferSize + 1> text{};
  auto size = static_cast<DWORD>(text.size());
  if (RegEnumKeyExA(key, index, text.data(), &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
    return false;
  name.assign(text.data(), size);
  return true;
}

bool Holds(const R& record, const CString& user, const CString& keyName) {
  return std::any_of(record.entries.begin(), record.entries.end(), [&](const AuthorizedKeyEntry& entry) {
    return text::EqualNoCase(entry.userName, user) && text::EqualNoCase(entry.keyName, keyName);
  });
}

// A key that slides down into the place of a deleted one is not looked at: it goes at the next save.
void DeleteMissing(const CTesselRegObject& store, const CString& user, const R& record) {
  UniqueKey key;
  if (OpenUniqueKey(store.GetKey(), user.c_str(), KEY_ALL_ACCESS, key) != ERROR_SUCCESS) return;
  bool empty = true;
  CString name;
  for (DWORD index = 0; SubkeyAt(key.get(), index, name); ++index) {
    if (Holds(record, user, name)) {
      empty = false;
    } else {
      DeleteRegistryKeyA(key.get(), name.c_str(), KEY_ALL_ACCESS);
    }
  }
  key.reset();
  if (empty) DeleteRegistryKeyA(store.GetKey(), user.c_str(), KEY_ALL_ACCESS);
}

void WriteEntry(const CTesselRegObject& store, const AuthorizedKeyEntry& entry) {
  HKEY user = nullptr;
  if (RegCreateKeyA(store.GetKey(), entry.userName.c_str(), &user) != ERROR_SUCCESS) return;
  const UniqueKey held(user);
  HKEY made = nullptr;
  if (RegCreateKeyA(user, entry.keyName.c_str(), &made) != ERROR_SUCCESS) return;
  CTesselRegObject key(store.GetRoot(), made);
  key.SetBinaryValue(nullptr, entry.keyText, REG_BINARY);
  key.SetStringValue(kComment, entry.comment);
}

// As C programs of Windows read a text: a line ends in "\n".
CStringList LinesOf(const CString& path, bool& opened) {
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  opened = file != INVALID_HANDLE_VALUE;
  if (!opened) return {};
  const UniqueHandle held(file);
  CString bytes;
  std::array<char, 65536> piece;
  for (DWORD size = 0; ReadFile(file, piece.data(), piece.size(), &size, nullptr) && size > 0;)
    bytes.append(piece.data(), size);
  bytes = text::Replaced(bytes, "\r\n", "\n");
  CStringList lines;
  for (size_t at = 0; at < bytes.size();) {
    const size_t end = std::min({bytes.find('\n', at), at + kLineSize - 2, bytes.size() - 1});
    lines.push_back(bytes.substr(at, end - at + 1));
    at = end + 1;
  }
  return lines;
}

// Writes the text as C programs of Windows do: with a CR before each LF, also where one stands there.
bool WriteLines(const CString& path, const CString& lines) {
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const UniqueHandle held(file);
  const CString bytes = text::Replaced(lines, "\n", "\r\n");
  DWORD written = 0;
  return WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE;
}

CString Block(const AuthorizedKeyEntry& entry) {
  return "# " + entry.userName + "\r\n#  Tessel MarrowenSSH exported public key\r\n#\r\n# " + entry.comment +
         "\r\n#\r\n" + entry.keyText + "\r\n";
}

// The first word of a comment; empty for none.
CString FirstWord(std::string_view comment) {
  const size_t start = std::min(comment.find_first_not_of(" \t"), comment.size());
  return CString(comment.substr(start, comment.find_first_of(" \t\r\n", start) - start));
}

// The next selected row behind this one; -1 for none.
std::ptrdiff_t NextSelected(const CListCtrl& list, std::ptrdiff_t after) {
  for (auto row = static_cast<size_t>(after + 1); row < list.GetItemCount(); ++row) {
    if (list.Rows()[row].selected) return static_cast<std::ptrdiff_t>(row);
  }
  return -1;
}

}  // namespace

constexpr PageTable CPrpAuthKeys::kTable = {
    .caption = "Authorized Keys",
    .helpTopic = "::IDH_AuthorizedKeys.htm",
    .routing = Routing::AuthorizedKeys,
    .controls = kControls,
};

// The help file is named by the key above the store.
std::string_view CPrpAuthKeys::HelpKey() const {
  return std::string_view(m_baseKey).substr(0, m_baseKey.rfind('\\'));
}

void CPrpAuthKeys::InsertRow(AuthorizedKeyEntry entry) {
  m_list->InsertItem(0, {entry.userName, entry.fingerprint, entry.comment});
  m_shown.insert(m_shown.begin(), std::move(entry));
}

void CPrpAuthKeys::ShowRecord(const R& record) {
  const std::vector<AuthorizedKeyEntry> entries = record.entries;
  const FillScope filling(*this);
  m_list->DeleteAllItems();
  m_shown.clear();
  for (const AuthorizedKeyEntry& entry : entries) InsertRow(entry);
}

void CPrpAuthKeys::ReadScreen(R& record) { record.entries = m_shown; }

bool CPrpAuthKeys::Differs(const R& a, const R& b) const {
  constexpr CString AuthorizedKeyEntry::*kTexts[] = {
      &AuthorizedKeyEntry::keyName, &AuthorizedKeyEntry::userName, &AuthorizedKeyEntry::keyText,
      &AuthorizedKeyEntry::fingerprint, &AuthorizedKeyEntry::comment};
  const auto same = [&](const AuthorizedKeyEntry& left, const AuthorizedKeyEntry& right) {
    return std::all_of(std::begin(kTexts), std::end(kTexts), [&](CString AuthorizedKeyEntry::*text) {
      return text::EqualNoCase(left.*text, right.*text);
    });
  };
  return a.entries.size() != b.entries.size() ||
         !std::all_of(a.entries.begin(), a.entries.end(), [&](const AuthorizedKeyEntry& entry) {
           return std::any_of(b.entries.begin(), b.entries.end(),
                              [&](const AuthorizedKeyEntry& other) { return same(entry, other); });
         });
}

void CPrpAuthKeys::LoadFrom(const CTesselRegObject& key, R& record, KeyOf) {
  record.entries.clear();
  for (const CString& user : key.GetSubKeys()) {
    UniqueKey opened;
    if (OpenUniqueKey(key.GetKey(), user.c_str(), KEY_ALL_ACCESS, opened) != ERROR_SUCCESS) continue;
    CString name;
    for (DWORD index = 0; SubkeyAt(opened.get(), index, name); ++index) {
      AuthorizedKeyEntry& entry = record.entries.emplace_back();
      entry.keyName = name;
      entry.userName = user;
      LoadEntry(opened.get(), entry);
    }
  }
}

SaveResult CPrpAuthKeys::SaveTo(CTesselRegObject& key, const R& record, KeyOf) {
  for (const CString& user : key.GetSubKeys()) DeleteMissing(key, user, record);
  for (const AuthorizedKeyEntry& entry : record.entries) WriteEntry(key, entry);
  return {};
}

// Of a block of comments the first word of the first line counts: the user of the key behind it.
void CPrpAuthKeys::Import() {
  const auto path = CurrentFrontEnd().PickFile({false, false, ExchangeFile(), kFilter});
  bool opened = false;
  CString user;
  bool userWanted = true;
  for (const CString& line : path ? LinesOf(*path, opened) : CStringList()) {
    if (line.front() == '#') {
      if (userWanted) user = FirstWord(std::string_view(line).substr(1));
      userWanted = user.empty();
      continue;
    }
    if (line.find_first_not_of(" \t\r\n") == CString::npos) continue;
    InsertRow({NewKeyName(), user, line, FingerprintOf(line), {}});
    user.clear();
    userWanted = true;
  }
  TakeChange();
}

void CPrpAuthKeys::Export() {
  if (m_list->GetSelected() < 0) return;
  const auto path = CurrentFrontEnd().PickFile({true, true, ExchangeFile(), kFilter});
  if (!path) return;
  CString blocks;
  for (auto row = NextSelected(*m_list, -1); row >= 0; row = NextSelected(*m_list, row))
    blocks += Block(m_shown[static_cast<size_t>(row)]);
  WriteLines(*path, blocks);
}

// The next row is looked up before the one at hand is deleted, and its number then stands for the row behind
// it.
void CPrpAuthKeys::Delete() {
  for (auto next = NextSelected(*m_list, -1); next >= 0;) {
    const auto row = static_cast<size_t>(next);
    next = NextSelected(*m_list, next);
    if (row >= m_shown.size()) continue;
    m_list->DeleteItem(row);
    m_shown.erase(m_shown.begin() + static_cast<std::ptrdiff_t>(row));
  }
  TakeChange();
}

// The row shows what was edited when the record is next shown.
void CPrpAuthKeys::Edit() {
  if (const std::ptrdiff_t row = m_list->GetSelected(); row >= 0) {
    AuthorizedKeyEntry& entry = m_shown[static_cast<size_t>(row)];
    CDlgKeyEdit dialog({entry.userName, entry.comment, entry.fingerprint});
    if (dialog.DoModal() == Reply::Ok) {
      entry.comment = dialog.Data().comment;
      entry.userName = dialog.Data().user;
    }
  }
  TakeChange();
}
