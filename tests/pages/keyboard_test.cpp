#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

const Scenario kKeyboardScenarios[] = {
    {"an empty key", "", "", "Re-Map ALT Key=1; Allow Control-C=off; Allow Control-G=off", "", false, ""},
    {"a box lets its key pass", "", "Allow Control-G=on", "", "", true,
     "AltKey=1; ControlCKey=BLOCKIT; ControlGKey=PASSIT"},
    {"no key is a word", "", "Re-Map ALT Key=; Allow Control-C=on", "", "", true,
     "AltKey=NONE; ControlCKey=PASSIT; ControlGKey=BLOCKIT"},
    {"which stands in the edit and is written back", "AltKey=NONE; ControlCKey=passit; ControlGKey=blockit",
     "Allow Control-G=on", "Re-Map ALT Key=NONE; Allow Control-C=on", "", true,
     "AltKey=NONE; ControlCKey=PASSIT"},
    {"an empty value is key 1", "AltKey=; ControlCKey=yes", "", "Re-Map ALT Key=1; Allow Control-C=off", "",
     false, "AltKey="},
};

TEST(SessionPages, Keyboard) {
  for (const Scenario& scenario : kKeyboardScenarios) Expect(kKeyboard, scenario);
}

}  // namespace
