#include "pages/transport/key_generation.h"

#include "platform/keymill.h"

namespace {

using D = Rows<KeyRequest>;
using E = Rows<KeyDescription>;

constexpr int kBitsAtStart = 2048;

struct Lengths {
  std::string_view type;  // empty for any other
  int min;
  int max;
  int tick;
};
constexpr Lengths kLengths[] = {{"dsa", 1024, 3072, 64}, {"", 1024, 8192, 1024}};

const Lengths& LengthsOf(std::string_view type) {
  return text::EqualNoCase(type, kLengths[0].type) ? kLengths[0] : kLengths[1];
}

constexpr Row kGenerationControls[] = {
    D::DropDown<&KeyRequest::type>("Type", {}).Disabled().As<&CDlgKeyGen::m_typeList>(),
    D::Edit<&KeyRequest::file>("Filename"),
    D::NumberEdit<&KeyRequest::bits>("Length in bits").As<&CDlgKeyGen::m_bitsEdit>(),
    D::Slider("").As<&CDlgKeyGen::m_slider>(),
    D::Edit<&KeyRequest::comment>("Comment"),
    D::Edit<&KeyRequest::passphrase>("Passphrase").Hidden(),
    D::Edit<&KeyRequest::confirm>("Confirm Passphrase").Hidden().OnLeave<&CDlgKeyGen::ComparePassphrases>(),
    D::Button("Generate").Default().On<&CDlgKeyGen::Generate>(),
    D::Button("Cancel").On<&CDialog::OnCancel>(),
};

constexpr Row kEditControls[] = {
    E::Edit<&KeyDescription::user>("User:"),
    E::Edit<&KeyDescription::comment>("Comment:"),
    E::Edit<&KeyDescription::fingerprint>("Fingerprint:").ReadOnly(),
    E::Button("OK").Default().On<&CDlgKeyEdit::OnOK>(),
    E::Button("Cancel").On<&CDialog::OnCancel>(),
};

}  // namespace

const std::span<const Row> CDlgKeyGen::kControls = kGenerationControls;
const std::span<const Row> CDlgKeyEdit::kControls = kEditControls;

CDlgKeyGen::CDlgKeyGen(const CString& file, const CString& type)
    : FormDialog("Generate Key", KeyRequest{.type = type, .file = file}), m_initialFile(file) {}

bool CDlgKeyGen::OnInitDialog() {
  const FillScope filling(*this);
  m_typeList->AddString(m_data.type);
  const Lengths& lengths = LengthsOf(m_data.type);
  m_data.bits = std::to_string(kBitsAtStart);
  m_form.Show(m_data);
  m_bitsEdit->SetSlaveSlider(*m_slider);
  m_bitsEdit->SetRange(lengths.min, lengths.max, 1);
  m_bitsEdit->SetValue(kBitsAtStart);
  m_slider->SetRange(lengths.min, lengths.max);
  m_slider->SetTicFreq(lengths.tick);
  m_slider->SetPos(kBitsAtStart);
  m_slider->lowLabel = std::to_string(lengths.min);
  m_slider->highLabel = std::to_string(lengths.max);
  return true;
}

void CDlgKeyGen::ComparePassphrases() {
  m_form.Read(m_data);
  if (m_data.passphrase == m_data.confirm) return;
  m_data.passphrase.clear();
  m_data.confirm.clear();
  AfxMessageBox("Passphrase doesn't match");
  ShowData();
}

// A key that could not be made ends the dialog too: the page then shows what stands at the path.
void CDlgKeyGen::Generate() {
  m_form.Read(m_data);
  std::uint64_t steps = 0;
  const int made = keymill::GenerateKey(m_data.type.c_str(), m_data.bits.c_str(), m_data.file.c_str(),
                                        m_data.passphrase.c_str(), m_data.comment.c_str(), [&steps] {
                                          return CurrentFrontEnd().TakeTurn({++steps, "steps"});
                                        });
  if (made == -1) {
    m_data.file = m_initialFile;
    AfxMessageBox("Unable to generate key");
  }
  OnOK();
}
