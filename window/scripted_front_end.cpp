#include "window/scripted_front_end.h"

#include "platform/text.h"
#include "window/dialog.h"

namespace {

struct NamedReply {
  std::string_view name;
  Reply reply;
};

constexpr NamedReply kOk{"OK", Reply::Ok};
constexpr NamedReply kCancel{"Cancel", Reply::Cancel};
constexpr NamedReply kYes{"Yes", Reply::Yes};
constexpr NamedReply kNo{"No", Reply::No};

// The buttons of a message box; the last one declines.
std::vector<NamedReply> RepliesOf(Buttons buttons) {
  switch (buttons) {
    case Buttons::Ok:
      return {kOk};
    case Buttons::OkCancel:
      return {kOk, kCancel};
    case Buttons::YesNoCancel:
      return {kYes, kNo, kCancel};
    case Buttons::YesNo:
      return {kYes, kNo};
  }
  return {kOk};
}

// Presses the dialog's button of that name; OK and Cancel need not stand among its controls.
Act PressIn(CDialog& dialog, std::string_view name) {
  if (dialog.Find(name).control != nullptr) return dialog.Press(name);
  if (text::EqualNoCase(name, kOk.name)) {
    dialog.OnOK();
    return {};
  }
  if (text::EqualNoCase(name, kCancel.name)) {
    dialog.OnCancel();
    return {};
  }
  return dialog.Press(name);
}

}  // namespace

std::optional<std::pair<std::string_view, std::string_view>> SplitAssignment(std::string_view text) {
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0) return std::nullopt;
  return std::pair(text.substr(0, equals), text.substr(equals + 1));
}

std::optional<std::string> ScriptedFrontEnd::NextAnswer() {
  if (m_answers.empty()) return std::nullopt;
  std::string answer = std::move(m_answers.front());
  m_answers.pop_front();
  return answer;
}

std::optional<std::string> ScriptedFrontEnd::NextPath() {
  if (m_paths.empty()) return std::nullopt;
  std::string path = std::move(m_paths.front());
  m_paths.pop_front();
  return path;
}

void ScriptedFrontEnd::LeaveUnanswered(std::string_view question) {
  if (m_unanswered.empty()) m_unanswered = question;
}

void ScriptedFrontEnd::LeavePathUnanswered(std::string_view question) {
  m_wantsPath = m_wantsPath || m_unanswered.empty();
  LeaveUnanswered(question);
}

void ScriptedFrontEnd::Refuse(std::string_view sentence) {
  if (m_refusal.empty()) m_refusal = sentence;
}

void ScriptedFrontEnd::RunModal(CDialog& dialog) {
  while (!dialog.Ended()) {
    const std::optional<std::string> answer = NextAnswer();
    if (!answer) {
      LeaveUnanswered(dialog.Caption());
      dialog.EndDialog(Reply::Cancel);
      return;
    }
    const auto assignment = SplitAssignment(*answer);
    const Act act = assignment ? dialog.Put(assignment->first, assignment->second) : PressIn(dialog, *answer);
    if (act) continue;
    Refuse(act.refusal);
    dialog.EndDialog(Reply::Cancel);
  }
}

Reply ScriptedFrontEnd::ShowMessage(std::string_view text, Buttons buttons) {
  if (buttons == Buttons::Ok) {
    m_messages.emplace_back(text);
    // An answer may stand ready for it, since a person clicks OK there too.
    if (!m_answers.empty() && text::EqualNoCase(m_answers.front(), kOk.name)) m_answers.pop_front();
    return Reply::Ok;
  }
  const std::vector<NamedReply> replies = RepliesOf(buttons);
  std::optional<std::string> answer = standingAnswer ? standingAnswer(text) : std::nullopt;
  if (!answer) answer = NextAnswer();
  if (!answer) {
    LeaveUnanswered(text);
    return replies.back().reply;
  }
  for (const NamedReply& reply : replies) {
    if (text::EqualNoCase(reply.name, *answer)) return reply.reply;
  }
  std::vector<std::string> names;
  names.reserve(replies.size());
  for (const NamedReply& reply : replies) names.emplace_back(reply.name);
  Refuse("\"" + std::string(text) + "\" takes " + OneOf(names) + ", not \"" + *answer + "\".");
  return replies.back().reply;
}

std::optional<std::string> ScriptedFrontEnd::PickFile(const FileRequest& request) {
  std::optional<std::string> path = NextPath();
  if (!path) LeavePathUnanswered(request.save ? "Save As" : "Open");
  return path;
}

std::optional<std::string> ScriptedFrontEnd::PickFolder(std::string_view title, std::string_view) {
  std::optional<std::string> path = NextPath();
  if (!path) LeavePathUnanswered(title);
  return path;
}

std::optional<size_t> ScriptedFrontEnd::PickCertificate(const std::vector<CertificateView>& all) {
  if (m_certificates.empty()) {
    LeaveUnanswered("Select Certificate");
    return std::nullopt;
  }
  const std::string wanted = text::Replaced(m_certificates.front(), ":", "");
  m_certificates.pop_front();
  std::optional<size_t> found;
  for (size_t i = 0; i < all.size(); ++i) {
    const std::string thumbprint = text::Replaced(all[i].thumbprint, ":", "");
    if (!text::EqualNoCase(thumbprint.substr(0, wanted.size()), wanted)) continue;
    if (found) {
      Refuse("More than one certificate's thumbprint begins with \"" + wanted + "\".");
      return std::nullopt;
    }
    found = i;
  }
  if (!found) Refuse("There is no certificate with the thumbprint \"" + wanted + "\".");
  return found;
}
