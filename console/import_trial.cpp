#include "console/import_trial.h"

#include "configuration/cached_records.h"
#include "configuration/settings_import.h"
#include "platform/machine.h"
#include "store/error_text.h"

namespace {

// The names below PAD of a key that holds cached credentials; of any other key none.
std::vector<CString> NamesBelowPad(const CString& key) {
  const CStringList parts = text::Split(key, '\\');
  for (size_t i = 0; i < parts.size(); ++i) {
    if (IsPadName(parts[i])) return {parts.begin() + static_cast<std::ptrdiff_t>(i) + 1, parts.end()};
  }
  return {};
}

// What a record says, under whichever of the names it is protected; nothing if it can't be opened.
std::optional<CString> Opened(const machine::StoredValue& value, const CString& name,
                              const std::vector<CString>& entropies) {
  const std::span bytes(reinterpret_cast<const BYTE*>(value.data.data()), value.data.size());
  for (const CString& entropy : entropies) {
    if (auto clear = ReadCachedRecord(bytes, name, entropy)) return clear;
  }
  return std::nullopt;
}

std::optional<SnapshotValue> AsSnapshot(const std::optional<machine::StoredValue>& value, const CString& name,
                                        bool isCredential) {
  if (!value) return std::nullopt;
  SnapshotValue snapshot;
  snapshot.name = name;
  snapshot.type = value->type;
  snapshot.data.assign(value->data.begin(), value->data.end());
  snapshot.isCredential = isCredential;
  return snapshot;
}

SettingsChange AsSettingsChange(const machine::Change& change) {
  if (change.isKey) {
    return {change.after ? ChangeKind::Added : ChangeKind::Removed, change.key, {}, {}, {}, 0, 0};
  }
  const CString name = change.name.empty() ? CString(kDefaultName) : change.name;
  const std::vector<CString> entropies = NamesBelowPad(change.key);
  const bool isRecord = !entropies.empty() && (change.name.empty() || IsStampName(name));
  const auto before = AsSnapshot(change.before, name, isRecord);
  const auto after = AsSnapshot(change.after, name, isRecord);
  SettingsChange told =
      ChangeBetween(change.key, name, before ? &*before : nullptr, after ? &*after : nullptr);
  // The same secret is sealed otherwise each time.
  if (isRecord && before && after) {
    const auto was = Opened(*change.before, name, entropies);
    told.kind = was && was == Opened(*change.after, name, entropies) ? ChangeKind::Same : ChangeKind::Changed;
  }
  return told;
}

ImportTrial LookAhead(const std::string& file, const SourceOpener& open, const ChangeVisitor& visit) {
  ImportTrial trial;
  const CStringList tokens = ImportTokens(LocalInstallFolder());
  XmlReader reader(open);
  const int whole = PreviewImport(reader, file, &tokens, [&](const SettingsChange& change) {
    change.kind == ChangeKind::Same ? static_cast<void>(++trial.same) : visit(change);
  });
  if (reader.GetFileError()) {
    trial.why = reader.GetFileError().sentence;
  } else if (whole == 0) {
    trial.why = "The file \"" + file + "\" names a key or a number that there can't be.";
  } else {
    trial.why = reader.GetErrorText();
  }
  return trial;
}

}  // namespace

ImportTrial TryImport(const std::string& file, const SourceOpener& open,
                      const std::function<bool(int keys)>& progress, const ChangeVisitor& visit) {
  // A server at work would see the trial.
  if (machine::WritesCountAtOnce()) return LookAhead(file, open, visit);
  ImportTrial trial;
  EngineCallbacks ui;
  ui.tell = [&trial](const CString& message) {
    if (trial.why.empty()) trial.why = message;
  };
  ui.progress = progress;
  ImportTally tally;
  // What it wrote before would be told too.
  machine::AbandonEvent();
  machine::BeginEvent();
  const int status = ImportForProduct(kSettingsProduct, file, ui, open, &tally);
  trial.stopped = status == ERROR_CANCELLED;
  if (trial.why.empty() && status != ERROR_SUCCESS && !trial.stopped) {
    trial.why = "Unable to Import settings. " + ErrorTextOf(static_cast<DWORD>(status));
  }
  if (trial.why.empty() && !trial.stopped) {
    size_t changed = 0;
    machine::ForEachChange([&](const machine::Change& change) {
      const SettingsChange told = AsSettingsChange(change);
      if (told.kind == ChangeKind::Same) return;
      if (!change.isKey) ++changed;
      visit(told);
    });
    trial.same = tally.Count() - std::min(changed, tally.Count());
  }
  machine::AbandonEvent();
  machine::BeginEvent();
  return trial;
}
