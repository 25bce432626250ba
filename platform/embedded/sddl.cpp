#include <cctype>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/fail.h"
#include "platform/embedded/sid.h"
#include "platform/embedded/win32/registry.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

// Security descriptors as text (the language of sddl.h): owner, group and DACL.

using embedded::Fail;

namespace {

struct Code {
  const char* text;
  DWORD value;
};

// Names of whole masks first, then the single bits in the order in which Windows writes them.
constexpr Code kRights[] = {
    {"KA", KEY_ALL_ACCESS}, {"KR", KEY_READ},    {"KW", KEY_WRITE},       {"KX", KEY_EXECUTE},
    {"FA", 0x001F01FF},     {"FR", 0x00120089},  {"FW", 0x00120116},      {"FX", 0x001200A0},
    {"CC", 0x0001},         {"DC", 0x0002},      {"LC", 0x0004},          {"SW", 0x0008},
    {"RP", 0x0010},         {"WP", 0x0020},      {"DT", 0x0040},          {"LO", 0x0080},
    {"CR", 0x0100},         {"SD", DELETE},      {"RC", READ_CONTROL},    {"WD", WRITE_DAC},
    {"WO", WRITE_OWNER},    {"GA", GENERIC_ALL}, {"GX", GENERIC_EXECUTE}, {"GW", GENERIC_WRITE},
    {"GR", GENERIC_READ},
};
constexpr Code kAceFlags[] = {
    {"OI", OBJECT_INHERIT_ACE}, {"CI", CONTAINER_INHERIT_ACE}, {"NP", NO_PROPAGATE_INHERIT_ACE},
    {"IO", INHERIT_ONLY_ACE},   {"ID", INHERITED_ACE},
};
constexpr Code kAceTypes[] = {{"A", ACCESS_ALLOWED_ACE_TYPE}, {"D", ACCESS_DENIED_ACE_TYPE}};
constexpr Code kDaclFlags[] = {
    {"P", SE_DACL_PROTECTED}, {"AR", SE_DACL_AUTO_INHERIT_REQ}, {"AI", SE_DACL_AUTO_INHERITED}};
constexpr std::string_view kNoAccessControl = "NO_ACCESS_CONTROL";

// The codes that `text` is made of, or'ed; nothing when it holds anything else.
template <size_t N>
std::optional<DWORD> Codes(std::string_view text, const Code (&table)[N]) {
  DWORD value = 0;
  while (!text.empty()) {
    const Code* found = nullptr;
    for (const Code& code : table) {
      if (text::EqualNoCase(text.substr(0, std::strlen(code.text)), code.text)) {
        found = &code;
        break;
      }
    }
    if (found == nullptr) return std::nullopt;
    value |= found->value;
    text.remove_prefix(std::strlen(found->text));
  }
  return value;
}

template <size_t N>
std::string Spelled(DWORD value, const Code (&table)[N]) {
  std::string text;
  for (const Code& code : table) {
    if ((value & code.value) == code.value) text += code.text;
  }
  return text;
}

std::optional<DWORD> RightsFromText(std::string_view text) {
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text[0])) == 0) return Codes(text, kRights);
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  } else if (text[0] == '0') {
    base = 8;
  }
  DWORD value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string RightsToText(DWORD mask) {
  for (const Code& code : kRights) {
    if (mask == code.value) return code.text;
  }
  std::string text;
  DWORD left = mask;
  for (const Code& code : kRights) {
    const bool single_bit = (code.value & (code.value - 1)) == 0;
    if (!single_bit || (mask & code.value) == 0) continue;
    text += code.text;
    left &= ~code.value;
  }
  if (left == 0 && mask != 0) return text;
  char number[16];
  std::snprintf(number, sizeof number, "0x%x", mask);
  return number;
}

struct Parsed {
  embedded::SidBytes owner;
  embedded::SidBytes group;
  std::optional<std::vector<BYTE>> dacl;  // The entries, without the list's header.
  WORD ace_count = 0;
  WORD control = 0;
};

// One entry, "type;flags;rights;object;inherited object;trustee", appended to `dacl`.
DWORD ParseAce(std::string_view text, std::vector<BYTE>& dacl) {
  std::string_view fields[6];
  for (size_t i = 0; i < 6; ++i) {
    const size_t end = i == 5 ? text.size() : text.find(';');
    if (end == std::string_view::npos) return ERROR_INVALID_ACL;
    fields[i] = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (fields[5].find(';') != std::string_view::npos) return ERROR_NOT_SUPPORTED;
  const std::optional<DWORD> flags = Codes(fields[1], kAceFlags);
  const std::optional<DWORD> rights = RightsFromText(fields[2]);
  std::optional<DWORD> type;
  for (const Code& code : kAceTypes) {
    if (text::EqualNoCase(fields[0], code.text)) type = code.value;
  }
  if (!type || !fields[3].empty() || !fields[4].empty()) {
    return fields[0].size() == 2 ? ERROR_NOT_SUPPORTED : ERROR_INVALID_ACL;
  }
  if (!flags || !rights) return ERROR_INVALID_ACL;
  const std::optional<embedded::SidBytes> sid = embedded::SidFromSddl(fields[5]);
  if (!sid) return ERROR_INVALID_SID;
  constexpr size_t kSidOffset = offsetof(ACCESS_ALLOWED_ACE, SidStart);
  const size_t at = dacl.size();
  dacl.resize(at + kSidOffset + sid->size());
  const ACE_HEADER header = {.AceType = static_cast<BYTE>(*type),
                             .AceFlags = static_cast<BYTE>(*flags),
                             .AceSize = static_cast<WORD>(dacl.size() - at)};
  std::memcpy(dacl.data() + at, &header, sizeof header);
  std::memcpy(dacl.data() + at + offsetof(ACCESS_ALLOWED_ACE, Mask), &*rights, sizeof(ACCESS_MASK));
  std::memcpy(dacl.data() + at + kSidOffset, sid->data(), sid->size());
  return ERROR_SUCCESS;
}

// The flags and entries behind "D:"; `text` is left where they end.
DWORD ParseDacl(std::string_view& text, Parsed& parsed) {
  const size_t entries = std::min(text.find_first_of("(:"), text.size());
  // A following part's letter stands before its colon.
  const size_t end = entries < text.size() && text[entries] == ':' && entries > 0 ? entries - 1 : entries;
  const std::string_view flags = text.substr(0, end);
  text.remove_prefix(end);
  parsed.control |= SE_DACL_PRESENT;
  if (text::EqualNoCase(flags, kNoAccessControl)) return ERROR_SUCCESS;
  const std::optional<DWORD> control = Codes(flags, kDaclFlags);
  if (!control) return ERROR_INVALID_ACL;
  parsed.control |= static_cast<WORD>(*control);
  parsed.dacl.emplace();
  while (!text.empty() && text[0] == '(') {
    const size_t close = text.find(')');
    if (close == std::string_view::npos) return ERROR_INVALID_ACL;
    const DWORD status = ParseAce(text.substr(1, close - 1), *parsed.dacl);
    if (status != ERROR_SUCCESS) return status;
    if (parsed.dacl->size() > 0xFFFF - sizeof(ACL)) return ERROR_INVALID_ACL;
    parsed.ace_count++;
    text.remove_prefix(close + 1);
  }
  return ERROR_SUCCESS;
}

DWORD Parse(std::string source, Parsed& parsed) {
  // Blanks stand between any two tokens and mean nothing.
  std::erase_if(source, [](unsigned char c) { return std::isspace(c) != 0; });
  std::string_view text = source;
  while (!text.empty()) {
    if (text.size() < 2 || text[1] != ':') return ERROR_INVALID_PARAMETER;
    const char part = text[0];
    text.remove_prefix(2);
    if (part == 'O' || part == 'G') {
      // Up to the letter before the next colon.
      const size_t colon = text.find(':');
      const size_t end = colon == std::string_view::npos || colon == 0 ? text.size() : colon - 1;
      const std::optional<embedded::SidBytes> sid = embedded::SidFromSddl(text.substr(0, end));
      if (!sid) return ERROR_INVALID_SID;
      (part == 'O' ? parsed.owner : parsed.group) = *sid;
      text.remove_prefix(end);
    } else if (part == 'D') {
      const DWORD status = ParseDacl(text, parsed);
      if (status != ERROR_SUCCESS) return status;
    } else {
      return part == 'S' ? ERROR_NOT_SUPPORTED : ERROR_INVALID_PARAMETER;
    }
  }
  return ERROR_SUCCESS;
}

std::vector<BYTE> SelfRelative(const Parsed& parsed) {
  SECURITY_DESCRIPTOR_RELATIVE header{};
  header.Revision = SECURITY_DESCRIPTOR_REVISION;
  header.Control = static_cast<WORD>(parsed.control | SE_SELF_RELATIVE);
  std::vector<BYTE> bytes(sizeof header);
  const auto append = [&bytes](const void* part, size_t size) {
    const auto* start = static_cast<const BYTE*>(part);
    bytes.insert(bytes.end(), start, start + size);
    return static_cast<DWORD>(bytes.size() - size);
  };
  if (parsed.dacl) {
    const ACL acl = {.AclRevision = ACL_REVISION,
                     .Sbz1 = 0,
                     .AclSize = static_cast<WORD>(sizeof(ACL) + parsed.dacl->size()),
                     .AceCount = parsed.ace_count,
                     .Sbz2 = 0};
    header.Dacl = append(&acl, sizeof acl);
    append(parsed.dacl->data(), parsed.dacl->size());
  }
  if (!parsed.owner.empty()) header.Owner = append(parsed.owner.data(), parsed.owner.size());
  if (!parsed.group.empty()) header.Group = append(parsed.group.data(), parsed.group.size());
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

// The DACL's part of a text; nothing when it holds an entry that cannot be written.
std::optional<std::string> DaclText(PSECURITY_DESCRIPTOR descriptor) {
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  if (!GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) ||
      !GetSecurityDescriptorControl(descriptor, &control, &revision)) {
    return std::nullopt;
  }
  if (present == FALSE) return "";
  if (dacl == nullptr) return "D:" + std::string(kNoAccessControl);
  if (!IsValidAcl(dacl)) return std::nullopt;
  std::string text = "D:" + Spelled(control, kDaclFlags);
  for (DWORD i = 0; i < dacl->AceCount; ++i) {
    LPVOID address = nullptr;
    if (!GetAce(dacl, i, &address)) return std::nullopt;
    auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(address);
    if (ace->Header.AceType > ACCESS_DENIED_ACE_TYPE) return std::nullopt;
    text += '(';
    text += kAceTypes[ace->Header.AceType].text;
    text += ';' + Spelled(ace->Header.AceFlags, kAceFlags) + ';' + RightsToText(ace->Mask) + ";;;" +
            embedded::SidToSddl(&ace->SidStart) + ')';
  }
  return text;
}

}  // namespace

BOOL WINAPI ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor,
                                                                 PULONG size) {
  if (text == nullptr || descriptor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (revision != SDDL_REVISION_1) return Fail(ERROR_UNKNOWN_REVISION);
  Parsed parsed;
  const DWORD status = Parse(text, parsed);
  if (status != ERROR_SUCCESS) return Fail(status);
  const std::vector<BYTE> bytes = SelfRelative(parsed);
  *descriptor = LocalAlloc(LMEM_FIXED, bytes.size());
  if (*descriptor == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
  std::memcpy(*descriptor, bytes.data(), bytes.size());
  if (size != nullptr) *size = static_cast<ULONG>(bytes.size());
  return TRUE;
}

BOOL WINAPI ConvertSecurityDescriptorToStringSecurityDescriptorA(PSECURITY_DESCRIPTOR descriptor,
                                                                 DWORD revision,
                                                                 SECURITY_INFORMATION information,
                                                                 LPSTR* text, PULONG length) {
  if (descriptor == nullptr || text == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (revision != SDDL_REVISION_1) return Fail(ERROR_UNKNOWN_REVISION);
  std::string result;
  PSID sid = nullptr;
  BOOL defaulted = FALSE;
  if ((information & OWNER_SECURITY_INFORMATION) != 0) {
    if (!GetSecurityDescriptorOwner(descriptor, &sid, &defaulted)) return FALSE;
    if (sid != nullptr) result += "O:" + embedded::SidToSddl(sid);
  }
  if ((information & GROUP_SECURITY_INFORMATION) != 0) {
    if (!GetSecurityDescriptorGroup(descriptor, &sid, &defaulted)) return FALSE;
    if (sid != nullptr) result += "G:" + embedded::SidToSddl(sid);
  }
  if ((information & DACL_SECURITY_INFORMATION) != 0) {
    const std::optional<std::string> dacl = DaclText(descriptor);
    if (!dacl) return Fail(ERROR_INVALID_ACL);
    result += *dacl;
  }
  *text = static_cast<LPSTR>(LocalAlloc(LMEM_FIXED, result.size() + 1));
  if (*text == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
  std::memcpy(*text, result.c_str(), result.size() + 1);
  if (length != nullptr) *length = static_cast<ULONG>(result.size() + 1);
  return TRUE;
}
