#pragma once

// Where texts cross between people and pages. Pages, keys and values have their texts in the code page of the
// computer whose settings are edited, as the server reads them; the command line and the browser speak UTF-8.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace code_page {

// From here on this process's texts are in the code page of the computer that it stands on. Until then they
// are UTF-8.
void UseThatOfComputer();

// Whether the text is the same in every code page.
bool IsPlain(std::string_view text);

// What the code page lacks becomes the replacement character.
std::string ToUtf8(std::string_view text);
// JSON as a program reads it: in UTF-8, other bytes of which become U+FFFD. Without `indent` on one line.
std::string Dump(const nlohmann::ordered_json& json, int indent = -1);

// Nothing where the code page lacks a character, with one sentence in `why`, which is in that code page.
std::optional<std::string> FromUtf8(std::string_view text, std::string& why);

// What the code page lacks stays as it is.
nlohmann::ordered_json AllFromUtf8(const nlohmann::ordered_json& json);

// The path that a text in the code page names, and the other way round.
std::filesystem::path PathOf(std::string_view text);
std::string TextOf(const std::filesystem::path& path);

}  // namespace code_page
