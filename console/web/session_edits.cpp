// What becomes of a person's edits as a whole: Apply, the review of those that wait, and the way back.

#include <set>

#include "console/review.h"
#include "console/stored_changes.h"
#include "console/web/session.h"
#include "platform/machine.h"

using nlohmann::ordered_json;

namespace web {

// Puts a setting, or all of a page, back to what is stored; `text` is the page's node, `number` the control,
// -1 for all.
std::string Session::Revert(const PersonsAct& act) {
  if (std::string why = GoTo(act.text); !why.empty()) return why;
  m_host.ForgetCancel();
  CTesselPropertyPage& page = *m_host.Page();
  if (act.number < 0) {
    page.Revert(std::nullopt);
  } else if (static_cast<size_t>(act.number) >= page.Controls().size() ||
             !page.EditsField(static_cast<size_t>(act.number))) {
    return "This setting can only be put back with its page.";
  } else {
    page.Revert(static_cast<size_t>(act.number));
  }
  m_shownPending = page.m_pending.contains(act.text);
  m_refresh = true;
  return {};
}

std::string Session::SavedSentence() const {
  const auto changes = StoredChanges::OfEvent(StoredChanges::Keep::All);
  if (changes.Empty()) return "Nothing had to be stored: everything is as it was.";
  std::set<std::string> keys;
  for (const machine::Change& change : changes.All()) keys.insert(text::Lower(change.key));
  std::string what = changes.Stored();
  if (const std::string removed = changes.Removed(); !removed.empty()) {
    what += (what.empty() ? "" : ", ") + removed + " removed";
  }
  const size_t pages = m_host.PagesThatWrote(keys);
  return "Saved: " + what + (pages > 0 ? " on " + Counted(pages, "page") : "") + ".";
}

ordered_json Session::Review(size_t first, size_t count) {
  // Pages show what they compare, which they can't in the middle of an act.
  if (machine::InEvent()) return {{"refusal", "The console is still at work."}};
  size_t total = 0;
  machine::BeginEvent();
  const std::vector<ReviewedPage> pages = ::Review(m_host, first, count, total);
  machine::AbandonEvent();
  return {{"total", total}, {"pages", ReviewJson(pages)}};
}

// An Apply is whole or not at all. What a page tells waits for its end, since the answer to a message would
// write what was applied before it.
std::string Session::Apply() {
  m_told.emplace();
  const bool applied = m_host.Apply();
  const std::vector<std::string> told = std::move(*m_told);
  m_told.reset();
  m_applied = applied;
  const std::vector<std::string> changed =
      applied ? machine::ChangedSinceShown() : std::vector<std::string>();
  if (!changed.empty()) {
    machine::AbandonEvent();
    m_host.BeginEvent();
    m_host.TakeBackApply();
    PageWasShown(true);
    return "Another program has changed " + changed.front() +
           (changed.size() == 1 ? "" : " and " + std::to_string(changed.size() - 1) + " more keys") +
           " since it was shown here. Nothing was stored, and all edits wait: Cancel shows what is stored "
           "now.";
  }
  const std::vector<std::string> failures = m_host.FailedSaves();
  if (applied && (failures.empty() || !machine::UndoesEvents())) {
    m_host.ForgetCancel();
    m_saved = SavedSentence();
    m_refresh = true;
    TellOthers("Another tab has applied all changes.", true);
    PageWasShown(false);
    for (const std::string& text : told) ShowMessage(text, Buttons::Ok);
    return {};
  }
  std::string why = text::Joined(failures, " ");
  if (!applied) {
    why = "The page \"" + m_host.NodePath() + "\" can't be applied" +
          (told.empty() ? "." : ": " + text::Joined(told, " "));
  }
  if (machine::UndoesEvents()) {
    machine::AbandonEvent();
    m_host.BeginEvent();
    m_host.TakeBackApply();
    why += " Nothing was stored, and all edits wait as before.";
  }
  PageWasShown(true);
  return why;
}

}  // namespace web
