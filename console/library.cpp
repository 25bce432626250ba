#include "console/library.h"

#include <filesystem>

#include "console/host.h"
#include "platform/win32.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace {

#ifdef _WIN32
constexpr char kFileName[] = "MarrowenMgr.dll";

void* Load(const std::string& file) { return reinterpret_cast<void*>(::LoadLibraryA(file.c_str())); }
void* Find(void* module, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(module), name));
}
void Unload(void* module) { ::FreeLibrary(static_cast<HMODULE>(module)); }
std::string Why() { return SystemText(GetLastError()); }
#else
constexpr char kFileName[] = "libMarrowenMgr.so";

void* Load(const std::string& file) { return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL); }
void* Find(void* module, const char* name) { return dlsym(module, name); }
void Unload(void* module) { dlclose(module); }
std::string Why() {
  const char* const why = dlerror();
  return why == nullptr ? "" : why;
}
#endif

template <class Function>
bool Take(void* module, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(Find(module, name));
  return function != nullptr;
}

}  // namespace

std::string ProgramFolder() {
#ifdef _WIN32
  char path[MAX_PATH] = "";
  GetModuleFileNameA(nullptr, path, sizeof path);
  return std::filesystem::path(path).parent_path().string();
#else
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
#endif
}

std::optional<Library> LoadExtension(std::string& why) {
  const std::string file = (std::filesystem::path(ProgramFolder()) / kFileName).string();
  void* const module = Load(file);
  if (module == nullptr) {
    const std::string cause = Why();
    why = "The library \"" + file + "\" can't be loaded" + (cause.empty() ? "." : ": " + cause + ".");
    return std::nullopt;
  }
  Library library{};
  library.module = module;
  if (!Take(module, "InitPropExt", library.initPropExt) ||
      !Take(module, "GetPropPage", library.getPropPage) ||
      !Take(module, "ClosePropExt", library.closePropExt) ||
      !Take(module, "RemoveUsers", library.removeUsers) ||
      !Take(module, "RemoveFileTransferUsers", library.removeFileTransferUsers)) {
    why = "The library \"" + file + "\" is no library of settings: it lacks a function.";
    return std::nullopt;
  }
  return library;
}

void UnloadExtension(const Library& library) { Unload(library.module); }
