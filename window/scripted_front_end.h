#pragma once

// A front end whose answers stand ready before anything is asked: for tests and for the command line. A
// question without an answer is declined and remembered, so that the caller can give up what was begun.

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "window/front_end.h"

class ScriptedFrontEnd : public FrontEnd {
 public:
  // An answer is "CAPTION=VALUE", which fills a control of the dialog that stands open, or the caption of a
  // button, which answers a message box or is pressed in the dialog.
  void AddAnswer(std::string_view answer) { m_answers.emplace_back(answer); }
  // What the next file or folder dialog gives.
  void AddPath(std::string_view path) { m_paths.emplace_back(path); }
  // The thumbprint of the certificate that is picked, with or without ":"; or the beginning of one.
  void AddCertificate(std::string_view thumbprint) { m_certificates.emplace_back(thumbprint); }
  // Asked first about each question of a message box; nothing leaves it to the answers that stand ready.
  std::function<std::optional<std::string>(std::string_view question)> standingAnswer;
  // Answers that nothing has asked for yet.
  size_t AnswersLeft() const { return m_answers.size() + m_paths.size() + m_certificates.size(); }

  // What message boxes with nothing but OK have told, in order.
  const std::vector<std::string>& Messages() const { return m_messages; }
  // The first question that had no answer; empty when all had one.
  const std::string& Unanswered() const { return m_unanswered; }
  // Whether it asked for a file or a folder.
  bool WantsPath() const { return m_wantsPath; }
  // Why an answer could not be given at its dialog; empty when all could.
  const std::string& Refusal() const { return m_refusal; }
  int Beeps() const { return m_beeps; }
  // Links, help topics and certificates that were opened.
  const std::vector<std::string>& Opened() const { return m_opened; }

  void RunModal(CDialog& dialog) override;
  Reply ShowMessage(std::string_view text, Buttons buttons) override;
  std::optional<std::string> PickFile(const FileRequest& request) override;
  std::optional<std::string> PickFolder(std::string_view title, std::string_view start) override;
  std::optional<size_t> PickCertificate(const std::vector<CertificateView>& all) override;
  void ShowCertificate(const CertificateView& certificate) override {
    m_opened.push_back(certificate.subject);
  }
  void OpenDocument(std::string_view link) override { m_opened.emplace_back(link); }
  void ShowHelp(std::string_view topic) override { m_opened.emplace_back(topic); }
  void Beep() override { ++m_beeps; }

 private:
  std::optional<std::string> NextAnswer();
  std::optional<std::string> NextPath();
  void LeaveUnanswered(std::string_view question);
  void LeavePathUnanswered(std::string_view question);
  void Refuse(std::string_view sentence);

  std::deque<std::string> m_answers;
  std::deque<std::string> m_paths;
  std::deque<std::string> m_certificates;
  std::vector<std::string> m_messages;
  std::vector<std::string> m_opened;
  bool m_wantsPath = false;
  std::string m_unanswered;
  std::string m_refusal;
  int m_beeps = 0;
};

// Splits "CAPTION=VALUE" at its first "="; nothing if there is none or the caption is empty.
std::optional<std::pair<std::string_view, std::string_view>> SplitAssignment(std::string_view text);
