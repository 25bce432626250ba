// The four lists of whom the file transfer services serve. They are the lists of the server's users and
// groups over two keys: whether only the listed ones are served stands in the server's key, the principals in
// that of the service. Where a named configuration is edited both are the service's key, since that is where
// the services look for either.

#include "framework/directory_offer.h"
#include "pages/filetransfer/file_transfer.h"
#include "pages/pages.h"
#include "pages/principals/group_list_page.h"
#include "pages/principals/user_list_page.h"
#include "store/directories.h"

namespace {

struct SftpListRecord : PrincipalListRecord {
  CString logDirectory;
  int loggingLevel = 0;
};

class CPrpSFTP final : public UserListPage<CPrpSFTP, SftpListRecord> {
 public:
  using UserListPage::UserListPage;
  static const PageTable kTable;
  static const ListRules kList;

  CEdit* m_directory = nullptr;

 protected:
  void BeforeFolder(const SftpListRecord& record) override;
};

class CPrpSCP final : public UserListPage<CPrpSCP, PrincipalListRecord> {
 public:
  using UserListPage::UserListPage;
  static const PageTable kTable;
  static const ListRules kList;
};

// Every key counts, but rows come from the order: a key that the order does not name goes at the next Apply,
// which is how a group is taken off that something else has put there without a rank.
class CPrpSFTPGroup final : public GroupListPage<CPrpSFTPGroup, OrderedListRecord> {
 public:
  using GroupListPage::GroupListPage;
  static const PageTable kTable;
  static const ListRules kList;
  static constexpr Counted kCounted = Counted::All;
};

class CPrpSCPGroup final : public GroupListPage<CPrpSCPGroup, OrderedListRecord> {
 public:
  using GroupListPage::GroupListPage;
  static const PageTable kTable;
  static const ListRules kList;
  static constexpr Counted kCounted = Counted::All;
};

using R = SftpListRecord;
using C = CPrpSFTP::Controls;
using V = CPrpSFTP::StoredValues;

constexpr std::string_view kLevels[] = {"Off", "Transfers", "Detailed", "Status"};

bool IsLogging(const R& record) { return record.loggingLevel != 0; }
CString FromCurrentDirectory(const CString&) { return CurrentDirectory(); }

constexpr auto kSftpControls =
    Joined(UserListControls<CPrpSFTP>("Only Allow Configured Users Access to SFTP", "SFTP Users"),
           std::array<Row, 3>{
               C::DropDown<&R::loggingLevel>("Logging:", kLevels),
               C::Edit<&R::logDirectory>("Directory for Log Files")
                   .EnabledWhen<IsLogging, &R::loggingLevel>()
                   .As<&CPrpSFTP::m_directory>(),
               C::BrowseFolder<&R::logDirectory>("Logfile Directory", FromCurrentDirectory),
           });
constexpr auto kScpControls =
    UserListControls<CPrpSCP>("Only Allow Configured Users Access to SCP", "SCP Users");
constexpr auto kSftpGroupControls =
    GroupListControls<CPrpSFTPGroup>("Only allow configured groups sftp access", "SFTP Groups");
constexpr auto kScpGroupControls =
    GroupListControls<CPrpSCPGroup>("Only allow configured groups scp access", "SCP Groups");

// The switch is "yes" in small letters here, though the server's own list of users writes "Yes": each is what
// stored configurations and settings files of its list hold.
template <class Page>
constexpr auto Switch(const char* name) {
  return Page::StoredValues::template Flag<&Page::Record::allowOnly>(name, ReadRule::TrueOnlyIfYes);
}

// The level is no difference between two records: choosing another one alone leaves nothing to apply, and it
// is written along with whatever else has changed. The service knows levels of one digit.
constexpr Value kSftpValues[] = {
    Switch<CPrpSFTP>("AllowSFTPByUser"),
    V::Number<&R::loggingLevel>("LoggingLevel").OneDigit().NotCompared().InOtherKey(),
    V::Text<&R::logDirectory>("LogDirectory").NoCase().InOtherKey(),
};
constexpr Value kScpValues[] = {Switch<CPrpSCP>("AllowSCPByUser")};
constexpr Value kSftpGroupValues[] = {Switch<CPrpSFTPGroup>("AllowSFTPByGroup")};
constexpr Value kScpGroupValues[] = {Switch<CPrpSCPGroup>("AllowSCPByGroup")};

constexpr PageTable TableOf(std::string_view caption, std::string_view helpTopic, Routing routing,
                            std::span<const Row> controls, std::span<const Value> values) {
  return {.caption = caption,
          .helpTopic = helpTopic,
          .routing = routing,
          .chain = Chain::GoesOn,
          .twoKeys = true,
          .controls = controls,
          .values = values};
}

constexpr PageTable CPrpSFTP::kTable =
    TableOf("SFTP Users", kSftpHelp, Routing::SftpList, kSftpControls, kSftpValues);
constexpr PageTable CPrpSCP::kTable =
    TableOf("Property Page", kScpHelp, Routing::ScpList, kScpControls, kScpValues);
constexpr PageTable CPrpSFTPGroup::kTable =
    TableOf("Property Page", kSftpHelp, Routing::SftpList, kSftpGroupControls, kSftpGroupValues);
constexpr PageTable CPrpSCPGroup::kTable =
    TableOf("Property Page", kScpHelp, Routing::ScpList, kScpGroupControls, kScpGroupValues);

// One page holds all that a new principal gets; how uploads come into place starts anew for each. A new group
// starts from the user Default, which the page of the users knows.
constexpr PageIndex kSftpUser[] = {PageIndex::SftpUser};
constexpr PageIndex kSftpGroupUser[] = {PageIndex::SftpGroupUser};
constexpr PageIndex kScpUser[] = {PageIndex::ScpUser};
constexpr PageIndex kScpGroupUser[] = {PageIndex::ScpGroupUser};

constexpr ListRules RulesOf(ListRules rules, std::span<const PageIndex> settings,
                            std::span<const PageIndex> newFrom = {}) {
  rules.settings = settings;
  rules.newFrom = newFrom;
  return rules;
}

constexpr ListRules CPrpSFTP::kList = RulesOf(kUserListRules, kSftpUser);
constexpr ListRules CPrpSCP::kList = RulesOf(kUserListRules, kScpUser);
constexpr ListRules CPrpSFTPGroup::kList = RulesOf(kGroupListRules, kSftpGroupUser, kSftpUser);
constexpr ListRules CPrpSCPGroup::kList = RulesOf(kGroupListRules, kScpGroupUser, kScpUser);

// The folder is sought on the computer whose settings these are, by its share, and made here under the name
// that the screen shows: the service makes its own where it runs.
void CPrpSFTP::BeforeFolder(const R& record) {
  if (record.logDirectory.empty() || !IsLogging(record)) return;
  OfferDirectory({.computer = m_computer,
                  .directory = record.logDirectory,
                  .madeAsTyped = true,
                  .typed = &m_directory->GetText()});
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeSftpPage(const PageArguments& arguments) {
  return std::make_unique<CPrpSFTP>(arguments);
}
std::unique_ptr<CTesselPropertyPage> MakeScpPage(const PageArguments& arguments) {
  return std::make_unique<CPrpSCP>(arguments);
}
std::unique_ptr<CTesselPropertyPage> MakeSftpGroupPage(const PageArguments& arguments) {
  return std::make_unique<CPrpSFTPGroup>(arguments);
}
std::unique_ptr<CTesselPropertyPage> MakeScpGroupPage(const PageArguments& arguments) {
  return std::make_unique<CPrpSCPGroup>(arguments);
}
