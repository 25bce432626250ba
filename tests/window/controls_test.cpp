// What a person's acts do to the models of controls, and how controls are named.

#include <gtest/gtest.h>

#include "framework/smart_edit.h"
#include "window/dialog.h"
#include "window/scripted_front_end.h"

namespace {

class TestDialog : public CDialog {
 public:
  TestDialog() : CDialog("Test") {}
  template <class Control, class... Arguments>
  Control& Make(std::string_view caption, Arguments... arguments) {
    Control& control = Add(std::make_unique<Control>(arguments...), group);
    control.caption = caption;
    return control;
  }
  int group = -1;
  int notices = 0;

 private:
  void OnControl(CWnd&, Notice) override { ++notices; }
};

TEST(Acts, AreRefusedByDisabledAndHiddenControls) {
  TestDialog dialog;
  auto& box = dialog.Make<CButton>("Box", ControlKind::CheckBox);
  auto& edit = dialog.Make<CEdit>("Edit");
  box.EnableWindow(false);
  edit.ShowWindow(false);
  EXPECT_EQ(box.Click().refusal, "\"Box\" is disabled.");
  EXPECT_EQ(edit.Enter("x").refusal, "\"Edit\" is not shown.");
  EXPECT_EQ(box.Value() + edit.Value(), "off");
  EXPECT_EQ(dialog.notices, 0);
}

TEST(Acts, NotifyOncePerCharacterAndNotWhileFilling) {
  TestDialog dialog;
  auto& edit = dialog.Make<CEdit>("Edit");
  edit.Enter("ab");
  EXPECT_EQ(dialog.notices, 3) << "and once when the focus leaves";
  edit.Type("\xC3\xA9");  // one character of two bytes
  EXPECT_EQ(dialog.notices, 4);
  {
    const CDialog::FillScope filling(dialog);
    edit.SetText("c");
  }
  EXPECT_EQ(dialog.notices, 4);
  edit.SetText("d");
  EXPECT_EQ(dialog.notices, 5);
}

TEST(Acts, RadioButtonsExcludeEachOther) {
  TestDialog dialog;
  auto& first = dialog.Make<CButton>("First", ControlKind::RadioButton);
  auto& second = dialog.Make<CButton>("Second", ControlKind::RadioButton);
  EXPECT_TRUE(dialog.Put("First", "on"));
  EXPECT_TRUE(dialog.Put("Second", "yes"));
  EXPECT_EQ(first.Value() + second.Value(), "offon");
  EXPECT_FALSE(dialog.Put("Second", "off"));
}

// A line break or tab that is typed or pasted is a key, and no text of an edit of one line.
TEST(Edits, DropKeysThatAreNoText) {
  TestDialog dialog;
  auto& digits = dialog.Make<CEdit>("Digits");
  auto& line = dialog.Make<CEdit>("Line");
  auto& lines = dialog.Make<CEdit>("Lines");
  auto& number = dialog.Make<CSmartEdit>("Number");
  auto& combo = dialog.Make<CComboBox>("Combo");
  digits.digitsOnly = lines.multiLine = combo.editable = true;
  number.SetRange(1, 9, 1);
  const std::string typed = "1\t2\r\n3\x1b\x7f";
  for (CWnd* control : std::initializer_list<CWnd*>{&digits, &line, &lines, &number, &combo}) {
    EXPECT_TRUE(control->Enter(typed)) << control->caption;
  }
  EXPECT_EQ(digits.Value(), "123");
  EXPECT_EQ(line.Value(), "123");
  EXPECT_EQ(lines.Value(), "1\t2\r\n3");
  EXPECT_EQ(number.Value(), "123");
  EXPECT_EQ(combo.Value(), "123");
  line.Type("\n4");
  line.Rewrite("1\n2\n34");
  EXPECT_EQ(line.Value(), "1234");
  EXPECT_TRUE(line.Rewrite("12\t345"));
  EXPECT_EQ(line.Value(), "12345");
}

TEST(Edits, KeepTheirLengthWhicheverWayATextComesIn) {
  ScriptedFrontEnd frontEnd;
  FrontEnd* const before = SetFrontEnd(&frontEnd);
  TestDialog dialog;
  auto& edit = dialog.Make<CEdit>("Edit");
  edit.maxLength = 4;
  EXPECT_EQ(edit.Enter("12345").refusal, "\"Edit\" takes at most 4 bytes, not 5.");
  EXPECT_EQ(edit.Value(), "");
  edit.Type("12345");
  EXPECT_EQ(edit.Value(), "1234");
  edit.Rewrite(
      "12\xC3\xA9"
      "34");
  EXPECT_EQ(edit.Value(), "1234") << "nothing more fits";
  edit.Rewrite(
      "1\xC3\xA9"
      "4");
  EXPECT_EQ(edit.Value(),
            "1\xC3\xA9"
            "4");
  EXPECT_TRUE(edit.Enter("abcd"));
  edit.SetText("longer than that");
  EXPECT_EQ(edit.Value(), "longer than that") << "what code sets is not a person's";
  EXPECT_EQ(frontEnd.Beeps(), 2);
  SetFrontEnd(before);
}

// A list that takes numbers alone.
class Numbers : public CVSListBox {
  bool OnEndEditLabel(std::string& text) override {
    return text.find_first_not_of("0123456789") == std::string::npos && !text.empty();
  }
};

TEST(EditableLists, TakeWhatTheListAccepts) {
  TestDialog dialog;
  auto& list = dialog.Make<Numbers>("Numbers");
  list.SetRows({"1", "2"});
  EXPECT_EQ(dialog.notices, 0);
  EXPECT_TRUE(list.EditRow(2, "3"));
  EXPECT_TRUE(list.EditRow(0, "10"));
  EXPECT_TRUE(list.EditRow(1, "two")) << "the row keeps its text, and nothing is said";
  EXPECT_TRUE(list.EditRow(3, ""));
  EXPECT_EQ(list.Value(), "10, 2, 3");
  EXPECT_TRUE(list.RemoveRow(1));
  EXPECT_EQ(list.Value(), "10, 3");
  EXPECT_EQ(dialog.notices, 3);
  EXPECT_FALSE(list.EditRow(9, "1"));
  EXPECT_FALSE(list.RemoveRow(2));
  EXPECT_EQ(dialog.Put("Numbers", "7, x").refusal, "\"Numbers\" does not take \"x\".");
  EXPECT_TRUE(dialog.Put("Numbers", "7, 8"));
  EXPECT_EQ(list.Value(), "7, 8");
}

TEST(Dates, AreDaysThatThereAre) {
  TestDialog dialog;
  auto& date = dialog.Make<CDateTimeCtrl>("Day");
  EXPECT_TRUE(date.Put("2024-02-29"));
  for (const char* none : {"2023-02-29", "2024-13-01", "2024-1-1", "yesterday", "2024-02-3x"}) {
    EXPECT_FALSE(date.Put(none)) << none;
  }
  EXPECT_EQ(date.Value(), "2024-02-29");
  EXPECT_TRUE(date.Put(""));
  EXPECT_EQ(date.Value(), "");
}

TEST(Enter, PressesTheDefaultButtonAndElseOk) {
  TestDialog dialog;
  dialog.Make<CButton>("Other");
  dialog.PressEnter();
  EXPECT_TRUE(dialog.Ended());
  TestDialog other;
  auto& button = other.Make<CButton>("Generate");
  button.isDefault = true;
  other.PressEnter();
  EXPECT_FALSE(other.Ended());
  EXPECT_EQ(other.notices, 1);
}

TEST(Names, ShareTheCaptionOfTheirGroupAndAreNumbered) {
  TestDialog dialog;
  dialog.Make<CStatic>("Level", ControlKind::Group);
  dialog.group = 0;
  dialog.Make<CEdit>("");
  dialog.Make<CSliderCtrl>("");
  dialog.group = -1;
  dialog.Make<CButton>("Limit", ControlKind::CheckBox);
  auto& limit = dialog.Make<CEdit>("&Limit:");
  EXPECT_EQ(dialog.NameOf(1), "Level");
  EXPECT_EQ(dialog.NameOf(2), "Level#2");
  EXPECT_TRUE(dialog.Put("level", "5"));
  EXPECT_TRUE(dialog.Put("Limit", "10"));  // the box takes on and off; ten is for the edit
  EXPECT_EQ(limit.Value(), "10");
  EXPECT_TRUE(dialog.Put("Limit", "on"));
  EXPECT_EQ(dialog.Put("Levl", "5").refusal, "There is no setting \"Levl\" here; did you mean \"Level\"?");
}

TEST(Lists, SortWithoutCaseAndKeepTheSelectionAcrossDeletions) {
  TestDialog dialog;
  auto& list = dialog.Make<CListBox>("List");
  list.sorted = true;
  for (const char* row : {"b", "C", "a"}) list.AddString(row);
  EXPECT_TRUE(dialog.Put("List", "c"));
  EXPECT_EQ(list.GetCurSel(), 2);
  list.DeleteString(0);
  EXPECT_EQ(list.SelectedText(), "C");
  list.DeleteString(1);
  EXPECT_EQ(list.GetCurSel(), -1);
  EXPECT_FALSE(dialog.Put("List", "x"));
}

struct Typed {
  std::uint16_t classes;
  const char* keys;
  const char* text;
};

TEST(SmartEdit, FiltersKeysByTheirClasses) {
  using E = CSmartEdit;
  for (const auto& [classes, keys, text] :
       {Typed{E::Digits, "1a-2.", "12"}, Typed{E::SignedInteger, "-1a2", "-12"},
        Typed{E::FloatingNumber, "1.5E-3x", "1.5E-3"}, Typed{E::HexadecimalNumber, "0xFgE_9", "0xFE9"},
        Typed{E::Letters, "aZ1_", "aZ"}, Typed{E::Underscore, "a_1 ", "_"},
        Typed{E::OtherPrintable, "a!_1", "!_"}, Typed{E::Anything, "a 1!", "a 1!"}}) {
    TestDialog dialog;
    auto& edit = dialog.Make<CSmartEdit>("Edit");
    edit.SetCharClasses(classes);
    edit.Type(keys);
    EXPECT_EQ(edit.Value(), text) << classes;
  }
}

TEST(SmartEdit, KeepsAFloatingNumberWithinItsRange) {
  TestDialog dialog;
  auto& edit = dialog.Make<CSmartEdit>("Edit");
  auto& slider = dialog.Make<CLinkSlider>("Slider");
  slider.vertical = true;
  edit.SetSlaveSlider(slider);
  edit.SetRange(-1.0, 1.0, 10, "%.2f");
  EXPECT_TRUE(edit.Enter("0.5"));
  EXPECT_EQ(slider.GetPos(), 250);  // the top stands for the highest number
  EXPECT_TRUE(edit.Enter("-7"));
  EXPECT_EQ(edit.Value(), "-1.00");
  EXPECT_TRUE(slider.Drag(0));
  EXPECT_EQ(edit.Value(), "1.00");
  EXPECT_EQ(edit.SetValue(2.0), 0);
  EXPECT_EQ(edit.SetValue(1), 0);
}

TEST(Address, TakesFourNumbers) {
  TestDialog dialog;
  auto& address = dialog.Make<CIPAddressCtrl>("Address");
  for (const char* bad : {"1.2.3", "1.2.3.256", "1.2.3.4.5", "a.b.c.d", "1..2.3", "1.2.3.-4"}) {
    EXPECT_FALSE(dialog.Put("Address", bad)) << bad;
    EXPECT_TRUE(address.IsBlank());
  }
  EXPECT_TRUE(dialog.Put("Address", "10.0.0.255"));
  EXPECT_EQ(address.Value(), "10.0.0.255");
}

class AskingDialog : public CDialog {
 public:
  AskingDialog() : CDialog("Name") {}
  std::string entered;

 private:
  void BuildControls() override { Add(std::make_unique<CEdit>(), -1).caption = "User"; }
  void OnOK() override {
    entered = Find("User").control->Value();
    if (AfxMessageBox("Sure?", Buttons::YesNo) == Reply::Yes) CDialog::OnOK();
  }
};

TEST(Scripted, AnswersNestedQuestionsInOrder) {
  ScriptedFrontEnd frontEnd;
  FrontEnd* const before = SetFrontEnd(&frontEnd);
  for (const char* answer : {"User=bob", "OK", "No", "OK", "Yes"}) frontEnd.AddAnswer(answer);
  AskingDialog dialog;
  EXPECT_EQ(dialog.DoModal(), Reply::Ok);
  EXPECT_EQ(dialog.entered, "bob");
  EXPECT_EQ(frontEnd.AnswersLeft(), 0u);

  // Without answers left the question is declined, and named.
  frontEnd.AddAnswer("OK");
  EXPECT_EQ(dialog.DoModal(), Reply::Cancel);
  EXPECT_EQ(frontEnd.Unanswered(), "Sure?");
  frontEnd.AddAnswer("Maybe");
  EXPECT_EQ(dialog.DoModal(), Reply::Cancel);
  EXPECT_FALSE(frontEnd.Refusal().empty());
  SetFrontEnd(before);
}

}  // namespace
