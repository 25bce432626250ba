#include "configuration/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using WideText = std::basic_string<WCHAR>;

// In every code page that a computer can have, bytes below 0x80 stand for themselves.
bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

// Whether a text has a character that XmlEscape changes. Nearly none has, and a file has millions of texts:
// so eight at a time. In `x - kOnes & ~x`, the top bit of a byte of `x` tells whether it is zero.
bool NeedsEscape(std::string_view text) {
  constexpr uint64_t kOnes = 0x0101010101010101;
  constexpr uint64_t kTops = kOnes * 0x80;
  for (; text.size() >= sizeof(uint64_t); text.remove_prefix(sizeof(uint64_t))) {
    uint64_t word;
    std::memcpy(&word, text.data(), sizeof word);
    const uint64_t quoteOrAnd = (word | kOnes * 0x04) ^ kOnes * '&';  // the two differ in one bit
    const uint64_t less = word ^ kOnes * '<';
    if (((((quoteOrAnd - kOnes) & ~quoteOrAnd) | ((less - kOnes) & ~less) | word) & kTops) != 0) return true;
  }
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return (c & 0x80) != 0 || c == '&' || c == '"' || c == '<'; });
}

WideText Widen(std::string_view text, UINT codePage) {
  const int size = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0);
  WideText wide(static_cast<size_t>(std::max(length, 0)), WCHAR{});
  MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), length);
  return wide;
}

CString Narrow(std::basic_string_view<WCHAR> wide, UINT codePage) {
  if (wide.empty()) return {};
  const int length = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(codePage, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  CString text(static_cast<size_t>(std::max(size, 0)), '\0');
  WideCharToMultiByte(codePage, 0, wide.data(), length, text.data(), size, nullptr, nullptr);
  return text;
}

// The text itself where the system can't convert it.
CString Converted(CString text, UINT from, UINT to) {
  if (IsAscii(text)) return text;
  CString result = Narrow(Widen(text, from), to);
  return result.empty() ? text : result;
}

constexpr char kHexDigits[] = "0123456789abcdef";

void AppendHex(CString& out, BYTE byte) {
  out += kHexDigits[byte >> 4];
  out += kHexDigits[byte & 15];
}

// "0x" and the bytes from the last to the first.
template <size_t N>
CString HexNumber(const std::array<BYTE, N>& littleEndian) {
  // With room for the decimal form, since a file may have millions of numbers.
  CString text;
  text.reserve(32);
  text = "0x";
  for (size_t i = N; i-- > 0;) AppendHex(text, littleEndian[i]);
  return text;
}

template <size_t N>
std::array<BYTE, N> FilledUp(std::span<const BYTE> data) {
  std::array<BYTE, N> bytes{};
  std::copy_n(data.begin(), std::min(N, data.size()), bytes.begin());
  return bytes;
}

CString DoubleWordText(const std::array<BYTE, 4>& littleEndian) {
  uint32_t number = 0;
  for (size_t i = 4; i-- > 0;) number = number << 8 | littleEndian[i];
  std::array<char, 12> digits;
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<int32_t>(number)).ptr;
  CString text = HexNumber(littleEndian);
  text += " (";
  text.append(digits.data(), end);
  text += ')';
  return text;
}

CString LinkText(std::span<const BYTE> data) {
  WideText wide(data.size() / sizeof(WCHAR), WCHAR{});
  std::copy_n(data.data(), wide.size() * sizeof(WCHAR), reinterpret_cast<BYTE*>(wide.data()));
  return Narrow(std::basic_string_view<WCHAR>(wide).substr(0, wide.find(WCHAR{})), CP_ACP);
}

CString BytesText(std::span<const BYTE> data) {
  CString text;
  text.reserve(data.size() * 3);
  for (const BYTE byte : data) {
    if (!text.empty()) text += ' ';
    AppendHex(text, byte);
  }
  return text;
}

// The two bytes at the end close the block and are no part of its strings.
CString StringsText(std::span<const BYTE> data) {
  CString text;
  if (data.size() < 3) return text;
  text.reserve(data.size());
  for (const BYTE byte : data.first(data.size() - 2)) {
    if (byte == 0) {
      text += "\r\n";
    } else {
      text += static_cast<char>(byte);
    }
  }
  return text;
}

// Any character that is no digit counts as 0.
int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return 0;
}

BYTE DigitPair(const char* digits) {
  return static_cast<BYTE>(HexDigit(digits[0]) * 16 + HexDigit(digits[1]));
}

// Digit pairs from the third character on, the most significant one first; the "0x" is not looked at.
std::optional<std::vector<BYTE>> NumberData(std::string_view text, size_t bytes) {
  std::vector<BYTE> data(bytes);
  if (text.empty()) return data;
  if (text.size() < 2 + 2 * bytes) return std::nullopt;
  for (size_t i = 0; i < bytes; ++i) data[bytes - 1 - i] = DigitPair(&text[2 + 2 * i]);
  return data;
}

// Two digits and one separator, which can be anything. Empty text gives one byte, since no byte at all would
// count as a failure.
std::vector<BYTE> BytesData(std::string_view text) {
  if (text.empty()) return {0};
  std::vector<BYTE> data((text.size() + 1) / 3);
  for (size_t i = 0; i < data.size(); ++i) data[i] = DigitPair(&text[3 * i]);
  return data;
}

std::vector<BYTE> StringsData(std::string_view text) {
  std::vector<BYTE> data;
  data.reserve(text.size() + 2);
  for (const char c : text) {
    if (c != '\r') data.push_back(c == '\n' ? 0 : static_cast<BYTE>(c));
  }
  data.insert(data.end(), text.empty() ? 1 : 2, 0);
  return data;
}

// The number of characters is taken for the size in bytes, so the second half is missing.
std::vector<BYTE> LinkData(std::string_view text) {
  const WideText wide = Widen(text, CP_ACP);
  const auto* const bytes = reinterpret_cast<const BYTE*>(wide.data());
  return {bytes, bytes + wide.size()};
}

// By type number. A name that several types share comes back as the first of them in RegTypeFromName.
constexpr std::string_view kTypeNames[] = {
    "REG_SZ",
    "REG_SZ",
    "REG_EXPAND_SZ",
    "REG_BINARY",
    "REG_DWORD",
    "REG_DWORD",
    "REG_SZ",
    "REG_MULTI_SZ",
    "REG_RESOURCE_LIST",
    "",
    "REG_RESOURCE_REQUIREMENTS_LIST",
    "REG_QWORD",
};

}  // namespace

void AppendXmlEscaped(CString& out, std::string_view text) {
  if (!NeedsEscape(text)) {
    out += text;
    return;
  }
  CString escaped;
  escaped.reserve(text.size() + 16);
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      default:
        escaped += c;
    }
  }
  out += Converted(std::move(escaped), CP_ACP, CP_UTF8);
}

CString XmlEscape(std::string_view text) {
  CString escaped;
  AppendXmlEscaped(escaped, text);
  return escaped;
}

CString XmlUnescape(std::string_view text) {
  CString result = Converted(CString(text), CP_UTF8, CP_ACP);
  size_t in = result.find('&');
  if (in == CString::npos) return result;
  size_t out = in;
  const auto follows = [&](std::string_view entity) {
    return result.compare(in, entity.size(), entity) == 0;
  };
  while (in < result.size()) {
    const char c = result[in++];
    if (c != '&') {
      result[out++] = c;
    } else if (follows("lt;")) {
      result[out++] = '<';
      in += 3;
    } else if (follows("quot;")) {
      result[out++] = '"';
      in += 5;
    } else {
      // The "&" that stands for "&amp;" is looked at again together with what follows it.
      result[out++] = '&';
      while (follows("amp;")) in += 4;
    }
  }
  result.resize(out);
  return result;
}

CString FormatRegValue(DWORD type, std::span<const BYTE> data) {
  switch (type) {
    case REG_BINARY:
    case REG_RESOURCE_LIST:
    case REG_RESOURCE_REQUIREMENTS_LIST:
      return BytesText(data);
    case REG_DWORD:
      return DoubleWordText(FilledUp<4>(data));
    case REG_DWORD_BIG_ENDIAN: {
      std::array<BYTE, 4> bytes = FilledUp<4>(data);
      std::reverse(bytes.begin(), bytes.end());
      return DoubleWordText(bytes);
    }
    case REG_QWORD:
      return HexNumber(FilledUp<8>(data));
    case REG_LINK:
      return LinkText(data);
    case REG_MULTI_SZ:
      return StringsText(data);
    default:
      return CString(text::UpToZero({reinterpret_cast<const char*>(data.data()), data.size()}));
  }
}

std::optional<std::vector<BYTE>> ParseRegValue(std::string_view text, DWORD type) {
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ: {
      std::vector<BYTE> data(text.size() + 1);
      std::copy(text.begin(), text.end(), data.begin());
      return data;
    }
    case REG_BINARY:
    case REG_RESOURCE_LIST:
    case REG_RESOURCE_REQUIREMENTS_LIST:
      return BytesData(text);
    case REG_DWORD:
      return NumberData(text, 4);
    case REG_QWORD:
      return NumberData(text, 8);
    case REG_LINK:
      return LinkData(text);
    case REG_MULTI_SZ:
      return StringsData(text);
    default:
      return std::vector<BYTE>();
  }
}

std::string_view RegTypeName(DWORD type) { return type < std::size(kTypeNames) ? kTypeNames[type] : ""; }

DWORD RegTypeFromName(std::string_view name) {
  // Types with a name of their own; the others read as text.
  for (const DWORD type : {REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_RESOURCE_LIST,
                           REG_RESOURCE_REQUIREMENTS_LIST, REG_QWORD}) {
    if (text::EqualNoCase(name, kTypeNames[type])) return type;
  }
  return REG_SZ;
}

CString SubstituteTokens(CString text, const CStringList* pairs) {
  if (pairs == nullptr) return text;
  CString lowered;  // of the text as it came in, made when a replacement has changed it
  for (size_t i = 0; i < pairs->size(); i += 2) {
    const CString& pattern = (*pairs)[i];
    const CString& replacement = pairs->at(i + 1);
    if (pattern.empty() || text.find(pattern) == CString::npos) continue;
    // Until the first replacement the text itself shows that the pattern was there from the start.
    if (lowered.empty()) {
      lowered = text;
      std::transform(lowered.begin(), lowered.end(), lowered.begin(), text::LowerAscii);
    } else {
      CString wanted = pattern;
      std::transform(wanted.begin(), wanted.end(), wanted.begin(), text::LowerAscii);
      if (lowered.find(wanted) == CString::npos) continue;
    }
    text = text::Replaced(text, pattern, replacement);
  }
  return text;
}
