#pragma once

// Public keys of SSH as texts and bytes (RFC 4253, RFC 4716's neighbours: the lines of authorized keys).

#include <optional>
#include <string>
#include <string_view>

namespace embedded {

// "SHA256:..., MD5:aa:bb:..." of a key's bytes.
std::string FingerprintOf(std::string_view bytes);

// The bytes of a line "[OPTIONS] TYPE BASE64 [COMMENT]", or of SSH1's "[OPTIONS] BITS EXPONENT MODULUS
// [COMMENT]", for which they are modulus and exponent. Nothing for any other line.
std::optional<std::string> KeyOfLine(std::string_view line);

std::string Base64(std::string_view bytes);

// As strings and numbers stand in a key's bytes.
std::string LengthAndBytes(std::string_view bytes);

}  // namespace embedded
