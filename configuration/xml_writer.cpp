#include "configuration/xml_writer.h"

#include <algorithm>
#include <utility>

namespace {

// An attribute as it stands inside a tag.
void AppendAttribute(CString& tag, std::string_view name, std::string_view value) {
  tag += ' ';
  tag += name;
  tag += "=\"";
  tag += value;
  tag += '"';
}

}  // namespace

int XmlWriter::Write(std::string_view text) {
  if (!isOpen_) {
    isOpen_ = m_file.Open(fileName_);
    m_error = {};
    if (!isOpen_) return 0;
  }
  WriteHeaderOnce();
  return m_file.Write(text) ? 1 : 0;
}

void XmlWriter::SetFileName(std::string_view name) {
  if (!isOpen_) fileName_ = name;
}

int XmlWriter::Close() {
  if (isOpen_ && !m_file.Close()) m_error = m_file.Error();
  Reset();
  return 1;
}

void XmlWriter::Abandon() {
  m_file.Abandon();
  Reset();
}

void XmlWriter::Reset() {
  indent = 0;
  headerWritten_ = false;
  isOpen_ = false;
}

void XmlWriter::WriteHeaderOnce() {
  if (headerWritten_) return;
  headerWritten_ = true;
  const int depth = std::exchange(indent, 0);
  XmlElement declaration("xml");
  declaration.SetAttribute("version", "1.0");
  declaration.SetAttribute("encoding", "UTF-8");
  declaration.WriteInstruction(*this, 0);
  indent = depth;
}

int XmlStringWriter::Write(std::string_view text) {
  WriteHeaderOnce();
  m_buffer += text;
  return 1;
}

void XmlElement::SetAttribute(std::string_view name, std::string_view value) {
  const auto found = std::find(attributeNames_.begin(), attributeNames_.end(), name);
  if (found != attributeNames_.end()) {
    attributeValues_[static_cast<size_t>(found - attributeNames_.begin())] = value;
    return;
  }
  attributeNames_.emplace_back(name);
  attributeValues_.emplace_back(value);
}

bool XmlElement::HasAttribute(std::string_view name) const {
  return std::find(attributeNames_.begin(), attributeNames_.end(), name) != attributeNames_.end();
}

void XmlElement::GetAttributeName(int index, CString& out) const {
  out.clear();
  if (index >= 0 && index < GetAttributeCount()) out = attributeNames_[static_cast<size_t>(index)];
}

void XmlElement::GetAttributeValue(int index, CString& out) const {
  out.clear();
  if (index >= 0 && index < GetAttributeCount()) out = attributeValues_[static_cast<size_t>(index)];
}

CString XmlElement::Tag(std::string_view open, std::string_view close, int blanks, bool newLine) const {
  CString tag(static_cast<size_t>(std::max(blanks, 0)), ' ');
  tag += open;
  tag += m_name;
  for (size_t i = 0; i < attributeNames_.size(); ++i)
    AppendAttribute(tag, attributeNames_[i], attributeValues_[i]);
  tag += close;
  if (newLine) tag += "\r\n";
  return tag;
}

void XmlElement::WriteStart(XmlWriter& writer, int delta, bool doIndent, bool newLine) const {
  writer.indent += delta;
  writer.Write(Tag("<", ">", doIndent ? writer.indent : 0, newLine));
}

void XmlElement::WriteEmpty(XmlWriter& writer, int delta, bool doIndent, bool newLine) const {
  writer.indent += delta;
  writer.Write(Tag("<", "/>", doIndent ? writer.indent : 0, newLine));
  writer.indent -= delta;
}

void XmlElement::WriteEnd(XmlWriter& writer, int delta, bool doIndent, bool newLine) const {
  writer.Write(XmlElement(m_name).Tag("</", ">", doIndent ? writer.indent : 0, newLine));
  writer.indent += delta;
}

void XmlElement::WriteInstruction(XmlWriter& writer, int delta) const {
  writer.indent += delta;
  writer.Write(Tag("<?", "?>", writer.indent, true));
}
