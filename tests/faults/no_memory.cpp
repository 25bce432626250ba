// Loaded before the language's library: the first thread, on which pages run, is once refused a large piece
// of memory when the file that NO_MEMORY names is there, after as many as the file has bytes. The file goes
// by that.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

namespace {

bool Refuses() {
  static off_t given = 0;
  const char* const name = std::getenv("NO_MEMORY");
  struct stat about {};
  if (stat(name, &about) != 0 || given++ < about.st_size) return false;
  given = 0;
  unlink(name);
  return true;
}

}  // namespace

void* operator new(std::size_t size) {
  constexpr std::size_t kLarge = 1 << 18;
  const bool refused = size >= kLarge && gettid() == getpid() && Refuses();
  void* const place = refused ? nullptr : std::malloc(size);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}
