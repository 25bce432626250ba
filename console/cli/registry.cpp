// The commands that look at the registry and keep the lists of computers and configurations.

#include <algorithm>
#include <array>

#include "console/cli/registry_path.h"
#include "console/computer.h"
#include "platform/machine.h"
#include "platform/text.h"
#include "store/places.h"
#include "store/registry_object.h"

namespace {

struct Root {
  std::string_view name;
  std::string_view shortName;
  HKEY key;
};

const std::array<Root, 4>& Roots() {
  static const std::array<Root, 4> roots{{{"HKEY_LOCAL_MACHINE", "HKLM", HKEY_LOCAL_MACHINE},
                                          {"HKEY_CURRENT_USER", "HKCU", HKEY_CURRENT_USER},
                                          {"HKEY_CLASSES_ROOT", "HKCR", HKEY_CLASSES_ROOT},
                                          {"HKEY_USERS", "HKU", HKEY_USERS}}};
  return roots;
}

std::string TypeName(DWORD type) {
  static constexpr std::string_view kNames[] = {"REG_NONE",
                                                "REG_SZ",
                                                "REG_EXPAND_SZ",
                                                "REG_BINARY",
                                                "REG_DWORD",
                                                "REG_DWORD_BIG_ENDIAN",
                                                "REG_LINK",
                                                "REG_MULTI_SZ",
                                                "REG_RESOURCE_LIST",
                                                "REG_FULL_RESOURCE_DESCRIPTOR",
                                                "REG_RESOURCE_REQUIREMENTS_LIST",
                                                "REG_QWORD"};
  return type < std::size(kNames) ? std::string(kNames[type]) : std::to_string(type);
}

std::string Bytes(std::string_view data) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(data.size() * 3);
  for (const char c : data) {
    const auto byte = static_cast<unsigned char>(c);
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// Reads values of any size, growing its buffers as they demand.
class ValueReader {
 public:
  LSTATUS Read(HKEY key, DWORD index, RegistryValue& out) {
    for (;;) {
      DWORD nameSize = static_cast<DWORD>(m_name.size());
      DWORD dataSize = static_cast<DWORD>(m_data.size());
      const LSTATUS status = RegEnumValueA(key, index, m_name.data(), &nameSize, nullptr, &out.type,
                                           reinterpret_cast<BYTE*>(m_data.data()), &dataSize);
      if (status == ERROR_MORE_DATA && dataSize > m_data.size()) {
        m_data.resize(dataSize);
        continue;
      }
      out.name.assign(m_name.data(), nameSize);
      out.data.assign(m_data.data(), dataSize);
      return status;
    }
  }

 private:
  std::string m_name = std::string(16384, '\0');
  std::string m_data = std::string(4096, '\0');
};

void AddValue(Outcome& outcome, const RegistryValue& value) {
  const std::string name = value.name.empty() ? "(Default)" : value.name;
  outcome.text += "    " + name + "  " + TypeName(value.type) + "  " + Bytes(value.data) + "\n";
  outcome.data["values"].push_back(
      {{"name", value.name}, {"type", TypeName(value.type)}, {"bytes", Bytes(value.data)}});
}

bool IsConfigurationName(std::string_view name) {
  return !name.empty() && name.size() <= 255 && name.find_first_of("\\:") == std::string_view::npos;
}

// What a new configuration copies from the computer's own settings.
constexpr const char* kServices[] = {"SSHD", "SFTP", "SCP"};

// Authorized keys and cached credentials stay with the computer that they were given to.
constexpr char kCredentials[] = "PAD";

// Copies every value and subkey exactly, whatever its size, into a key that is made.
LSTATUS CopyTree(HKEY from, HKEY to) {
  ValueReader reader;
  RegistryValue value;
  LSTATUS status = ERROR_SUCCESS;
  for (DWORD index = 0; (status = reader.Read(from, index, value)) == ERROR_SUCCESS; ++index) {
    status = RegSetValueExA(to, value.name.c_str(), 0, value.type,
                            reinterpret_cast<const BYTE*>(value.data.data()),
                            static_cast<DWORD>(value.data.size()));
    if (status != ERROR_SUCCESS) return status;
  }
  char name[256];
  for (DWORD index = 0; status == ERROR_NO_MORE_ITEMS; ++index) {
    DWORD size = sizeof name;
    if (RegEnumKeyExA(from, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      return ERROR_SUCCESS;
    }
    if (text::EqualNoCase(name, kCredentials)) continue;
    CTesselRegObject source(from);
    CTesselRegObject copy(to);
    if (source.CreateKey(name) == 0 || copy.CreateKey(name) == 0) return ERROR_ACCESS_DENIED;
    if (const LSTATUS below = CopyTree(source.GetKey(), copy.GetKey()); below != ERROR_SUCCESS) return below;
  }
  return status;
}

Outcome List(const std::vector<std::string>& names) {
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const std::string& name : names) {
    outcome.text += name + "\n";
    outcome.data.push_back(name);
  }
  return outcome;
}

}  // namespace

RegistryPath ParseRegistryPath(std::string_view key) {
  const size_t end = std::min(key.find('\\'), key.size());
  for (const Root& root : Roots()) {
    const std::string_view name = key.substr(0, end);
    if (!text::EqualNoCase(name, root.name) && !text::EqualNoCase(name, root.shortName)) continue;
    const std::string path(key.substr(std::min(end + 1, key.size())));
    return {root.key, path, path.empty() ? std::string(root.name) : std::string(root.name) + "\\" + path};
  }
  return {};
}

Outcome NoSuchRoot(const std::string& key) {
  return Failed("\"" + key +
                    "\" begins with none of HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, "
                    "HKEY_CLASSES_ROOT and HKEY_USERS.",
                Status::WrongUse);
}

Outcome QueryRegistry(const Settings& settings, const std::string& key, const std::string* value) {
  const RegistryPath named = ParseRegistryPath(key);
  if (named.root == nullptr) return NoSuchRoot(key);
  const ActingOn computer(settings.host.computer);
  if (!computer.Why().empty()) return Failed(computer.Why());
  CTesselRegObject open;
  if (const DWORD status = open.OpenKey(computer.Name().c_str(), named.root, named.path.c_str());
      status != ERROR_SUCCESS) {
    return Failed("\"" + key + "\" can't be opened: " + SystemText(status) + ".");
  }
  const std::string& full = named.full;
  Outcome outcome;
  outcome.text = full + "\n";
  outcome.data = {{"key", full}, {"values", nlohmann::ordered_json::array()}};
  ValueReader reader;
  RegistryValue read;
  bool found = false;
  LSTATUS status = ERROR_SUCCESS;
  for (DWORD index = 0; (status = reader.Read(open.GetKey(), index, read)) == ERROR_SUCCESS; ++index) {
    if (value != nullptr && !text::EqualNoCase(read.name, *value)) continue;
    found = true;
    AddValue(outcome, read);
  }
  if (status != ERROR_NO_MORE_ITEMS)
    return Failed("\"" + key + "\" can't be read: " + SystemText(static_cast<DWORD>(status)) + ".");
  if (value != nullptr) {
    if (found) return outcome;
    return Failed("\"" + full + "\" has no value \"" + *value + "\".");
  }
  CStringList subkeys = open.GetSubKeys();
  std::reverse(subkeys.begin(), subkeys.end());
  outcome.data["keys"] = subkeys;
  for (const CString& subkey : subkeys) outcome.text.append(full).append("\\").append(subkey).append("\n");
  return outcome;
}

Outcome ChangeComputers(const std::string& verb, const std::string& name, unsigned codePage) {
  if (verb == "list") return List(machine::Computers());
  const machine::Outcome changed =
      verb == "add" ? machine::AddComputer(name, codePage) : machine::RemoveComputer(name);
  return changed ? Outcome{} : Failed(changed.sentence);
}

Outcome ChangeConfigurations(const Settings& settings, const std::string& verb, const std::string& name) {
  const ActingOn actingOn(settings.host.computer);
  if (!actingOn.Why().empty()) return Failed(actingOn.Why());
  const std::string& computer = actingOn.Name();
  const std::vector<std::string> names = ConfigurationNames(computer);
  if (verb == "list") return List(names);
  if (!IsConfigurationName(name)) {
    return Failed("A configuration's name has 1 to 255 characters, and neither \":\" nor \"\\\".");
  }
  const bool exists = std::any_of(names.begin(), names.end(), [&name](const std::string& other) {
    return text::EqualNoCase(other, name);
  });
  if (exists == (verb == "add")) {
    return Failed("There is " + std::string(exists ? "a" : "no") + " configuration \"" + name + "\"" +
                  (exists ? " already." : "."));
  }
  CTesselRegObject server;
  DWORD status = server.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, "Software");
  if (status != ERROR_SUCCESS) return Failed("The settings can't be opened: " + SystemText(status) + ".");
  machine::BeginEvent();
  if (verb == "remove") {
    const std::string path = std::string(kConfigServer) + "\\" + name;
    status = DeleteRegistryKeyA(server.GetRoot(), path.c_str(), KEY_ALL_ACCESS);
  } else {
    for (const char* service : kServices) {
      CTesselRegObject source(server.GetRoot());
      CTesselRegObject copy(server.GetRoot());
      const bool made =
          source.CreateKey((std::string(kSettingsRoot) + "\\" + service).c_str()) != 0 &&
          copy.CreateKey((std::string(kConfigServer) + "\\" + name + "\\" + service).c_str()) != 0;
      status = made ? static_cast<DWORD>(CopyTree(source.GetKey(), copy.GetKey())) : ERROR_ACCESS_DENIED;
      if (status != ERROR_SUCCESS) break;
    }
  }
  if (status != ERROR_SUCCESS) {
    machine::AbandonEvent();
    return Failed("The configuration \"" + name + "\" can't be changed: " + SystemText(status) + ".");
  }
  const machine::Outcome committed = machine::CommitEvent();
  return committed ? Outcome{} : Failed(committed.sentence);
}
