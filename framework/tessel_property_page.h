#pragma once

// The base of all pages, and what crosses the library's boundary: the host fills in the node that it shows,
// and drives the page through the operations of a property page.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/prop_ext_context.h"
#include "platform/text.h"
#include "platform/win32.h"
#include "window/property_sheet.h"

// The host's reference to a node of its tree. The extension reads only the text, the node's title path; the
// numbers are the host's own.
class CPropRefData {
 public:
  CPropRefData() = default;
  CPropRefData(char const* textOfNode, std::uint32_t first, std::uint64_t value, std::uint32_t second,
               std::uint32_t third)
      : number1(first), number2(second), value1(value), number3(third), text(textOfNode) {}
  CPropRefData(const CPropRefData&) = default;
  CPropRefData& operator=(const CPropRefData&) = default;
  virtual ~CPropRefData() = default;

  std::uint32_t number1 = 0;
  std::uint32_t number2 = 0;
  std::uint64_t value1 = 0;
  std::uint64_t value2 = 0;
  std::uint32_t number3 = 0;
  CString text;
};

// What the page table gives a page when it makes it.
struct PageArguments {
  CString computer;                   // empty for the local one
  CString titleText;                  // a title path, or a pattern such as "*Users|Groups|IP Range"
  CString appended;                   // what stands behind the title that the host makes of it
  CString baseKey;                    // under HKEY_LOCAL_MACHINE
  CString secondKey;                  // of a list page: where its principals lie; others have none
  char const* productWord = "";       // a buffer of the page table, which outlives the page
  PropExtContext* context = nullptr;  // the extension's copy, which outlives the page
};

class CTesselPropertyPage : public CPropertyPage {
 public:
  // Asks the host for the page's title.
  CTesselPropertyPage(std::string_view caption, std::uint8_t aboutFlag, const PageArguments& arguments);

  std::uint8_t m_aboutFlag;
  CPropRefData m_refData;
  // Target to a copy of its edited record that is not written yet; each page knows its record's type.
  std::map<CString, std::shared_ptr<void>> m_pending;
  CString m_target;

  // What became of a target that the page has written.
  struct Saved {
    CString target;
    CString key;                   // under HKEY_LOCAL_MACHINE of the page's computer
    DWORD status = ERROR_SUCCESS;  // of opening the key, or of the first write that failed
    CString value;                 // the one whose write failed; empty where it was the opening
  };
  // Since the host has cleared it, in order of writing. Pages themselves report no failure to a person.
  std::vector<Saved> m_saves;

  // The key of the node that was shown last, and the status of opening it then. Where it can't be opened the
  // page shows what it showed before, and Apply stores nothing.
  CString m_shownKey;
  DWORD m_shownStatus = ERROR_SUCCESS;

  // What the page's controls show of a target, in their order: of what is stored, and of the edits that wait.
  struct TargetValues {
    std::vector<std::string> stored;
    std::vector<std::string> waiting;
    bool differ = false;  // also where the difference lies in a dialog of the page
  };
  // Looks at both without changing either; the screen is as it was afterwards.
  virtual TargetValues ValuesOf(const CString&) { return {}; }
  // As ValuesOf tells it, of the target that is shown.
  std::vector<std::string> m_storedValues;
  // The key of a target, under HKEY_LOCAL_MACHINE of the page's computer, whether or not there is one.
  virtual CString StoredAt(const CString&) const { return {}; }
  // Whether the control edits a field of its own, which can be put back by itself; a list that its page fills
  // can't.
  virtual bool EditsField(size_t) const { return false; }
  // Whether what the control shows is stored at all; a field that only helps to edit a list is not.
  virtual bool EditsSetting(size_t) const { return false; }
  // Puts the field of a control, or all that waits for the target that is shown, back to what is stored.
  virtual void Revert(std::optional<size_t>) {}

  void WinHelp() override;

 protected:
  // Behind the help file's path: "::" and the page's topic; empty for the help file alone.
  virtual std::string_view HelpTopic() const = 0;
  // The key whose value names the help file.
  virtual std::string_view HelpKey() const { return m_baseKey; }

  CString m_computer;
  CString m_baseKey;
  CString m_secondKey;
  PropExtContext* m_context;
};
