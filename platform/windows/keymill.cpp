#include "platform/keymill.h"

#include "platform/win32.h"

namespace keymill {
namespace {

using GenerateKeyFunction = int (*)(char*, char*, char*, char*, char*);
using FingerprintFunction = char* (*)(const char*);
using UpdateFunction = long (*)();

// The functions of keymill.dll, null where it is not there. It stays loaded.
struct Functions {
  HMODULE module = LoadLibraryA("keymill.dll");
  GenerateKeyFunction generateKey = Find<GenerateKeyFunction>("GenerateKey");
  FingerprintFunction fingerprint = Find<FingerprintFunction>("KGGetFingerprintString");
  FingerprintFunction fingerprintOfBlob = Find<FingerprintFunction>("KGGetFingerprintStringFromBlob");
  UpdateFunction update = Find<UpdateFunction>("UpdateAlgorithmsEx");

  template <class Function>
  Function Find(const char* name) const {
    if (module == nullptr) return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  }
};

const Functions& Library() {
  static const Functions functions;
  return functions;
}

// The library allocates on the process heap.
std::optional<std::string> Take(char* text) {
  if (text == nullptr) return std::nullopt;
  std::string taken = text;
  HeapFree(GetProcessHeap(), 0, text);
  return taken;
}

}  // namespace

int GenerateKey(const char* type, const char* bits, const char* file, const char* passphrase,
                const char* comment, const Turn&) {
  if (Library().generateKey == nullptr) return -1;
  // It takes texts that it could change.
  std::string copies[] = {type, bits, file, passphrase, comment};
  return Library().generateKey(copies[0].data(), copies[1].data(), copies[2].data(), copies[3].data(),
                               copies[4].data());
}

std::optional<std::string> KGGetFingerprintString(const char* path) {
  return Library().fingerprint == nullptr ? std::nullopt : Take(Library().fingerprint(path));
}

std::optional<std::string> KGGetFingerprintStringFromBlob(const char* key) {
  return Library().fingerprintOfBlob == nullptr ? std::nullopt : Take(Library().fingerprintOfBlob(key));
}

void UpdateAlgorithmsEx() {
  if (Library().update != nullptr) Library().update();
}

}  // namespace keymill
