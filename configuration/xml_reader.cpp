#include "configuration/xml_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t kPiece = 64 * 1024;
constexpr const char* kTooLong = "Text too long";

// What a character ends.
enum : unsigned { kSpace = 1, kElement = 2, kSlash = 4, kAttributeName = 8, kValue = 16, kText = 32 };

constexpr std::array<uint8_t, 256> kEnds = [] {
  std::array<uint8_t, 256> ends{};
  ends[' '] = kSpace | kElement | kAttributeName;
  ends['\r'] = ends['\n'] = kSpace | kElement | kAttributeName | kValue | kText;
  ends['>'] = kElement | kAttributeName | kValue;
  ends['/'] = kSlash;
  ends['='] = kAttributeName;
  ends['"'] = ends['\''] = kValue;
  ends['<'] = kText;
  return ends;
}();

bool Ends(char c, unsigned what) { return (kEnds[static_cast<unsigned char>(c)] & what) != 0; }

// The first character from `at` on that ends `what`. The line end behind the buffer's bytes stops it.
const char* FindEnd(const char* at, unsigned what) {
  while (!Ends(*at, what)) ++at;
  return at;
}

const char* SkipSpace(const char* at, const char* end) {
  while (at != end && Ends(*at, kSpace)) ++at;
  return at;
}

std::string_view Between(const char* from, const char* to) { return {from, static_cast<size_t>(to - from)}; }

}  // namespace

int XmlReader::SetFileName(std::string_view name) {
  if (!isOpen_) fileName_ = name;
  return 1;
}

int XmlReader::Close() {
  m_file.reset();
  isOpen_ = false;
  showErrors_ = false;
  return 1;
}

void XmlReader::GetAttribute(CString& outName, CString& outValue) const {
  outName = attributeName_;
  outValue = attributeValue_;
}

int XmlReader::Read() {
  if (!isOpen_ && !Open()) return 0;
  if (m_fileError || (m_position == nullptr && !NextLine())) return 0;
  for (;;) {
    switch (Scan()) {
      case Step::Done:
        return 1;
      case Step::Failed:
        return Fail();
      case Step::NeedMore:
        if (!Extend()) {
          m_refusal = kTooLong;
          return Fail();
        }
        // What was read of the line is no line.
        if (m_fileError) return 0;
    }
  }
}

int XmlReader::Fail() {
  errorText_ = "Parse error in line " + std::to_string(lineNumber_) + " : (" + m_refusal + ")";
  if (showErrors_ && showMessage) showMessage(errorText_);
  return 0;
}

bool XmlReader::Open() {
  m_file = m_open(fileName_);
  isOpen_ = m_file != nullptr;
  m_buffer.resize(kPiece + 1);
  nextLine_ = dataEnd_ = m_buffer.data();
  m_position = nullptr;
  sourceEnded_ = false;
  lineNumber_ = 0;
  m_state = State::Outside;
  errorText_.clear();
  m_fileError = {};
  elementName_ = attributeName_ = attributeValue_ = instructionName_ = {};
  return isOpen_;
}

bool XmlReader::NextLine() {
  m_position = nextLine_;
  FindLineEnd(m_position);
  if (!lineComplete_) FetchMore(m_buffer.size());
  if (m_fileError) return false;
  if (lineComplete_ && nextLine_ == m_position) {
    m_position = nullptr;
    return false;
  }
  ++lineNumber_;
  return true;
}

// The scanner ran into the end of the buffer inside a line: it starts its step again with more of the line.
// False when the step would need more than one token may have.
bool XmlReader::Extend() {
  const auto held = static_cast<size_t>(dataEnd_ - m_position);
  if (held > kLongestToken) return false;
  FetchMore(std::max(m_buffer.size(), held * 2));
  return true;
}

// Moves the bytes from `m_position` on to the front of the buffer, which gets `size` bytes, and reads until
// the line ends or the buffer is full.
void XmlReader::FetchMore(size_t size) {
  PinViews();
  const auto held = static_cast<size_t>(dataEnd_ - m_position);
  if (size > m_buffer.size()) {
    std::vector<char> larger(size);
    std::copy_n(m_position, held, larger.begin());
    m_buffer.swap(larger);
  } else {
    std::memmove(m_buffer.data(), m_position, held);
  }
  m_position = m_buffer.data();
  dataEnd_ = m_buffer.data() + held;
  char* const full = m_buffer.data() + m_buffer.size() - 1;
  do {
    char* const from = dataEnd_;
    const size_t got = sourceEnded_ ? 0 : m_file->Read({dataEnd_, full});
    sourceEnded_ = got == 0;
    if (sourceEnded_) m_fileError = m_file->Error();
    dataEnd_ += got;
    FindLineEnd(from);
  } while (!lineComplete_ && dataEnd_ != full);
}

// `from` is where the bytes begin that were not searched yet.
void XmlReader::FindLineEnd(const char* from) {
  const void* const feed = std::memchr(from, '\n', static_cast<size_t>(dataEnd_ - from));
  lineComplete_ = feed != nullptr || sourceEnded_;
  lineEnd_ = feed != nullptr ? static_cast<const char*>(feed) : dataEnd_;
  nextLine_ = feed != nullptr ? lineEnd_ + 1 : lineEnd_;
  if (feed == nullptr) *dataEnd_ = '\n';
  // A return belongs to the feed behind it. At the end of the buffer that feed may still come.
  const bool feedFollows = feed != nullptr || !sourceEnded_;
  if (feedFollows && lineEnd_ != m_position && lineEnd_[-1] == '\r') --lineEnd_;
}

// Copies what the views show, because the buffer's bytes are about to move.
void XmlReader::PinViews() {
  const auto pin = [](std::string_view& view, CString& store) {
    if (view.data() != store.data()) store = view;
    view = store;
  };
  pin(elementName_, elementStore_);
  pin(attributeName_, attributeStore_);
  pin(attributeValue_, valueStore_);
  pin(instructionName_, instructionStore_);
}

// A step either changes the state and finishes, or leaves it as it was: it can then run again, with more of
// the line or into the same fault.
XmlReader::Step XmlReader::Scan() {
  nodeType_ = XmlNothing;
  const char* at = m_position;
  if (at == lineEnd_) return LineEnds();
  if (m_state == State::Text) return ScanText(at);
  if (m_state == State::Value) return ScanValue(at);
  if (m_state != State::Outside) {
    at = SkipSpace(at, lineEnd_);
    if (at == lineEnd_) return LineEnds();
    if (m_state == State::Comment) return SkipUntil(at, "-->", XmlComment);
    if (m_state == State::CData) return SkipUntil(at, "]]>", XmlCData);
  }
  return ScanTag(at);
}

XmlReader::Step XmlReader::ScanTag(const char* at) {
  const bool inTag = m_state == State::Tag;
  switch (*at) {
    case '<':
      return inTag ? Refuse("Bad '<' symbol") : OpenTag(at + 1);
    case '?':
      return FinishAt(at + 1);
    case '/': {
      const char* const end = FindEnd(at + 1, kElement);
      if (CutOff(end)) return Step::NeedMore;
      nodeType_ = XmlEndElement;
      return FinishAt(end);
    }
    case '>':
      m_state = State::Text;
      return FinishAt(at + 1);
    case '=':
      if (!inTag) return Refuse("Syntax error");
      m_state = State::Value;
      return FinishAt(at + 1);
    default: {
      if (!inTag) return Refuse("Syntax error");
      const char* const end = FindEnd(at, kAttributeName);
      if (CutOff(end)) return Step::NeedMore;
      attributeName_ = Between(at, end);
      attributeValue_ = {};
      return FinishAt(end);
    }
  }
}

XmlReader::Step XmlReader::OpenTag(const char* at) {
  constexpr std::string_view kCommentOpens = "!--";
  constexpr std::string_view kCDataOpens = "![CDATA[";
  at = SkipSpace(at, lineEnd_);
  const std::string_view rest = Between(at, lineEnd_);
  if (!lineComplete_ && rest.size() < kCDataOpens.size()) return Step::NeedMore;
  if (rest.empty()) return Refuse("'<' symbol not allowed at the end of a line");
  if (rest.substr(0, kCommentOpens.size()) == kCommentOpens) {
    m_state = State::Comment;
    nodeType_ = XmlComment;
    return FinishAt(at + kCommentOpens.size());
  }
  if (rest.substr(0, kCDataOpens.size()) == kCDataOpens) {
    m_state = State::CData;
    nodeType_ = XmlCData;
    return FinishAt(at + kCDataOpens.size());
  }
  if (*at == '>') return Refuse("Empty element name");
  const char* const end = FindEnd(at + 1, kElement | kSlash);
  if (CutOff(end)) return Step::NeedMore;
  const std::string_view name = Between(at, end);
  if (*at == '?' || *at == '!') {
    nodeType_ = XmlInstruction;
    instructionName_ = name;
    elementName_ = {};
  } else if (*at == '/') {
    nodeType_ = XmlEndElement;
    elementName_ = name.substr(1);
  } else {
    nodeType_ = XmlStartElement;
    elementName_ = name;
  }
  m_state = State::Tag;
  return FinishAt(end);
}

XmlReader::Step XmlReader::ScanText(const char* at) {
  const char* const end = FindEnd(at, kText);
  if (CutOff(end)) return Step::NeedMore;
  if (end != at) nodeType_ = XmlText;
  if (end == lineEnd_) return FinishAt(end);
  if (*end != '<')
    return FinishAt(end + 1);  // a return inside the line: a run ends before and begins behind it
  m_state = State::Outside;
  return FinishAt(end);
}

// The value is collected with its opening quote, so that it isn't empty while more of it is to come. Any
// quote, ">" or return closes it, whatever opened it.
XmlReader::Step XmlReader::ScanValue(const char* at) {
  if (attributeValue_.empty()) {
    at = SkipSpace(at, lineEnd_);
    if (at == lineEnd_) return FinishAt(at);
    attributeValue_ = Between(at, at + 1);
    return FinishAt(at + 1);
  }
  const char* const end = FindEnd(at, kValue);
  if (CutOff(end)) return Step::NeedMore;
  const std::string_view run = Between(at, end);
  if (attributeValue_.size() + run.size() > kLongestToken) return Refuse(kTooLong);
  AppendValue(run);
  if (end == lineEnd_) {
    AppendValue("\r\n");
    return FinishAt(end);
  }
  while (!attributeValue_.empty() && (attributeValue_.front() == '"' || attributeValue_.front() == '\'')) {
    attributeValue_.remove_prefix(1);
  }
  nodeType_ = XmlAttribute;
  m_state = State::Tag;
  return FinishAt(*end == '>' ? end : end + 1);
}

XmlReader::Step XmlReader::SkipUntil(const char* at, std::string_view close, XmlNodeType node) {
  const size_t found = Between(at, lineEnd_).find(close);
  if (found == std::string_view::npos) {
    if (!lineComplete_) return Step::NeedMore;
    nodeType_ = node;
    return FinishAt(lineEnd_);
  }
  m_state = State::Text;
  return FinishAt(at + found + close.size());
}

void XmlReader::AppendValue(std::string_view run) {
  if (attributeValue_.data() + attributeValue_.size() == run.data()) {
    attributeValue_ = {attributeValue_.data(), attributeValue_.size() + run.size()};
    return;
  }
  if (attributeValue_.data() != valueStore_.data()) valueStore_ = attributeValue_;
  valueStore_ += run;
  attributeValue_ = valueStore_;
}

XmlReader::Step XmlReader::LineEnds() {
  if (!lineComplete_) return Step::NeedMore;
  m_position = nullptr;
  return Step::Done;
}

XmlReader::Step XmlReader::FinishAt(const char* at) {
  m_position = at;
  return Step::Done;
}

XmlReader::Step XmlReader::Refuse(const char* why) {
  m_refusal = why;
  return Step::Failed;
}
