// Lines of authorized keys: whatever they hold, a key's bytes come back or nothing does, and written anew as
// a line they are the same key.

#include <cstddef>
#include <cstdint>

#include "platform/embedded/public_keys.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  const auto key = embedded::KeyOfLine(line);
  if (!key) return 0;
  const std::string fingerprint = embedded::FingerprintOf(*key);
  if (!fingerprint.starts_with("SHA256:") || fingerprint.find(" MD5:") == std::string::npos) __builtin_trap();
  // What stands behind it is a comment.
  if (size < 60000 && embedded::KeyOfLine(std::string(line) + " x") != key) __builtin_trap();
  return 0;
}
