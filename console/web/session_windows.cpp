// What pages show to a person above themselves, and wait for.

#include "console/credentials.h"
#include "console/export_losses.h"
#include "console/web/certificate_dialogs.h"
#include "console/web/losses_dialog.h"
#include "console/web/session.h"

namespace web {

void Session::WaitFor(ModalWindow& window) {
  struct Shown {
    std::vector<ModalWindow*>& windows;
    ~Shown() { windows.pop_back(); }
  };
  window.number = ++m_lastWindow;
  if (m_windows.empty()) m_owner = m_acting;
  m_windows.push_back(&window);
  const Shown shown{m_windows};
  while (!(window.dialog != nullptr ? window.dialog->Ended() : window.answered)) {
    Settle();
    NextAct();
  }
}

void Session::RunModal(CDialog& dialog) {
  ModalWindow window{.kind = ModalWindow::Kind::Dialog, .dialog = &dialog};
  WaitFor(window);
}

Reply Session::ShowMessage(std::string_view text, Buttons buttons) {
  if (m_told && buttons == Buttons::Ok) {
    m_told->push_back(m_transfers.InPersonsWords(text));
    return Reply::Ok;
  }
  std::vector<ExportLoss> losses;
  if (text.starts_with(kSettingsSaved) && text.ends_with('.')) {
    const std::string_view file = text.substr(kSettingsSaved.size(), text.size() - kSettingsSaved.size() - 1);
    losses = LossesOfExport(m_host, std::string(file), m_withCredentials);
  }
  ModalWindow window{
      .kind = ModalWindow::Kind::Message, .text = m_transfers.InPersonsWords(text), .buttons = buttons};
  WaitFor(window);
  if (AsksForCredentials(text)) m_withCredentials = window.reply == Reply::Yes;
  if (!losses.empty()) LossesDialog(losses).DoModal();
  return window.reply;
}

std::optional<std::string> Session::PickFile(const FileRequest& request) {
  ModalWindow window{.kind = ModalWindow::Kind::File, .request = request};
  WaitFor(window);
  return window.path;
}

std::optional<std::string> Session::PickFolder(std::string_view title, std::string_view start) {
  ModalWindow window{.kind = ModalWindow::Kind::Folder, .text = std::string(title)};
  window.request.fileName = start;
  WaitFor(window);
  return window.path;
}

std::optional<size_t> Session::PickCertificate(const std::vector<CertificateView>& all) {
  CertificatePicker picker(all);
  return picker.DoModal() == Reply::Ok ? picker.Picked() : std::nullopt;
}

void Session::ShowCertificate(const CertificateView& certificate) {
  CertificateWindow(certificate).DoModal();
}

}  // namespace web
