// What callers rely on in the system's functions, the same for Windows and for an embedded computer.

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/win32.h"
#include "tests/support/scratch_home.h"

#ifdef _WIN32
#define WIDE(literal) L##literal
#endif

namespace {

using WideText = std::basic_string<WCHAR>;

template <typename Call>
DWORD ErrorOf(Call call) {
  SetLastError(0);
  return call() != 0 ? ERROR_SUCCESS : GetLastError();
}

WideText FormatWide(size_t room, const WCHAR* format, ...) {
  std::vector<WCHAR> buffer(room + 1, WCHAR('#'));
  va_list arguments;
  va_start(arguments, format);
  const int count = _vsnwprintf(buffer.data(), room, format, arguments);
  va_end(arguments);
  if (count < 0) return WIDE("too long");
  return WideText(buffer.data(), static_cast<size_t>(count));
}

}  // namespace

TEST(ErrorTexts, ComeFromTheSystemOrTheModule) {
  char buffer[300] = "";
  const auto format = [&](DWORD flags, LPCVOID source, DWORD code, DWORD size) {
    return ErrorOf([&] { return FormatMessageA(flags, source, code, 1024, buffer, size, nullptr); });
  };
  EXPECT_EQ(format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ERROR_ACCESS_DENIED, sizeof buffer), 0u);
  EXPECT_THAT(std::string(buffer), testing::EndsWith(".\r\n"));
  EXPECT_EQ(format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ERROR_ACCESS_DENIED, 5),
            DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 99999, sizeof buffer), DWORD{ERROR_MR_MID_NOT_FOUND});
  // A text with an insert needs its argument, unless inserts stand as they are.
  EXPECT_EQ(format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 193, sizeof buffer), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(format(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, 193, sizeof buffer),
            0u);
  EXPECT_THAT(std::string(buffer), testing::HasSubstr("%1"));

  const HMODULE network = LoadLibraryExA("netmsg.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (network != nullptr) {
    constexpr DWORD kBoth = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE;
    EXPECT_EQ(format(kBoth, network, 2221, sizeof buffer), 0u);
    EXPECT_EQ(format(kBoth, network, ERROR_ACCESS_DENIED, sizeof buffer), 0u);
    FreeLibrary(network);
  }

  const DWORD_PTR arguments[] = {reinterpret_cast<DWORD_PTR>("one"), 7};
  LPSTR allocated = nullptr;
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY,
      "%1 and %2!04d!, 100%%%n", 0, 0, reinterpret_cast<LPSTR>(&allocated), 0,
      reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(arguments)));
  ASSERT_NE(allocated, nullptr);
  EXPECT_STREQ(allocated, "one and 0007, 100%\r\n");
  EXPECT_EQ(length, std::char_traits<char>::length(allocated));
  LocalFree(allocated);
}

TEST(Modules, AreFoundByNameWithTheirProcedures) {
  const HMODULE registry = LoadLibraryA("ADVAPI32.dll");
  ASSERT_NE(registry, nullptr);
  EXPECT_NE(GetProcAddress(registry, "RegDeleteKeyExA"), nullptr);
  EXPECT_EQ(ErrorOf([&] { return GetProcAddress(registry, "regdeletekeyexa") != nullptr; }),
            DWORD{ERROR_PROC_NOT_FOUND});
  EXPECT_NE(FreeLibrary(registry), FALSE);
  EXPECT_EQ(ErrorOf([] { return LoadLibraryA("nosuchmodule.dll") != nullptr; }), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(CodePages, ConvertAndTellTheirSizes) {
  WCHAR wide[32] = {};
  const auto widen = [&](UINT page, DWORD flags, std::string_view text, int size, int room = 32) {
    SetLastError(0);
    const int count = MultiByteToWideChar(page, flags, text.data(), size, wide, room);
    return count == 0 ? -static_cast<int>(GetLastError()) : count;
  };
  EXPECT_EQ(widen(1252, 0, "abc", -1, 0), 4);
  EXPECT_EQ(widen(1252, 0, "abc", -1, 3), -ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(widen(1252, 0, "abc", 0), -ERROR_INVALID_PARAMETER);
  EXPECT_EQ(widen(12345, 0, "abc", -1), -ERROR_INVALID_PARAMETER);
  EXPECT_EQ(widen(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", -1), -ERROR_NO_UNICODE_TRANSLATION);
  EXPECT_EQ(widen(CP_UTF8, 0,
                  "a\xFF\xE2\x82"
                  "b\xF0\x9F\x98\x80",
                  9),
            6);
  EXPECT_EQ(WideText(wide, 6), WIDE("a\xFFFD\xFFFD"
                                    "b\xD83D\xDE00"));
  EXPECT_EQ(widen(1252, 0, "\x80\x81\xE4", 3), 3);
  EXPECT_EQ(WideText(wide, 3), WIDE("\x20AC\x0081\x00E4"));
  EXPECT_EQ(widen(932, 0,
                  "\x83\x41"
                  "a\x83",
                  4),
            3);
  EXPECT_EQ(WideText(wide, 3), WIDE("\x30A2"
                                    "a\x30FB"));

  char narrow[32] = {};
  BOOL used = 9;
  const auto narrowed = [&](UINT page, DWORD flags, const WCHAR* text, int room, const char* other,
                            BOOL* flag) {
    SetLastError(0);
    const int count = WideCharToMultiByte(page, flags, text, -1, narrow, room, other, flag);
    return count == 0 ? -static_cast<int>(GetLastError()) : count;
  };
  EXPECT_EQ(narrowed(1252, 0, WIDE("a\x0416\x20AC"), 32, "#", &used), 4);
  EXPECT_STREQ(narrow, "a#\x80");
  EXPECT_EQ(used, TRUE);
  EXPECT_EQ(narrowed(CP_UTF8, 0, WIDE("\xD800x\xD83D\xDE00"), 32, nullptr, nullptr), 9);
  EXPECT_STREQ(narrow, "\xEF\xBF\xBDx\xF0\x9F\x98\x80");
  EXPECT_EQ(narrowed(CP_UTF8, WC_ERR_INVALID_CHARS, WIDE("\xD800"), 32, nullptr, nullptr),
            -ERROR_NO_UNICODE_TRANSLATION);
  EXPECT_EQ(narrowed(1252, 0, WIDE("abc"), 3, nullptr, nullptr), -ERROR_INSUFFICIENT_BUFFER);
}

TEST(Texts, CompareAsNamesOfKeysDo) {
  struct Case {
    const WCHAR* a;
    int a_size;
    const WCHAR* b;
    BOOL ignore_case;
    int order;
  };
  const Case cases[] = {
      {WIDE("J\x00D6RG"), -1, WIDE("j\x00F6rg"), TRUE, CSTR_EQUAL},
      {WIDE("J\x00D6RG"), -1, WIDE("j\x00F6rg"), FALSE, CSTR_LESS_THAN},
      {WIDE("\x0436\x0430"), -1, WIDE("\x0416\x0410"), TRUE, CSTR_EQUAL},
      // One character for one: a sharp s is not two of them.
      {WIDE("\x00DF"), -1, WIDE("ss"), TRUE, CSTR_GREATER_THAN},
      // By upper case: "_" stands between the cases.
      {WIDE("a"), -1, WIDE("_"), TRUE, CSTR_LESS_THAN},
      {WIDE("a"), -1, WIDE("_"), FALSE, CSTR_GREATER_THAN},
      {WIDE("ab"), -1, WIDE("ABC"), TRUE, CSTR_LESS_THAN},
      {WIDE("abcd"), 3, WIDE("ABC"), TRUE, CSTR_EQUAL},
      {WIDE(""), -1, WIDE(""), TRUE, CSTR_EQUAL},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(CompareStringOrdinal(c.a, c.a_size, c.b, -1, c.ignore_case), c.order) << &c - cases;
    EXPECT_EQ(CompareStringOrdinal(c.b, -1, c.a, c.a_size, c.ignore_case), 4 - c.order) << &c - cases;
  }
  EXPECT_EQ(ErrorOf([] { return CompareStringOrdinal(nullptr, -1, WIDE(""), -1, TRUE); }),
            DWORD{ERROR_INVALID_PARAMETER});
}

TEST(WideFormats, MeanWhatWindowsMeans) {
  EXPECT_EQ(FormatWide(60, WIDE("%s|%S|%d|%5u|%-5x|%05d|%c|%%|%.2s|%X"), WIDE("wide"), "narrow", -7, 42u, 255,
                       42, 'z', WIDE("cut"), 0xABCD),
            WIDE("wide|narrow|-7|   42|ff   |00042|z|%|cu|ABCD"));
  EXPECT_EQ(FormatWide(60, WIDE("%hs|%ls|%hd|%I64d|%08X(%d)"), "n", WIDE("w"), 70000, 1LL << 40, 5, -5),
            WIDE("n|w|4464|1099511627776|00000005(-5)"));
  EXPECT_EQ(FormatWide(3, WIDE("%s"), WIDE("abc")), WIDE("abc"));
  EXPECT_EQ(FormatWide(2, WIDE("%s"), WIDE("abc")), WIDE("too long"));
}

TEST(Mutexes, BelongToOneThreadAsOftenAsItTookThem) {
  const HANDLE first = CreateMutexA(nullptr, TRUE, "Global\\marrowen contract");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(GetLastError(), 0u);
  const HANDLE second = CreateMutexA(nullptr, TRUE, "Global\\marrowen contract");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  // The wish to own an existing one from the start is not heard, but the owner may take it again.
  EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_OBJECT_0);

  const auto elsewhere = [&](auto act) {
    DWORD result = 0;
    std::thread([&] { result = act(); }).join();
    return result;
  };
  const auto try_it = [&] {
    const DWORD result = WaitForSingleObject(first, 30);
    if (result != WAIT_TIMEOUT) ReleaseMutex(first);
    return result;
  };
  EXPECT_EQ(elsewhere(try_it), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(elsewhere([&] { return ErrorOf([&] { return ReleaseMutex(first); }); }), DWORD{ERROR_NOT_OWNER});
  EXPECT_NE(ReleaseMutex(second), FALSE);
  EXPECT_EQ(elsewhere(try_it), DWORD{WAIT_TIMEOUT});
  EXPECT_NE(ReleaseMutex(first), FALSE);
  EXPECT_EQ(elsewhere(try_it), WAIT_OBJECT_0);
  EXPECT_EQ(ErrorOf([&] { return ReleaseMutex(first); }), DWORD{ERROR_NOT_OWNER});

  // A thread that ends with it abandons it.
  elsewhere([&] { return WaitForSingleObject(second, INFINITE); });
  EXPECT_EQ(WaitForSingleObject(first, 1000), WAIT_ABANDONED);
  EXPECT_NE(ReleaseMutex(first), FALSE);

  CloseHandle(first);
  CloseHandle(second);
  EXPECT_EQ(ErrorOf([] { return OpenMutexA(SYNCHRONIZE, TRUE, "Global\\marrowen contract") != nullptr; }),
            DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(ErrorOf([] { return CreateMutexA(nullptr, FALSE, "a\\b") != nullptr; }),
            DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(ErrorOf([&] { return CloseHandle(first); }), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Environment, CountsItsTerminatorsAsDocumented) {
  ASSERT_NE(SetEnvironmentVariableA("MARROWEN_CONTRACT", "value"), FALSE);
  char buffer[16] = "";
  EXPECT_EQ(GetEnvironmentVariableA("marrowen_contract", buffer, 5), 6u);
  EXPECT_EQ(GetEnvironmentVariableA("MARROWEN_CONTRACT", buffer, 6), 5u);
  EXPECT_STREQ(buffer, "value");
  EXPECT_EQ(ExpandEnvironmentStringsA("<%MARROWEN_CONTRACT%>%", buffer, sizeof buffer), 9u);
  EXPECT_STREQ(buffer, "<value>%");
  ASSERT_NE(SetEnvironmentVariableA("MARROWEN_CONTRACT", nullptr), FALSE);
  EXPECT_EQ(ErrorOf([&] { return GetEnvironmentVariableA("MARROWEN_CONTRACT", buffer, 16); }),
            DWORD{ERROR_ENVVAR_NOT_FOUND});

  DWORD size = 1;
  EXPECT_EQ(ErrorOf([&] { return GetComputerNameA(buffer, &size); }), DWORD{ERROR_BUFFER_OVERFLOW});
  const DWORD needed = size;
  ASSERT_NE(GetComputerNameA(buffer, &size), FALSE);
  EXPECT_EQ(size, needed - 1);
  EXPECT_EQ(size, std::char_traits<char>::length(buffer));
}
