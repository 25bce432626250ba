#include "extension/entry_points.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "extension/page_table.h"
#include "pages/principals/removal.h"
#include "platform/keymill.h"
#include "store/key_security.h"

namespace {

constexpr char kServerKey[] = R"(Software\TesselWorks\SSHD)";
constexpr char kProduct[] = "Marrowen";
constexpr std::uint32_t kFlagPage = 1;
constexpr std::uint32_t kFlagHead = 2;

// Set by the host's calls and shared by all pages, which point into it as long as the library is loaded.
struct Globals {
  PropExtContext context{};
  std::uint32_t nextPageIndex = 0;
  std::uint32_t firstPageId = 0;
  char productWord[50] = "";
  CString targetComputer;
};

Globals& State() {
  static Globals globals;
  return globals;
}

PageArguments ArgumentsOf(const PageTableRow& row, Globals& state) {
  PageArguments arguments;
  arguments.computer = state.targetComputer;
  arguments.titleText = row.titleText.empty() ? state.context.fileTransferListTitle : row.titleText;
  arguments.appended = row.appended;
  arguments.baseKey = row.baseKey;
  arguments.secondKey = row.secondKey;
  arguments.productWord = state.productWord;
  arguments.context = &state.context;
  return arguments;
}

principal_removal::Tree TreeOfHost() {
  const Globals& state = State();
  return {state.targetComputer, state.productWord, state.context.pfnRemoveNode};
}

}  // namespace

std::uint32_t InitPropExt(PropExtContext* context, std::uint32_t firstPageId) noexcept {
  static std::once_flag attached;
  std::call_once(attached, keymill::UpdateAlgorithmsEx);
  context->pfnInit(kServerKey, firstPageId);
  Globals& state = State();
  state.context = *context;
  state.nextPageIndex = 0;
  state.firstPageId = firstPageId;
  return 1;
}

CTesselPropertyPage* GetPropPage(char const* computer, std::uint32_t* pageFlags, std::uint32_t* pageId,
                                 std::int32_t useProductWord) noexcept {
  Globals& state = State();
  const auto rows = PageTableRows();
  const std::uint32_t index = state.nextPageIndex++;
  *pageFlags = kFlagPage;
  *pageId = index + state.firstPageId;
  const std::string_view word = useProductWord != 0 ? kProduct : "";
  state.productWord[word.copy(state.productWord, sizeof state.productWord - 1)] = '\0';
  try {
    state.targetComputer = computer != nullptr ? computer : "";
    if (index >= rows.size()) return nullptr;
    if (rows[index].index == PageIndex::General || rows[index].index == PageIndex::About)
      *pageFlags |= kFlagHead;
    CTesselPropertyPage*& page = PageDirectory()[index];
    if (page == nullptr) page = rows[index].make(ArgumentsOf(rows[index], state)).release();
    return page;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void ClosePropExt() noexcept {
  for (const PageIndex index : DestructionOrder()) delete PageDirectory()[static_cast<size_t>(index)];
}

void* GetKeySecurity(char const* path) noexcept { return key_security::GetKeySecurity(path); }

std::uint32_t SetKeySecurity(HKEY root, char const* path, std::uint32_t access,
                             void* securityDescriptor) noexcept {
  return key_security::SetKeySecurity(root, path, access, securityDescriptor);
}

std::uint32_t ClearKeySecurity(HKEY root, char const* path, std::uint32_t access) noexcept {
  return key_security::ClearKeySecurity(root, path, access);
}

void RemoveUsers(char const* keyPath, char const* kind) noexcept {
  principal_removal::RemoveUsers(TreeOfHost(), keyPath, kind);
}

void RemoveFileTransferUsers(std::int32_t isSftp) noexcept {
  principal_removal::RemoveFileTransferUsers(TreeOfHost(), isSftp != 0);
}
