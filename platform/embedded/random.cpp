#include "platform/embedded/random.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdlib>

namespace embedded {

void FillRandom(void* bytes, size_t size) {
  auto* place = static_cast<unsigned char*>(bytes);
  while (size > 0) {
    const ssize_t got = getrandom(place, size, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      std::abort();  // Keys must never be made of anything else.
    }
    place += got;
    size -= static_cast<size_t>(got);
  }
}

}  // namespace embedded
