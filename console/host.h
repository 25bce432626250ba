#pragma once

// The host of the library: it fills in the context, asks for the pages, and owns the tree and the property
// sheet that show them. The callbacks of the context carry no pointer to their owner, so there is one host
// in a process.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "configuration/byte_stream.h"
#include "configuration/settings_engine.h"
#include "console/computer.h"
#include "console/library.h"
#include "console/tree.h"
#include "window/property_sheet.h"

class Host {
 public:
  struct Options {
    std::string computer;           // empty for the local one
    bool configServerMode = false;  // edit the named configurations instead of the computer's own settings
  };

  // Null, with one sentence in `why`, when the library can't be loaded or the computer can't be reached. An
  // embedded computer is the local one until the host ends; so start and end hosts outside events.
  static std::unique_ptr<Host> Start(const Options& options, std::string& why);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const Options& GetOptions() const { return m_options; }
  Tree& GetTree() { return *m_tree; }
  const Tree& GetTree() const { return *m_tree; }
  CPropertySheet& Sheet() { return m_sheet; }
  const CPropertySheet& Sheet() const { return m_sheet; }

  // Leaves the node that is shown and shows another. False, with one sentence, for an unknown node, which
  // names the nearest ones, and for a page that will not be left.
  bool Select(std::string_view path, std::string& why);
  // The page that is shown, null before the first Select.
  CTesselPropertyPage* Page() const { return m_page; }
  const std::string& NodePath() const { return m_path; }
  // Why nothing that is edited on it can be stored: its key can't be opened. Empty if it can.
  std::string WhyNothingIsStored() const;

  // Apply and Cancel, and then the tree as the store is. Where the node that was shown has gone with that,
  // the one above it is shown. Apply is false when a page refused: it is shown then, and the tree stays.
  bool Apply();
  void Cancel();
  // Until ForgetCancel: what the last Cancel has dropped waits again, in the tree as it was then. False where
  // there is nothing to bring back. Call ForgetCancel before anything else is edited, which this would drop.
  bool TakeBackCancel();
  void ForgetCancel() { m_beforeCancel.reset(); }
  // After an Apply whose event was abandoned: what waited before it waits again.
  void TakeBackApply();
  // The last part of both, for whatever else may have changed the store.
  void FollowStore();

  // Whether any page holds edits that are not written.
  bool HasUnsavedChanges() const;

  // Edits that wait on the pages, behind the one in front.
  struct WaitingEdits {
    struct OfPage {
      std::map<CString, std::shared_ptr<void>> pending;
      bool modified = false;
    };
    std::vector<OfPage> pages;
  };
  WaitingEdits Waiting() const;
  // The pages that hold edits, each with the target that they are for: in order of pages, the node in front
  // included. What waits for a principal that was deleted is out of a person's reach, and left out.
  struct WaitingNode {
    CTesselPropertyPage* page;
    std::string node;
  };
  std::vector<WaitingNode> WaitingNodes() const;
  void PutBack(const WaitingEdits& edits);
  // The nodes other than the one in front that wait now and did not so before. Principals that came since
  // then are new with all their nodes, and are not told.
  std::vector<std::string> ChangedBesides(const WaitingEdits& before) const;

  // The nodes of principals that came in this event.
  const std::vector<std::string>& Added() const { return m_added; }

  // Begins an event of the store, in which pages tell anew of what they wrote.
  void BeginEvent();
  // A sentence for each target that the pages could not write in this event. What waited for a principal that
  // has gone is lost with it, and not told.
  std::vector<std::string> FailedSaves() const;
  // Of how many nodes' saves in this event something has changed: `keys` are the changed ones from their
  // hives on, in lower case.
  size_t PagesThatWrote(const std::set<std::string>& keys) const;

  // Under which name keys are reached: empty for the local computer.
  const std::string& ComputerName() const { return m_computer.Name(); }

  // Asked before a settings file for this product is imported, which is read by `open`; false keeps the store
  // as it is, and the page is told ERROR_CANCELLED. Without it every such file is imported.
  std::function<bool(const std::string& file, const SourceOpener& open)> confirmImport;

 private:
  // Empty where the server's key is there, which each page lies below.
  std::string WhyNoServer() const;
  std::string WhyNoPage(std::string_view path) const;
  explicit Host(const Options& options);
  void TakePages(std::vector<std::string> roots);
  void ReadPrincipals();
  void RemoveNode(const std::string& path);
  bool WaitAgain();
  unsigned ImportSettings(const CString& product, const CString& file);
  int ConfirmAndImport(const CString& product, const CString& file, const EngineCallbacks& ui);
  std::string ServerRoot(const std::string& root) const;

  Options m_options;
  ActingOn m_computer;
  Library m_library{};
  PropExtContext m_context{};
  std::vector<CTesselPropertyPage*> m_pages;
  std::unique_ptr<Tree> m_tree;
  CPropertySheet m_sheet;
  CTesselPropertyPage* m_page = nullptr;
  WaitingEdits m_beforeApply;
  struct BeforeCancel {
    WaitingEdits edits;
    Tree tree;
  };
  std::optional<BeforeCancel> m_beforeCancel;
  std::vector<std::string> m_added;
  std::string m_path;
};

// Puts back the access lists of the local computer that an export has left open whose process is no more.
void PutBackAccessLists();

// The named configurations of a computer's configuration server, by name.
std::vector<std::string> ConfigurationNames(const std::string& computer);

// The system's text for a Windows error code, without its line end; "error N" for one without a text.
std::string SystemText(unsigned code);
