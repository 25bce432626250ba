#include "configuration/value_text.h"

#include <gtest/gtest.h>

#include <random>

namespace {

std::span<const BYTE> Bytes(std::string_view text) {
  return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

CString Text(const std::vector<BYTE>& bytes) { return CString(bytes.begin(), bytes.end()); }

using namespace std::string_view_literals;

// Each loop begins again at the start of the text after every replacement.
CString UnescapedByLoops(CString text) {
  const std::pair<const char*, const char*> loops[] = {{"&lt;", "<"}, {"&quot;", "\""}, {"&amp;", "&"}};
  for (const auto& [entity, character] : loops) {
    for (size_t at = 0; (at = text.find(entity)) != CString::npos;)
      text.replace(at, std::strlen(entity), character);
  }
  return text;
}

}  // namespace

TEST(ValueText, FormatsDataByType) {
  const struct {
    DWORD type;
    std::string_view data;
    const char* text;
  } cases[] = {
      {REG_NONE, "ab\0c"sv, "ab"},
      {REG_SZ, "no terminator"sv, "no terminator"},
      {REG_EXPAND_SZ, "%PATH%\0"sv, "%PATH%"},
      {REG_BINARY, "\x0A\x0B\xFF"sv, "0a 0b ff"},
      {REG_BINARY, ""sv, ""},
      {REG_RESOURCE_LIST, "\x01"sv, "01"},
      {REG_DWORD, "\x16\0\0\0"sv, "0x00000016 (22)"},
      {REG_DWORD, "\xFF\xFF\xFF\xFF"sv, "0xffffffff (-1)"},
      {REG_DWORD, "\x01\x02"sv, "0x00000201 (513)"},
      {REG_DWORD_BIG_ENDIAN, "\x80\0\0\x01"sv, "0x80000001 (-2147483647)"},
      {REG_QWORD, "\x01\x02\x03\x04\x05\x06\x07\x08"sv, "0x0807060504030201"},
      {REG_LINK, "A\0b\0\0\0c\0"sv, "Ab"},
      {REG_MULTI_SZ, "one\0two\0\0"sv, "one\r\ntwo"},
      {REG_MULTI_SZ, "a\0\0b\0\0"sv, "a\r\n\r\nb"},
      {REG_MULTI_SZ, "\0\0"sv, ""},
      {9, "x"sv, "x"},
      {4711, "y\0z"sv, "y"},
  };
  for (const auto& test : cases)
    EXPECT_EQ(FormatRegValue(test.type, Bytes(test.data)), test.text) << test.type;
}

TEST(ValueText, ParsesTextByType) {
  const struct {
    DWORD type;
    std::string_view text;
    std::string_view data;
  } cases[] = {
      {REG_SZ, "", "\0"sv},
      {REG_EXPAND_SZ, "ab", "ab\0"sv},
      {REG_BINARY, "", "\0"sv},
      {REG_BINARY, "0a-0B", "\x0A\x0B"sv},
      {REG_BINARY, "0a 0", "\x0A"sv},
      {REG_BINARY, "g1", "\x01"sv},
      {REG_BINARY, "1", ""sv},
      {REG_DWORD, "", "\0\0\0\0"sv},
      {REG_DWORD, "0x0000000a (99)", "\x0A\0\0\0"sv},
      {REG_DWORD, "--fFx00001", "\x01\0\0\xFF"sv},
      {REG_QWORD, "0x0807060504030201", "\x01\x02\x03\x04\x05\x06\x07\x08"sv},
      {REG_MULTI_SZ, "", "\0"sv},
      {REG_MULTI_SZ, "one\r\ntwo", "one\0two\0\0"sv},
      {REG_MULTI_SZ, "\r", "\0\0"sv},
      {REG_LINK, "ab", "a\0"sv},
      {REG_NONE, "ab", ""sv},
      {REG_DWORD_BIG_ENDIAN, "0x00000001 (1)", ""sv},
  };
  for (const auto& test : cases)
    EXPECT_EQ(Text(*ParseRegValue(test.text, test.type)), test.data) << test.text;
  EXPECT_FALSE(ParseRegValue("0x0000001", REG_DWORD));
  EXPECT_FALSE(ParseRegValue("0x000000000000001", REG_QWORD));
}

TEST(ValueText, TypesComeBackUnderTheirNameOnly) {
  const DWORD back[] = {1, 1, 2, 3, 4, 4, 1, 7, 8, 1, 10, 11, 1, 1};
  for (DWORD type = 0; type < std::size(back); ++type)
    EXPECT_EQ(RegTypeFromName(RegTypeName(type)), back[type]);
  EXPECT_EQ(RegTypeName(9), "");
  EXPECT_EQ(RegTypeFromName("reg_Dword"), 4u);
  EXPECT_EQ(RegTypeFromName("REG_LINK"), 1u);
}

TEST(ValueText, EscapesThreeCharacters) {
  EXPECT_EQ(XmlEscape("a<b>\"c'&amp;"), "a&lt;b>&quot;c'&amp;amp;");
  EXPECT_EQ(XmlEscape(""), "");
  EXPECT_EQ(XmlUnescape("&lt;&quot;&amp;&gt;&apos;&#65;&"), "<\"&&gt;&apos;&#65;&");
  EXPECT_EQ(XmlUnescape("&amp;lt;"), "&lt;");
  EXPECT_EQ(XmlUnescape("&amp;amp;amp;quot;"), "&quot;");
}

TEST(ValueText, UnescapesAsTheLoopsDoInLinearTime) {
  std::mt19937 random(11);
  const char* pieces[] = {"&", "amp;", "lt;", "quot;", "&lt;", "&quot;", "&amp;", "a", ";", "l", "<"};
  for (int round = 0; round < 50000; ++round) {
    CString text;
    for (auto count = random() % 16; count > 0; --count) text += pieces[random() % std::size(pieces)];
    ASSERT_EQ(XmlUnescape(text), UnescapedByLoops(text)) << text;
  }
  CString large;
  while (large.size() < 1'000'000) large += "&amp;lt;";
  EXPECT_EQ(XmlUnescape(large), text::Replaced(large, "&amp;", "&"));
}

TEST(ValueText, SubstitutesPatternsThatTheTextCameInWith) {
  const struct {
    const char* text;
    CStringList pairs;
    const char* result;
  } cases[] = {
      {"C:\\Prog\\x on C:\\Prog\\y", {"C:\\Prog\\", "$(D)\\"}, "$(D)\\x on $(D)\\y"},
      {"c:\\prog\\x", {"C:\\Prog\\", "$(D)\\"}, "c:\\prog\\x"},
      {"web HOST hosts", {"HOST", "$(N)"}, "web $(N) hosts"},
      {"one", {"one", "two", "two", "three"}, "two"},
      {"one TWO", {"one", "two", "two", "three"}, "three TWO"},
      {"x", {"", "y"}, "x"},
  };
  for (const auto& test : cases)
    EXPECT_EQ(SubstituteTokens(test.text, &test.pairs), test.result) << test.text;
  EXPECT_EQ(SubstituteTokens("a", nullptr), "a");
  const CStringList odd = {"a", "b", "c"};
  EXPECT_THROW(SubstituteTokens("a", &odd), std::out_of_range);
}
