// Registry values as text and back, escaping and tokens, each held to what must come back as it was.

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "configuration/value_text.h"

namespace {

// Begins again at the start of the text after every replacement.
CString UnescapedByLoops(CString text) {
  for (const auto& [entity, character] :
       {std::pair("&lt;", "<"), std::pair("&quot;", "\""), std::pair("&amp;", "&")}) {
    for (size_t at = 0; (at = text.find(entity)) != CString::npos;)
      text.replace(at, std::strlen(entity), character);
  }
  return text;
}

void Check(bool good) {
  if (!good) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const DWORD type = data[0] % 14;
  const std::span<const BYTE> bytes(data + 1, size - 1);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const bool isAscii = std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });

  Check(ParseRegValue(text, type) || type == REG_DWORD || type == REG_QWORD);
  const CString formatted = FormatRegValue(type, bytes);
  const bool comesBack = type == REG_SZ || type == REG_EXPAND_SZ || type == REG_DWORD || type == REG_QWORD ||
                         (type == REG_BINARY && !bytes.empty());
  if (comesBack) Check(FormatRegValue(type, *ParseRegValue(formatted, type)) == formatted);

  if (isAscii) {
    Check(XmlUnescape(text) == UnescapedByLoops(CString(text)));
    if (text.find('&') == text.npos) Check(XmlUnescape(XmlEscape(text)) == text);
  }
  const size_t cut = size / 3;
  const CStringList pairs = {CString(text.substr(0, cut)), "$(A)", "$(A)", CString(text.substr(cut, cut))};
  SubstituteTokens(CString(text), &pairs);
  return 0;
}
