#include "store/target_routing.h"

#include <iterator>

#include "store/places.h"

namespace {

constexpr bool Holds(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

// The service whose settings a base key names, as a configuration of the server has them below it.
constexpr std::string_view ServiceOf(std::string_view baseKey) {
  return Holds(baseKey, "SSHD") ? "\\SSHD" : Holds(baseKey, "TelnetD") ? "\\TelnetD" : "\\WSMan";
}

// The group list's own reading of its base key. "SSHD" at position 1 cannot stand in a key that begins with
// "Software", so this is \SSHD for every key without "Telnet"; configurations are stored under that choice.
constexpr std::string_view GroupServiceOf(std::string_view baseKey) {
  return Holds(baseKey, "Telnet") ? "\\TelnetD" : baseKey.find("SSHD") == 1 ? "\\WSMan" : "\\SSHD";
}

enum class Form {
  Plain,         // one key for all targets
  FileTransfer,  // the name behind the last colon of the target
  Principal,     // folder and name from the last nodes of the target
};

struct Row {
  Routing routing;
  Form form;
  std::string_view tail;                          // behind the configuration's name
  std::string_view (*service)(std::string_view);  // in its place, chosen by the base key
  bool ownNode = false;                           // the target ends in the page's own node
  std::string_view subkey = {};                   // of the principal's key
};

constexpr Row kRows[] = {
    {Routing::Server, Form::Plain, "\\SSHD", nullptr},
    {Routing::PrinterInfo, Form::Plain, "\\SSHD\\PrinterInfo", nullptr},
    {Routing::AuthorizedKeys, Form::Plain, "\\SSHD\\PAD", nullptr},
    {Routing::ScpList, Form::Plain, "\\SCP", nullptr},
    {Routing::SftpList, Form::Plain, "\\SFTP", nullptr},
    {Routing::PrincipalList, Form::Plain, {}, ServiceOf},
    {Routing::GroupList, Form::Plain, {}, GroupServiceOf},
    {Routing::PrincipalGeneral, Form::Principal, {}, ServiceOf},
    {Routing::Principal, Form::Principal, {}, ServiceOf, true},
    {Routing::PrincipalForwarding, Form::Principal, {}, ServiceOf, true},
    {Routing::PrincipalEnvironment, Form::Principal, {}, ServiceOf, true, "\\Environment"},
    {Routing::PrincipalTerminate, Form::Principal, {}, ServiceOf, true, "\\TerminateStrings"},
    {Routing::TwoStepUpload, Form::Principal, {}, ServiceOf, true},
    // Users also for the page that serves groups: that is where configurations keep both.
    {Routing::ScpPrincipal, Form::FileTransfer, "\\SCP\\Users", nullptr},
    {Routing::SftpPrincipal, Form::FileTransfer, "\\SFTP\\Users", nullptr},
};

constexpr bool RowsFollowTheEnumeration() {
  for (size_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].routing != static_cast<Routing>(i)) return false;
  }
  return true;
}
static_assert(RowsFollowTheEnumeration());

// What stands before the last "::". One character goes with the colon whatever it is, and a text without a
// colon leaves nothing.
std::string_view BeforeLastNode(std::string_view path) {
  const size_t colon = path.rfind(':');
  return path.substr(0, colon == std::string_view::npos || colon == 0 ? 0 : colon - 1);
}

std::string_view LastNode(std::string_view path) {
  return path.substr(path.rfind(':') + 1);  // the whole text without a colon
}

// A key's name cannot hold a backslash.
CString KeyName(std::string_view name) { return text::Replaced(name, "\\", "?"); }

// The folder of principals that a node stands for, "IP Range" being kept under IPs.
std::string_view FolderOf(std::string_view node, Routing routing) {
  std::string_view folder = Holds(node, "IP") ? "IPs" : node;
  if (routing != Routing::TwoStepUpload) return folder;
  // "SFTP Users" and "SFTP Groups".
  if (Holds(node, "Users")) folder = "Users";
  if (Holds(node, "Groups")) folder = "Groups";
  return folder;
}

}  // namespace

TargetKey RouteTarget(Routing routing, std::string_view baseKey, std::string_view target,
                      bool configServerMode) {
  const Row& row = kRows[static_cast<size_t>(routing)];
  CString path(baseKey);
  const size_t colon = target.find(':');
  if (configServerMode && colon != std::string_view::npos && colon > 0) {
    path = kConfigServer;
    path += '\\';
    path += target.substr(0, colon);
    path += row.service ? row.service(baseKey) : row.tail;
  }
  if (row.form == Form::Plain) return {path};
  if (row.form == Form::FileTransfer) return {path + '\\' + KeyName(LastNode(target))};

  const std::string_view principal = row.ownNode ? BeforeLastNode(target) : target;
  CString name = KeyName(LastNode(principal));
  // Both are how these pages have always found their keys: the whole target in place of the name, and the
  // name twice with nothing between.
  if (routing == Routing::TwoStepUpload && configServerMode) name = target;
  if (routing == Routing::PrincipalForwarding) name += name;
  path += '\\';
  path += FolderOf(LastNode(BeforeLastNode(principal)), routing);
  path += '\\';
  path += name;
  path += row.subkey;
  return {path, row.subkey.size()};
}

std::unique_ptr<CTesselRegObject> OpenTargetKey(Routing routing, const CString& computer,
                                                std::string_view baseKey, std::string_view target,
                                                bool configServerMode, DWORD* status) {
  const TargetKey target_key = RouteTarget(routing, baseKey, target, configServerMode);
  const char* name = computer.empty() ? nullptr : computer.c_str();
  DWORD ignored = ERROR_SUCCESS;
  DWORD& opened = status != nullptr ? *status : ignored;
  auto key = std::make_unique<CTesselRegObject>(target_key.path.c_str());
  opened = key->OpenKey(name, HKEY_LOCAL_MACHINE, target_key.path.c_str());
  if (opened == ERROR_SUCCESS) return key;
  if (target_key.subkeyLength == 0) return nullptr;

  const CString parent = target_key.path.substr(0, target_key.path.size() - target_key.subkeyLength);
  opened = key->OpenKey(name, HKEY_LOCAL_MACHINE, parent.c_str());
  if (opened != ERROR_SUCCESS) return nullptr;
  key->CreateKey(target_key.path.c_str());
  key->CloseKey();
  opened = key->OpenKey(name, HKEY_LOCAL_MACHINE, target_key.path.c_str());
  return key;
}
