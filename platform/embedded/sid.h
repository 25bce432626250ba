#pragma once

// Security identifiers as values, and the well-known ones.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/win32/security.h"

namespace embedded {

// The bytes of a SID structure.
using SidBytes = std::vector<BYTE>;

SidBytes MakeSid(BYTE authority, std::initializer_list<DWORD> sub_authorities);
SidBytes SidOf(PSID sid);  // Of a valid SID.
inline PSID AsPsid(const SidBytes& sid) { return const_cast<BYTE*>(sid.data()); }

// "S-1-..." and back; nothing when the text is not one. Two-letter aliases are read by SidFromSddl alone.
std::string SidText(PSID sid);
std::optional<SidBytes> SidFromText(std::string_view text);

// A trustee in a descriptor's text: a two-letter alias where there is one, else "S-1-...".
std::string SidToSddl(PSID sid);
std::optional<SidBytes> SidFromSddl(std::string_view text);

// A SID inside `bytes`, checked against its bounds; its length, or 0.
size_t SidLengthIn(std::span<const BYTE> bytes);

struct WellKnownSid {
  WELL_KNOWN_SID_TYPE type;
  const char* alias;  // Of descriptor texts; empty where there is none.
  BYTE authority;
  BYTE count;
  DWORD sub[2];
  const char* domain;
  const char* name;
  SID_NAME_USE use;
};
std::span<const WellKnownSid> WellKnownSids();

// S-1-5-21-a-b-c of the machine that this runs on, from its machine identifier.
const SidBytes& MachineSid();

}  // namespace embedded
