#pragma once

// The inner cipher of stored passwords: RC4 under a key that CryptDeriveKey makes from the MD5 of a fixed
// pass phrase, as the Microsoft base provider defines both. The key stream is the same at every call, so that
// records of one build can be read by another; what protects them is the data protection around it.

#include "platform/win32.h"

// Encipher and decipher `length` bytes in place. 0 when exactly `length` bytes came out, else the last error
// after the step that failed, which can itself be 0; the bytes are then as that step left them.
DWORD TesselEncrypt(BYTE* data, DWORD length);
DWORD TesselDecrypt(BYTE* data, int length);
