#pragma once

// The layer of every settings page of a principal. One object serves all principals, and a list page reaches
// it through PrincipalSettings.

#include "framework/principal_settings.h"
#include "framework/record_page.h"

template <class Page, class Record>
class PrincipalPage : public RecordPage<Page, Record>, public PrincipalSettings {
  using Base = RecordPage<Page, Record>;

 public:
  explicit PrincipalPage(const PageArguments& arguments)
      : Base(arguments), m_nodeSuffix(arguments.appended.substr(kAnyPrincipal.size())) {}

  // An entry stays when its target is shown: a principal visited twice has it replaced, and one that is put
  // back to what is stored keeps its older entry until Apply.
  bool OnSetActive() override {
    Base::ChooseTarget();
    return Base::ShowTarget(Base::m_refData.text, Base::Entry::Kept);
  }
  // What is left replaces the entry, where the base would keep the older one.
  bool OnKillActive() override {
    this->ReadScreen(Base::m_current);
    if (this->Differs(Base::m_current, Base::m_saved)) Base::DropPending(Base::m_target);
    return Base::OnKillActive();
  }

  std::string_view NodeSuffix() const override { return m_nodeSuffix; }
  AnyRecord CopyOf(const CString& target) override {
    auto record = std::make_shared<Record>();
    if (!Base::FindPending(*record, target)) this->LoadRecord(*record, target);
    return record;
  }
  void StashPending(AnyRecord settings, const CString& target) override {
    Base::m_pending.insert_or_assign(target, std::move(settings));
  }
  bool DropPending(const CString& target) override { return Base::DropPending(target); }
  void ApplyPending() override { Base::ApplyPending(); }

 private:
  // What stands for a principal's name in the title of the page.
  static constexpr std::string_view kAnyPrincipal = "::*";
  CString m_nodeSuffix;
};
