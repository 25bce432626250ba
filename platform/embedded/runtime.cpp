#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "platform/embedded/codepage.h"
#include "platform/embedded/paths.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

// The names of Windows' C runtime.

errno_t _strtime_s(char* buffer, size_t size) {
  constexpr size_t kSize = sizeof "00:00:00";
  if (buffer == nullptr || size == 0) return EINVAL;
  buffer[0] = '\0';
  if (size < kSize) return ERANGE;
  SYSTEMTIME now;
  GetLocalTime(&now);
  std::snprintf(buffer, size, "%02u:%02u:%02u", now.wHour % 100u, now.wMinute % 100u, now.wSecond % 100u);
  return 0;
}

FILE* _fsopen(const char* path, const char* mode, int share) {
  const std::optional<std::string> mapped = embedded::MapPath(path);
  if (!mapped) {
    errno = ENOENT;
    return nullptr;
  }
  // "t" and "b" are Windows' marks of text and binary files, which are one here.
  std::string plain;
  for (const char c : std::string_view(mode)) {
    if (c != 't' && c != 'b') plain += c;
  }
  FILE* file = std::fopen(mapped->c_str(), (plain + "e").c_str());
  if (file == nullptr || (share != _SH_DENYWR && share != _SH_DENYRW)) return file;
  // A writer that denies writing is alone; readers that deny it stand beside one another.
  const bool writes = plain != "r" || share == _SH_DENYRW;
  if (flock(fileno(file), (writes ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) return file;
  std::fclose(file);
  errno = EACCES;
  return nullptr;
}

int _access(const char* path, int mode) {
  const std::optional<std::string> mapped = embedded::MapPath(path);
  if (!mapped) {
    errno = ENOENT;
    return -1;
  }
  return access(mapped->c_str(), ((mode & 2) != 0 ? W_OK : 0) | ((mode & 4) != 0 ? R_OK : 0));
}

namespace {

// One conversion of a wide format: "%", flags, width, precision, size and letter.
struct Conversion {
  bool left = false;
  bool zeros = false;
  std::string flags;  // Those that printf knows for integers, passed on to it.
  int width = 0;
  int precision = -1;
  int longs = 0;  // 2 for "ll" and "I64", 1 for "l", -1 for "h".
  WCHAR letter = 0;
};

int ReadNumber(const WCHAR*& at) {
  int number = 0;
  for (; *at >= u'0' && *at <= u'9'; ++at) {
    if (number < 100000) number = number * 10 + (*at - u'0');
  }
  return number;
}

Conversion ReadConversion(const WCHAR*& at, va_list& arguments) {
  Conversion result;
  for (; *at == u'-' || *at == u'0' || *at == u'+' || *at == u' ' || *at == u'#'; ++at) {
    if (*at == u'-') result.left = true;
    if (*at == u'0') result.zeros = true;
    if (*at != u'-' && *at != u'0') result.flags += static_cast<char>(*at);
  }
  const auto number = [&] {
    if (*at != u'*') return ReadNumber(at);
    ++at;
    return va_arg(arguments, int);
  };
  result.width = number();
  if (result.width < 0) {
    result.left = true;
    result.width = -result.width;
  }
  if (*at == u'.') {
    ++at;
    result.precision = number();
  }
  if (at[0] == u'I' && at[1] == u'6' && at[2] == u'4') {
    result.longs = 2;
    at += 3;
  }
  for (; *at == u'l' || *at == u'h' || *at == u'w'; ++at) result.longs = *at == u'h' ? -1 : result.longs + 1;
  result.letter = *at;
  return result;
}

std::u16string Integer(const Conversion& conversion, va_list& arguments) {
  const bool is_signed = conversion.letter == u'd' || conversion.letter == u'i';
  // A long is 32 bits on Windows.
  const bool wide = conversion.longs >= 2 || conversion.letter == u'p';
  uint64_t bits = wide ? va_arg(arguments, uint64_t) : va_arg(arguments, uint32_t);
  if (conversion.longs < 0)
    bits = is_signed ? static_cast<uint64_t>(static_cast<int16_t>(bits)) : bits & 0xFFFF;
  if (is_signed && !wide && conversion.longs >= 0) bits = static_cast<uint64_t>(static_cast<int32_t>(bits));
  char letter = static_cast<char>(conversion.letter);
  int precision = conversion.precision;
  if (letter == 'p') {
    letter = 'X';
    precision = 16;
  }
  if (conversion.zeros && !conversion.left && precision < 0) precision = -2;
  std::string format = "%" + conversion.flags;
  char buffer[256];
  if (precision == -2) {
    format += "0*ll";
    format += letter;
    std::snprintf(buffer, sizeof buffer, format.c_str(), std::min(conversion.width, 200), bits);
  } else {
    format += ".*ll";
    format += letter;
    std::snprintf(buffer, sizeof buffer, format.c_str(), std::min(precision, 200), bits);
  }
  return embedded::Utf8ToUtf16(buffer);
}

std::u16string Text(const Conversion& conversion, va_list& arguments) {
  // In a wide format %s is wide and %S narrow, unless "l" or "h" says which.
  const bool wide = conversion.longs > 0 || (conversion.longs == 0 && conversion.letter == u's');
  const size_t most = conversion.precision < 0 ? SIZE_MAX : static_cast<size_t>(conversion.precision);
  if (wide) {
    const auto* text = va_arg(arguments, const WCHAR*);
    if (text == nullptr) text = u"(null)";
    size_t length = 0;
    while (length < most && text[length] != 0) ++length;
    return {text, length};
  }
  const char* text = va_arg(arguments, const char*);
  if (text == nullptr) text = "(null)";
  return embedded::AcpToUtf16({text, strnlen(text, most)}).substr(0, most);
}

std::optional<std::u16string> Converted(const Conversion& conversion, va_list& arguments) {
  switch (conversion.letter) {
    case u's':
    case u'S':
      return Text(conversion, arguments);
    case u'c':
    case u'C':
      return std::u16string(1, static_cast<WCHAR>(va_arg(arguments, int)));
    case u'd':
    case u'i':
    case u'u':
    case u'x':
    case u'X':
    case u'o':
    case u'p':
      return Integer(conversion, arguments);
    default:
      return std::nullopt;
  }
}

std::atomic<_invalid_parameter_handler> invalid_parameter_handler = nullptr;

}  // namespace

int _vsnwprintf(WCHAR* buffer, size_t count, const WCHAR* format, va_list arguments) {
  std::u16string result;
  va_list list;
  va_copy(list, arguments);
  bool known = true;
  for (const WCHAR* at = format; known && *at != 0; ++at) {
    if (*at != u'%') {
      result += *at;
      continue;
    }
    ++at;
    if (*at == u'%') {
      result += u'%';
      continue;
    }
    const Conversion conversion = ReadConversion(at, list);
    std::optional<std::u16string> text = Converted(conversion, list);
    known = text.has_value();
    if (!known) break;
    const size_t width = static_cast<size_t>(conversion.width);
    if (text->size() < width) text->insert(conversion.left ? text->size() : 0, width - text->size(), u' ');
    result += *text;
  }
  va_end(list);
  if (!known) return -1;
  std::copy_n(result.c_str(), std::min(count, result.size() + 1), buffer);
  return result.size() > count ? -1 : static_cast<int>(result.size());
}

_invalid_parameter_handler _set_invalid_parameter_handler(_invalid_parameter_handler handler) {
  // Nothing here calls it: the checked functions of this runtime report by their results.
  return invalid_parameter_handler.exchange(handler);
}
