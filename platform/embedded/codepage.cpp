#include "platform/embedded/codepage.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/embedded/computer_keys.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/store.h"
#include "platform/embedded/win32/system.h"

namespace embedded {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

// iconv's names where they are not "CP" and the number.
constexpr struct {
  UINT page;
  const char* name;
} kNames[] = {
    {949, "UHC"},          {950, "BIG5"},         {20127, "US-ASCII"},    {20866, "KOI8-R"},
    {21866, "KOI8-U"},     {28591, "ISO-8859-1"}, {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},
    {28594, "ISO-8859-4"}, {28595, "ISO-8859-5"}, {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},
    {28598, "ISO-8859-8"}, {28599, "ISO-8859-9"}, {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"},
    {51932, "EUC-JP"},     {51936, "GB2312"},     {51949, "EUC-KR"},      {54936, "GB18030"},
};

std::string IconvName(UINT page) {
  for (const auto& [number, name] : kNames) {
    if (number == page) return name;
  }
  return "CP" + std::to_string(page);
}

// A page other than UTF-8, through iconv. Each thread has its own: a conversion descriptor holds a state.
class Page {
 public:
  explicit Page(UINT page)
      : default_unit(page == 932 ? u'\u30FB' : u'?'),
        m_decoder(iconv_open("UTF-16LE", IconvName(page).c_str())),
        m_encoder(iconv_open(IconvName(page).c_str(), "UTF-16LE")) {
    m_usable = m_decoder != kNone && m_encoder != kNone;
    // Pages that are no superset of ASCII (EBCDIC, UTF-16) are none that a Windows computer can have.
    for (char c = 1; m_usable && c > 0; ++c) {
      char16_t units[2];
      m_usable = DecodeOne({&c, 1}, units) == 1 && units[0] == static_cast<char16_t>(c);
    }
  }
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;
  ~Page() {
    if (m_decoder != kNone) iconv_close(m_decoder);
    if (m_encoder != kNone) iconv_close(m_encoder);
  }

  bool Usable() const { return m_usable; }

  // What Windows puts for bytes that are no character of the page.
  const char16_t default_unit;

  // The units of the character that `bytes` are, 1 or 2; 0 for a wrong one, -1 for one that is not complete.
  int DecodeOne(std::string_view bytes, char16_t (&units)[2]) const {
    iconv(m_decoder, nullptr, nullptr, nullptr, nullptr);
    char* from = const_cast<char*>(bytes.data());
    size_t left = bytes.size();
    char* to = reinterpret_cast<char*>(units);
    size_t room = sizeof units;
    if (iconv(m_decoder, &from, &left, &to, &room) == static_cast<size_t>(-1))
      return errno == EINVAL ? -1 : 0;
    return static_cast<int>((sizeof units - room) / 2);
  }

  // The bytes of one character; empty when the page does not have it.
  std::string EncodeOne(std::u16string_view units) const {
    iconv(m_encoder, nullptr, nullptr, nullptr, nullptr);
    char buffer[8];
    char* from = const_cast<char*>(reinterpret_cast<const char*>(units.data()));
    size_t left = units.size() * 2;
    char* to = buffer;
    size_t room = sizeof buffer;
    if (iconv(m_encoder, &from, &left, &to, &room) == static_cast<size_t>(-1)) return {};
    return {buffer, sizeof buffer - room};
  }

 private:
  inline static const iconv_t kNone = reinterpret_cast<iconv_t>(-1);  // NOLINT: as iconv_open fails
  iconv_t m_decoder;
  iconv_t m_encoder;
  bool m_usable = false;
};

const Page* PageOf(UINT number) {
  thread_local std::map<UINT, std::unique_ptr<Page>> pages;
  std::unique_ptr<Page>& page = pages[number];
  if (!page) page = std::make_unique<Page>(number);
  return page->Usable() ? page.get() : nullptr;
}

bool IsLead(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsTrail(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendCodePoint(std::u16string& text, char32_t point) {
  if (point < 0x10000) {
    text += static_cast<char16_t>(point);
  } else {
    text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
    text += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
  }
}

struct Decoded {
  char32_t point = 0;
  size_t length = 1;  // Of a wrong sequence, its longest right beginning.
  bool valid = false;
};

// One character of UTF-8 (RFC 3629: no overlong forms, no surrogates, at most U+10FFFF).
Decoded DecodeUtf8(std::string_view bytes) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned first = byte(0);
  if (first < 0x80) return {.point = first, .length = 1, .valid = true};
  const size_t size = first >= 0xF0 && first <= 0xF4  ? 4
                      : first >= 0xE0 && first < 0xF0 ? 3
                      : first >= 0xC2 && first < 0xE0 ? 2
                                                      : 0;
  if (size == 0) return {};
  unsigned low = 0x80;
  unsigned high = 0xBF;
  if (first == 0xE0) low = 0xA0;
  if (first == 0xED) high = 0x9F;
  if (first == 0xF0) low = 0x90;
  if (first == 0xF4) high = 0x8F;
  char32_t point = first & (0x7Fu >> size);
  for (size_t i = 1; i < size; ++i) {
    if (i >= bytes.size() || byte(i) < low || byte(i) > high)
      return {.point = 0, .length = i, .valid = false};
    point = point << 6 | (byte(i) & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return {.point = point, .length = size, .valid = true};
}

// Both conversions give the whole result; `invalid` tells whether the source held what could not be
// converted.
struct Wide {
  std::u16string text;
  bool invalid = false;
};

Wide WideOfUtf8(std::string_view source) {
  Wide result;
  while (!source.empty()) {
    const Decoded decoded = DecodeUtf8(source);
    if (decoded.valid) {
      AppendCodePoint(result.text, decoded.point);
    } else {
      result.text += kReplacement;
      result.invalid = true;
    }
    source.remove_prefix(decoded.length);
  }
  return result;
}

// A wrong character of more than one byte is taken whole, and a beginning at the end of the source as one.
Wide WideOfPage(const Page& page, std::string_view source) {
  constexpr size_t kLongest = 4;  // GB18030's
  Wide result;
  while (!source.empty()) {
    const auto first = static_cast<unsigned char>(source[0]);
    size_t length = 1;
    char16_t units[2] = {first, 0};
    int count = first < 0x80 ? 1 : page.DecodeOne(source.substr(0, 1), units);
    while (count < 0 && length < std::min(source.size(), kLongest)) {
      ++length;
      count = page.DecodeOne(source.substr(0, length), units);
    }
    if (count > 0) {
      result.text.append(units, static_cast<size_t>(count));
      source.remove_prefix(length);
      continue;
    }
    // In a page of single bytes a control byte without a character stands for itself.
    const bool control = count == 0 && length == 1 && first < 0xA0;
    result.text += control ? char16_t{first} : page.default_unit;
    result.invalid = true;
    source.remove_prefix(length);
  }
  return result;
}

struct Narrow {
  std::string text;
  bool invalid = false;
};

Narrow NarrowOf(const Page* page, std::u16string_view source, std::string_view default_character) {
  Narrow result;
  while (!source.empty()) {
    const bool pair = source.size() > 1 && IsLead(source[0]) && IsTrail(source[1]);
    const size_t length = pair ? 2 : 1;
    char32_t point = source[0];
    if (pair) point = 0x10000 + ((source[0] - 0xD800u) << 10) + (source[1] - 0xDC00u);
    const bool lone = !pair && (IsLead(source[0]) || IsTrail(source[0]));
    if (lone && page == nullptr) point = kReplacement;
    if (point < 0x80) {
      result.text += static_cast<char>(point);
    } else if (page == nullptr) {
      if (point < 0x800) {
        result.text += static_cast<char>(0xC0 | point >> 6);
      } else {
        if (point < 0x10000) {
          result.text += static_cast<char>(0xE0 | point >> 12);
        } else {
          result.text += static_cast<char>(0xF0 | point >> 18);
          result.text += static_cast<char>(0x80 | (point >> 12 & 0x3F));
        }
        result.text += static_cast<char>(0x80 | (point >> 6 & 0x3F));
      }
      result.text += static_cast<char>(0x80 | (point & 0x3F));
      result.invalid |= lone;
    } else {
      const std::string bytes = lone ? std::string() : page->EncodeOne(source.substr(0, length));
      result.text += bytes.empty() ? default_character : std::string_view(bytes);
      result.invalid |= bytes.empty();
    }
    source.remove_prefix(length);
  }
  return result;
}

// What the record of the local computer said, read once for each that the process stands on.
struct KnownPage {
  std::mutex lock;
  std::string computer;  // Its home and its name.
  UINT page = CP_UTF8;
};

KnownPage& Known() {
  static KnownPage& known = *new KnownPage;
  return known;
}

// Opening a home may itself convert text: that sees UTF-8.
UINT ComputerCodePage() {
  thread_local bool reading = false;
  if (reading) return CP_UTF8;
  reading = true;
  const std::string computer = HomeFolder() + "/" + StandsOn();
  const std::scoped_lock guard(Known().lock);
  if (computer != Known().computer) {
    const std::optional<std::string> record = GetRecord("", kCodePageRecord);
    UINT page = 0;
    if (record) std::from_chars(record->data(), record->data() + record->size(), page);
    Known().page = page != 0 && IsCodePage(page) ? page : CP_UTF8;
    Known().computer = computer;
  }
  reading = false;
  return Known().page;
}

UINT Resolved(UINT page) {
  return page == CP_ACP || page == CP_OEMCP || page == CP_THREAD_ACP ? ComputerCodePage() : page;
}

}  // namespace

bool IsCodePage(UINT page) { return page == CP_UTF8 || PageOf(page) != nullptr; }

LONG SetCodePage(UINT page) {
  if (!IsCodePage(page)) return ERROR_INVALID_PARAMETER;
  const LONG status = PutRecord("", kCodePageRecord, std::to_string(page));
  const std::scoped_lock guard(Known().lock);
  Known().computer.clear();
  return status;
}

std::u16string Utf8ToUtf16(std::string_view text) { return WideOfUtf8(text).text; }
std::string Utf16ToUtf8(std::u16string_view text) { return NarrowOf(nullptr, text, {}).text; }

std::u16string AcpToUtf16(std::string_view text) {
  const UINT page = ComputerCodePage();
  return page == CP_UTF8 ? Utf8ToUtf16(text) : WideOfPage(*PageOf(page), text).text;
}

std::string Utf16ToAcp(std::u16string_view text) {
  const UINT page = ComputerCodePage();
  return page == CP_UTF8 ? Utf16ToUtf8(text) : NarrowOf(PageOf(page), text, "?").text;
}

std::string AcpToUtf8(std::string_view text) {
  return ComputerCodePage() == CP_UTF8 ? std::string(text) : Utf16ToUtf8(AcpToUtf16(text));
}

std::string Utf8ToAcp(std::string_view text) {
  return ComputerCodePage() == CP_UTF8 ? std::string(text) : Utf16ToAcp(Utf8ToUtf16(text));
}

}  // namespace embedded

using namespace embedded;

namespace {

// A result into the caller's buffer: what fits is written, a size of 0 asks for the size.
template <typename Char>
int Give(std::basic_string_view<Char> result, Char* destination, int size) {
  if (size == 0) return static_cast<int>(result.size());
  std::copy_n(result.data(), std::min<size_t>(result.size(), static_cast<size_t>(size)), destination);
  if (result.size() > static_cast<size_t>(size)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  return static_cast<int>(result.size());
}

// -1 measures the text and includes its terminator.
template <typename Char>
std::basic_string_view<Char> Source(const Char* text, int size) {
  return {text, size < 0 ? std::char_traits<Char>::length(text) + 1 : static_cast<size_t>(size)};
}

}  // namespace

UINT WINAPI GetACP() { return ComputerCodePage(); }

int WINAPI MultiByteToWideChar(UINT page, DWORD flags, LPCCH source, int source_size, LPWSTR destination,
                               int destination_size) {
  if (source == nullptr || source_size == 0 || destination_size < 0 ||
      (destination_size > 0 && destination == nullptr)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  page = Resolved(page);
  if (!IsCodePage(page)) return Fail(ERROR_INVALID_PARAMETER);
  if ((flags & ~(MB_ERR_INVALID_CHARS | (page == CP_UTF8 ? 0 : MB_PRECOMPOSED))) != 0) {
    return Fail(ERROR_INVALID_FLAGS);
  }
  const std::string_view text = Source(source, source_size);
  const Wide result = page == CP_UTF8 ? WideOfUtf8(text) : WideOfPage(*PageOf(page), text);
  if (result.invalid && (flags & MB_ERR_INVALID_CHARS) != 0) return Fail(ERROR_NO_UNICODE_TRANSLATION);
  return Give<WCHAR>(result.text, destination, destination_size);
}

int WINAPI WideCharToMultiByte(UINT page, DWORD flags, LPCWCH source, int source_size, LPSTR destination,
                               int destination_size, LPCCH default_character, LPBOOL default_used) {
  if (source == nullptr || source_size == 0 || destination_size < 0 ||
      (destination_size > 0 && destination == nullptr)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  page = Resolved(page);
  if (!IsCodePage(page)) return Fail(ERROR_INVALID_PARAMETER);
  const bool utf8 = page == CP_UTF8;
  // UTF-8 has every character, so that a default one makes no sense there.
  if (utf8 && (default_character != nullptr || default_used != nullptr)) return Fail(ERROR_INVALID_PARAMETER);
  if ((flags & ~(utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS)) != 0) return Fail(ERROR_INVALID_FLAGS);
  const Narrow result = NarrowOf(utf8 ? nullptr : PageOf(page), Source(source, source_size),
                                 default_character == nullptr ? "?" : default_character);
  if (utf8 && result.invalid && (flags & WC_ERR_INVALID_CHARS) != 0)
    return Fail(ERROR_NO_UNICODE_TRANSLATION);
  if (default_used != nullptr) *default_used = result.invalid ? TRUE : FALSE;
  return Give<char>(result.text, destination, destination_size);
}
