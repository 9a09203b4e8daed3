#include "platform/text_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_support.h"

namespace orvane {
namespace {

using test::ReadFile;
using test::TempDir;
using test::WriteFile;

std::vector<std::string> ReadAll(const std::string& path, unsigned limit = 255) {
  CStdioFile f;
  EXPECT_TRUE(f.Open(path, CStdioFile::modeRead));
  std::vector<std::string> pieces;
  std::vector<char> buf(limit);
  while (f.ReadString(buf.data(), limit) != nullptr) pieces.emplace_back(buf.data());
  return pieces;
}

TEST(TextFile, ReadsLinesWithTheirNewlineAndCrLfAsOne) {
  TempDir dir;
  WriteFile(dir.File("a.txt"), "one\r\ntwo\nthree\r\n\r\nlast");
  EXPECT_EQ(ReadAll(dir.File("a.txt")),
            (std::vector<std::string>{"one\n", "two\n", "three\n", "\n", "last"}));
}

TEST(TextFile, KeepsALoneCarriageReturn) {
  TempDir dir;
  WriteFile(dir.File("a.txt"), "a\rb\n");
  EXPECT_EQ(ReadAll(dir.File("a.txt")), (std::vector<std::string>{"a\rb\n"}));
}

TEST(TextFile, SplitsLongLinesIntoReadsOfLimitMinusOne) {
  TempDir dir;
  const std::string line(300, 'x');
  WriteFile(dir.File("a.txt"), line + "\nend\n");
  const auto pieces = ReadAll(dir.File("a.txt"));
  ASSERT_EQ(pieces.size(), 3u);
  EXPECT_EQ(pieces[0], std::string(254, 'x'));
  EXPECT_EQ(pieces[1], std::string(46, 'x') + "\n");
  EXPECT_EQ(pieces[2], "end\n");
}

TEST(TextFile, CountsCrLfAsOneCharacterOfALimitedRead) {
  TempDir dir;
  // 253 characters and a CR LF fit one read of 254: the pair is one "\n".
  WriteFile(dir.File("a.txt"), std::string(253, 'y') + "\r\nz");
  const auto pieces = ReadAll(dir.File("a.txt"));
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_EQ(pieces[0], std::string(253, 'y') + "\n");
  EXPECT_EQ(pieces[1], "z");
}

TEST(TextFile, FindsCrLfAcrossTheInternalReadBlock) {
  TempDir dir;
  // Lines of 100 characters with CR LF ends put pairs across every 64 KiB block edge.
  std::string text;
  for (int i = 0; i < 2000; ++i) text += std::string(99, 'a' + i % 26) + "\r\n";
  WriteFile(dir.File("a.txt"), text);
  const auto pieces = ReadAll(dir.File("a.txt"));
  ASSERT_EQ(pieces.size(), 2000u);
  for (const auto& p : pieces) ASSERT_EQ(p.size(), 100u) << p;
}

TEST(TextFile, PositionCountsBytesOfTheFile) {
  TempDir dir;
  WriteFile(dir.File("a.txt"), "ab\r\ncd\n");
  CStdioFile f;
  ASSERT_TRUE(f.Open(dir.File("a.txt"), CStdioFile::modeRead));
  char buf[255];
  EXPECT_EQ(f.GetLength(), 7u);
  f.ReadString(buf, 255);
  EXPECT_EQ(f.GetPosition(), 4u);
  f.ReadString(buf, 255);
  EXPECT_EQ(f.GetPosition(), 7u);
  EXPECT_EQ(f.ReadString(buf, 255), nullptr);
}

TEST(TextFile, WritesUnderATemporaryNameUntilClosed) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  CStdioFile f;
  ASSERT_TRUE(f.Open(path, CStdioFile::modeWrite | CStdioFile::modeCreate | CStdioFile::typeText));
  f.WriteString("hello\n");
  EXPECT_EQ(f.GetLength(), 6u);
  EXPECT_EQ(test::ListFiles(dir.Folder()).size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(path));
  f.Close();
  EXPECT_EQ(ReadFile(path), "hello\n");
  EXPECT_EQ(test::ListFiles(dir.Folder()), std::vector<std::string>{"out.txt"});
}

TEST(TextFile, AbortLeavesNothingBehind) {
  TempDir dir;
  WriteFile(dir.File("out.txt"), "old");
  CStdioFile f;
  ASSERT_TRUE(f.Open(dir.File("out.txt"), CStdioFile::modeWrite | CStdioFile::modeCreate));
  f.WriteString("new");
  f.Abort();
  EXPECT_EQ(ReadFile(dir.File("out.txt")), "old");
  EXPECT_EQ(test::ListFiles(dir.Folder()), std::vector<std::string>{"out.txt"});
}

TEST(TextFile, DirectModeWritesTheFinalNameAtOnce) {
  TempDir dir;
  CStdioFile f;
  ASSERT_TRUE(f.Open(dir.File("log.txt"),
                     CStdioFile::modeWrite | CStdioFile::modeCreate | CStdioFile::modeDirect));
  f.WriteString("x");
  EXPECT_TRUE(std::filesystem::exists(dir.File("log.txt")));
}

TEST(TextFile, OpenFailureNamesThePathAndTheReason) {
  TempDir dir;
  CStdioFile f;
  CFileException e;
  EXPECT_FALSE(f.Open(dir.File("missing.txt"), CStdioFile::modeRead, &e));
  EXPECT_EQ(e.Path(), dir.File("missing.txt"));
  EXPECT_NE(e.Text().find(dir.File("missing.txt")), std::string::npos);
  EXPECT_NE(e.Text().find("No such file or directory"), std::string::npos);
  test::RecordingReporter boxes;
  e.ReportError();
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::FileError);
  // A folder is no text file.
  EXPECT_FALSE(f.Open(dir.path().string(), CStdioFile::modeRead, &e));
}

TEST(TextFile, RefusesToWriteAProtectedInput) {
  TempDir dir;
  const std::string input = dir.File("in.mgf");
  WriteFile(input, "data");
  ProtectInput(input);
  CStdioFile f;
  CFileException e;
  EXPECT_FALSE(f.Open(input, CStdioFile::modeWrite | CStdioFile::modeCreate, &e));
  // The same file reached through another spelling of its path.
  EXPECT_FALSE(f.Open(dir.Folder() + "./in.mgf", CStdioFile::modeWrite | CStdioFile::modeCreate, &e));
  EXPECT_NE(e.Text().find("input"), std::string::npos);
  EXPECT_TRUE(f.Open(input, CStdioFile::modeRead));
  f.Close();
  ClearProtectedInputs();
  EXPECT_TRUE(f.Open(input, CStdioFile::modeWrite | CStdioFile::modeCreate));
  f.Close();
  EXPECT_EQ(ReadFile(input), "");
}

}  // namespace
}  // namespace orvane
