#include "framework/record_page.h"
#include "pages/filetransfer/file_transfer.h"
#include "pages/pages.h"
#include "store/directories.h"

namespace {

struct TwoStepRecord {
  CString matchString;
  bool useCustomExt = false;
  CString customTempExt;
  CString customTempDir;
  bool useDirectoryUpload = false;
  bool useCustomDir = false;
  bool useTempUpload = false;
};

// Of a principal, but no list copies it: how a new principal's uploads come into place starts anew.
class CPrpSftpUserTempFeature final : public RecordPage<CPrpSftpUserTempFeature, TwoStepRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;
};

using R = TwoStepRecord;
using C = CPrpSftpUserTempFeature::Controls;
using V = CPrpSftpUserTempFeature::StoredValues;

bool TakesExtension(const R& record) { return record.useTempUpload && !record.useDirectoryUpload; }
bool TakesOwnExtension(const R& record) { return TakesExtension(record) && record.useCustomExt; }
bool TakesDirectory(const R& record) { return record.useTempUpload && record.useDirectoryUpload; }
bool TakesOwnDirectory(const R& record) { return TakesDirectory(record) && record.useCustomDir; }
CString FromCurrentDirectory(const CString&) { return CurrentDirectory(); }

constexpr Row kControls[] = {
    C::Note("Copy files first to a temporary location or name then move the file to the defined upload "
            "directory"),
    C::CheckBox<&R::useTempUpload>("Enable temporary copy feature"),
    C::Edit<&R::matchString>("Match String").MaxLength(255).EnabledBy<&R::useTempUpload>(),
    C::Radio<&R::useDirectoryUpload>(
        "Use Temporary Extension - Upload to current directory, using either the default extension, .upload, "
        "or by defining a custom extension. ",
        0)
        .EnabledBy<&R::useTempUpload>(),
    C::CheckBox<&R::useCustomExt>("Use Custom Extension")
        .EnabledWhen<TakesExtension, &R::useTempUpload, &R::useDirectoryUpload>(),
    C::Edit<&R::customTempExt>("Temporary Extension")
        .MaxLength(15)
        .EnabledWhen<TakesOwnExtension, &R::useTempUpload, &R::useDirectoryUpload, &R::useCustomExt>(),
    C::Radio<&R::useDirectoryUpload>(
        "Use Temporary Directory - Upload to temporary directory using temporary name, then move the file to "
        "the upload directory",
        1)
        .EnabledBy<&R::useTempUpload>(),
    C::Radio<&R::useCustomDir>("Use Windows Temporary Directory", 0)
        .EnabledWhen<TakesDirectory, &R::useTempUpload, &R::useDirectoryUpload>(),
    C::Radio<&R::useCustomDir>("Use Custom Temporary Directory", 1)
        .EnabledWhen<TakesDirectory, &R::useTempUpload, &R::useDirectoryUpload>(),
    C::Edit<&R::customTempDir>("Custom Temp Directory")
        .MaxLength(255)
        .EnabledWhen<TakesOwnDirectory, &R::useTempUpload, &R::useDirectoryUpload, &R::useCustomDir>(),
    C::BrowseFolder<&R::customTempDir>("Temporary Upload Directory", FromCurrentDirectory)
        .EnabledWhen<TakesOwnDirectory, &R::useTempUpload, &R::useDirectoryUpload, &R::useCustomDir>(),
};

// One flag's other word is "false", where every other flag says "no": stored configurations hold it so, and
// it reads the same.
constexpr Value kValues[] = {
    V::Text<&R::matchString>("MatchString").NoCase(),
    V::Text<&R::customTempDir>("CustomTempDir").NoCase(),
    V::Text<&R::customTempExt>("CustomTempExt").NoCase(),
    V::Flag<&R::useTempUpload>("UseTempUpload", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::useCustomDir>("UseCustomDir", ReadRule::TrueOnlyIfYes).Words("yes", "false"),
    V::Flag<&R::useCustomExt>("UseCustomExt", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::useDirectoryUpload>("UseDirectoryUpload", ReadRule::TrueOnlyIfYes),
};

// It hears no message of its siblings: edits wait through an export and an import.
constexpr PageTable CPrpSftpUserTempFeature::kTable = {
    .caption = "Two Step Copy",
    .helpTopic = "::IDH_SftpTwoStep.htm",
    .helpKey = kHelpKey,
    .routing = Routing::TwoStepUpload,
    .hears = Hears::Nothing,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeSftpUserTempFeaturePage(const PageArguments& arguments) {
  return std::make_unique<CPrpSftpUserTempFeature>(arguments);
}
