#include "console/library.h"

#include "platform/program.h"

namespace {

template <class Function>
bool Take(void* module, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(platform::FindFunction(module, name));
  return function != nullptr;
}

}  // namespace

std::optional<Library> LoadExtension(std::string& why) {
  const std::filesystem::path path = platform::LibraryFile("MarrowenMgr");
  const std::string file = platform::TextOf(path);
  void* const module = platform::LoadLibraryFile(path);
  if (module == nullptr) {
    why = "The library \"" + file + "\" can't be loaded.";
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

void UnloadExtension(const Library& library) { platform::UnloadLibrary(library.module); }
