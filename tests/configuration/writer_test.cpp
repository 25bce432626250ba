#include <gtest/gtest.h>

#include <cstdio>

#include "configuration/value_text.h"
#include "configuration/xml_writer.h"
#include "tests/configuration/files.h"

TEST(XmlWriter, PutsTheDeclarationBeforeTheFirstText) {
  XmlStringWriter writer;
  XmlElement element("registry");
  element.WriteStart(writer, 1, true, true);
  element.SetName("v");
  element.SetAttribute("b", "1");
  element.SetAttribute("B", "2");
  element.SetAttribute("a", "3");
  element.SetAttribute("b", "<4>");
  element.WriteEmpty(writer, 1, true, true);
  element.WriteStart(writer, 2, false, false);
  element.WriteEnd(writer, -2, true, true);
  EXPECT_EQ(writer.GetBuffer(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
            " <registry>\r\n"
            "  <v b=\"<4>\" B=\"2\" a=\"3\"/>\r\n"
            "<v b=\"<4>\" B=\"2\" a=\"3\">   </v>\r\n");
  EXPECT_EQ(writer.indent, 1);
  writer.ClearBuffer();
  writer.Close();
  writer.Write("x");
  EXPECT_EQ(writer.GetBuffer(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\nx");
}

TEST(XmlWriter, TouchesNoFileUntilTheFirstWrite) {
  ScratchFile scratch("writer.xml");
  const CString& path = scratch.path;
  {
    XmlWriter unused;
    unused.SetFileName(path);
    EXPECT_EQ(unused.Close(), 1);
  }
  EXPECT_EQ(OpenFileSource(path), nullptr);

  XmlWriter writer;
  writer.SetFileName(path);
  EXPECT_EQ(writer.Write("long"), 1);
  writer.SetFileName(path + ".other");
  writer.Write(CString(200'000, 'x'));
  writer.Close();
  EXPECT_EQ(ReadWholeFile(path).size(), 40u + 4 + 200'000);
  // Its place is taken at the end alone.
  writer.SetFileName(path);
  writer.Write("given up");
  writer.Abandon();
  writer.Write("short");
  EXPECT_EQ(ReadWholeFile(path).size(), 40u + 4 + 200'000);
  writer.Close();
  EXPECT_FALSE(writer.GetError());
  EXPECT_EQ(ReadWholeFile(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\nshort");

  XmlWriter nowhere;
  nowhere.SetFileName(path + "/no/such/folder");
  EXPECT_EQ(nowhere.Write("x"), 0);
  XmlElement("k").WriteStart(nowhere, 1, true, true);
  EXPECT_EQ(nowhere.indent, 1);
  // A folder is in the way.
  CreateDirectoryA((path + ".folder").c_str(), nullptr);
  FileSink sink;
  EXPECT_FALSE(sink.Open(path + ".folder"));
  EXPECT_FALSE(sink.Close());
  RemoveDirectoryA((path + ".folder").c_str());
}
