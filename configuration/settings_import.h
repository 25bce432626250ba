#pragma once

// Brings a settings file back into the registry of the local computer. It makes what is missing and writes
// over what the file holds; no key and no value is deleted. The path of a key and the text of a value take
// the tokens of `pairs` (a list for SubstituteTokens, or null).

#include <cstdint>
#include <vector>

#include "configuration/settings_engine.h"
#include "configuration/settings_walk.h"
#include "configuration/xml_reader.h"

// Which values an import has stored, each counted once.
class ImportTally {
 public:
  void Add(std::string_view key, std::string_view name);
  size_t Count();

 private:
  std::vector<uint64_t> m_places;  // hashes
};

// 1 if the file names that product, compared without case, in a `product` element's `name`; else 0, after the
// message of a parse error if that is why.
int FileIsForProduct(const CString& file, const CString& product, const EngineCallbacks& ui,
                     const SourceOpener& open = OpenFileSource);

// 1, also for a file that ends in a parse error, whose message the reader shows, or can't be read on; 0 if a
// key could be neither opened nor made, after a message, or the text of a number was too short. A value that
// can't be stored gives a message, the fourth and all after it one together, and the import goes on. What was
// done stays.
int ImportSettingsFile(XmlReader& reader, const CString& file, const CStringList* pairs,
                       const EngineCallbacks& ui);

// What a host does when a page hands it a file for import: -1 if the file is for another product, 0 after an
// import, else the Windows error that ended it. After ERROR_CANCELLED, by `ui.progress`, the process stands
// as before but for the registry, in which the caller takes back what was done. The file is opened twice by
// `open`. With a `tally` the import is only tried: the process stands as before in any case.
int ImportForProduct(const CString& product, const CString& file, const EngineCallbacks& ui,
                     const SourceOpener& open = RepeatableSource(), ImportTally* tally = nullptr);

// A copy of the process's place in PAD, for one who only wants to know what an import would do.
PadState CurrentPadState();
