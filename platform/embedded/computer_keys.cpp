#include "platform/embedded/computer_keys.h"

#include "platform/embedded/installation.h"
#include "platform/embedded/keysecurity.h"
#include "platform/embedded/values.h"
#include "platform/win32.h"

namespace embedded {
namespace {

// Local System, administrators and the owner in full, users for reading, handed down to all subkeys.
constexpr const char* kRootSecurity = "O:BAG:SYD:PAI(A;CI;KR;;;BU)(A;CI;KA;;;BA)(A;CI;KA;;;SY)(A;CI;KA;;;CO)";

constexpr std::string_view kSoftware = "MACHINE\\SOFTWARE";
constexpr std::string_view kProduct = "MACHINE\\SOFTWARE\\TesselWorks";
constexpr std::string_view kServer = "MACHINE\\SOFTWARE\\TesselWorks\\SSHD";
constexpr std::string_view kLocalPort =
    "MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Local Port";

// In order: a key comes after its parent.
constexpr std::string_view kSkeleton[] = {
    "USER",
    "USER\\.DEFAULT",
    "USER\\.DEFAULT\\Software",
    "MACHINE",
    kSoftware,
    "MACHINE\\SOFTWARE\\Classes",
    "MACHINE\\SOFTWARE\\Clients",
    "MACHINE\\SOFTWARE\\Microsoft",
    "MACHINE\\SOFTWARE\\Policies",
    "MACHINE\\SOFTWARE\\RegisteredApplications",
    kProduct,
    "MACHINE\\SOFTWARE\\TesselWorks\\ConfigServer",
    "MACHINE\\SOFTWARE\\TesselWorks\\SCP",
    "MACHINE\\SOFTWARE\\TesselWorks\\SCP\\Groups",
    "MACHINE\\SOFTWARE\\TesselWorks\\SCP\\Users",
    "MACHINE\\SOFTWARE\\TesselWorks\\SCP\\Users\\Default",
    "MACHINE\\SOFTWARE\\TesselWorks\\SFTP",
    "MACHINE\\SOFTWARE\\TesselWorks\\SFTP\\Groups",
    "MACHINE\\SOFTWARE\\TesselWorks\\SFTP\\Users",
    "MACHINE\\SOFTWARE\\TesselWorks\\SFTP\\Users\\Default",
    kServer,
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\Certs",
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\Groups",
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\IPs",
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\PAD",
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\PrinterInfo",
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\Users",
    "MACHINE\\SOFTWARE\\TesselWorks\\SSHD\\Users\\Default",
    "MACHINE\\SOFTWARE\\WOW6432Node",
    "MACHINE\\SYSTEM",
    "MACHINE\\SYSTEM\\CurrentControlSet",
    "MACHINE\\SYSTEM\\CurrentControlSet\\Control",
    "MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print",
    "MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors",
    kLocalPort,
    "MACHINE\\SYSTEM\\CurrentControlSet\\Hardware Profiles",
    "MACHINE\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current",
    "MACHINE\\SYSTEM\\CurrentControlSet\\Services",
};

LONG RootDescriptor(std::string& bytes) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ULONG size = 0;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorA(kRootSecurity, SDDL_REVISION_1, &descriptor,
                                                           &size) == FALSE) {
    return static_cast<LONG>(GetLastError());
  }
  bytes.assign(static_cast<const char*>(descriptor), size);
  LocalFree(descriptor);
  return ERROR_SUCCESS;
}

LONG FindPath(Transaction& txn, KeyId from, std::string_view path, KeyId* key) {
  std::string_view rest;
  const LONG status = FollowPath(txn, from, path, 0, key, &rest);
  return status == 0 && !rest.empty() ? ERROR_FILE_NOT_FOUND : status;
}

// Adds a key with what its parent hands down.
LONG MakeKey(Transaction& txn, KeyId parent, std::string_view name, std::string_view descriptor, KeyId* key) {
  uint64_t security;
  const LONG status = HoldDescriptor(txn, descriptor, &security);
  return status != 0 ? status : AddChild(txn, parent, name, "", security, key);
}

// A text with its terminator, as a setup program writes it.
LONG PutText(Transaction& txn, KeyId key, const char* name, std::string_view text) {
  std::string data(text);
  data += '\0';
  return PutValue(txn, key, name, REG_SZ, data);
}

}  // namespace

LONG MakeHomeKey(Transaction& txn) {
  KeyId key = 0;
  std::string descriptor;
  KeyInfo info;
  LONG status = RootDescriptor(descriptor);
  if (status == 0) status = HoldDescriptor(txn, descriptor, &info.record.security);
  if (status == 0) status = Status(txn.NewId(&key));
  return status != 0 ? status : Status(txn.Add(key, info));
}

LONG MakeComputer(Transaction& txn, std::string_view name) {
  KeyId computer = 0;
  KeyId key = 0;
  std::string root;
  std::string inherited;
  LONG status = RootDescriptor(root);
  if (status == 0) status = MakeKey(txn, kHomeKey, name, root, &computer);
  if (status == 0) status = DescriptorOfNewKey(root, nullptr, inherited);
  for (const std::string_view path : kSkeleton) {
    const size_t split = path.rfind('\\');
    KeyId parent = computer;
    if (status == 0 && split != std::string_view::npos)
      status = FindPath(txn, computer, path.substr(0, split), &parent);
    // What programs keep is under lists of its own.
    const bool top = path.find('\\') == split;
    if (status == 0) {
      status = MakeKey(txn, parent, path.substr(split + 1), top ? std::string_view(root) : inherited, &key);
    }
    KeyRecord* record = nullptr;
    if (status == 0 && path == kSoftware) status = EditKey(txn, key, record);
    if (record != nullptr) record->redirects = 1;
    // The monitor that Windows itself has there.
    if (status == 0 && path == kLocalPort) status = PutText(txn, key, "Driver", "localspl.dll");
    if (status == 0 && (path == kProduct || path == kServer))
      status = PutText(txn, key, "Path", kInstallFolder);
    if (status == 0 && path == kServer) {
      status = PutText(txn, key, "HelpFile", std::string(kInstallFolder) + "marrowen.chm");
    }
    // Logs are kept unless a value says no, so they must have a place.
    if (status == 0 && path == kServer) {
      status = PutText(txn, key, "LogFileDirectory", std::string(kInstallFolder) + std::string(kLogFolder));
    }
  }
  return status;
}

namespace {

std::string& Ground() {
  static std::string& name = *new std::string(kLocalComputer);
  return name;
}

}  // namespace

const std::string& StandsOn() { return Ground(); }
void SetStandsOn(std::string_view name) { Ground() = name; }

LONG FindComputer(Transaction& txn, std::string_view name, KeyId* computer) {
  return FindChild(txn, kHomeKey, name.empty() ? StandsOn() : name, computer);
}

std::string ComputerOf(Transaction& txn, KeyId key) {
  KeyInfo info;
  while (LoadKey(txn, key, info) == 0 && info.record.parent > kHomeKey) key = info.record.parent;
  return info.name == kLocalComputer ? std::string() : std::string(info.name);
}

}  // namespace embedded
