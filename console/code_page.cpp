#include "console/code_page.h"

#include <algorithm>
#include <atomic>

#include "platform/win32.h"

using nlohmann::ordered_json;

namespace code_page {
namespace {

std::atomic<UINT> used = CP_UTF8;

std::basic_string<WCHAR> Widened(UINT page, std::string_view text) {
  const int size = static_cast<int>(text.size());
  // No code page has a character of less bytes than units.
  std::basic_string<WCHAR> wide(text.size(), WCHAR{});
  wide.resize(static_cast<size_t>(MultiByteToWideChar(page, 0, text.data(), size, wide.data(), size)));
  return wide;
}

std::string Narrowed(UINT page, const std::basic_string<WCHAR>& wide) {
  constexpr size_t kLongest = 4;
  std::string text(kLongest * wide.size(), '\0');
  // A letter that only looks like the one that was typed would name another user.
  text.resize(static_cast<size_t>(WideCharToMultiByte(page, page == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS,
                                                      wide.data(), static_cast<int>(wide.size()), text.data(),
                                                      static_cast<int>(text.size()), nullptr, nullptr)));
  return text;
}

template <typename Convert>
ordered_json Each(const ordered_json& json, const Convert& convert) {
  if (json.is_string()) return convert(json.get_ref<const std::string&>());
  if (json.is_array()) {
    ordered_json list = ordered_json::array();
    for (const ordered_json& one : json) list.push_back(Each(one, convert));
    return list;
  }
  if (!json.is_object()) return json;
  ordered_json object = ordered_json::object();
  for (const auto& [name, one] : json.items()) object[convert(name)] = Each(one, convert);
  return object;
}

}  // namespace

bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

void UseThatOfComputer() { used = GetACP(); }

std::string ToUtf8(std::string_view text) {
  const UINT page = used;
  return page == CP_UTF8 || IsPlain(text) ? std::string(text) : Narrowed(CP_UTF8, Widened(page, text));
}

std::string Dump(const ordered_json& json, int indent) {
  const auto dump = [indent](const ordered_json& one) {
    return one.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
  };
  return used == CP_UTF8 ? dump(json) : dump(Each(json, ToUtf8));
}

ordered_json AllFromUtf8(const ordered_json& json) {
  return Each(json, [](std::string_view text) {
    std::string why;
    return FromUtf8(text, why).value_or(std::string(text));
  });
}

std::filesystem::path PathOf(std::string_view text) {
  const std::string utf8 = ToUtf8(text);
  return std::u8string(utf8.begin(), utf8.end());
}

std::string TextOf(const std::filesystem::path& path) {
  const UINT page = used;
  const std::u8string utf8 = path.u8string();
  const std::string text(utf8.begin(), utf8.end());
  return page == CP_UTF8 || IsPlain(text) ? text : Narrowed(page, Widened(CP_UTF8, text));
}

std::optional<std::string> FromUtf8(std::string_view text, std::string& why) {
  const UINT page = used;
  if (page == CP_UTF8 || IsPlain(text)) return std::string(text);
  std::string narrow = Narrowed(page, Widened(CP_UTF8, text));
  if (ToUtf8(narrow) == text) return narrow;
  // Told as it would have been stored.
  why = "The text \"" + narrow + "\" has characters that the computer's code page " + std::to_string(page) +
        " lacks: \"?\" stands for them.";
  return std::nullopt;
}

}  // namespace code_page
