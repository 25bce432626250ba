#pragma once

// From a page's base key and the target that it shows to the registry key behind it. A target is a title
// path with "::" between its nodes ("Users::CORP\alice::Logon"); where the console edits the configurations
// of a configuration server, the part before the first colon names the configuration.

#include <memory>
#include <string_view>

#include "platform/text.h"
#include "store/registry_object.h"

// The ways in which pages find their key. A page names its own and knows nothing of the others'.
enum class Routing {
  Server,                // the server's key
  PrinterInfo,           // print monitoring
  AuthorizedKeys,        // the store of authorized keys
  ScpList,               // SCP users and groups
  SftpList,              // SFTP users and groups
  PrincipalList,         // users, IP ranges
  GroupList,             // groups
  PrincipalGeneral,      // a principal whose name ends the target
  Principal,             // a principal with the page's own node behind it
  PrincipalForwarding,   // the same, its name twice in the key
  PrincipalEnvironment,  // its subkey Environment
  PrincipalTerminate,    // its subkey TerminateStrings
  TwoStepUpload,         // a file transfer principal with the page's own node behind it
  ScpPrincipal,          // an SCP user or group
  SftpPrincipal,         // an SFTP user or group
};

struct TargetKey {
  CString path;             // under HKEY_LOCAL_MACHINE
  size_t subkeyLength = 0;  // characters at the end of `path` to cut for the key of the principal itself
};

// Any text is a valid target: one without the expected colons gives a key that does not exist.
TargetKey RouteTarget(Routing routing, std::string_view baseKey, std::string_view target,
                      bool configServerMode);

// The target's key on `computer` (empty: the local one), open, or null if it cannot be opened; `status`,
// which may be null, gets the reason. The missing subkey of a principal whose key exists is made; its object
// is returned even if opening it fails then, with no key in it.
std::unique_ptr<CTesselRegObject> OpenTargetKey(Routing routing, const CString& computer,
                                                std::string_view baseKey, std::string_view target,
                                                bool configServerMode, DWORD* status = nullptr);
