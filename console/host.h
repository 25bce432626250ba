#pragma once

// The host of the library: it fills in the context, asks for the pages, and owns the tree and the property
// sheet that show them. The callbacks of the context carry no pointer to their owner, so there is one host
// in a process.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "configuration/settings_engine.h"
#include "console/library.h"
#include "console/tree.h"
#include "window/property_sheet.h"

class Host {
 public:
  struct Options {
    std::string computer;           // empty for the local one
    bool configServerMode = false;  // edit the named configurations instead of the computer's own settings
  };

  // Null, with one sentence in `why`, when the library can't be loaded or the computer can't be reached.
  static std::unique_ptr<Host> Start(const Options& options, std::string& why);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const Options& GetOptions() const { return m_options; }
  Tree& GetTree() { return *m_tree; }
  CPropertySheet& Sheet() { return m_sheet; }

  // Leaves the node that is shown and shows another. False, with one sentence, for an unknown node, which
  // names the nearest ones, and for a page that will not be left.
  bool Select(std::string_view path, std::string& why);
  // Makes every page without showing it, as if a person had been to each: only such pages take part in what
  // the sheet does.
  void CreatePages();
  // The page that is shown, null before the first Select.
  CTesselPropertyPage* Page() const { return m_page; }
  const std::string& NodePath() const { return m_path; }

  // Whether any page holds edits that are not written.
  bool HasUnsavedChanges() const;

  // Asked before a settings file for this product is imported; false keeps the store as it is, and the page
  // is told ERROR_CANCELLED. Without it every such file is imported.
  std::function<bool(const std::string& file)> confirmImport;

 private:
  explicit Host(const Options& options, const Library& library);
  void ReadPrincipals();
  void RemoveNode(const std::string& path);
  unsigned ImportSettings(const CString& product, const CString& file);
  int ConfirmAndImport(const CString& product, const CString& file, const EngineCallbacks& ui);
  std::string ServerRoot(const std::string& root) const;

  Options m_options;
  Library m_library;
  PropExtContext m_context{};
  std::vector<CTesselPropertyPage*> m_pages;
  std::unique_ptr<Tree> m_tree;
  CPropertySheet m_sheet;
  CTesselPropertyPage* m_page = nullptr;
  std::string m_path;
};

// The named configurations of a computer's configuration server, by name.
std::vector<std::string> ConfigurationNames(const std::string& computer);

// The system's text for a Windows error code, without its line end; "error N" for one without a text.
std::string SystemText(unsigned code);
