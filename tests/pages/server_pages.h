#pragma once

// The server-wide pages that are tables and little more, with what the page table knows of them.

#include "pages/pages.h"
#include "tests/support/page_driver.h"

namespace server_pages {

using test_support::PageDriver;

struct ServerPage {
  PageIndex index;
  PageDriver::MakePage make;
  const char* title;
};

constexpr ServerPage kPages[] = {
    {PageIndex::General, MakeGeneralPage, "General Settings"},
    {PageIndex::Cipher, MakeCipherPage, "General Settings::Cipher"},
    {PageIndex::Mac, MakeMacPage, "General Settings::MAC"},
    {PageIndex::Kex, MakeKexPage, "General Settings::Key Exchange"},
    {PageIndex::AuthMain, MakeAuthMainPage, "Authentication"},
    {PageIndex::AuthPassword, MakeAuthPasswordPage, "Authentication::Password Options"},
    {PageIndex::AuthPubKey, MakeAuthPubKeyPage, "Authentication::Public Key Options"},
    {PageIndex::AuthGssApi, MakeAuthGssApiPage, "Authentication::GSSAPI Options"},
    {PageIndex::Banner, MakeBannerPage, "Banner"},
    {PageIndex::AccessControl, MakeAccessControlPage, "Access Control"},
};

inline CTesselPropertyPage& Add(PageDriver& driver, PageIndex index) {
  for (const ServerPage& page : kPages) {
    if (page.index == index) return driver.Add(index, page.make, page.title);
  }
  std::abort();
}

// "NAME=TEXT; NAME=TEXT": values of the store by name, or controls by caption. Texts hold no ";".
inline std::vector<std::pair<std::string, std::string>> Pairs(std::string_view list) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (std::string_view piece : text::Split(list, ';')) {
    piece.remove_prefix(std::min(piece.find_first_not_of(' '), piece.size()));
    const size_t equals = piece.find('=');
    pairs.emplace_back(piece.substr(0, equals), piece.substr(equals + 1));
  }
  return pairs;
}

inline void Store(std::string_view list) {
  for (const auto& [name, text] : Pairs(list)) PageDriver::Store(name.c_str(), text);
}

inline void Put(PageDriver& driver, std::string_view list) {
  for (const auto& [caption, value] : Pairs(list)) driver.Put(caption, value);
}

inline void ExpectShown(const PageDriver& driver, std::string_view list) {
  for (const auto& [caption, value] : Pairs(list)) EXPECT_EQ(driver.Value(caption), value) << caption;
}

// "(absent)" stands for a value that is not there.
inline void ExpectStored(std::string_view list, std::string_view path = PageDriver::kServer) {
  for (const auto& [name, text] : Pairs(list)) {
    EXPECT_EQ(PageDriver::Stored(name.c_str(), path).value_or("(absent)"), text) << name;
  }
}

}  // namespace server_pages
