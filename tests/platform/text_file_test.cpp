#include "platform/text_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

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


// Each piece as a gzip member of its own, then tail as it is.
void WriteGzip(const std::string& path, const std::vector<std::string>& members,
               const std::string& tail = "") {
  for (std::size_t i = 0; i < members.size(); ++i) {
    gzFile gz = gzopen(path.c_str(), i == 0 ? "wb" : "ab");
    ASSERT_NE(gz, nullptr);
    const auto n = static_cast<unsigned>(members[i].size());
    const int written = n > 0 ? gzwrite(gz, members[i].data(), n) : 0;
    gzclose(gz);
    ASSERT_EQ(written, static_cast<int>(n));
  }
  WriteFile(path, ReadFile(path) + tail);
}

struct GzipCase {
  const char* name;
  std::vector<std::string> members;  // the content, cut into members
  std::string tail;                  // bytes after the last member
};

class GzipLines : public ::testing::TestWithParam<GzipCase> {};

// A gzip file reads as its content would, line for line, and its position
// ends at its length.
TEST_P(GzipLines, AreThoseOfThePlainFile) {
  TempDir dir;
  std::string content;
  for (const auto& m : GetParam().members) content += m;
  WriteFile(dir.File("plain.txt"), content);
  WriteGzip(dir.File("text.gz"), GetParam().members, GetParam().tail);
  for (unsigned limit : {255u, 7u})
    EXPECT_EQ(ReadAll(dir.File("text.gz"), limit), ReadAll(dir.File("plain.txt"), limit));
  CStdioFile f;
  ASSERT_TRUE(f.Open(dir.File("text.gz"), CStdioFile::modeRead));
  char buf[255];
  while (f.ReadString(buf, 255) != nullptr) {}
  EXPECT_EQ(f.GetLength(), std::filesystem::file_size(dir.File("text.gz")));
  EXPECT_EQ(f.GetPosition(), f.GetLength());
}

INSTANTIATE_TEST_SUITE_P(
    TextFile, GzipLines,
    ::testing::Values(
        // The CR of a CR LF is the last byte of the first 64 KiB block.
        GzipCase{"CrLfAtABlockEdgeLongLineNoFinalNewline",
                 {std::string(65535, 'q') + "\r\ntwo\n" + std::string(300, 'x') + "\r\nlast"}, ""},
        GzipCase{"MembersCutInsideACrLf", {"a\r", "\nb\n", "c\n"}, ""},
        GzipCase{"PaddingAfterTheLastMember", {"x\ny\n"}, std::string(8, '\0')},
        GzipCase{"EmptyContent", {""}, ""}),
    [](const auto& info) { return std::string(info.param.name); });

// Damaged or cut-off compressed data is a read error naming the file and the
// place in the content, thrown once the content before it has been read (so
// a reader can name the line); the file then reads as ended.
TEST(TextFile, BrokenGzipDataIsAReadError) {
  TempDir dir;
  const std::string content = std::string(99, 'z') + "\n";
  WriteGzip(dir.File("whole.gz"), {content});
  const std::string whole = ReadFile(dir.File("whole.gz"));
  std::string badCrc = whole;
  badCrc[badCrc.size() - 8] ^= 1;
  const std::pair<std::string, std::string> cases[] = {
      {whole.substr(0, whole.size() - 4),
       "its gzip data ends early, after 100 bytes of content (the file is cut short)"},
      {badCrc, "its gzip data is damaged after 100 bytes of content (incorrect data check)"},
  };
  for (const auto& [bytes, reason] : cases) {
    const std::string path = dir.File("broken.gz");
    WriteFile(path, bytes);
    CStdioFile f;
    ASSERT_TRUE(f.Open(path, CStdioFile::modeRead));
    char buf[255];
    ASSERT_NE(f.ReadString(buf, 255), nullptr);
    EXPECT_EQ(buf, content);
    EXPECT_EQ(f.LinesRead(), 1u);
    EXPECT_FALSE(f.ReadFailed());
    try {
      f.ReadString(buf, 255);
      ADD_FAILURE() << reason;
    } catch (const CFileException& e) {
      EXPECT_EQ(e.Text(), "Cannot access file " + path + ": " + reason + ".");
    }
    EXPECT_TRUE(f.ReadFailed());
    EXPECT_EQ(f.ReadString(buf, 255), nullptr);
  }
}

}  // namespace
}  // namespace orvane
