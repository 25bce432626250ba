#pragma once

// The key library: the only code that touches key material. On Windows it is keymill.dll, which comes with
// the server; where it is missing keys have no fingerprints and none can be made. On the embedded computer it
// is made with OpenSSL.

#include <functional>
#include <optional>
#include <string>

namespace keymill {

// Runs now and then while a key is made; false gives it up.
using Turn = std::function<bool()>;

// Makes a host key of the type "dsa", "rsa" or "rsa1" (that of SSH1) and so many bits, in decimal, and writes
// it to `file`, with its public half beside it in `file`.pub; both for their owner alone. -1 on failure, and
// then nothing was written; any other number is success.
int GenerateKey(const char* type, const char* bits, const char* file, const char* passphrase,
                const char* comment, const Turn& turn);

// The fingerprint of the key whose public half is `path`.pub, as texts that ssh-keygen -l shows: SHA-256, and
// MD5 for lists of old. Where there is no public half, that of the key `path` itself. Nothing for what can't
// be read.
std::optional<std::string> KGGetFingerprintString(const char* path);
// The same of a public key as a line of authorized keys holds it: options, type, data, comment.
std::optional<std::string> KGGetFingerprintStringFromBlob(const char* key);

// Makes the library's tables of algorithms; to be called once before any page is made.
void UpdateAlgorithmsEx();

}  // namespace keymill
