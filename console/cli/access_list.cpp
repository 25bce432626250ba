// `reg acl`: who may do what with a key, and the way back for an administrator whom the list shuts out.

#include <array>
#include <string>

#include "console/cli/registry_path.h"
#include "console/computer.h"
#include "platform/machine.h"
#include "store/accounts.h"
#include "store/error_text.h"
#include "store/privilege.h"
#include "store/registry_object.h"

namespace {

constexpr SECURITY_INFORMATION kShown = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

// What a computer's keys are handed down from their root: read for users, all for administrators and the
// system, for the key and all below it.
constexpr const char* kFirstList = "O:BAD:(A;CI;KR;;;BU)(A;CI;KA;;;BA)(A;CI;KA;;;SY)";

std::string CantBeOpened(const std::string& key, DWORD status) {
  return "\"" + key + "\" can't be opened: " + SystemText(status) + ".";
}

DWORD ReadDescriptor(HKEY key, std::string& bytes) {
  DWORD size = 0;
  LSTATUS status = RegGetKeySecurity(key, kShown, nullptr, &size);
  if (status != ERROR_INSUFFICIENT_BUFFER) return static_cast<DWORD>(status);
  bytes.resize(size);
  status = RegGetKeySecurity(key, kShown, bytes.data(), &size);
  return static_cast<DWORD>(status);
}

std::string NameOf(PSID sid) {
  std::string name = NameOfAccount(sid);
  if (name.starts_with('\\')) name.erase(0, 1);
  if (!name.empty()) return name;
  char* text = nullptr;
  if (!ConvertSidToStringSidA(sid, &text)) return "?";
  const LocalMemory<char> held(text);
  return text;
}

std::string RightsOf(ACCESS_MASK mask) {
  if ((mask & KEY_ALL_ACCESS) == KEY_ALL_ACCESS || (mask & GENERIC_ALL) != 0) return "all";
  if (mask == KEY_READ || mask == GENERIC_READ) return "read";
  std::array<char, 12> digits{};
  std::snprintf(digits.data(), digits.size(), "0x%08X", static_cast<unsigned>(mask));
  return digits.data();
}

void AddEntries(PACL list, Outcome& outcome) {
  for (DWORD i = 0;; ++i) {
    void* found = nullptr;
    if (!GetAce(list, i, &found)) return;
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(found);
    const bool allows = entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE;
    if (!allows && entry->Header.AceType != ACCESS_DENIED_ACE_TYPE) continue;
    const bool below = (entry->Header.AceFlags & CONTAINER_INHERIT_ACE) != 0;
    const bool onlyBelow = (entry->Header.AceFlags & INHERIT_ONLY_ACE) != 0;
    const std::string name = NameOf(&entry->SidStart);
    const std::string rights = RightsOf(entry->Mask);
    outcome.text.append(allows ? "    allow  " : "    deny   ").append(name).append("  ").append(rights);
    outcome.text.append(onlyBelow ? ", below only" : below ? ", and below" : "").append("\n");
    outcome.data["entries"].push_back(
        {{"allows", allows}, {"account", name}, {"rights", rights}, {"here", !onlyBelow}, {"below", below}});
  }
}

Outcome Describe(const RegistryPath& key) {
  UniqueKey opened;
  DWORD status = OpenUniqueKey(key.root, key.path.c_str(), READ_CONTROL, opened);
  std::string bytes;
  if (status == ERROR_SUCCESS) status = ReadDescriptor(opened.get(), bytes);
  if (status != ERROR_SUCCESS) return Failed(CantBeOpened(key.full, status));
  char* text = nullptr;
  ConvertSecurityDescriptorToStringSecurityDescriptorA(bytes.data(), SDDL_REVISION_1, kShown, &text, nullptr);
  const LocalMemory<char> held(text);
  PSID owner = nullptr;
  PACL list = nullptr;
  BOOL given = FALSE;
  BOOL ignored = FALSE;
  GetSecurityDescriptorOwner(bytes.data(), &owner, &ignored);
  GetSecurityDescriptorDacl(bytes.data(), &given, &list, &ignored);
  Outcome outcome;
  const std::string ownerName = owner == nullptr ? "" : NameOf(owner);
  outcome.data = {{"key", key.full},
                  {"owner", ownerName},
                  {"descriptor", text == nullptr ? "" : text},
                  {"entries", nlohmann::ordered_json::array()}};
  outcome.text = key.full + "\n    owner  " + ownerName + "\n";
  if (given && list != nullptr) AddEntries(list, outcome);
  if (!given || list == nullptr) outcome.text += "    no list: everyone may do everything\n";
  if (given && list != nullptr && outcome.data["entries"].empty())
    outcome.text += "    nobody may do anything\n";
  return outcome;
}

// Gives the key and all below it the owner and the list of `descriptor`. Of those below, failures are
// counted.
DWORD TakeBack(HKEY parent, const char* name, std::string& descriptor, size_t& failures) {
  UniqueKey key;
  DWORD status = OpenUniqueKey(parent, name, WRITE_OWNER, key);
  if (status != ERROR_SUCCESS) return status;
  status = static_cast<DWORD>(RegSetKeySecurity(key.get(), OWNER_SECURITY_INFORMATION, descriptor.data()));
  if (status == ERROR_SUCCESS) status = OpenUniqueKey(parent, name, WRITE_DAC, key);
  if (status == ERROR_SUCCESS)
    status = static_cast<DWORD>(RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, descriptor.data()));
  if (status == ERROR_SUCCESS) status = OpenUniqueKey(parent, name, KEY_READ, key);
  if (status != ERROR_SUCCESS) return status;
  const CTesselRegObject opened(parent, key.release());
  for (const CString& child : opened.GetSubKeys()) {
    if (TakeBack(opened.GetKey(), child.c_str(), descriptor, failures) != ERROR_SUCCESS) ++failures;
  }
  return ERROR_SUCCESS;
}

Outcome Reset(const RegistryPath& key) {
  PSECURITY_DESCRIPTOR made = nullptr;
  ULONG size = 0;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(kFirstList, SDDL_REVISION_1, &made, &size))
    return Failed("The access list can't be made: " + SystemText(GetLastError()) + ".");
  const LocalMemory<void> held(made);
  std::string descriptor(static_cast<const char*>(made), size);
  const HeldPrivilege privilege(SE_TAKE_OWNERSHIP_NAME);
  size_t failures = 0;
  machine::BeginEvent();
  if (const DWORD status = TakeBack(key.root, key.path.c_str(), descriptor, failures);
      status != ERROR_SUCCESS) {
    machine::AbandonEvent();
    return Failed(CantBeOpened(key.full, status));
  }
  Outcome outcome = Describe(key);
  if (const machine::Outcome committed = machine::CommitEvent(); !committed)
    return Failed(committed.sentence);
  if (failures > 0) {
    outcome.partly = true;
    outcome.status = Status::NotDone;
    outcome.error = std::to_string(failures) + (failures == 1 ? " key" : " keys") + " below \"" + key.full +
                    "\" can't be given the list.";
  }
  return outcome;
}

}  // namespace

Outcome ShowAccessList(const Settings& settings, const std::string& key, bool reset) {
  const RegistryPath path = ParseRegistryPath(key);
  if (path.root == nullptr) return NoSuchRoot(key);
  const ActingOn computer(settings.host.computer);
  if (!computer.Why().empty()) return Failed(computer.Why());
  RegistryPath reached = path;
  HKEY connected = nullptr;
  if (!computer.Name().empty()) {
    const LSTATUS status = RegConnectRegistryA(computer.Name().c_str(), path.root, &connected);
    if (status != ERROR_SUCCESS) return Failed(CantBeOpened(path.full, static_cast<DWORD>(status)));
    reached.root = connected;
  }
  const UniqueKey held(connected);
  return reset ? Reset(reached) : Describe(reached);
}
