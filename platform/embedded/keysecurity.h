#pragma once

// The descriptors of keys: kept once for all keys that share one, given to new keys, asked at every opening.

#include <span>
#include <string>
#include <string_view>

#include "platform/embedded/store.h"

namespace embedded {

// Whether bytes that come from elsewhere are a self-relative descriptor whose parts lie within them.
bool IsDescriptor(std::string_view bytes);

// Counts one more key with this self-relative descriptor, and gives its number.
LONG HoldDescriptor(Transaction& txn, std::string_view descriptor, uint64_t* number);
LONG ReleaseDescriptor(Transaction& txn, uint64_t number);
LONG ReadDescriptor(Transaction& txn, uint64_t number, std::string_view* descriptor);

// What the caller gets of `wanted` (generic rights and MAXIMUM_ALLOWED included) on a key with that
// descriptor; view bits stay out of it.
LONG CheckKeyAccess(Transaction& txn, uint64_t number, REGSAM wanted, REGSAM* granted);

// What the creator of a key gets on it, whatever its list.
REGSAM RightsOfCreator(REGSAM wanted);

// The descriptor of a new key under a parent with that one: the creator's parts, the owner and the entries
// that the parent hands down, or the default list where it hands down none. ERROR_INVALID_SECURITY_DESCR
// when the creator's is none, ERROR_BAD_INHERITANCE_ACL when the list would be too long.
LONG DescriptorOfNewKey(std::string_view parent, PSECURITY_DESCRIPTOR creators, std::string& result);

// `current` with the parts of `given` that `what` names. ERROR_INVALID_SECURITY_DESCR when `given` is no
// descriptor.
LONG MergedDescriptor(std::string_view current, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR given,
                      std::string& result);

// The parts of `current` that `what` names, as a descriptor of its own.
std::string PartsOfDescriptor(std::string_view current, SECURITY_INFORMATION what);

}  // namespace embedded
