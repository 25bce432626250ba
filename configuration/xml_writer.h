#pragma once

// The settings file's writer. One tag goes out per call and no tree is held; escaping is the caller's
// (XmlEscape). A file is UTF-8 without a mark, its lines end in CR LF, a line stands one blank in for each
// element around it.

#include <span>
#include <string_view>
#include <vector>

#include "configuration/byte_stream.h"
#include "platform/text.h"

class XmlWriter {
 public:
  XmlWriter() = default;
  XmlWriter(const XmlWriter&) = delete;
  XmlWriter& operator=(const XmlWriter&) = delete;
  virtual ~XmlWriter() = default;

  // Writes the bytes as they stand. The first call opens the file, which takes its place at Close, and puts
  // the XML declaration in front. 1, or 0 when the file can't be opened or takes no more.
  virtual int Write(std::string_view text);

  // Ignored while the file is open.
  void SetFileName(std::string_view name);
  // Closes the file if it is open; the writer can then be used again. Gives 1: whether the file is there in
  // full is told by GetError.
  int Close();
  // Gives the file up instead: its place stays as it was.
  void Abandon();
  // Why an open file took no more, or could not take its place. A file that could not be opened tells
  // nothing.
  const FileError& GetError() const { return m_error; }

  // The current depth, one blank a unit.
  int indent = 0;

 protected:
  // The declaration, once; through Write.
  void WriteHeaderOnce();

 private:
  void Reset();

  FileSink m_file;
  FileError m_error;
  bool isOpen_ = false;
  bool headerWritten_ = false;
  CString fileName_;
};

// The same into a string; no file is ever opened.
class XmlStringWriter : public XmlWriter {
 public:
  int Write(std::string_view text) override;
  const CString& GetBuffer() const { return m_buffer; }
  void ClearBuffer() { m_buffer.clear(); }

 private:
  CString m_buffer;
};

// An element's name and attributes. Attributes keep the order in which they were first set. `delta` is the
// change of the writer's depth, `doIndent` puts the blanks in front, `newLine` puts CR LF behind. The result
// of the write is not looked at: an export to a path that can't be opened runs to its end.
class XmlElement {
 public:
  explicit XmlElement(std::string_view name = {}) : m_name(name) {}

  void SetName(std::string_view name) { m_name = name; }
  // Replaces the value of an attribute of that name, compared with case, or appends the pair.
  void SetAttribute(std::string_view name, std::string_view value);
  bool HasAttribute(std::string_view name) const;
  int GetAttributeCount() const { return static_cast<int>(attributeNames_.size()); }
  // Empty for an index out of range.
  void GetAttributeName(int index, CString& out) const;
  void GetAttributeValue(int index, CString& out) const;

  // The depth grows before the tag goes out.
  void WriteStart(XmlWriter& writer, int delta, bool doIndent, bool newLine) const;
  // The depth is the same afterwards.
  void WriteEmpty(XmlWriter& writer, int delta, bool doIndent, bool newLine) const;
  // The depth changes after the tag went out: callers pass -1.
  void WriteEnd(XmlWriter& writer, int delta, bool doIndent, bool newLine) const;
  void WriteInstruction(XmlWriter& writer, int delta) const;

 private:
  CString Tag(std::string_view open, std::string_view close, int blanks, bool newLine) const;

  CString m_name;
  std::vector<CString> attributeNames_;
  std::vector<CString> attributeValues_;
};
