#pragma once

#include <cstddef>

namespace embedded {

// Bytes of the kernel's cryptographic generator.
void FillRandom(void* bytes, size_t size);

}  // namespace embedded
