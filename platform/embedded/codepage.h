#pragma once

// Conversions between the computer's code page, UTF-8 and 16-bit units. What cannot be converted becomes
// the code page's default character.

#include <string>
#include <string_view>

#include "platform/embedded/win32/types.h"

namespace embedded {

std::string AcpToUtf8(std::string_view text);
std::string Utf8ToAcp(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToAcp(std::u16string_view text);
std::u16string AcpToUtf16(std::string_view text);

// The computer's record of it: its number.
inline constexpr const char* kCodePageRecord = "codepage";

// Whether conversions to and from the code page are known.
bool IsCodePage(UINT page);

// Gives the local computer its code page, which a computer keeps from when it is made: UTF-8 until this is
// called. ERROR_INVALID_PARAMETER for an unknown one.
LONG SetCodePage(UINT page);

}  // namespace embedded
