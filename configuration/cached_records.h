#pragma once

// The two records under the server's key PAD: a cached password (the default value of a child key of PAD) and
// a stamp (the value AD2 of a key below such a child). Each lies in the registry as a blob of
// CryptProtectData for the machine, under the name of the child key as entropy.

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "platform/win32.h"

// The password or the name out of a record as it lies in the registry. Nothing when the blob can't be opened
// under that entropy, or names a length of 16384 bytes or more for its password: such a record is none.
std::optional<CString> ReadCachedRecord(std::span<const BYTE> blob, std::string_view valueName,
                                        std::string_view entropy);

// The blob of a record, empty when it can't be protected. `text` is the password, of which the record holds
// at most 260 bytes; a stamp takes nothing of it. The entropy's length is the text's, not its own: a shorter
// one goes on in zero bytes. Records in use are protected so, and are opened again where both lengths agree.
std::vector<BYTE> MakeCachedRecord(std::string_view text, std::string_view valueName, const CString& entropy);

inline bool IsStampName(std::string_view valueName) { return text::EqualNoCase(valueName, "AD2"); }
