#include "configuration/settings_walk.h"

#include <algorithm>
#include <utility>

#include "configuration/value_text.h"

namespace {

using text::EqualNoCase;

class Walk {
 public:
  Walk(const CStringList* pairs, PadState& pad, SettingsTarget& target)
      : pairs_(pairs), pad_(pad), target_(target) {}

  int Run(XmlReader& reader);

 private:
  void Attribute(std::string_view element, const CString& name, CString value);
  void BeginKey(CString name);
  void End(std::string_view element);
  void EndKey();
  void EndValue();

  const CStringList* pairs_;
  PadState& pad_;
  SettingsTarget& target_;
  std::vector<KeyFrame> frames_;
  CString path_;  // the names of all frames but the first, joined by backslashes
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
        if (pad_.inside) ++pad_.depth;
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
  if (!frames_.empty()) {
    if (frames_.size() > 1) path_ += '\\';
    path_ += name;
  }
  frames_.push_back({std::move(name), nullptr});
  KeyFrame& frame = frames_.back();
  if (pad_.inside && pad_.depth == 1) pad_.entropy = frame.name;
  if (!target_.Open(frames_.front().name, SubstituteTokens(path_, pairs_), frames_.size() - 1, frame.key)) {
    goOn_ = false;
  }
  if (padLevel_ > 0) {
    padLevel_ = std::min(padLevel_ + 1, 3);
  } else if (IsPadName(frame.name)) {
    padLevel_ = 1;
    pad_.inside = true;
  }
}

void Walk::End(std::string_view element) {
  if (pad_.inside && pad_.depth-- == 0) pad_.inside = false;
  if (frames_.empty()) return;
  if (EqualNoCase(element, "k")) EndKey();
  if (EqualNoCase(element, "v")) EndValue();
}

void Walk::EndKey() {
  const size_t own = frames_.back().name.size();
  frames_.pop_back();
  const size_t separator = frames_.size() > 1 ? 1 : 0;
  path_.resize(frames_.empty() ? 0 : path_.size() - own - separator);
  padLevel_ = std::max(padLevel_ - 1, 0);
  target_.Leave();
}

void Walk::EndValue() {
  const KeyFrame& frame = frames_.back();
  const bool cached =
      (padLevel_ == 2 && IsDefaultName(valueName_)) || (padLevel_ == 3 && EqualNoCase(valueName_, "AD2"));
  if (cached) {
    target_.StoreCached(frame, pad_.entropy, valueName_, valueText_);
  } else {
    target_.Store(frame, valueName_, valueType_, valueText_);
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
