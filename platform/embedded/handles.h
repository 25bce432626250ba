#pragma once

// The objects behind HANDLE, SC_HANDLE and the cipher handles. A handle is the address of its object, which
// lives until the handle is closed and every call that uses it has ended; a value that is not an open handle
// finds nothing.

#include <memory>

#include "platform/embedded/win32/types.h"

namespace embedded {

struct Object {
  virtual ~Object() = default;
};

// The new handle of `object`.
HANDLE OpenHandle(std::shared_ptr<Object> object);

// Takes the object out, which ends the handle; null when it is not open.
std::shared_ptr<Object> TakeObject(HANDLE handle);
std::shared_ptr<Object> FindObject(HANDLE handle);

// The object of the wanted kind; else null with ERROR_INVALID_HANDLE as last error.
template <typename Kind, typename Handle>
std::shared_ptr<Kind> Find(Handle handle);

// Ends a handle of the wanted kind; FALSE with ERROR_INVALID_HANDLE for any other value.
template <typename Kind, typename Handle>
BOOL Close(Handle handle);

template <typename Handle>
HANDLE AsHandle(Handle handle) {
  return (HANDLE)handle;  // NOLINT: from a pointer or a ULONG_PTR
}

void SetInvalidHandle();

template <typename Kind, typename Handle>
std::shared_ptr<Kind> Find(Handle handle) {
  auto found = std::dynamic_pointer_cast<Kind>(FindObject(AsHandle(handle)));
  if (!found) SetInvalidHandle();
  return found;
}

template <typename Kind, typename Handle>
BOOL Close(Handle handle) {
  if (!Find<Kind>(handle)) return FALSE;
  return TakeObject(AsHandle(handle)) != nullptr;
}

}  // namespace embedded
