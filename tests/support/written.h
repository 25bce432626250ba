#pragma once

// What a page has written into an empty key: each value as it is spelled, with its bytes, in the order of
// writing.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "store/registry_object.h"

namespace test_support {

using Written = std::vector<std::string>;

// "Name=bytes" of each value under HKEY_LOCAL_MACHINE\path; another type than REG_SZ stands behind a colon.
inline Written ValuesIn(std::string_view path) {
  Written values;
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, CString(path).c_str(), KEY_READ, key) != 0) return {"(no key)"};
  const CTesselRegObject object(HKEY_LOCAL_MACHINE, key.release());
  char name[kValueBufferSize];
  DWORD size = sizeof name;
  DWORD type = REG_NONE;
  for (DWORD i = 0; RegEnumValueA(object.GetKey(), i, name, &size, nullptr, &type, nullptr, nullptr) == 0;
       ++i) {
    std::string value =
        std::string(name, size) + "=" + object.GetBinaryValue(std::string(name, size).c_str());
    if (type != REG_SZ) value += ":" + std::to_string(type);
    values.push_back(std::move(value));
    size = sizeof name;
  }
  return values;
}

// The embedded computer lists values in the order in which they came; some systems list them by name.
inline void ExpectWritten(std::string_view path, const Written& expected) {
  const Written values = ValuesIn(path);
  if (values == expected) return;
  Written byName = expected;
  std::sort(byName.begin(), byName.end(),
            [](const auto& a, const auto& b) { return text::CompareNoCase(a, b) < 0; });
  EXPECT_EQ(values, byName) << "in neither the order of writing nor that of names";
}

}  // namespace test_support
