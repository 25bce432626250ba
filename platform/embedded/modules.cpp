#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "platform/embedded/messages.h"
#include "platform/embedded/win32/registry.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

// The modules that can be loaded by name.

namespace {

struct Procedure {
  const char* name;
  void (*address)();
};

struct Module {
  const char* name;
  const embedded::MessageTable* messages;
  std::span<const Procedure> procedures;
};

const Procedure kRegistry[] = {
    {"RegDeleteKeyExA", reinterpret_cast<void (*)()>(&RegDeleteKeyExA)},
    {"RegDeleteKeyA", reinterpret_cast<void (*)()>(&RegDeleteKeyA)},
};
constexpr embedded::MessageTable kNetworkMessages = embedded::MessageTable::kNetwork;

const Module kModules[] = {
    {"advapi32.dll", nullptr, kRegistry},
    {"netmsg.dll", &kNetworkMessages, {}},
};

const Module* AsModule(HMODULE handle) {
  for (const Module& module : kModules) {
    if (static_cast<const void*>(handle) == &module) return &module;
  }
  return nullptr;
}

}  // namespace

const embedded::MessageTable* embedded::ModuleMessages(HMODULE module) {
  const Module* known = AsModule(module);
  return known == nullptr ? nullptr : known->messages;
}

HMODULE WINAPI LoadLibraryExA(LPCSTR name, HANDLE, DWORD) {
  std::string_view file = name == nullptr ? "" : name;
  file.remove_prefix(file.find_last_of("\\/") + 1);
  const std::string full =
      file.find('.') == std::string_view::npos ? std::string(file) + ".dll" : std::string(file);
  for (const Module& module : kModules) {
    if (text::EqualNoCase(full, module.name)) return reinterpret_cast<HMODULE>(const_cast<Module*>(&module));
  }
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

HMODULE WINAPI LoadLibraryA(LPCSTR name) { return LoadLibraryExA(name, nullptr, 0); }

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
  const Module* known = AsModule(module);
  if (known == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  for (const Procedure& procedure : known->procedures) {
    // The names of exports are told apart by case.
    if (std::strcmp(procedure.name, name) == 0) return reinterpret_cast<FARPROC>(procedure.address);
  }
  SetLastError(ERROR_PROC_NOT_FOUND);
  return nullptr;
}

BOOL WINAPI FreeLibrary(HMODULE module) {
  if (AsModule(module) != nullptr) return TRUE;
  SetLastError(ERROR_MOD_NOT_FOUND);
  return FALSE;
}
