#pragma once

// The layer of the two pages that keep a table of names and texts as the values of a subkey of the principal.

#include <vector>

#include "framework/entry_table_page.h"
#include "framework/principal_page.h"

// `Page` holds kColumns, the first of them being the value's name, and says how an entry's data is stored
// (Encode) and read (Decode).
template <class Page, class EntryType>
class ValuePairsPage : public EntryTablePage<PrincipalPage<Page, std::vector<EntryType>>> {
  using Base = EntryTablePage<PrincipalPage<Page, std::vector<EntryType>>>;

 public:
  using Base::Base;
  using typename Base::Record;

 protected:
  std::span<const EntryColumn<EntryType>> Columns() const override { return Page::kColumns; }

  // A value that is too long to be read ends the list.
  void LoadFrom(const CTesselRegObject& key, Record& record, KeyOf) override {
    record.clear();
    RegistryValue value;
    for (DWORD index = 0; key.EnumValue(index, value) == ERROR_SUCCESS; ++index) {
      if (!value.name.empty()) record.push_back(Page::Decode(value.name, value.Text()));
    }
  }

  // The index goes up after a deletion too, so every other value stays; one that was taken off the table can
  // come back with the next load.
  SaveResult SaveTo(CTesselRegObject& key, const Record& record, KeyOf) override {
    RegistryValue value;
    for (DWORD index = 0; key.EnumValue(index, value) == ERROR_SUCCESS; ++index) {
      key.DeleteValue(value.name.c_str());
    }
    SaveResult result;
    for (const EntryType& entry : record) {
      const CString& name = entry.*Page::kColumns[0].text;
      const DWORD status = key.SetStringValue(name.c_str(), Page::Encode(entry));
      if (result && status != ERROR_SUCCESS) result = {status, name};
    }
    return result;
  }
};
