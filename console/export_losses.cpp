#include "console/export_losses.h"

#include "configuration/byte_stream.h"
#include "configuration/settings_compare.h"
#include "configuration/settings_export.h"
#include "console/captions.h"

std::vector<ExportLoss> LossesOfExport(const Host& host, const std::string& file, bool withCredentials) {
  const CString folder = LocalInstallFolder();
  const CStringList outward = ExportTokens(folder);
  const CStringList inward = ImportTokens(folder);
  XmlStringWriter again;
  if (IsStream(file)) {
    EngineCallbacks ui;
    ui.ask = [withCredentials](const CString&) { return withCredentials; };
    for (const char* path : kExportedKeys) ExportRegistryKey(again, false, path, &outward, ui);
  }
  XmlReader reader(IsStream(file) ? MemorySource(again.GetBuffer()) : OpenFileSource);
  const Captions captions(host);
  std::vector<ExportLoss> losses;
  FindLosses(reader, file, kExportedKeys, &outward, &inward, withCredentials, [&](const SettingsLoss& loss) {
    const auto place = captions.Of(loss.key, loss.name);
    const bool named = place && !place->setting.empty();
    const std::string stored = loss.key + (loss.name.empty() ? "" : ", \"" + loss.name + "\"");
    losses.push_back({place ? place->node : "", named ? place->setting : loss.name, stored, loss.reason});
  });
  return losses;
}
