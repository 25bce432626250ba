#include "console/cli/page_command.h"

#include "console/credentials.h"
#include "console/describe.h"
#include "console/review.h"
#include "framework/page_directory.h"
#include "platform/machine.h"
#include "store/error_text.h"
#include "store/key_security.h"

namespace {

// The access list of a key of the local computer, as a text; empty where it can't be read.
std::string AccessListOf(const std::string& path) {
  const LocalMemory<void> descriptor(key_security::GetKeySecurity(path.c_str()));
  char* text = nullptr;
  if (!descriptor || !ConvertSecurityDescriptorToStringSecurityDescriptorA(
                         descriptor.get(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr)) {
    return {};
  }
  const LocalMemory<char> held(text);
  return text;
}

}  // namespace

PageCommand::PageCommand(const Settings& settings)
    : m_json(settings.json), m_dryRun(settings.dryRun), m_before(SetFrontEnd(&frontEnd)) {
  host = Host::Start(settings.host, why);
  // Nobody needs to be asked about what is not there. An answer that stands ready is taken all the same.
  frontEnd.standingAnswer = [this](std::string_view question) -> std::optional<std::string> {
    if (!AsksForCredentials(question) || frontEnd.AnswersLeft() > 0 || ExportHoldsCredentials()) return {};
    return "Yes";
  };
}

PageCommand::~PageCommand() {
  machine::AbandonEvent();
  host.reset();
  SetFrontEnd(m_before);
}

void PageCommand::BeginReading() {
  if (!machine::InEvent()) host->BeginEvent();
}

void PageCommand::BeginWriting(bool alone) {
  if (machine::InEvent()) return;
  host->BeginEvent();
  // Where writes count at once, nobody could be told later that others have changed what was read.
  if (alone || machine::WritesCountAtOnce()) {
    machine::HoldStore();
    host->FollowStore();  // the principals that came since the host was started
  }
}

bool PageCommand::Select(const std::string& node) {
  if (host->Page() == nullptr) OpenFirstPage(node);
  return host->Select(node, why);
}

// A console opens on the first page of its settings, and some pages go by what stands on that one. So a
// command on one node shows what a person would see who clicks it.
void PageCommand::OpenFirstPage(std::string_view node) {
  const std::string root =
      host->GetOptions().configServerMode ? std::string(node.substr(0, node.find(':'))) : "";
  size_t count = 0;
  for (const Tree::Child& first : host->GetTree().Children(root, 0, kPageCount, count)) {
    if (first.node.page == nullptr) continue;
    host->Select(first.node.path, why);
    return;
  }
}

Outcome PageCommand::Apply(bool withNodes) {
  const std::string key =
      host->Page() != nullptr && host->ComputerName().empty() ? host->Page()->m_shownKey : "";
  const std::string listBefore = key.empty() ? "" : AccessListOf(key);
  std::vector<ReviewedPage> review;
  if (m_dryRun) {
    size_t total = 0;
    review = Review(*host, 0, SIZE_MAX, total);
  }
  if (!host->Apply()) {
    const std::string why = frontEnd.Messages().empty() ? "" : ": " + frontEnd.Messages().back();
    return Failed("The page \"" + host->NodePath() + "\" can't be applied" + (why.empty() ? "." : why));
  }
  if (std::vector<std::string> failures = host->FailedSaves(); !failures.empty()) {
    failures.emplace_back("Nothing was stored.");
    return Failed(text::Joined(failures, " "));
  }
  using Keep = StoredChanges::Keep;
  const auto changes = StoredChanges::OfEvent(m_json || !edits.Empty() ? Keep::All : Keep::Counts);
  m_count = changes.Count() + "\n";
  if (!key.empty() && AccessListOf(key) != listBefore) {
    if (changes.Empty()) m_count.clear();
    m_count += "The access list of HKEY_LOCAL_MACHINE\\" + key + " was replaced.\n";
  }
  Edits::Report report = edits.Look(*host, changes, withNodes);
  edits.Forget();
  Outcome outcome;
  outcome.text = std::move(report.text);
  outcome.notes = std::move(report.notes);
  outcome.data = {{"assignments", std::move(report.json)}, {"changes", changes.Json()}};
  if (m_dryRun) {
    outcome.text = PrintReview(review) + (changes.Empty() ? "Nothing would be stored.\n"
                                                          : "A dry run; Apply would do this: " + m_count);
    outcome.data["dryRun"] = true;
    outcome.data["review"] = ReviewJson(review);
    m_count.clear();
  }
  if (!report.notStored.empty()) {
    outcome.status = Status::NotDone;
    outcome.partly = true;
    outcome.error = text::Joined(report.notStored, " ");
  }
  return outcome;
}

Outcome PageCommand::End(Outcome outcome, bool alone) {
  if (m_dryRun || outcome.readsOnly || (outcome.status != Status::Done && !outcome.partly)) {
    if (const machine::Outcome undone = machine::AbandonEvent(); !undone) {
      if (outcome.status == Status::Done) outcome.status = Status::NotDone;
      outcome.error += (outcome.error.empty() ? "" : " ") + undone.sentence;
    }
    return outcome;
  }
  if (const std::vector<std::string> keys = machine::ChangedByOthers(); !keys.empty()) {
    if (alone) {
      machine::AbandonEvent();
      Outcome disturbed = Failed("Nothing was stored: others were changing " + keys.front() + " meanwhile.");
      disturbed.disturbed = true;
      return disturbed;
    }
    outcome.notes.push_back("Others have meanwhile changed " + keys.front() +
                            ", which this command had read before.");
  }
  const machine::Outcome committed = machine::CommitEvent();
  return committed ? outcome : Failed(committed.sentence);
}

Outcome Undisturbed(const std::function<Outcome(bool alone)>& command) {
  constexpr int kTriesBeside = 3;
  Outcome outcome = command(false);
  for (int i = 1; i < kTriesBeside && outcome.disturbed; ++i) outcome = command(false);
  return outcome.disturbed ? command(true) : outcome;
}

std::optional<Outcome> Unfinished(const ScriptedFrontEnd& frontEnd) {
  if (!frontEnd.Refusal().empty()) return Failed(frontEnd.Refusal());
  if (frontEnd.Unanswered().empty()) return std::nullopt;
  const std::string hint =
      frontEnd.WantsPath() ? " It takes a path: \"--path FILE\", or in a script the line \"path FILE\"." : "";
  return Failed("\"" + frontEnd.Unanswered() + "\" was not answered." + hint, Status::Unanswered);
}

void NoteOthers(const Host& host, const Host::WaitingEdits& before, std::vector<std::string>& notes) {
  const std::vector<std::string> others = host.ChangedBesides(before);
  if (!others.empty()) notes.push_back("This changes " + AllOf(others) + " too.");
}

Outcome DescribePage(Host& host) {
  Outcome outcome;
  outcome.text = host.NodePath() + "\n" + PrintControls(*host.Page());
  const std::string problem = host.WhyNothingIsStored();
  if (!problem.empty()) outcome.text += "  " + problem + "\n";
  outcome.data = {
      {"node", host.NodePath()}, {"problem", problem}, {"controls", DescribeControls(*host.Page())}};
  return outcome;
}
