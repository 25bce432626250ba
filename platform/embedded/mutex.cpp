#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/store.h"
#include "platform/embedded/win32/system.h"

// Mutexes. A named one is a robust, recursive pthread mutex in a small file of the home, mapped once a
// process. A shared flock on the file says that a process holds it open: whoever gets it exclusively is the
// first, and makes the mutex anew.

using embedded::Fail;

namespace {

using embedded::Object;

class SharedMutex {
 public:
  SharedMutex(void* memory, int file) : mutex_(static_cast<pthread_mutex_t*>(memory)), file_(file) {}
  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

  ~SharedMutex() {
    if (depth_ > 0) {
      // Another thread that holds it has it in its list of robust mutexes: the memory must stay.
      if (owner_ != GetCurrentThreadId()) return;
      while (depth_ > 0) Release();
    }
    munmap(mutex_, sizeof *mutex_);
    if (file_ >= 0) close(file_);
  }

  // To be called once, by whoever makes it, before anybody else can see it.
  void Initialize() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }

  DWORD Wait(DWORD milliseconds) {
    int result = 0;
    if (milliseconds == INFINITE) {
      result = pthread_mutex_lock(mutex_);
    } else {
      timespec until{};
      clock_gettime(CLOCK_MONOTONIC, &until);
      until.tv_sec += milliseconds / 1000;
      until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
      if (until.tv_nsec >= 1000000000) {
        until.tv_nsec -= 1000000000;
        until.tv_sec++;
      }
      result = pthread_mutex_clocklock(mutex_, CLOCK_MONOTONIC, &until);
    }
    if (result == ETIMEDOUT) return WAIT_TIMEOUT;
    if (result != 0 && result != EOWNERDEAD) return Fail(ERROR_INVALID_HANDLE), WAIT_FAILED;
    if (result == EOWNERDEAD) {
      pthread_mutex_consistent(mutex_);
      depth_ = 0;  // A thread of this process may have died with it.
    }
    owner_ = GetCurrentThreadId();
    depth_++;
    return result == EOWNERDEAD ? WAIT_ABANDONED : WAIT_OBJECT_0;
  }

  BOOL Release() {
    if (depth_ == 0 || owner_ != GetCurrentThreadId()) return Fail(ERROR_NOT_OWNER);
    depth_--;
    if (depth_ == 0) owner_ = 0;
    pthread_mutex_unlock(mutex_);
    return TRUE;
  }

 private:
  pthread_mutex_t* mutex_;
  int file_;
  std::atomic<DWORD> owner_ = 0;  // Of this process's threads; they alone are asked about.
  std::atomic<int> depth_ = 0;
};

struct MutexHandle : Object {
  std::shared_ptr<SharedMutex> mutex;
};

// The named mutexes that this process has open.
struct OpenMutexes {
  std::mutex lock;
  std::map<std::string, std::weak_ptr<SharedMutex>> by_path;
};

OpenMutexes& Opened() {
  static OpenMutexes& opened = *new OpenMutexes;
  return opened;
}

// The file of a name: its letters and digits, and a hash for what they leave out.
std::string FileName(std::string_view name) {
  std::string text;
  uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char c : name) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    if (plain && text.size() < 64) text += c;
  }
  char suffix[24];
  std::snprintf(suffix, sizeof suffix, "-%016llx", static_cast<unsigned long long>(hash));
  return text + suffix;
}

// The namespaces of Windows sessions are one here; any other backslash makes a path that does not exist.
DWORD CheckName(std::string_view& name) {
  for (const std::string_view space : {"Global\\", "Local\\"}) {
    if (name.starts_with(space)) {
      name.remove_prefix(space.size());
      break;
    }
  }
  if (name.size() > MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  return name.find('\\') == std::string_view::npos ? ERROR_SUCCESS : ERROR_PATH_NOT_FOUND;
}

std::shared_ptr<SharedMutex> Map(int file) {
  void* memory = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE,
                      file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) return nullptr;
  return std::make_shared<SharedMutex>(memory, file);
}

// Opens the mutex's file, made if `create`. `existed` tells whether some process had it open; without one
// there is no mutex to open.
std::shared_ptr<SharedMutex> OpenFile(const std::string& folder, const std::string& path, bool create,
                                      bool& existed) {
  mkdir(folder.c_str(), 0700);
  // Opening and making are one step among all processes.
  const int gate = open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (gate < 0) return Fail(ERROR_ACCESS_DENIED), nullptr;
  flock(gate, LOCK_EX);
  std::shared_ptr<SharedMutex> mutex;
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0600);
  if (file < 0) {
    SetLastError(errno == ENOENT ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED);
  } else {
    existed = flock(file, LOCK_EX | LOCK_NB) != 0;
    const bool sized = existed || (create && ftruncate(file, sizeof(pthread_mutex_t)) == 0);
    if (sized) {
      mutex = Map(file);
    } else {
      SetLastError(create ? ERROR_DISK_FULL : ERROR_FILE_NOT_FOUND);
    }
    if (mutex && !existed) mutex->Initialize();
    flock(file, LOCK_SH);
    if (!mutex) close(file);
  }
  close(gate);
  return mutex;
}

HANDLE HandleTo(std::shared_ptr<SharedMutex> mutex) {
  auto handle = std::make_shared<MutexHandle>();
  handle->mutex = std::move(mutex);
  return embedded::OpenHandle(std::move(handle));
}

HANDLE OpenNamed(std::string_view name, bool create, bool& existed) {
  const DWORD status = CheckName(name);
  if (status != ERROR_SUCCESS) return Fail(status), nullptr;
  const std::string home = embedded::HomeFolder();
  if (home.empty()) return Fail(ERROR_PATH_NOT_FOUND), nullptr;
  const std::string folder = home + "/mutexes";
  const std::string path = folder + "/" + FileName(name);
  const std::scoped_lock guard(Opened().lock);
  std::shared_ptr<SharedMutex> mutex = Opened().by_path[path].lock();
  if (mutex) {
    existed = true;
  } else {
    mutex = OpenFile(folder, path, create, existed);
    if (!mutex) return nullptr;
    Opened().by_path[path] = mutex;
  }
  return HandleTo(std::move(mutex));
}

}  // namespace

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL owned, LPCSTR name) {
  bool existed = false;
  HANDLE handle = nullptr;
  if (name == nullptr || *name == '\0') {
    std::shared_ptr<SharedMutex> mutex = Map(-1);
    if (!mutex) return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    mutex->Initialize();
    handle = HandleTo(std::move(mutex));
  } else {
    handle = OpenNamed(name, true, existed);
  }
  if (handle == nullptr) return nullptr;
  if (owned != FALSE && !existed) embedded::Find<MutexHandle>(handle)->mutex->Wait(INFINITE);
  SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return handle;
}

HANDLE WINAPI OpenMutexA(DWORD, BOOL, LPCSTR name) {
  if (name == nullptr || *name == '\0') return Fail(ERROR_INVALID_PARAMETER), nullptr;
  bool existed = false;
  return OpenNamed(name, false, existed);
}

BOOL WINAPI ReleaseMutex(HANDLE mutex) {
  const auto handle = embedded::Find<MutexHandle>(mutex);
  return handle ? handle->mutex->Release() : FALSE;
}

DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  const auto handle = embedded::Find<MutexHandle>(object);
  return handle ? handle->mutex->Wait(milliseconds) : WAIT_FAILED;
}
