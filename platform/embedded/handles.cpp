#include "platform/embedded/handles.h"

#include <mutex>
#include <unordered_map>

#include "platform/embedded/win32/system.h"

namespace embedded {
namespace {

struct Table {
  std::mutex lock;
  std::unordered_map<HANDLE, std::shared_ptr<Object>> open;
};

// Never destroyed: objects may still be closed while the process ends.
Table& Handles() {
  static Table& table = *new Table;
  return table;
}

}  // namespace

HANDLE OpenHandle(std::shared_ptr<Object> object) {
  const HANDLE handle = object.get();
  const std::scoped_lock guard(Handles().lock);
  Handles().open.emplace(handle, std::move(object));
  return handle;
}

std::shared_ptr<Object> TakeObject(HANDLE handle) {
  const std::scoped_lock guard(Handles().lock);
  const auto found = Handles().open.find(handle);
  if (found == Handles().open.end()) return nullptr;
  std::shared_ptr<Object> object = std::move(found->second);
  Handles().open.erase(found);
  return object;
}

std::shared_ptr<Object> FindObject(HANDLE handle) {
  const std::scoped_lock guard(Handles().lock);
  const auto found = Handles().open.find(handle);
  return found == Handles().open.end() ? nullptr : found->second;
}

void SetInvalidHandle() { SetLastError(ERROR_INVALID_HANDLE); }

}  // namespace embedded

HANDLE WINAPI GetCurrentProcess() { return INVALID_HANDLE_VALUE; }

BOOL WINAPI CloseHandle(HANDLE object) {
  // The pseudo handle of the process, which is also INVALID_HANDLE_VALUE, closes without effect.
  if (object == GetCurrentProcess()) return TRUE;
  return embedded::Close<embedded::Object>(object);
}
