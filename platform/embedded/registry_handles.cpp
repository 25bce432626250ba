#include <algorithm>

#include "platform/embedded/computer_keys.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/environment.h"
#include "platform/embedded/registry_key.h"

namespace embedded {
namespace {

struct Slot {
  uint32_t uses = 1;
  uint32_t next_free = 0;
  std::unique_ptr<Key> key;
};

// Slot 0 stays empty, so that no handle is null. Free slots wait in a queue: the longer one rests, the longer
// its old handles are known as such.
struct Pool {
  Slot* slots = nullptr;  // Never freed: keys may still be used while the process ends.
  uint32_t size = 0;
  uint32_t capacity = 0;
  uint32_t first_free = 0;
  uint32_t last_free = 0;
};

constinit Pool pool;

// Below the computer that the process stands on; null for a number that is no key of the registry.
constexpr const char* kPredefined[] = {"\\MACHINE\\SOFTWARE\\Classes",
                                       "\\USER\\.DEFAULT",
                                       "\\MACHINE",
                                       "\\USER",
                                       nullptr,
                                       "\\MACHINE\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current"};
std::unique_ptr<Key> predefined[std::size(kPredefined)];

// A handle holds the slot's number in steps of four, as handles of Windows do, and above it the use.
constexpr int kStepBits = 2;
constexpr uint32_t kMostSlots = 1u << (32 - kStepBits);

Slot* SlotOf(HKEY handle) {
  const auto value = reinterpret_cast<uintptr_t>(handle);
  const auto low = static_cast<uint32_t>(value);
  const uint32_t index = low >> kStepBits;
  if ((low & ((1u << kStepBits) - 1)) != 0 || index >= pool.size) return nullptr;
  Slot& slot = pool.slots[index];
  return slot.key && slot.uses == value >> 32 ? &slot : nullptr;
}

HKEY HandleOf(uint32_t index) {
  return reinterpret_cast<HKEY>(uintptr_t{pool.slots[index].uses} << 32 | uintptr_t{index}
                                                                              << kStepBits);  // NOLINT
}

void Grow() {
  const uint32_t capacity = pool.capacity == 0 ? 64 : pool.capacity * 2;
  auto* slots = new Slot[capacity];
  std::move(pool.slots, pool.slots + pool.size, slots);
  delete[] pool.slots;
  pool.slots = slots;
  pool.capacity = capacity;
  if (pool.size == 0) pool.size = 1;
}

constexpr uintptr_t kFirstPredefined = static_cast<uintptr_t>(static_cast<LONG>(0x80000000));

}  // namespace

bool IsPredefined(HKEY handle) {
  const uintptr_t which = reinterpret_cast<uintptr_t>(handle) - kFirstPredefined;
  return which < std::size(kPredefined) && kPredefined[which] != nullptr;
}

HKEY Publish(std::unique_ptr<Key> key) {
  uint32_t index = pool.first_free;
  if (index == 0) {
    if (pool.size == kMostSlots) return nullptr;
    if (pool.size == pool.capacity) Grow();
    index = pool.size++;
  } else {
    pool.first_free = pool.slots[index].next_free;
    if (pool.first_free == 0) pool.last_free = 0;
  }
  Slot& slot = pool.slots[index];
  slot.next_free = 0;
  slot.key = std::move(key);
  return HandleOf(index);
}

LONG FindKey(HKEY handle, Key*& key) {
  if (Slot* slot = SlotOf(handle)) {
    key = slot->key.get();
    return ERROR_SUCCESS;
  }
  if (!IsPredefined(handle)) return ERROR_INVALID_HANDLE;
  const size_t which = reinterpret_cast<uintptr_t>(handle) - kFirstPredefined;
  if (!predefined[which]) {
    const LONG status = OpenRoot(StandsOn() + kPredefined[which], predefined[which]);
    if (status != 0) return status;
  }
  key = predefined[which].get();
  return ERROR_SUCCESS;
}

LONG CloseHandleOf(HKEY handle) {
  if (IsPredefined(handle)) return ERROR_SUCCESS;
  Slot* slot = SlotOf(handle);
  if (slot == nullptr) return ERROR_INVALID_HANDLE;
  slot->key.reset();
  // 31 bits: the predefined handles have the top bit.
  slot->uses = (slot->uses + 1) & 0x7FFFFFFF;
  if (slot->uses == 0) slot->uses = 1;
  const auto index = static_cast<uint32_t>(slot - pool.slots);
  (pool.last_free == 0 ? pool.first_free : pool.slots[pool.last_free].next_free) = index;
  pool.last_free = index;
  return ERROR_SUCCESS;
}

void ForEachOpenKey(const std::function<void(Key&)>& use) {
  for (uint32_t i = 0; i < pool.size; ++i) {
    if (pool.slots[i].key) use(*pool.slots[i].key);
  }
}

void LoseKeys(KeyId from) {
  ForEachOpenKey([&](Key& key) {
    if (key.StoreKey() >= from) key.Lose();
  });
}

void ForgetPredefinedKeys() {
  for (std::unique_ptr<Key>& key : predefined) key.reset();
}

void CloseAllKeys() {
  for (uint32_t i = 0; i < pool.size; ++i) {
    if (pool.slots[i].key) CloseHandleOf(HandleOf(i));
  }
  ForgetPredefinedKeys();
}

}  // namespace embedded

namespace machine {
namespace {

Caller& TheCaller() {
  static Caller& caller = *new Caller;
  return caller;
}

}  // namespace

void SetCaller(Caller caller) {
  TheCaller() = std::move(caller);
  embedded::ForgetPredefinedKeys();
}

const Caller& GetCaller() { return TheCaller(); }

}  // namespace machine
