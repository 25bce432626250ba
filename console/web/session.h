#pragma once

// The one page thread and what stands before it. All page code runs on the thread that calls Run and may
// block in a dialog; requests from other threads wait in a queue, and an act is answered when the state has
// settled: the act is done, or a dialog, a message or a file picker stands open and waits for a person.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "console/host.h"
#include "console/web/files.h"
#include "console/web/modal_window.h"
#include "console/web/rows.h"
#include "console/web/transfers.h"
#include "console/web/views.h"
#include "platform/program.h"

namespace web {

// What a person does: at a control of a window, at a window, or at the sheet.
struct PersonsAct {
  std::string name;
  unsigned window = 0;
  size_t control = 0;
  std::string text;
  std::ptrdiff_t row = -1;
  std::ptrdiff_t to = -1;
  int number = 0;
  bool on = true;
  std::string filter;
  std::string tab;  // the browser's tab that sent it
};

class Session final : public FrontEnd {
 public:
  // What a browser is told beside the pages.
  struct Setup {
    std::string instance;  // another one after each start of the page thread's process
    std::string notice;
    std::vector<std::string> fileRoots;
    std::string transferFolder;  // for files that pass through the browser
  };
  Session(Host& host, const Setup& setup);
  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The page thread: serves the queue and does not return.
  [[noreturn]] void Run();

  // JSON, and the version of the state in it, 0 without one.
  struct Response {
    std::string text;
    std::uint64_t version = 0;
  };

  // From any thread.
  // {"refusal", "notice", "beeps", "opened", "state"}, once the act has settled.
  Response Act(PersonsAct act);
  // What `work` returns, run on the page thread between two acts or while one waits for a person.
  std::string Read(std::function<nlohmann::ordered_json()> work);
  // The state of the tab that was published last; nothing if none was, or that version. Those without a name
  // share one state.
  std::optional<Response> StateAfter(const std::string& tab, std::uint64_t version) const;
  // From Open to Close the tab has a node of its own, at first `node` where there is one. Neither waits.
  void Open(const std::string& tab, const std::string& node);
  void Close(const std::string& tab);
  // Calls `tell` at every new state, until Unfollow by the same follower; it must not call back.
  void Follow(const void* follower, std::function<void()> tell);
  void Unfollow(const void* follower);

  // Counts up whenever an act has stored something.
  std::uint64_t Stored() const { return m_stored; }

  // On the page thread, for the work of Read.
  Host& GetHost() { return m_host; }
  const FileRoots& Files() const { return m_files; }
  bool AsksAnything() const { return !m_windows.empty(); }
  // {"total", "rows"} of a list; null where there is no such list.
  nlohmann::ordered_json RowsOf(unsigned window, size_t control, size_t first, size_t count,
                                const std::string& filter, RowOrder order);
  // {"total", "pages"} of what waits; {"refusal"} while an act is at work.
  nlohmann::ordered_json Review(size_t first, size_t count);
  // Takes a piece of the file that the picker on top asks for; a refusal when there is none.
  std::string AddToUpload(unsigned window, const std::string& tab, std::uint64_t at, std::string_view bytes);
  // The path of a download, which the caller deletes; empty for another id.
  std::string TakeDownload(const std::string& id) { return m_transfers.TakeDownload(id); }

  void RunModal(CDialog& dialog) override;
  Reply ShowMessage(std::string_view text, Buttons buttons) override;
  std::optional<std::string> PickFile(const FileRequest& request) override;
  std::optional<std::string> PickFolder(std::string_view title, std::string_view start) override;
  std::optional<size_t> PickCertificate(const std::vector<CertificateView>& all) override;
  void ShowCertificate(const CertificateView& certificate) override;
  bool RunProgram(std::string_view program, std::string_view parameters) override {
    return platform::StartProgram(std::string(program), std::string(parameters));
  }
  void OpenDocument(std::string_view link) override { m_opened.emplace_back(link); }
  void ShowHelp(std::string_view topic) override { m_opened.emplace_back(topic); }
  void Beep() override { ++m_beeps; }
  bool TakeTurn(const Progress& progress) override;

 private:
  struct Request {
    std::optional<PersonsAct> act;
    std::function<nlohmann::ordered_json()> read;
    std::promise<Response> response;
  };

  struct Work {
    std::uint64_t done;
    std::string unit;
  };

  struct Published {
    std::string state;  // the fields behind the version
    std::uint64_t version = 0;
  };

  Response Put(std::unique_ptr<Request> request);
  void Post(std::function<nlohmann::ordered_json()> work);
  void Enqueue(std::unique_ptr<Request> request);
  std::unique_ptr<Request> Take(bool wait);
  // Waits until an act was done; reads and refused acts are answered at once.
  void NextAct();
  // The event is over: writes it, publishes the state and answers the act that waits for it.
  void Settle();
  static bool StoresSomething();
  void Publish();
  std::string Notice();
  void Answer(Request& request, const std::string& refusal);
  static void AnswerRead(Request& request);
  void ShowWork(Work work);
  Response StateNow(const std::string& tab) const;  // under m_mutex

  const std::string& KeyOf(const std::string& tab) const;
  std::string NodeNear(const std::string& node) const;
  void OpenView(const std::string& tab, const std::string& node);
  void CloseView(const std::string& tab);
  void InOwnEvent(const std::function<void()>& show);
  std::string BringToFront(const std::string& tab);
  void KeepSelections();
  void FollowFront();
  void TellOthers(const std::string& sentence, bool everywhere);
  void RefreshOthers();
  std::string DescribePage() const;
  nlohmann::ordered_json DescribeWindows(const std::string& tab) const;

  std::string Refusal(const PersonsAct& act) const;
  std::string Do(const PersonsAct& act);
  std::string DoAtSheet(const PersonsAct& act);
  struct Conflict {
    std::vector<std::vector<std::string>> rows;  // page, setting, what is stored now, and ours
    std::set<std::string> nodes;                 // whose edits it is about
  };
  Conflict ConflictNow() const;
  void TakeStored(const std::set<std::string>& nodes);
  std::string Apply();
  std::string EndApply(bool applied, const std::vector<std::string>& told);
  std::string Revert(const PersonsAct& act);
  // How many values the event at hand has stored, from how many pages, as a sentence.
  std::string SavedSentence() const;
  std::string DoSafely(const PersonsAct& act);
  std::string DoAtModal(ModalWindow& window, const PersonsAct& act);
  std::string DoAtPicker(ModalWindow& window, const PersonsAct& act);
  std::string GoTo(const std::string& node);
  std::string FirstNode() const;
  void WaitFor(ModalWindow& window);
  CDialog* DialogOf(unsigned window) const;
  CWnd* ListOf(unsigned window, size_t control) const;
  nlohmann::ordered_json DescribeAll() const;
  void PageWasShown(bool pending);
  bool NodeWaits() const;
  // Whether a person has done nothing to the node: what waits there the page has added by itself.
  bool Unasked(const std::string& node) const { return !m_edited.contains(node); }
  std::vector<std::string> Marks() const;

  Host& m_host;
  Setup m_setup;
  FileRoots m_files;
  Transfers m_transfers;
  FrontEnd* m_before;
  std::vector<ModalWindow*> m_windows;
  unsigned m_lastWindow = 0;
  std::map<std::string, View> m_views = {{"", View{}}};  // by tab
  std::string m_front;                                   // the tab whose page is in front
  std::string m_acting;                                  // the tab whose act is at work
  std::optional<std::string> m_owner;                    // the tab that answers the windows; nothing for any
  bool m_refresh = false;                                // what other tabs show may have changed
  std::optional<std::uint64_t> m_valuesBefore;           // the act, of a page that several tabs show
  RowCache m_rows;

  // What the shown page held when it was shown, to see whether its node waits for Apply.
  std::uint64_t m_shownValues = 0;
  bool m_shownPending = false;
  std::set<std::string> m_edited;                  // nodes, since the last Apply or Cancel
  bool m_applied = false;                          // in this event
  bool m_waitedBefore = false;                     // edits, when the act began
  bool m_atSheet = true;                           // the act
  bool m_withCredentials = true;                   // as a person has answered an export
  std::optional<std::vector<std::string>> m_told;  // by message boxes while pages are applied

  std::unique_ptr<Request> m_act;  // the act that has not settled
  unsigned long m_actNumber = 0;
  std::string m_refusal;
  std::string m_notice;
  std::string m_saved;                         // what the Apply of this event has stored
  std::optional<Host::WaitingEdits> m_waited;  // before the act, if it is one at a window
  std::vector<std::string> m_opened;
  int m_beeps = 0;
  std::optional<Work> m_work;
  std::chrono::steady_clock::time_point m_lastTurn;
  bool m_stop = false;

  mutable std::mutex m_mutex;
  std::condition_variable m_arrived;
  std::deque<std::unique_ptr<Request>> m_queue;
  std::map<std::string, Published> m_published;  // by tab
  std::uint64_t m_version;
  std::atomic<std::uint64_t> m_stored = 0;
  std::map<const void*, std::function<void()>> m_followers;
};

}  // namespace web
