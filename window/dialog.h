#pragma once

// Dialogs, property pages' base. A dialog owns its controls; they stand in reading order.

#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "window/controls.h"
#include "window/front_end.h"

class CDialog {
 public:
  explicit CDialog(std::string_view caption) : m_caption(caption) {}
  virtual ~CDialog() = default;
  CDialog(const CDialog&) = delete;
  CDialog& operator=(const CDialog&) = delete;

  const std::string& Caption() const { return m_caption; }
  const std::vector<std::unique_ptr<CWnd>>& Controls() const { return m_controls; }

  // Adds a control behind the others; `group` is the index of the group that encloses it, -1 for none.
  template <std::derived_from<CWnd> Control>
  Control& Add(std::unique_ptr<Control> control, int group) {
    Control& added = *control;
    added.m_parent = this;
    added.group = group;
    m_controls.push_back(std::move(control));
    return added;
  }

  // Makes the controls and runs OnInitDialog, once; later calls do nothing.
  void Create();
  bool IsCreated() const { return m_created; }

  // Shows the dialog through the current front end and returns how it was left. May be run again: the
  // controls are then made anew.
  Reply DoModal();
  void EndDialog(Reply reply);
  bool Ended() const { return m_ended; }

  // A person pressed Enter or Esc, or clicked the button of that meaning.
  virtual void OnOK() { EndDialog(Reply::Ok); }
  // Enter presses the default button, else the one that is called OK, and leaves by OK where there is
  // neither.
  void PressEnter();
  virtual void OnCancel() { EndDialog(Reply::Cancel); }

  // A control has changed. Not called while the dialog fills its controls (FillScope).
  virtual void OnControl(CWnd&, Notice) {}

  // While one lives, changes of controls do not notify: filling a dialog is not a person's edit.
  class FillScope {
   public:
    explicit FillScope(CDialog& dialog) : m_dialog(dialog) { ++m_dialog.m_filling; }
    ~FillScope() { --m_dialog.m_filling; }
    FillScope(const FillScope&) = delete;
    FillScope& operator=(const FillScope&) = delete;

   private:
    CDialog& m_dialog;
  };
  bool IsFilling() const { return m_filling > 0; }

  // What of the screen is no part of a record, put back at the end: whether controls are enabled and shown,
  // or the texts of edits and what is selected in lists.
  enum class Part : unsigned char { States, Texts };
  class Kept {
   public:
    Kept(CDialog& dialog, Part part);
    ~Kept();
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;

   private:
    struct OfControl {
      bool enabled;
      bool visible;
      std::string text;
      std::ptrdiff_t selected;
    };
    CDialog& m_dialog;
    Part m_part;
    std::vector<OfControl> m_controls;
  };

  // What a person, a script or a screen reader calls the control at `index`: its caption, or that of its
  // group where it has none; further ones of the same name carry "#2", "#3" behind it.
  std::string NameOf(size_t index) const;
  std::string NameOf(const CWnd& control) const;

  // A control by that name; a row of a check list counts as a check box of the row's text.
  struct Found {
    CWnd* control = nullptr;
    std::ptrdiff_t row = -1;
  };
  // Names compare without case and without "&", ":" and blanks at the end. Nothing found: control is null.
  Found Find(std::string_view name) const;
  // Every control of the name, for values that only one kind of them takes.
  std::vector<CWnd*> FindAll(std::string_view name) const;
  // Up to three names that resemble `name`, nearest first.
  std::vector<std::string> Nearest(std::string_view name) const;

  // Does what a person would do to bring the named control to `value`. Where a check box and an edit share a
  // caption, the value's form decides which is meant. Refuses an unknown name with the nearest ones.
  Act Put(std::string_view name, std::string_view value);
  // Clicks the named button, box or link.
  Act Press(std::string_view name);

 protected:
  // Adds the controls; runs in Create.
  virtual void BuildControls() {}
  // Controls stand with what the template says; here they get what the code adds.
  virtual bool OnInitDialog() { return true; }

 private:
  Act NoSuchControl(std::string_view what, std::string_view name) const;

  std::string m_caption;
  std::vector<std::unique_ptr<CWnd>> m_controls;
  bool m_created = false;
  bool m_ended = false;
  Reply m_reply = Reply::Cancel;
  int m_filling = 0;
};

// What each control shows, in order: its value, of a list its rows, a line each, with a tab between cells.
std::vector<std::string> ShownValues(const CDialog& dialog);

// "a", "a" or "b", "a", "b" or "c": the nearest names as a sentence lists them.
std::string OneOf(const std::vector<std::string>& names);

// Up to three of `names` that resemble `name`, nearest first.
std::vector<std::string> NearestNames(std::string_view name, std::vector<std::string> names);
