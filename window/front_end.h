#pragma once

// What shows the window classes to a person, or to a script. One is current; page code reaches it through
// the functions at the end and may block in them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "window/certificate_view.h"

class CDialog;

// The buttons of a message box, and how a modal window was left, with the values of winuser.h.
enum class Buttons : unsigned char { Ok = 0, OkCancel = 1, YesNoCancel = 3, YesNo = 4 };
enum class Reply : unsigned char { Ok = 1, Cancel = 2, Yes = 6, No = 7 };

// A file dialog's request.
struct FileRequest {
  bool save = false;             // else open
  bool overwritePrompt = false;  // ask before an existing file is chosen
  std::string fileName;          // what the dialog proposes
  std::string filter;            // "Text (*.txt)|*.txt|All Files (*.*)|*.*||"
  bool contentsOnly = false;     // one file that is read or written at once, wherever it lies
};

// How far a long piece of work has come.
struct Progress {
  std::uint64_t done = 0;
  std::string_view unit;  // what is counted, for example "keys"
};

class FrontEnd {
 public:
  virtual ~FrontEnd() = default;

  // Shows the dialog until its EndDialog has run (CDialog::Ended); gives it a person's acts meanwhile.
  virtual void RunModal(CDialog& dialog) = 0;
  // A message box. With Buttons::Ok it only tells; the others are questions.
  virtual Reply ShowMessage(std::string_view text, Buttons buttons) = 0;
  // The chosen path, nothing when the person cancels.
  virtual std::optional<std::string> PickFile(const FileRequest& request) = 0;
  // `start` is where the dialog begins; it may be empty, or no folder.
  virtual std::optional<std::string> PickFolder(std::string_view title, std::string_view start) = 0;
  // The place in `all` of the certificate that the person picks; nothing when he cancels.
  virtual std::optional<size_t> PickCertificate(const std::vector<CertificateView>& /*all*/) {
    return std::nullopt;
  }
  virtual void ShowCertificate(const CertificateView& /*certificate*/) {}
  // Opens a document, a mail address or a web address as the person's desktop does.
  virtual void OpenDocument(std::string_view link) = 0;
  // `topic` is the help file's path and the topic behind it.
  virtual void ShowHelp(std::string_view topic) = 0;
  // Starts a program of the person's desktop, for example the event viewer; false where there is none.
  virtual bool RunProgram(std::string_view /*program*/, std::string_view /*parameters*/) { return false; }
  virtual void Beep() {}
  // One turn for the person during long work; false when the person wants it to stop.
  virtual bool TakeTurn(const Progress&) { return true; }
};

// The current front end. Before one is set, and after null is set, one that cancels and declines answers.
FrontEnd& CurrentFrontEnd();
// Makes `frontEnd` current, which must live until another is set; returns the one before, null for none.
FrontEnd* SetFrontEnd(FrontEnd* frontEnd);

Reply AfxMessageBox(std::string_view text, Buttons buttons = Buttons::Ok);
