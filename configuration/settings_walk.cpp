#include "configuration/settings_walk.h"

#include <algorithm>
#include <utility>

#include "configuration/value_text.h"

namespace {

using text::EqualNoCase;

class Walk {
 public:
  Walk(const CStringList* pairs, PadState& pad, SettingsTarget& target)
      : m_pairs(pairs), m_pad(pad), m_target(target) {}

  int Run(XmlReader& reader);

 private:
  void Attribute(std::string_view element, const CString& name, CString value);
  void BeginKey(CString name);
  void End(std::string_view element);
  void EndKey();
  void EndValue();

  const CStringList* m_pairs;
  PadState& m_pad;
  SettingsTarget& m_target;
  std::vector<KeyFrame> m_frames;
  CString m_path;  // the names of all frames but the first, joined by backslashes
  CString valueName_;
  CString valueText_;
  CString valueType_;
  bool goOn_ = true;
  // 1 in PAD, 2 in a child key of it, 3 below. It counts no further, so the way back up from deeper keys is
  // one step too short.
  int padLevel_ = 0;
};

int Walk::Run(XmlReader& reader) {
  while (goOn_ && reader.Read() != 0) {
    switch (reader.GetNodeType()) {
      case XmlStartElement:
        if (m_pad.inside) ++m_pad.depth;
        break;
      case XmlAttribute:
        Attribute(XmlUnescape(reader.ElementName()), XmlUnescape(reader.AttributeName()),
                  XmlUnescape(reader.AttributeValue()));
        break;
      case XmlEndElement:
        End(XmlUnescape(reader.ElementName()));
        break;
      default:
        break;
    }
  }
  return goOn_ ? 1 : 0;
}

void Walk::Attribute(std::string_view element, const CString& name, CString value) {
  if (EqualNoCase(element, "k")) {
    if (EqualNoCase(name, "name")) BeginKey(std::move(value));
    return;
  }
  if (!EqualNoCase(element, "v")) return;
  // Each attribute empties those that stand behind it in a sound file: values written in another order lose
  // what came first.
  if (EqualNoCase(name, "name")) {
    valueName_ = std::move(value);
    valueText_.clear();
    valueType_.clear();
  } else if (EqualNoCase(name, "value")) {
    valueText_ = std::move(value);
    valueType_.clear();
  } else if (EqualNoCase(name, "type")) {
    valueType_ = std::move(value);
  }
}

void Walk::BeginKey(CString name) {
  if (!m_frames.empty()) {
    if (m_frames.size() > 1) m_path += '\\';
    m_path += name;
  }
  m_frames.push_back({std::move(name), nullptr});
  KeyFrame& frame = m_frames.back();
  if (m_pad.inside && m_pad.depth == 1) m_pad.entropy = frame.name;
  if (!m_target.Open(m_frames.front().name, SubstituteTokens(m_path, m_pairs), m_frames.size() - 1,
                     frame.key)) {
    goOn_ = false;
  }
  if (padLevel_ > 0) {
    padLevel_ = std::min(padLevel_ + 1, 3);
  } else if (IsPadName(frame.name)) {
    padLevel_ = 1;
    m_pad.inside = true;
  }
}

void Walk::End(std::string_view element) {
  if (m_pad.inside && m_pad.depth-- == 0) m_pad.inside = false;
  if (m_frames.empty()) return;
  if (EqualNoCase(element, "k")) EndKey();
  if (EqualNoCase(element, "v")) EndValue();
}

void Walk::EndKey() {
  const size_t own = m_frames.back().name.size();
  m_frames.pop_back();
  const size_t separator = m_frames.size() > 1 ? 1 : 0;
  m_path.resize(m_frames.empty() ? 0 : m_path.size() - own - separator);
  padLevel_ = std::max(padLevel_ - 1, 0);
  m_target.Leave();
}

void Walk::EndValue() {
  const KeyFrame& frame = m_frames.back();
  const bool cached =
      (padLevel_ == 2 && IsDefaultName(valueName_)) || (padLevel_ == 3 && EqualNoCase(valueName_, "AD2"));
  if (cached) {
    goOn_ = m_target.StoreCached(frame, m_pad.entropy, valueName_, valueText_);
  } else {
    goOn_ = m_target.Store(frame, valueName_, valueType_, valueText_);
  }
  valueName_.clear();
  valueText_.clear();
  valueType_.clear();
}

}  // namespace

int WalkSettings(XmlReader& reader, const CString& file, const CStringList* pairs, PadState& pad,
                 SettingsTarget& target) {
  struct Closer {
    XmlReader& reader;
    ~Closer() { reader.Close(); }
  } closer{reader};
  reader.SetShowErrors(1);
  reader.SetFileName(file);
  return Walk(pairs, pad, target).Run(reader);
}
