#pragma once

// A pull parser for the settings file. It hands out one small step per call, holds little more than the
// current line, pairs no tags, decodes no entity, and refuses only a handful of shapes.

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "configuration/byte_stream.h"
#include "platform/text.h"

enum XmlNodeType : int {
  XmlNothing = 0,       // nothing for the consumer; call Read again
  XmlStartElement = 1,  // an element's name was read
  XmlEndElement = 2,    // "/" of an empty element, or an end tag
  XmlAttribute = 3,     // an attribute is complete
  XmlText = 4,          // a run of text that is not empty; one for each line
  XmlInstruction = 5,   // a tag whose name begins with "?" or "!"; its attributes follow, without an element
  XmlComment = 6,       // a comment began, or goes on past the end of a line
  XmlCData = 7,         // a CDATA section began, or goes on past the end of a line
};

class XmlReader {
 public:
  // `open` gives the bytes of a file's name; tests and benches read from memory.
  explicit XmlReader(SourceOpener open = OpenFileSource) : m_open(std::move(open)) {}
  XmlReader(const XmlReader&) = delete;
  XmlReader& operator=(const XmlReader&) = delete;
  virtual ~XmlReader() = default;

  // The longest name, value or run of text.
  static constexpr size_t kLongestToken = 8 * 1024 * 1024;

  // One step. 1 while there is more; 0 at the end of the file, for a file that can't be opened or read on,
  // or after a parse error, which alone leaves an error text and comes again at each further call.
  virtual int Read();

  // The file opens at the first Read; until Close another name is ignored. Gives 1.
  int SetFileName(std::string_view name);
  // With it, parse errors also go to `showMessage`, if there is one.
  void SetShowErrors(int flag) { showErrors_ = flag != 0; }
  // Also resets SetShowErrors. Gives 1. The reader can then read another file.
  int Close();

  XmlNodeType GetNodeType() const { return nodeType_; }
  void GetElementName(CString& out) const { out = elementName_; }
  void GetAttribute(CString& outName, CString& outValue) const;
  void GetInstructionName(CString& out) const { out = instructionName_; }
  int GetLineNumber() const { return lineNumber_; }
  const CString& GetErrorText() const { return errorText_; }
  // Why an open file could not be read to its end; stays after Close.
  const FileError& GetFileError() const { return m_fileError; }

  // The same without a copy, until the next Read.
  std::string_view ElementName() const { return elementName_; }
  std::string_view AttributeName() const { return attributeName_; }
  std::string_view AttributeValue() const { return attributeValue_; }

  std::function<void(const CString& text)> showMessage;

 private:
  enum class Step { Done, NeedMore, Failed };
  // Where the scanner stands. Outside is before the first tag and on the "<" that ends a text.
  enum class State { Outside, Tag, Value, Text, Comment, CData };

  bool Open();
  bool NextLine();
  bool Extend();
  void FetchMore(size_t size);
  void FindLineEnd(const char* from);
  void PinViews();
  int Fail();

  Step Scan();
  Step ScanTag(const char* at);
  Step ScanText(const char* at);
  Step ScanValue(const char* at);
  Step OpenTag(const char* at);
  Step SkipUntil(const char* at, std::string_view close, XmlNodeType node);
  // Whether a run that reached `end` may go on behind the buffer's end.
  bool CutOff(const char* end) const { return end == lineEnd_ && !lineComplete_; }
  Step LineEnds();
  Step FinishAt(const char* at);
  Step Refuse(const char* why);
  void AppendValue(std::string_view run);

  SourceOpener m_open;
  std::unique_ptr<ByteSource> m_file;
  bool isOpen_ = false;
  bool showErrors_ = false;
  CString fileName_;
  CString errorText_;
  FileError m_fileError;
  const char* m_refusal = nullptr;

  // One piece of the file, with a line end behind the last byte as a stop for the scanner. `m_position` is
  // the next character of the line, null to ask for the next line.
  std::vector<char> m_buffer;
  const char* m_position = nullptr;
  const char* lineEnd_ = nullptr;   // of what the buffer has of the line, without its line end
  bool lineComplete_ = false;       // the line ends there
  const char* nextLine_ = nullptr;  // behind the line's end; of use if the line is complete
  char* dataEnd_ = nullptr;
  bool sourceEnded_ = false;
  int lineNumber_ = 0;

  XmlNodeType nodeType_ = XmlNothing;
  State m_state = State::Outside;

  // Views into the buffer, or, once its bytes are to move, into the texts behind them.
  std::string_view elementName_;
  std::string_view attributeName_;
  std::string_view attributeValue_;
  std::string_view instructionName_;
  CString elementStore_;
  CString attributeStore_;
  CString valueStore_;
  CString instructionStore_;
};
