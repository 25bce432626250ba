#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "platform/embedded/codepage.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/messages.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

using embedded::Fail;

namespace {

std::optional<std::string> Lookup(DWORD flags, LPCVOID source, DWORD message) {
  const char* text = nullptr;
  if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
    const embedded::MessageTable* table =
        embedded::ModuleMessages(static_cast<HMODULE>(const_cast<void*>(source)));
    if (table != nullptr) text = embedded::MessageText(*table, message);
  }
  if (text == nullptr && (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0) {
    text = embedded::MessageText(embedded::MessageTable::kSystem, message);
  }
  if (text == nullptr) return std::nullopt;
  return std::string(text) + "\r\n";
}

// The inserts of a message, fetched in order: each is as wide as a pointer.
class Arguments {
 public:
  Arguments(DWORD flags, va_list* arguments)
      : array_((flags & FORMAT_MESSAGE_ARGUMENT_ARRAY) != 0 ? reinterpret_cast<const DWORD_PTR*>(arguments)
                                                            : nullptr),
        list_(array_ == nullptr ? arguments : nullptr) {}

  bool None() const { return array_ == nullptr && list_ == nullptr; }

  DWORD_PTR At(size_t index) {
    if (array_ != nullptr) return array_[index];
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): FormatMessage's caller has started it
    while (fetched_.size() <= index) fetched_.push_back(va_arg(*list_, DWORD_PTR));
    return fetched_[index];
  }

 private:
  const DWORD_PTR* array_;
  va_list* list_;
  std::vector<DWORD_PTR> fetched_;
};

// An insert by the format between its marks, as printf knows it; nothing for one that is not known. The
// texts of FormatMessageW's inserts are wide.
std::optional<std::string> Insert(DWORD_PTR argument, std::string_view format, bool wide) {
  // NOLINTBEGIN(performance-no-int-to-ptr): an insert is as wide as a pointer; its format says what it is.
  if (format.empty() || format == "s") {
    if (argument == 0) return "(null)";
    if (wide) return embedded::Utf16ToUtf8(reinterpret_cast<const WCHAR*>(argument));
    return embedded::AcpToUtf8(reinterpret_cast<const char*>(argument));
  }
  if (format == "S") return embedded::AcpToUtf8(reinterpret_cast<const char*>(argument));
  // NOLINTEND(performance-no-int-to-ptr)
  const char letter = format.back();
  format.remove_suffix(1);
  if (format.size() > 4 || format.find_first_not_of("0123456789-#") != std::string_view::npos)
    return std::nullopt;
  const std::string spec = "%" + std::string(format) + letter;
  char buffer[64];
  switch (letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'c':
      if (std::atoi(std::string(format).c_str()) > 40) return std::nullopt;
      std::snprintf(buffer, sizeof buffer, spec.c_str(), static_cast<int>(argument));
      return std::string(buffer);
    default:
      return std::nullopt;
  }
}

// "%n" with its optional "!format!", at `rest`, which is moved behind it.
std::optional<std::string> TakeInsert(std::string_view& rest, Arguments& arguments, bool wide) {
  size_t index = 0;
  size_t digits = 0;
  while (digits < 2 && digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9') {
    index = index * 10 + static_cast<size_t>(rest[digits] - '0');
    ++digits;
  }
  rest.remove_prefix(digits);
  std::string_view format;
  if (!rest.empty() && rest[0] == '!') {
    const size_t end = rest.find('!', 1);
    if (end == std::string_view::npos) return std::nullopt;
    format = rest.substr(1, end - 1);
    rest.remove_prefix(end + 1);
  }
  if (arguments.None()) return std::nullopt;
  return Insert(arguments.At(index - 1), format, wide);
}

// The text with its inserts; nothing when one cannot be made.
std::optional<std::string> Expand(std::string_view text, Arguments arguments, bool wide) {
  std::string result;
  while (!text.empty()) {
    const char c = text[0];
    text.remove_prefix(1);
    if (c != '%') {
      result += c;
      continue;
    }
    if (text.empty()) return std::nullopt;
    if (text[0] >= '1' && text[0] <= '9') {
      const std::optional<std::string> insert = TakeInsert(text, arguments, wide);
      if (!insert) return std::nullopt;
      result += *insert;
      continue;
    }
    const char escape = text[0];
    text.remove_prefix(1);
    if (escape == '0') break;  // Ends the message without its line end.
    result += escape == 'n' ? "\r\n" : escape == 't' ? "\t" : escape == 'r' ? "\r" : std::string(1, escape);
  }
  return result;
}

// The message in UTF-8, or nothing with the last error set.
std::optional<std::string> Message(DWORD flags, LPCVOID source, DWORD message, va_list* arguments,
                                   bool wide) {
  std::optional<std::string> text;
  if ((flags & FORMAT_MESSAGE_FROM_STRING) != 0) {
    if (source == nullptr) return Fail(ERROR_INVALID_PARAMETER), std::nullopt;
    text = wide ? embedded::Utf16ToUtf8(static_cast<const WCHAR*>(source))
                : embedded::AcpToUtf8(static_cast<const char*>(source));
  } else {
    if ((flags & (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE)) == 0) {
      return Fail(ERROR_INVALID_PARAMETER), std::nullopt;
    }
    text = Lookup(flags, source, message);
    if (!text) return Fail(ERROR_MR_MID_NOT_FOUND), std::nullopt;
  }
  if ((flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) == FORMAT_MESSAGE_MAX_WIDTH_MASK) {
    text = text::Replaced(*text, "\r\n", " ");
  }
  if ((flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0) {
    text = Expand(*text, Arguments(flags, arguments), wide);
    if (!text) SetLastError(ERROR_INVALID_PARAMETER);
  }
  return text;
}

template <typename Char>
DWORD Give(const std::basic_string<Char>& text, DWORD flags, Char* buffer, DWORD size) {
  if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
    const size_t room = std::max<size_t>(text.size() + 1, size);
    auto* block = static_cast<Char*>(LocalAlloc(LMEM_ZEROINIT, room * sizeof(Char)));
    if (block == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    std::copy_n(text.c_str(), text.size() + 1, block);
    *reinterpret_cast<Char**>(buffer) = block;
  } else {
    if (size <= text.size()) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
  }
  return static_cast<DWORD>(text.size());
}

}  // namespace

DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID source, DWORD message, DWORD, LPSTR buffer, DWORD size,
                            va_list* arguments) {
  if (buffer == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const std::optional<std::string> text = Message(flags, source, message, arguments, false);
  return text ? Give(embedded::Utf8ToAcp(*text), flags, buffer, size) : 0;
}

DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD, LPWSTR buffer, DWORD size,
                            va_list* arguments) {
  if (buffer == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const std::optional<std::string> text = Message(flags, source, message, arguments, true);
  return text ? Give(embedded::Utf8ToUtf16(*text), flags, buffer, size) : 0;
}
