// What becomes of a person's edits as a whole: Apply, the review of those that wait, and the way back.

#include <set>

#include "console/captions.h"
#include "console/describe.h"
#include "console/review.h"
#include "console/stored_changes.h"
#include "console/web/conflict_dialog.h"
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
  ordered_json json = ReviewJson(pages);
  for (ordered_json& page : json) {
    if (Unasked(page["node"])) page["unasked"] = true;
  }
  return {{"total", total}, {"pages", std::move(json)}};
}

// What the event at hand takes from others who have changed it since it was shown here.
Session::Conflict Session::ConflictNow() const {
  Conflict conflict;
  std::vector<machine::Change> changes;
  machine::ForEachConflict([&changes](const machine::Change& change) { changes.push_back(change); });
  if (changes.empty()) return conflict;
  const Captions captions(m_host);
  const auto text = [](const std::optional<machine::StoredValue>& value) {
    return !value ? std::string("nothing") : value->type == REG_BINARY ? "bytes" : OneLine(TextOf(*value));
  };
  std::set<std::string> keys;
  for (const machine::Change& change : changes) {
    const std::optional<Captions::Place> place = captions.Of(change.key, change.name);
    const std::string page = place ? ShownPath(place->node) : change.key;
    if (change.isKey) {
      conflict.rows.push_back({page, change.key.substr(change.key.rfind('\\') + 1),
                               change.before ? "is there" : "is not there",
                               change.after ? "added" : "deleted"});
      keys.insert(text::Lower(change.key.substr(0, change.key.rfind('\\'))));
      continue;
    }
    const bool named = place && !place->setting.empty();
    conflict.rows.push_back(
        {page, named ? place->setting : change.name, text(change.before), text(change.after)});
    named ? conflict.nodes.insert(place->node) : keys.insert(text::Lower(change.key));
  }
  // What no page has a caption for belongs to those who have written there.
  for (const CPropertyPage* one : m_host.Sheet().Pages()) {
    for (const auto& save : static_cast<const CTesselPropertyPage&>(*one).m_saves) {
      const std::string key = text::Lower("HKEY_LOCAL_MACHINE\\" + save.key);
      const auto below = keys.lower_bound(key);
      if (below != keys.end() && below->starts_with(key)) conflict.nodes.insert(save.target);
    }
  }
  return conflict;
}

// The pages of these nodes show what is stored; all else waits on.
void Session::TakeStored(const std::set<std::string>& nodes) {
  const std::string shown = m_host.NodePath();
  bool all = true;
  for (const std::string& node : nodes) {
    const bool reached = GoTo(node).empty();
    if (reached) m_host.Page()->Revert(std::nullopt);
    all = all && reached;
  }
  machine::AcceptChanges();
  GoTo(m_host.GetTree().NearestAbove(shown));
  PageWasShown(m_host.Page() != nullptr && m_host.Page()->m_pending.contains(m_host.NodePath()));
  m_refresh = true;
  if (!all) return;
  m_saved = "The pages show what is stored now.";
  if (m_host.Sheet().IsModified()) m_saved += " What waits on others still waits.";
}

// An Apply is whole or not at all. What a page tells waits for its end, since the answer to a message would
// write what was applied before it.
std::string Session::Apply() {
  ConflictDialog::Rows known;
  for (;;) {
    m_told.emplace();
    const bool applied = m_host.Apply();
    const std::vector<std::string> told = std::move(*m_told);
    m_told.reset();
    m_applied = applied;
    const Conflict conflict = applied ? ConflictNow() : Conflict{};
    // What a person has seen and wants to store all the same is stored.
    if (conflict.rows.empty() || conflict.rows == known) return EndApply(applied, told);
    machine::AbandonEvent();
    m_host.BeginEvent();
    m_host.TakeBackApply();
    m_applied = false;
    PageWasShown(true);
    ConflictDialog dialog(conflict.rows);
    dialog.DoModal();
    if (dialog.Chosen() == ConflictDialog::Choice::TakeStored) TakeStored(conflict.nodes);
    if (dialog.Chosen() != ConflictDialog::Choice::StoreMine) return {};
    known = conflict.rows;
  }
}

std::string Session::EndApply(bool applied, const std::vector<std::string>& told) {
  const std::vector<std::string> failures = m_host.FailedSaves();
  if (applied && failures.empty()) {
    m_host.ForgetCancel();
    m_saved = SavedSentence();
    m_edited.clear();
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
  const machine::Outcome undone = machine::AbandonEvent();
  m_host.BeginEvent();
  m_host.TakeBackApply();
  why += undone ? " Nothing was stored, and all edits wait as before." : " " + undone.sentence;
  PageWasShown(true);
  return why;
}

}  // namespace web
