#include "console/web/session.h"

#include <algorithm>

#include "console/code_page.h"
#include "console/describe.h"
#include "console/stored_changes.h"
#include "console/web/acts.h"
#include "console/web/certificate_dialogs.h"
#include "console/web/describe_window.h"
#include "platform/machine.h"
#include "store/key_security.h"

using nlohmann::ordered_json;

namespace web {
namespace {

// What only tells of an act must not end the console where memory is scarce; the next act tells of it.
template <class Telling>
void Safely(const Telling& tell) {
  try {
    tell();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): as above
  }
}

}  // namespace

Session::Session(Host& host, const Setup& setup)
    : m_host(host),
      m_setup(setup),
      m_files(setup.fileRoots),
      m_transfers(setup.transferFolder),
      m_before(SetFrontEnd(this)),
      // A page that asks for what comes after another process's state finds that this one's is newer.
      m_version(static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                               std::chrono::system_clock::now().time_since_epoch())
                                               .count())) {}

Session::~Session() { SetFrontEnd(m_before); }

void Session::Run() {
  machine::RememberReads();
  // A wait for the store is work like any other: it is shown, and can be stopped.
  machine::SetWaitTeller([this](const std::string& who, int seconds) {
    ShowWork({static_cast<std::uint64_t>(seconds), "seconds waited for " + who + ", which writes settings"});
    return !m_stop;
  });
  machine::BeginEvent();
  if (const std::string first = FirstNode(); !first.empty()) GoTo(first);
  Settle();
  for (;;) {
    NextAct();
    Settle();
  }
}

Session::Response Session::Put(std::unique_ptr<Request> request) {
  std::future<Response> response = request->response.get_future();
  Enqueue(std::move(request));
  return response.get();
}

void Session::Post(std::function<ordered_json()> work) {
  auto request = std::make_unique<Request>();
  request->read = std::move(work);
  Enqueue(std::move(request));
}

void Session::Enqueue(std::unique_ptr<Request> request) {
  {
    const std::lock_guard lock(m_mutex);
    m_queue.push_back(std::move(request));
  }
  m_arrived.notify_one();
}

std::unique_ptr<Session::Request> Session::Take(bool wait) {
  std::unique_lock lock(m_mutex);
  if (wait) m_arrived.wait(lock, [this] { return !m_queue.empty(); });
  if (m_queue.empty()) return nullptr;
  std::unique_ptr<Request> request = std::move(m_queue.front());
  m_queue.pop_front();
  return request;
}

Session::Response Session::Act(PersonsAct act) {
  auto request = std::make_unique<Request>();
  request->act = std::move(act);
  return Put(std::move(request));
}

std::string Session::Read(std::function<ordered_json()> work) {
  auto request = std::make_unique<Request>();
  request->read = std::move(work);
  return Put(std::move(request)).text;
}

Session::Response Session::StateNow(const std::string& tab) const {
  auto found = m_published.find(tab);
  if (found == m_published.end()) found = m_published.find("");
  if (found == m_published.end()) return {"{\"version\":0}", 0};
  const auto& [state, version] = found->second;
  return {"{\"version\":" + std::to_string(version) + "," + state.substr(1), version};
}

std::optional<Session::Response> Session::StateAfter(const std::string& tab, std::uint64_t version) const {
  const std::lock_guard lock(m_mutex);
  // Until its page stands, a tab that was opened would be told of another one's.
  if (!m_published.contains(tab)) return std::nullopt;
  Response now = StateNow(tab);
  if (now.version == 0 || version == now.version) return std::nullopt;
  return now;
}

void Session::Follow(const void* follower, std::function<void()> tell) {
  const std::lock_guard lock(m_mutex);
  m_followers[follower] = std::move(tell);
}

void Session::Unfollow(const void* follower) {
  const std::lock_guard lock(m_mutex);
  m_followers.erase(follower);
}

void Session::NextAct() {
  for (;;) {
    machine::GoIdle();
    std::unique_ptr<Request> request = Take(true);
    if (request->read) {
      AnswerRead(*request);
      continue;
    }
    if (const std::string refusal = Refusal(*request->act); !refusal.empty()) {
      Answer(*request, refusal);
      continue;
    }
    const PersonsAct act = *request->act;
    m_act = std::move(request);
    m_refusal.clear();
    const unsigned long number = ++m_actNumber;
    m_host.BeginEvent();
    m_acting = KeyOf(act.tab);
    m_waitedBefore = m_host.Sheet().IsModified();
    m_valuesBefore.reset();
    m_atSheet = act.window == 0;
    m_waited.reset();
    std::string refusal = DoSafely(act);
    // Where the act has opened a dialog it is answered already, and another one may wait by now.
    if (number == m_actNumber) m_refusal = std::move(refusal);
    return;
  }
}

// Whatever a page or the engine could not cope with ends the act, not the console.
std::string Session::DoSafely(const PersonsAct& act) {
  std::string why;
  try {
    return Do(act);
  } catch (const std::bad_alloc&) {
    why = "there is not enough memory";
  } catch (const std::exception& error) {
    why = error.what();
  }
  const machine::Outcome undone = machine::AbandonEvent();
  m_host.BeginEvent();
  // What was opened in an event before this one.
  key_security::PutBackOpened(HKEY_LOCAL_MACHINE);
  m_applied ? m_host.TakeBackApply() : m_host.FollowStore();
  return "The console can't do that: " + why + ". " + (undone ? "Nothing was stored." : undone.sentence);
}

void Session::AnswerRead(Request& request) {
  try {
    request.response.set_value({code_page::Dump(request.read())});
  } catch (const std::exception& error) {
    request.response.set_value(
        {code_page::Dump({{"refusal", std::string("The console can't do that: ") + error.what()}})});
  }
}

bool Session::StoresSomething() {
  try {
    return !StoredChanges::OfEvent(StoredChanges::Keep::Counts).Empty();
  } catch (const std::bad_alloc&) {
    return true;
  }
}

void Session::Settle() {
  m_work.reset();
  m_stop = false;
  m_notice = Notice();
  if (machine::InEvent()) {
    // Edits that begin as a page is shown begin with what this event has read. Apply says whether there are
    // any: pages keep some for principals that have gone, too.
    machine::KeepInMind(m_host.Sheet().IsModified() && (m_waitedBefore || !m_atSheet));
    const bool stores = m_applied || StoresSomething();
    if (const machine::Outcome written = machine::CommitEvent(); !written) {
      m_refusal = written.sentence;
      m_applied ? m_host.TakeBackApply() : m_host.FollowStore();
      if (m_applied) PageWasShown(true);
    } else if (stores) {
      ++m_stored;
    }
  }
  m_applied = false;
  Safely([this] {
    FollowFront();
    if (m_valuesBefore && ValuesStamp(*m_host.Page()) != *m_valuesBefore) {
      TellOthers("Another tab has changed this page.", false);
    }
    m_valuesBefore.reset();
    RefreshOthers();
  });
  if (machine::InEvent()) machine::AbandonEvent();
  m_transfers.Settled(m_windows.size());
  Safely([this] { Publish(); });
  if (m_act == nullptr) return;
  const std::unique_ptr<Request> act = std::move(m_act);
  Answer(*act, m_refusal);
}

// What a person should know of the act beside what the windows show.
std::string Session::Notice() {
  std::vector<std::string> sentences = m_host.FailedSaves();
  if (m_refusal.empty() && !m_saved.empty()) sentences.push_back(m_saved);
  m_saved.clear();
  if (m_waited) {
    const std::vector<std::string> others = m_host.ChangedBesides(*m_waited);
    if (!others.empty()) {
      sentences.push_back("This changes " + AllOf(others) + " too.");
      m_refresh = true;
      m_edited.insert(others.begin(), others.end());
    }
  }
  m_waited.reset();
  return text::Joined(sentences, " ");
}

void Session::Answer(Request& request, const std::string& refusal) {
  Response response{R"({"refusal":"What was done can't be shown: there is not enough memory."})"};
  Safely([&] {
    // A refused act has made nobody, and one at the sheet only brings back who was there.
    const bool makes = refusal.empty() && request.act->window != 0;
    std::string head = code_page::Dump({{"refusal", refusal},
                                        {"notice", m_notice},
                                        {"beeps", m_beeps},
                                        {"opened", m_opened},
                                        {"added", makes ? m_host.Added() : std::vector<std::string>()}});
    const std::lock_guard lock(m_mutex);
    const Response state = StateNow(request.act->tab);
    head.back() = ',';
    response = {head + "\"state\":" + state.text + "}", state.version};
  });
  m_notice.clear();
  m_beeps = 0;
  m_opened.clear();
  request.response.set_value(std::move(response));
}

bool Session::TakeTurn(const Progress& progress) {
  ShowWork({progress.done, std::string(progress.unit)});
  return !m_stop;
}

// Long work keeps its event open, so nothing but reads and the wish to stop is taken.
void Session::ShowWork(Work work) {
  constexpr std::chrono::milliseconds kBetween(100);
  const auto now = std::chrono::steady_clock::now();
  if (!m_work) m_lastTurn = now;
  m_work = std::move(work);
  if (now - m_lastTurn < kBetween) return;
  m_lastTurn = now;
  Publish();
  if (m_act != nullptr) {
    const std::unique_ptr<Request> act = std::move(m_act);
    Answer(*act, {});
  }
  while (const std::unique_ptr<Request> request = Take(false)) {
    if (request->read) {
      AnswerRead(*request);
    } else if (request->act->name == "stop") {
      m_stop = true;
      Answer(*request, {});
    } else {
      Answer(*request, "The console is still at work.");
    }
  }
}

CDialog* Session::DialogOf(unsigned window) const {
  for (const auto& [tab, view] : m_views) {
    if (view.window == window) return view.node == m_host.NodePath() ? m_host.Page() : nullptr;
  }
  for (const ModalWindow* modal : m_windows) {
    if (modal->number == window) return modal->dialog;
  }
  return nullptr;
}

CWnd* Session::ListOf(unsigned window, size_t control) const {
  const CDialog* dialog = DialogOf(window);
  if (dialog == nullptr || control >= dialog->Controls().size()) return nullptr;
  CWnd& list = *dialog->Controls()[control];
  const ControlKind kind = list.Kind();
  return kind == ControlKind::ListBox || kind == ControlKind::ListView ? &list : nullptr;
}

ordered_json Session::RowsOf(unsigned window, size_t control, size_t first, size_t count,
                             const std::string& filter, RowOrder order) {
  for (const auto& [tab, view] : m_views) {
    if (view.window != window || view.node == m_host.NodePath() || !m_windows.empty()) continue;
    InOwnEvent([&, &shown = tab] { BringToFront(shown); });
  }
  const CWnd* list = ListOf(window, control);
  if (list == nullptr) return nullptr;
  const std::vector<std::uint32_t>& matching = m_rows.Matching(*list, filter, order);
  ordered_json rows = ordered_json::array();
  for (size_t i = first; i < matching.size() && rows.size() < count; ++i) {
    rows.push_back(DescribeRow(*list, matching[i]));
  }
  return {{"total", matching.size()}, {"stamp", RowsStamp(*list)}, {"rows", std::move(rows)}};
}

std::string Session::Refusal(const PersonsAct& act) const {
  const std::string& tab = KeyOf(act.tab);
  if (!m_windows.empty()) {
    if (act.name == "takeWindows") return {};
    if (m_owner && *m_owner != tab) return "Another tab of the console waits for an answer first.";
    return act.window == m_windows.back()->number ? "" : "A dialog waits for its answer first.";
  }
  if (act.name == "stop") return "There is nothing to stop.";
  return act.window == 0 || act.window == m_views.at(tab).window ? "" : "This window is no longer shown.";
}

std::string Session::Do(const PersonsAct& act) {
  const std::string tab = KeyOf(act.tab);
  if (!m_windows.empty()) {
    m_owner = tab;
    m_waited = m_host.Waiting();
    return act.name == "takeWindows" ? "" : DoAtModal(*m_windows.back(), act);
  }
  if (act.name == "node") {
    std::string why = GoTo(act.text);
    if (why.empty()) m_front = tab;
    return why;
  }
  if (m_host.Page() == nullptr) return "No page is shown.";
  if (std::string why = BringToFront(tab); !why.empty()) return why;
  if (act.window == 0) return DoAtSheet(act);
  // Leaving an edit, as a click elsewhere does, edits nothing.
  if (act.name != "leave") m_host.ForgetCancel();
  m_waited = m_host.Waiting();
  constexpr std::string_view kLooks[] = {"leave", "select", "only", "range", "open"};
  if (std::ranges::find(kLooks, act.name) == std::end(kLooks)) m_edited.insert(m_host.NodePath());
  const auto shows = [this](const auto& view) { return view.second.node == m_host.NodePath(); };
  if (std::count_if(m_views.begin(), m_views.end(), shows) > 1) {
    m_valuesBefore = ValuesStamp(*m_host.Page());
  }
  return DoAtControl(*m_host.Page(), act, m_rows);
}

std::string Session::DoAtSheet(const PersonsAct& act) {
  if (act.name == "apply") return Apply();
  if (act.name == "cancel") {
    m_host.Cancel();
    m_edited.clear();
    PageWasShown(false);
    TellOthers("Another tab has discarded all changes.", true);
  } else if (act.name == "undoCancel") {
    if (!m_host.TakeBackCancel()) return "There is nothing to bring back.";
    PageWasShown(m_host.Page()->ValuesOf(m_host.NodePath()).differ);
    TellOthers("Another tab has brought back the changes.", true);
  } else if (act.name == "revert") {
    return Revert(act);
  } else if (act.name == "help") {
    m_host.Page()->WinHelp();
  } else {
    return "There is no act \"" + act.name + "\".";
  }
  m_refresh = true;
  return {};
}

std::string Session::DoAtModal(ModalWindow& window, const PersonsAct& act) {
  if (window.kind == ModalWindow::Kind::Dialog) {
    CDialog& dialog = *window.dialog;
    if (act.name == "enterKey") {
      dialog.PressEnter();
      return {};
    }
    const bool ok = act.name == "ok";
    if (!ok && act.name != "close") return DoAtControl(dialog, act, m_rows);
    // Enter and Esc press the button of that meaning, which need not stand among the controls.
    const char* const caption = ok ? "OK" : "Cancel";
    if (dialog.Find(caption).control != nullptr) return dialog.Press(caption).refusal;
    ok ? dialog.OnOK() : dialog.OnCancel();
    return {};
  }
  if (window.kind == ModalWindow::Kind::Message) {
    return AnswerMessage(window, act.name == "close" ? "" : act.text);
  }
  return DoAtPicker(window, act);
}

std::string Session::DoAtPicker(ModalWindow& window, const PersonsAct& act) {
  const bool transfers = window.kind == ModalWindow::Kind::File && window.request.contentsOnly;
  const size_t below = m_windows.size() - 1;
  if (act.name == "download" && transfers && window.request.save) {
    window.path = m_transfers.BeginDownload(act.text, act.tab, below);
    if (!window.path) return "The console has no room for the file.";
  } else if (act.name == "upload" && transfers && !window.request.save) {
    window.path = m_transfers.EndUpload(window.number, act.tab, act.text, below);
    if (!window.path) return "The file has not arrived.";
  } else if (act.name == "answer") {
    const bool isFile = window.kind == ModalWindow::Kind::File;
    if (!m_files.Allows(act.text) || (isFile && !m_files.AllowsFile(act.text))) {
      return "\"" + act.text + "\" is no " + (isFile ? "file" : "folder") +
             " in the folders of this console.";
    }
    if (transfers && !window.request.save && !m_files.HasFile(act.text)) {
      return "There is no file \"" + act.text + "\".";
    }
    window.path = act.text;
  } else if (act.name != "close") {
    return "There is no act \"" + act.name + "\".";
  }
  window.answered = true;
  return {};
}

std::string Session::AddToUpload(unsigned window, const std::string& tab, std::uint64_t at,
                                 std::string_view bytes) {
  const ModalWindow* const top = m_windows.empty() ? nullptr : m_windows.back();
  if (top == nullptr || top->number != window || top->kind != ModalWindow::Kind::File || top->request.save ||
      !top->request.contentsOnly) {
    return "Nothing asks for a file.";
  }
  return m_transfers.AddToUpload(window, tab, at, bytes);
}

}  // namespace web
