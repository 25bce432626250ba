#pragma once

// The layer of every dialog that is made of rows: it shows its record when it opens and takes the screen when
// it is left by OK. A dialog that is shown again shows what was taken.

#include <span>
#include <string_view>

#include "framework/form.h"

// The record of a dialog whose rows edit none.
struct NoFields {};

// `Dialog` is the concrete class, which holds `static const std::span<const Row> kControls`.
template <class Dialog, class RecordType>
class FormDialog : public CDialog {
 public:
  using Record = RecordType;

  explicit FormDialog(std::string_view caption, Record record = {})
      : CDialog(caption), m_data(std::move(record)) {}

  const Record& Data() const { return m_data; }

  void OnOK() override {
    m_form.Read(m_data);
    CDialog::OnOK();
  }

 protected:
  void BuildControls() override { m_form.Build(*this, Dialog::kControls); }
  bool OnInitDialog() override {
    ShowData();
    return true;
  }
  void OnControl(CWnd& control, Notice notice) override {
    const Row* row = m_form.RowOf(control);
    if (row == nullptr) return;
    if (!Form::Handle(*this, *row, notice) && row->picker.kind != Picker::Kind::None &&
        notice == Notice::Clicked) {
      m_form.Pick(*this, *row);
    }
    if (!row->field) return;
    Record screen = m_data;
    m_form.Read(screen);
    m_form.EnableChanged(row->field, screen);
  }

  void ShowData() {
    {
      const FillScope filling(*this);
      m_form.Show(m_data);
    }
    m_form.EnableShown(m_data);
    m_form.ShowNumbers();
  }

  Form m_form;
  Record m_data;
};
