#include <gtest/gtest.h>

#include <random>

#include "configuration/xml_reader.h"

namespace {

// Gives `head`, then `pattern` over and over until `total` bytes went out, `piece` bytes at most per read.
class RepeatingSource : public ByteSource {
 public:
  RepeatingSource(CString head, const CString& pattern, size_t total, size_t piece = 1 << 20)
      : m_head(std::move(head)), m_left(total), m_piece(piece) {
    while (m_block.size() < 5000) m_block += pattern;
  }
  size_t Read(std::span<char> buffer) override {
    const std::string_view from = m_at < m_head.size() ? m_head : m_block;
    const size_t start = m_at < m_head.size() ? m_at : (m_at - m_head.size()) % m_block.size();
    const size_t count = std::min({buffer.size(), m_left, m_piece, from.size() - start});
    std::copy_n(from.data() + start, count, buffer.data());
    m_at += count;
    m_left -= count;
    return count;
  }

 private:
  CString m_head;
  CString m_block;
  size_t m_left;
  size_t m_piece;
  size_t m_at = 0;
};

SourceOpener InPieces(const CString& text, size_t piece) {
  return [&text, piece](const CString&) {
    return std::make_unique<RepeatingSource>(text, " ", text.size(), piece);
  };
}

// One line per step: the node's number and what belongs to it; at the end the error text.
CString Steps(XmlReader& reader, size_t most = 1000) {
  CString steps;
  while (reader.Read() != 0 && most-- > 0) {
    const XmlNodeType node = reader.GetNodeType();
    steps += std::to_string(node);
    if (node == XmlStartElement || node == XmlEndElement) steps += CString(reader.ElementName());
    CString text;
    if (node == XmlInstruction) reader.GetInstructionName(text);
    steps += text;
    if (node == XmlAttribute) {
      steps += CString(reader.ElementName()) + ":" + CString(reader.AttributeName()) + "=";
      steps += CString(reader.AttributeValue());
    }
    steps += "|";
  }
  return steps + reader.GetErrorText();
}

CString StepsOf(const CString& text, size_t piece = 4096) {
  XmlReader reader(InPieces(text, piece));
  return Steps(reader);
}

// The reader's rules over whole lines in the plainest form: one index into one line, one flag per state.
class PlainReader {
 public:
  explicit PlainReader(const CString& text) {
    for (size_t at = 0; at < text.size();) {
      size_t end = text.find('\n', at);
      const bool feed = end != CString::npos;
      if (!feed) end = text.size();
      CString line = text.substr(at, end - at);
      if (feed && !line.empty() && line.back() == '\r') line.pop_back();
      m_lines.push_back(line);
      at = end + 1;
    }
  }

  CString Steps(size_t most) {
    CString steps;
    while (most-- > 0) {
      if (m_position == CString::npos) {
        if (m_number == m_lines.size()) break;
        m_line = m_lines[m_number++];
        m_position = 0;
      }
      m_node = 0;
      m_shown.clear();
      const char* fault = Scan();
      if (fault != nullptr) {
        return steps + "Parse error in line " + std::to_string(m_number) + " : (" + fault + ")";
      }
      steps += std::to_string(m_node) + m_shown + "|";
    }
    return steps;
  }

 private:
  bool In(size_t at, const char* set) const {
    return std::strchr(set, m_line[at]) != nullptr && m_line[at] != 0;
  }
  size_t Run(size_t at, const char* stops) const {
    while (at < m_line.size() && !In(at, stops)) ++at;
    return at;
  }
  const char* Finish(size_t at) {
    m_position = at;
    return nullptr;
  }
  const char* Scan() {
    size_t i = m_position;
    if (i >= m_line.size()) return Finish(CString::npos);
    if (inTag_ && !afterEquals_) {
      while (i < m_line.size() && In(i, " \r\n")) ++i;
      if (i == m_line.size()) return Finish(CString::npos);
    }
    if (inComment_ || inCData_) {
      const size_t close = m_line.find(inComment_ ? "-->" : "]]>", i);
      if (close == CString::npos) {
        m_node = inComment_ ? 6 : 7;
        return Finish(m_line.size());
      }
      inComment_ = inCData_ = inTag_ = afterEquals_ = false;
      inText_ = true;
      return Finish(close + 3);
    }
    if (afterEquals_) return Value(i);
    if (inText_) {
      const size_t end = Run(i, "\r\n<");
      if (end > i) m_node = 4;
      if (end < m_line.size() && m_line[end] == '<') inText_ = false;
      return Finish(end < m_line.size() && m_line[end] != '<' ? end + 1 : end);
    }
    if (m_line[i] == '<') return inTag_ ? "Bad '<' symbol" : Open(i + 1);
    if (m_line[i] == '?') return Finish(i + 1);
    if (m_line[i] == '/') {
      m_node = 2;
      m_shown = m_element;
      return Finish(Run(i + 1, " \r\n>"));
    }
    if (m_line[i] == '>') {
      inTag_ = afterEquals_ = false;
      inText_ = true;
      return Finish(i + 1);
    }
    if (!inTag_) return "Syntax error";
    if (m_line[i] == '=') {
      afterEquals_ = true;
      return Finish(i + 1);
    }
    const size_t end = Run(i, " \r\n=>");
    m_name = m_line.substr(i, end - i);
    m_value.clear();
    return Finish(end);
  }
  const char* Open(size_t i) {
    while (i < m_line.size() && In(i, " \r\n")) ++i;
    if (i == m_line.size()) return "'<' symbol not allowed at the end of a line";
    const bool comment = m_line.compare(i, 3, "!--") == 0;
    const bool data = m_line.compare(i, 8, "![CDATA[") == 0;
    size_t end = Run(i + (m_line[i] == '/' ? 1 : 0), " \r\n>/");
    if (!comment && !data && end == i) return "Empty element name";
    inTag_ = true;
    inComment_ = comment;
    inCData_ = data;
    m_node = comment ? 6 : 7;
    if (comment || data) return Finish(i + (comment ? 3 : 8));
    const CString name = m_line.substr(i, end - i);
    const bool instruction = name[0] == '?' || name[0] == '!';
    m_node = instruction ? 5 : (name[0] == '/' ? 2 : 1);
    m_element = instruction ? "" : name.substr(m_node == 2 ? 1 : 0);
    m_shown = instruction ? name : m_element;
    return Finish(end);
  }
  const char* Value(size_t i) {
    if (m_value.empty()) {
      while (i < m_line.size() && In(i, " \r\n")) ++i;
      if (i == m_line.size()) return Finish(i);
      m_value = m_line[i];
      return Finish(i + 1);
    }
    const size_t end = Run(i, "\"'\r\n>");
    m_value += m_line.substr(i, end - i);
    if (end == m_line.size()) {
      m_value += "\r\n";
      return Finish(end);
    }
    const size_t kept = m_value.find_first_not_of("\"'");
    m_value = kept == CString::npos ? "" : m_value.substr(kept);
    m_node = 3;
    afterEquals_ = false;
    m_shown = m_element + ":" + m_name + "=" + m_value;
    return Finish(m_line[end] == '>' ? end : end + 1);
  }

  std::vector<CString> m_lines;
  CString m_line;
  size_t m_position = CString::npos;
  size_t m_number = 0;
  int m_node = 0;
  bool inComment_ = false, inCData_ = false, inTag_ = false, afterEquals_ = false, inText_ = false;
  CString m_element, m_name, m_value, m_shown;
};

}  // namespace

TEST(XmlReader, DeliversOneStepAtATime) {
  const struct {
    const char* text;
    const char* steps;
  } cases[] = {
      {"", ""},
      {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n",
       "5?xml|0|0|0|3:version=1.0|0|0|0|3:encoding=UTF-8|0|0|0|"},
      {"<v name=\"a\" value=\"b\"/>", "1v|0|0|0|3v:name=a|0|0|0|3v:value=b|2v|0|0|"},
      {"< k>x</k>", "1k|0|4|2k|0|0|"},
      {"<k/>", "1k|2k|0|0|"},
      {"<v a=\"it's\">", "1v|0|0|0|3v:a=it|0|0|0|"},
      {"<v a=\"a>b\"/>", "1v|0|0|0|3v:a=a|0|4|0|"},
      {"<v a=\"1\n2\r\n\n3\"\n>", "1v|0|0|0|0|0|0|0|0|3v:a=1\r\n2\r\n3|0|0|0|"},
      {"<v a=\n \"\"b=c'>", "1v|0|0|0|0|3v:a=|0|0|0|3v:b=c|0|0|"},
      {"<v a=\"x\"=\"y\">", "1v|0|0|0|3v:a=x|0|3v:a=x|0|0|0|"},
      {"<!-- a\nb\n -->t\n<![CDATA[x\n]]>", "6|6|0|6|0|0|4|0|0|7|7|0|0|0|"},
      {"<k\n   \nx=y>", "1k|0|0|0|0|0|3k:x=y|0|0|"},
      {"<k><j", "1k|0|0|1j|0|"},
      {"a", "Parse error in line 1 : (Syntax error)"},
      {" <k>", "Parse error in line 1 : (Syntax error)"},
      {"\n\n=", "0|0|Parse error in line 3 : (Syntax error)"},
      {"<k <", "1k|Parse error in line 1 : (Bad '<' symbol)"},
      {"<>", "Parse error in line 1 : (Empty element name)"},
      {"<  \nk>", "Parse error in line 1 : ('<' symbol not allowed at the end of a line)"},
      {"/x>\rab\rc<k>", "2|0|0|4|4|1k|0|0|"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(StepsOf(test.text), test.steps) << test.text;
  }
}

TEST(XmlReader, AgreesWithThePlainScannerOnAnyInputInAnyPieces) {
  std::mt19937 random(7);
  const CString pieces[] = {"<",
                            ">",
                            "/",
                            "=",
                            "\"",
                            "'",
                            " ",
                            "\n",
                            "\r",
                            "\r\n",
                            "k",
                            "v",
                            "name",
                            "!--",
                            "-->",
                            "<!--",
                            "![CDATA[",
                            "]]>",
                            "?",
                            "!",
                            "ab",
                            "&amp;",
                            "<k",
                            "<v ",
                            "a=\"",
                            "\">",
                            "/>",
                            "</k>",
                            "<k name=\"x\">",
                            CString(1, '\0'),
                            "\xC3\xA4"};
  for (int round = 0; round < 20000; ++round) {
    CString text = round % 2 != 0 ? "<k>" : "";
    for (auto count = random() % 24; count > 0; --count) text += pieces[random() % std::size(pieces)];
    // Now and then a line that is longer than the reader's buffer, cut anywhere.
    if (round % 500 == 0)
      text.insert(random() % (text.size() + 1), 65500 + random() % 100, round % 1000 != 0 ? 'x' : ' ');
    ASSERT_EQ(StepsOf(text, 1 + random() % 9000), PlainReader(text).Steps(1000)) << text;
  }
}

TEST(XmlReader, EndsInBoundedMemoryOnHostileInput) {
  static constexpr size_t kTotal = 20'000'000;
  const struct {
    const char* head;
    const char* pattern;
    const char* error;
  } cases[] = {
      {"", "x", "Parse error in line 1 : (Syntax error)"},
      {"<k>\n<", "x", "Parse error in line 2 : (Text too long)"},
      {"<k a=\"", "x", "Parse error in line 1 : (Text too long)"},
      {"<k a=\"", "line\n", "Parse error in line 1398"},
      {"<k>", "x", "Parse error in line 1 : (Text too long)"},
      {"<k ", "a=\"b\" ", ""},
      {"", "<k name=\"x\">", ""},
  };
  for (const auto& test : cases) {
    XmlReader reader([&test](const CString&) {
      return std::make_unique<RepeatingSource>(test.head, test.pattern, kTotal);
    });
    while (reader.Read() != 0) {
    }
    EXPECT_EQ(reader.GetErrorText().substr(0, std::strlen(test.error)), test.error)
        << test.head << test.pattern;
  }
}

TEST(XmlReader, ShowsAnErrorWhereAskedAndReadsAnotherFileAfterwards) {
  CString shown;
  const CString text = "<k>\n<k><>";
  XmlReader reader(InPieces(text, 3));
  reader.showMessage = [&](const CString& message) { shown += message + "\n"; };
  reader.SetShowErrors(1);
  const CString once = "Parse error in line 2 : (Empty element name)";
  EXPECT_EQ(Steps(reader), "1k|0|0|0|1k|0|0|" + once);
  EXPECT_EQ(reader.Read(), 0);
  EXPECT_EQ(shown, once + "\n" + once + "\n");
  EXPECT_EQ(reader.Close(), 1);
  EXPECT_EQ(Steps(reader), "1k|0|0|0|1k|0|0|" + once);
  EXPECT_EQ(shown, once + "\n" + once + "\n");

  XmlReader absent([](const CString&) { return std::unique_ptr<ByteSource>(); });
  absent.SetShowErrors(1);
  EXPECT_EQ(absent.Read(), 0);
  EXPECT_EQ(absent.GetErrorText(), "");
}
