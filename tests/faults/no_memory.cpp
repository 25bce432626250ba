// Loaded before the language's library: the first thread, on which pages run, is once refused a large piece
// of memory when the file that NO_MEMORY names is there. The file goes by that.
#include <unistd.h>

#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
  constexpr std::size_t kLarge = 1 << 18;
  const bool refused = size >= kLarge && gettid() == getpid() && unlink(std::getenv("NO_MEMORY")) == 0;
  void* const place = refused ? nullptr : std::malloc(size);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}
