#include "framework/record_page.h"
#include "framework/static_link.h"
#include "pages/pages.h"
#include "store/service_control.h"

namespace {

struct AboutRecord {
  CString text;
};

class CPrpAbout final : public RecordPage<CPrpAbout, AboutRecord> {
 public:
  explicit CPrpAbout(const PageArguments& arguments) : RecordPage(arguments, 1) {}
  static const PageTable kTable;

  bool OnApply() override;

  CStaticLink* m_mail = nullptr;
  CStaticLink* m_web = nullptr;

 protected:
  bool OnInitDialog() override;
  void LoadFrom(const CTesselRegObject& key, AboutRecord& record, KeyOf which) override;
};

using R = AboutRecord;
using C = CPrpAbout::Controls;

constexpr Row kControls[] = {
    C::Picture("product"),
    C::Note("Tessel Marrowen SSH Server"),
    C::Note("MarrowenMgr " MARROWEN_VERSION ". Documentation: the folder docs beside the program."),
    C::Link("support@tesselworks.example").As<&CPrpAbout::m_mail>(),
    C::Link("https://www.tesselworks.example").As<&CPrpAbout::m_web>(),
    C::Edit<&R::text>("Server").MultiLine().ReadOnly(),
};

constexpr PageTable CPrpAbout::kTable = {
    .caption = "About",
    .helpTopic = "",
    .hears = Hears::ReloadOnly,
    .controls = kControls,
};

constexpr const char* kServerProgram = R"(Marrowen\sshd64.exe)";

// "\r\nVersion:  5.0 Build 9 Revision 1956" of a program's version resource (verrsrc.h); empty where the file
// can't be read or has none.
CString VersionLine(const CString& program) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeA(program.c_str(), &ignored);
  std::vector<BYTE> resource(size);
  void* block = nullptr;
  UINT length = 0;
  if (size == 0 || !GetFileVersionInfoA(program.c_str(), 0, size, resource.data()) ||
      !VerQueryValueA(resource.data(), "\\", &block, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
    return {};
  }
  const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(block);
  const auto part = [](DWORD number) { return std::to_string(number); };
  return "\r\nVersion:  " + part(HIWORD(version.dwFileVersionMS)) + '.' +
         part(LOWORD(version.dwFileVersionMS)) + " Build " + part(HIWORD(version.dwFileVersionLS)) +
         " Revision " + part(LOWORD(version.dwFileVersionLS));
}

bool CPrpAbout::OnInitDialog() {
  m_mail->SetLink("mailto:support@tesselworks.example");
  m_web->SetLink("https://www.tesselworks.example");
  return RecordPage::OnInitDialog();
}

void CPrpAbout::LoadFrom(const CTesselRegObject& key, R& record, KeyOf) {
  char path[kValueBufferSize];
  key.GetStringValue("Path", reinterpret_cast<BYTE*>(path), sizeof path);
  const CString program = CString(path) + kServerProgram;
  record.text = program + VersionLine(program);
}

// The server reads its settings when it starts, so what was applied counts from here on.
bool CPrpAbout::OnApply() {
  const bool applied = RecordPage::OnApply();
  if (WasShown()) {
    std::uint64_t looks = 0;
    RestartService(m_computer, "InetD",
                   {.onlyIfRunning = true, .waitsForStart = true, .logsStates = true, .waits = [&looks] {
                      return CurrentFrontEnd().TakeTurn({++looks, "looks at InetD"});
                    }});
  }
  return applied;
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAboutPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAbout>(arguments);
}
