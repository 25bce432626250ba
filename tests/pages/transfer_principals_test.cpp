#include "framework/value_table.h"
#include "tests/pages/transfer_pages.h"

using namespace transfer_pages;
using ::testing::ElementsAre;

namespace {

// What a principal's key holds, what its page shows after a person's acts, whether there is something to
// apply then, and what the key holds afterwards.
struct Scenario {
  const char* what;
  const char* node;
  Texts stored;
  Texts acts;
  Texts shown;
  bool modified;
  Texts written;
};

constexpr const char* kRoots = "Virtual Root Directory Mapping";
constexpr const char* kRestrict = "Restrict user to home directory and subdirectories=on";
constexpr const char* kAllow = "Allow user to traverse above home directory=on";
constexpr const char* kVirtual = "Use virtual directory assignments=on";
constexpr const char* kShare = "Use virtual directory of network shares=on";
constexpr const char* kByExtension =
    "Use Temporary Extension - Upload to current directory, using either the default extension, .upload, or "
    "by "
    "defining a custom extension.";
constexpr const char* kByDirectory =
    "Use Temporary Directory - Upload to temporary directory using temporary name, then move the file to the "
    "upload directory";
const std::string kDirectoryOn = std::string(kByDirectory) + "=on";

// What is written behind the values of a table of roots, where nothing else was stored.
const std::string kRest = "; StartDir=; MapUserDrives=no; ThreadDriveMap=no; ShowHiddenFiles=no";

const Scenario kSftp[] = {
    {"a new principal is restricted", "SFTP Users::CORP\\joe", "", "Show hidden files=on",
     std::string(kRestrict) + "; Home directory=; Map User Drives=off", true,
     "StartDir=; MapUserDrives=no; ThreadDriveMap=no; ShowHiddenFiles=yes; ClientRootMode=mroot; vRoots:7=~"},
    {"each control has a value of its own", "SFTP Groups::CORP\\staff", "",
     std::string(kAllow) + "; Home directory=D:\\home; Map User Drives=on; Map drives in background=on", "",
     true,
     "StartDir=D:\\home; MapUserDrives=yes; ThreadDriveMap=yes; ShowHiddenFiles=no; ClientRootMode=admin; "
     "vRoots:7=~"},
    {"and the other way round", "SFTP Users::joe", "MapUserDrives=YES; ThreadDriveMap=1",
     "Map drives in background=on; Map User Drives=off",
     "Map drives in background=on; Map User Drives=off; Show hidden files=off", true,
     "MapUserDrives=no; ThreadDriveMap=yes; StartDir=; ShowHiddenFiles=no; ClientRootMode=mroot; vRoots:7=~"},
    {"roots go behind each other, equal ones too", "SFTP Users::joe", "ClientRootMode=vroot",
     "press Add|Virtual Path=Data|File Path=D:\\exports|OK; press Add|Virtual Path=b|File Path=c/d|OK; "
     "press Add|Virtual Path=Data|File Path=D:\\exports|OK; press Add|Virtual Path=never|Cancel",
     kVirtual, true, "ClientRootMode=vroot" + kRest + "; vRoots:7=Data/D:\\exports~b/c/d~Data/D:\\exports~~"},
    {"an edit changes equal roots at their places", "SFTP Users::joe",
     "ClientRootMode=VROOT; vRoots:7=a/1~b/2~A/1~a/1~~",
     "Virtual Root Directory Mapping=a; press Edit|File Path=3|OK", kVirtual, true,
     "ClientRootMode=vroot; vRoots:7=a/3~b/2~A/1~a/3~~" + kRest},
    {"equal roots are removed together, by case", "SFTP Users::joe",
     "ClientRootMode=vroot; vRoots:7=a/1~b/2~A/1~a/1~~",
     "press Remove; press Edit; Virtual Root Directory Mapping=a; press Remove", "", true,
     "ClientRootMode=vroot; vRoots:7=b/2~A/1~~" + kRest},
    {"their order is no difference", "SFTP Users::joe", "ClientRootMode=vroot; vRoots:7=a/1~b/2~~",
     "Virtual Root Directory Mapping=a; press Remove; press Add|Virtual Path=a|File Path=1|OK", "", false,
     "ClientRootMode=vroot; vRoots:7=a/1~b/2~~"},
    {"their case is one", "SFTP Users::joe", "ClientRootMode=vroot; vRoots:7=a/1~b/2~~",
     "Virtual Root Directory Mapping=a; press Edit|Virtual Path=A|OK", "", true,
     "ClientRootMode=vroot; vRoots:7=A/1~b/2~~" + kRest},
    {"they stay stored in another mode", "SFTP Users::joe", "ClientRootMode=vroot; vRoots:7=a/1~~", kShare,
     kShare, true, "ClientRootMode=share; vRoots:7=a/1~~" + kRest},
    {"an unknown mode is the restricted one, and the home's case no difference", "SFTP Users::joe",
     "ClientRootMode=jail; StartDir=d:\\home", "Home directory=D:\\HOME", kRestrict, false,
     "ClientRootMode=jail; StartDir=d:\\home"},
    {"and so is one that is too long", "SFTP Users::joe", "ClientRootMode=" + std::string(260, 'a'), "",
     kRestrict, false, "ClientRootMode=" + std::string(260, 'a')},
};

const Scenario kScp[] = {
    {"two flags are written that nothing reads", "SCP Users::joe", "", "Home Directory=D:\\home", kRestrict,
     true, "SCPHomeDir=D:\\home; AllowSCP=yes; UseDefaultSettings=no; SCPClientRootMode=mroot; vRoots:7=~"},
    {"whatever they were", "SCP Groups::CORP\\staff",
     "AllowSCP=no; UseDefaultSettings=yes; SCPClientRootMode=Mroot", kAllow, "", true,
     "AllowSCP=yes; UseDefaultSettings=no; SCPClientRootMode=admin; SCPHomeDir=; vRoots:7=~"},
    {"virtual roots count as no restriction, and stay stored", "SCP Users::joe",
     "SCPClientRootMode=vroot; vRoots:7=a/1~b~~", "Home Directory=x", kAllow, true,
     "SCPClientRootMode=admin; vRoots:7=a/1~b~~; SCPHomeDir=x; AllowSCP=yes; UseDefaultSettings=no"},
    {"an empty mode is a missing one", "SCP Users::joe", "SCPClientRootMode=; SCPHomeDir=d:\\h",
     "Home Directory=D:\\H", kRestrict, false, "SCPClientRootMode=; SCPHomeDir=d:\\h"},
};

const Scenario kTwoStep[] = {
    {"one flag's other word is false", "SFTP Users::DOMAIN\\joe::Two Step Upload", "",
     "Enable temporary copy feature=on; Match String=*.zip; Use Custom Extension=on; Temporary Extension=.p",
     std::string(kByExtension) + "=on; Use Windows Temporary Directory=on", true,
     "MatchString=*.zip; CustomTempDir=; CustomTempExt=.p; UseTempUpload=yes; UseCustomDir=false; "
     "UseCustomExt=yes; UseDirectoryUpload=no"},
    {"the radio buttons of either choice exclude each other", "SFTP Groups::staff::Two Step Upload", "",
     "Enable temporary copy feature=on; " + kDirectoryOn +
         "; Use Custom Temporary Directory=on; Custom Temp Directory=D:\\tmp",
     std::string(kByExtension) + "=off; Use Windows Temporary Directory=off", true,
     "MatchString=; CustomTempDir=D:\\tmp; CustomTempExt=; UseTempUpload=yes; UseCustomDir=yes; "
     "UseCustomExt=no; UseDirectoryUpload=yes"},
    {"switching it off keeps the rest", "SFTP Users::joe::Two Step Upload",
     "UseTempUpload=YES; UseDirectoryUpload=yes; UseCustomDir=yes; CustomTempDir=d:\\t; CustomTempExt=.p; "
     "MatchString=m; UseCustomExt=1",
     "Enable temporary copy feature=off",
     kDirectoryOn + "; Use Custom Temporary Directory=on; Use Custom Extension=off", true,
     "UseTempUpload=no; UseDirectoryUpload=yes; UseCustomDir=yes; CustomTempDir=d:\\t; CustomTempExt=.p; "
     "MatchString=m; UseCustomExt=no"},
    {"the texts' case is no difference", "SFTP Users::joe::Two Step Upload",
     "UseTempUpload=yes; UseCustomExt=yes; CustomTempExt=.p; MatchString=m",
     "Temporary Extension=.P; Match String=M", "", false,
     "UseTempUpload=yes; UseCustomExt=yes; CustomTempExt=.p; MatchString=m"},
};

// "SFTP Users::CORP\joe" is shown by the page of that folder and lies under SFTP\Users\CORP?joe.
void Expect(const Scenario& scenario) {
  SCOPED_TRACE(scenario.what);
  Pages pages;
  const std::string_view node = scenario.node;
  const std::string folder(node.substr(0, node.find(':')));
  const std::string_view rest = node.substr(folder.size() + 2);
  const std::string name = text::Replaced(rest.substr(0, rest.find(':')), "\\", "?");
  const std::string key = Key(text::Replaced(folder, " ", "\\") + "\\" + name);
  PageIndex index = I::SftpUserTempFeature;
  for (const TransferPage& page : kPages) {
    if (rest.find(':') == std::string_view::npos && page.title == folder && *page.appended != '\0')
      index = page.index;
  }
  Store(key, scenario.stored);
  pages.Show(index, node);
  pages.Do(scenario.acts);
  pages.ExpectShown(scenario.shown);
  EXPECT_EQ(pages.driver.Modified(), scenario.modified);
  EXPECT_TRUE(pages.driver.Apply());
  ExpectValues(key, scenario.written);
}

TEST(TransferPrincipals, OfSftp) {
  for (const Scenario& scenario : kSftp) Expect(scenario);
}
TEST(TransferPrincipals, OfScp) {
  for (const Scenario& scenario : kScp) Expect(scenario);
}
TEST(TransferPrincipals, UploadInTwoSteps) {
  for (const Scenario& scenario : kTwoStep) Expect(scenario);
}

TEST(TransferPrincipals, OfferWhatTheModeLeaves) {
  const std::string byExtension = kByExtension;
  const std::string byDirectory = kByDirectory;
  const std::string feature = "Enable temporary copy feature";
  const struct {
    PageIndex page;
    Texts acts;
    Texts enabled;
    Texts disabled;
  } cases[] = {
      {I::SftpUser, "", "Home directory; Browse",
       "Virtual Root Directory Mapping; Add; Remove; Edit; Map drives in background"},
      {I::SftpUser, kVirtual, "Virtual Root Directory Mapping; Add; Remove; Edit", "Home directory; Browse"},
      {I::SftpUser, kAllow, "Home directory; Browse", "Virtual Root Directory Mapping; Add"},
      {I::SftpUser, std::string(kShare) + "; Map User Drives=on", "Home directory; Map drives in background",
       "Browse; Virtual Root Directory Mapping; Add"},
      {I::SftpUserTempFeature, "", feature,
       byExtension + "; " + byDirectory +
           "; Match String; Use Custom Extension; Temporary Extension; Use Windows Temporary Directory; Use "
           "Custom Temporary Directory; Custom Temp Directory; Browse"},
      {I::SftpUserTempFeature, feature + "=on",
       byExtension + "; " + byDirectory + "; Match String; Use Custom Extension",
       "Temporary Extension; Use Windows Temporary Directory; Custom Temp Directory; Browse"},
      {I::SftpUserTempFeature, feature + "=on; Use Custom Extension=on", "Temporary Extension",
       "Use Custom Temporary Directory"},
      {I::SftpUserTempFeature, feature + "=on; " + kDirectoryOn,
       "Match String; Use Windows Temporary Directory; Use Custom Temporary Directory",
       "Use Custom Extension; Temporary Extension; Custom Temp Directory; Browse"},
      {I::SftpUserTempFeature, feature + "=on; " + kDirectoryOn + "; Use Custom Temporary Directory=on",
       "Custom Temp Directory; Browse", "Temporary Extension"},
      {I::SftpUserTempFeature,
       feature + "=on; " + kDirectoryOn + "; Use Custom Temporary Directory=on; " + byExtension + "=on",
       feature, "Custom Temp Directory; Browse; Use Custom Temporary Directory"},
  };
  for (const auto& c : cases) {
    Pages pages;
    const char* const node = c.page == I::SftpUser ? "SFTP Users::joe" : "SFTP Users::joe::Two Step Upload";
    PageDriver::MakeKey(Key("SFTP\\Users\\joe"));
    pages.Show(c.page, node);
    pages.Do(c.acts);
    const auto expect = [&] {
      for (const auto& caption : c.enabled) EXPECT_TRUE(pages.driver.Enabled(caption)) << caption;
      for (const auto& caption : c.disabled) EXPECT_FALSE(pages.driver.Enabled(caption)) << caption;
    };
    expect();
    EXPECT_TRUE(pages.driver.Apply());
    pages.Show(c.page, node);
    expect();
  }
}

// An entry is parted at its first "/"; one without any keeps its place in the store when its row is removed.
TEST(TransferPrincipals, ShowRootsInTwoColumns) {
  Pages pages;
  Store(Key("SFTP\\Users\\joe"), "ClientRootMode=vroot; vRoots:7=a/b/c~plain~~");
  pages.Show(I::SftpUser, "SFTP Users::joe");
  EXPECT_THAT(pages.Rows(kRoots), ElementsAre("a|b/c", "plain|"));
  pages.Do("Virtual Root Directory Mapping=plain; press Remove");
  EXPECT_THAT(pages.Rows(kRoots), ElementsAre("a|b/c"));
  EXPECT_FALSE(pages.driver.Modified());
  pages.Do("Show hidden files=on");
  EXPECT_TRUE(pages.driver.Apply());
  EXPECT_THAT(pages.Rows(kRoots), ElementsAre("a|b/c", "plain|"));
}

// A principal without a list shows that of the one before, and a list beyond the block is not written.
TEST(TransferPrincipals, CarryRootsAsFarAsTheirBlockGoes) {
  for (const bool fits : {true, false}) {
    Pages pages;
    const std::string list(16382, 'r');
    Store(Key("SCP\\Users\\joe"), {"vRoots:7=" + list + (fits ? "~~" : "r~~"), "SCPHomeDir=j"});
    Store(Key("SCP\\Users\\next"), {});
    pages.Show(I::ScpUser, "SCP Users::joe");
    pages.Show(I::ScpUser, "SCP Users::next");
    pages.Do("Home Directory=n");
    EXPECT_TRUE(pages.driver.Apply());
    EXPECT_EQ(PageDriver::Stored("vRoots", Key("SCP\\Users\\next")).has_value(), fits);
    const auto& saved = pages[I::ScpUser].m_saves.back();
    EXPECT_EQ(saved.value, fits ? "" : "vRoots");
    EXPECT_EQ(saved.status != 0, !fits);
  }
}

// A failed write ends those behind it, but for a value that is written always.
TEST(TransferPrincipals, WriteRootsBehindAFailedWrite) {
  struct Record {
    CString text;
    CStringList list;
  };
  using V = Values<Record>;
  PageDriver driver;
  const std::string tooLong(20000, 'n');
  const Value rows[] = {V::Text<&Record::text>(tooLong.c_str()), V::Text<&Record::text>("Skipped"),
                        V::MultiString<&Record::list>("vRoots").Always()};
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(key.CreateKey(PageDriver::kServer));
  EXPECT_FALSE(SaveValues(key, rows, Record{"x", {"a", "b"}}));
  ExpectValues(PageDriver::kServer, "vRoots:7=a~b~~");
}

// A configuration keeps both kinds of principals among its users, and the two steps under the whole target.
TEST(TransferPrincipals, OfAConfigurationLieWhereItKeepsThem) {
  const struct {
    PageIndex page;
    const char* target;
    const char* key;
    const char* act;
    const char* value;
  } cases[] = {
      {I::SftpGroupUser, "pagetest::SFTP Groups::A", R"(SFTP\Users\A)", "Home directory=x", "StartDir"},
      {I::ScpGroupUser, "pagetest::SCP Groups::A", R"(SCP\Users\A)", "Home Directory=x", "SCPHomeDir"},
      {I::SftpUserTempFeature, "pagetest::SFTP Groups::A::Two Step Upload",
       R"(WSMan\Groups\pagetest::SFTP Groups::A::Two Step Upload)", "Enable temporary copy feature=on",
       "UseTempUpload"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    Pages pages(true);
    PageDriver::MakeKey(ConfigurationKey(c.key));
    pages.Show(c.page, c.target);
    pages.Do(c.act);
    EXPECT_TRUE(pages.driver.Apply());
    EXPECT_TRUE(PageDriver::Stored(c.value, ConfigurationKey(c.key)).has_value());
  }
}

// An SFTP principal's entry waits as a list left it until it is written; the two steps keep none for a node
// that is shown.
TEST(TransferPrincipals, WaitForApply) {
  const struct {
    PageIndex page;
    const char* suffix;
    const char* caption;
    bool stays;
  } cases[] = {{I::SftpUser, "", "Show hidden files", true},
               {I::SftpUserTempFeature, "::Two Step Upload", "Enable temporary copy feature", false}};
  for (const auto& c : cases) {
    Pages pages;
    PageDriver::MakeKey(Key("SFTP\\Users\\joe"));
    const std::string node = std::string("SFTP Users::joe") + c.suffix;
    pages.Show(c.page, node);
    pages.driver.Put(c.caption, "on");
    pages.Show(I::Sftp);
    pages.Show(c.page, node);
    EXPECT_EQ(pages.driver.Value(c.caption), "on");
    EXPECT_EQ(pages[c.page].m_pending.contains(node), c.stays) << c.caption;
  }
}

// Types into the dialog as a person does, and notes when it may be left.
class TypingFrontEnd : public ScriptedFrontEnd {
 public:
  std::string notes;
  void RunModal(CDialog& dialog) override {
    CWnd& path = *dialog.Find("Virtual Path").control;
    const auto note = [&] { notes += dialog.Find("OK").control->IsWindowEnabled() ? "+" : "-"; };
    note();
    path.Type("a/b\\c");
    note();
    EXPECT_EQ(Beeps(), 2);
    EXPECT_EQ(path.Value(), "abc");
    EXPECT_FALSE(path.Put("a/b"));
    EXPECT_FALSE(path.Put(std::string(256, 'x')));
    AddPath("D:\\x");
    EXPECT_TRUE(dialog.Press("Browse"));
    note();
    EXPECT_TRUE(dialog.Put("File Path", ""));
    note();
    dialog.PressEnter();
    EXPECT_FALSE(dialog.Ended());
    EXPECT_TRUE(dialog.Put("File Path", "D:\\y"));
    dialog.PressEnter();
    EXPECT_TRUE(dialog.Ended());
  }
};

TEST(TransferPrincipals, FillARootsTextsBoth) {
  Pages pages;
  TypingFrontEnd person;
  FrontEnd* const before = SetFrontEnd(&person);
  PageDriver::MakeKey(Key("SFTP\\Users\\joe"));
  pages.Show(I::SftpUser, "SFTP Users::joe");
  pages.Do(kVirtual);
  pages.driver.Press("Add");
  EXPECT_EQ(person.notes, "--+-");
  EXPECT_THAT(pages.Rows(kRoots), ElementsAre("abc|D:\\y"));
  EXPECT_TRUE(pages.driver.Get<CListCtrl>(kRoots).Select(-1));
  SetFrontEnd(before);
  for (const char* answer : {"Virtual Path=d", "OK"}) pages.driver.frontEnd.AddAnswer(answer);
  EXPECT_TRUE(pages.driver.Get<CListCtrl>(kRoots).DoubleClick(0));
  EXPECT_THAT(pages.Rows(kRoots), ElementsAre("d|D:\\y"));
}

TEST(TransferPrincipals, KeepTheLimitsOfTheirTexts) {
  Pages pages;
  PageDriver::MakeKey(Key("SFTP\\Users\\joe"));
  pages.Show(I::SftpUserTempFeature, "SFTP Users::joe::Two Step Upload");
  pages.Do("Enable temporary copy feature=on; Use Custom Extension=on");
  for (const auto& [caption, limit] : {std::pair("Temporary Extension", 15), {"Match String", 255}}) {
    auto& edit = pages.driver.Get<CEdit>(caption);
    EXPECT_FALSE(edit.Put(std::string(static_cast<size_t>(limit) + 1, 'x'))) << caption;
    EXPECT_TRUE(edit.Type(std::string(static_cast<size_t>(limit) + 1, 'x')));
    EXPECT_EQ(edit.GetText().size(), static_cast<size_t>(limit)) << caption;
  }
}

}  // namespace
