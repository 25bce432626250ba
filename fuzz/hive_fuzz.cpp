// Hive files: the input is what follows a sound header, so that the keys themselves are damaged.

#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/embedded/regf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kPage = 4096;
  const std::string path = "/dev/shm/hive-fuzz-" + std::to_string(getpid());
  std::string bytes(2 * kPage, '\0');
  std::memcpy(bytes.data() + kPage, data, std::min(size, kPage));
  const uint32_t header[] = {0x66676572, 1, 1, 0, 0, 1, 3, 0, 1, 0x20, kPage, 1};
  std::memcpy(bytes.data(), header, sizeof header);
  uint32_t sum = 0;
  for (const uint32_t number : header) sum ^= number;
  std::memcpy(bytes.data() + 508, &sum, sizeof sum);
  std::ofstream(path, std::ios::binary) << bytes;
  embedded::HiveKey root;
  embedded::ReadHive(path, root);
  unlink(path.c_str());
  return 0;
}
