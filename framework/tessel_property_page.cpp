#include "framework/tessel_property_page.h"

#include "store/registry_object.h"

CTesselPropertyPage::CTesselPropertyPage(std::string_view caption, std::uint8_t aboutFlag,
                                         const PageArguments& arguments)
    : CPropertyPage(caption),
      m_aboutFlag(aboutFlag),
      m_computer(arguments.computer),
      m_baseKey(arguments.baseKey),
      m_secondKey(arguments.secondKey),
      m_context(arguments.context) {
  CString title;
  m_context->pfnMakeTitle(m_computer.c_str(), arguments.productWord, arguments.titleText.c_str(), &title);
  SetTitle(title + arguments.appended);
}

// The help file lies on the computer that the console runs on, whichever one the page edits.
void CTesselPropertyPage::WinHelp() {
  CTesselRegObject local;
  CString helpFile;
  if (local.OpenKey(nullptr, HKEY_LOCAL_MACHINE, CString(HelpKey()).c_str()) == ERROR_SUCCESS) {
    char buffer[kValueBufferSize];
    if (local.GetStringValue("HelpFile", reinterpret_cast<BYTE*>(buffer), sizeof buffer) == ERROR_SUCCESS) {
      helpFile = buffer;
    }
  }
  CurrentFrontEnd().ShowHelp(helpFile.append(HelpTopic()));
}
