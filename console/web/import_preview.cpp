#include "console/web/import_preview.h"

#include "console/captions.h"
#include "console/import_trial.h"
#include "window/dialog.h"

namespace web {
namespace {

struct Preview {
  std::vector<std::vector<std::string>> rows;
  size_t added = 0;
  size_t changed = 0;
  size_t same = 0;
  std::string trouble;
  bool stopped = false;

  // Pages and captions come first; the key is there for who compares it with the file.
  void Take(const SettingsChange& change, const Captions& captions) {
    const bool isNew = change.kind == ChangeKind::Added;
    // The whole path of each key would push what differs out of sight.
    constexpr std::string_view kRoot = "HKEY_LOCAL_MACHINE\\SOFTWARE\\TesselWorks\\";
    std::string_view key = change.key;
    if (text::EqualNoCase(key.substr(0, kRoot.size()), kRoot)) key.remove_prefix(kRoot.size());
    ++(isNew ? added : changed);
    const auto place = captions.Of(change.key, change.name);
    const std::string page = place ? ShownPath(place->node) : "";
    const std::string setting = place && !place->setting.empty() ? place->setting : change.name;
    const std::string stored = std::string(key) + (change.name.empty() ? "" : ", " + change.name);
    rows.push_back({isNew ? "added" : "changed", page, setting, change.before, change.after, stored});
  }
};

Preview Look(const Host& host, const std::string& file, const SourceOpener& open) {
  Preview preview;
  const Captions captions(host);
  const auto progress = [](int keys) {
    return CurrentFrontEnd().TakeTurn({static_cast<std::uint64_t>(keys), "keys"});
  };
  const ImportTrial trial =
      TryImport(file, open, progress, [&](const SettingsChange& change) { preview.Take(change, captions); });
  preview.same = trial.same;
  preview.stopped = trial.stopped;
  if (!trial.why.empty()) preview.trouble = "The import would not be whole. " + trial.why;
  return preview;
}

class PreviewDialog final : public CDialog {
 public:
  explicit PreviewDialog(Preview preview) : CDialog("Import Settings"), m_preview(std::move(preview)) {}

 protected:
  void BuildControls() override {
    Add(std::make_unique<CStatic>(), -1).caption = Summary();
    if (!m_preview.trouble.empty()) Add(std::make_unique<CStatic>(), -1).caption = m_preview.trouble;
    if (!m_preview.rows.empty()) {
      CListCtrl& list = Add(std::make_unique<CListCtrl>(), -1);
      list.caption = "Changes";
      list.columns = {{"Change", 90}, {"Page", 220},  {"Setting", 180},
                      {"Now", 140},   {"After", 140}, {"Stored As", 220}};
      for (std::vector<std::string>& row : m_preview.rows)
        list.InsertItem(list.GetItemCount(), std::move(row));
    }
    Add(std::make_unique<CButton>(), -1).caption = kImport;
    Add(std::make_unique<CButton>(), -1).caption = "Cancel";
  }

  void OnControl(CWnd& control, Notice notice) override {
    if (notice != Notice::Clicked) return;
    control.caption == kImport ? OnOK() : OnCancel();
  }

 private:
  static constexpr char kImport[] = "Import";

  std::string Summary() const {
    if (!m_preview.trouble.empty()) return "What the import does can't be told ahead.";
    if (m_preview.rows.empty()) {
      return "The file changes nothing: " + std::to_string(m_preview.same) + " settings stay as they are.";
    }
    return "The import adds " + std::to_string(m_preview.added) + " and changes " +
           std::to_string(m_preview.changed) + "; " + std::to_string(m_preview.same) +
           " settings stay as they are.";
  }

  Preview m_preview;
};

}  // namespace

bool ConfirmImport(const Host& host, const std::string& file, const SourceOpener& open) {
  Preview preview = Look(host, file, open);
  return !preview.stopped && PreviewDialog(std::move(preview)).DoModal() == Reply::Ok;
}

}  // namespace web
