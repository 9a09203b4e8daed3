// The platform rules the rest relies on: the line rule of plain and gzip text files, broken gzip data,
// outputs under temporary names, numbers as outputs write them, boxes per thread, class identities.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <limits>
#include <thread>

#include "platform/class_registry.h"
#include "platform/format.h"
#include "platform/text_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using namespace test;

std::vector<std::string> ReadAll(const std::string& path, unsigned limit = 255) {
  CStdioFile f;
  EXPECT_TRUE(f.Open(path, CStdioFile::modeRead));
  std::vector<std::string> pieces;
  std::vector<char> buf(limit);
  while (f.ReadString(buf.data(), limit) != nullptr) pieces.emplace_back(buf.data());
  EXPECT_EQ(f.GetPosition(), f.GetLength());
  return pieces;
}

// Each piece as a gzip member of its own, then tail as it is.
void WriteGzip(const std::string& path, const std::vector<std::string>& members, const std::string& tail = "") {
  for (std::size_t i = 0; i < members.size(); ++i) {
    gzFile gz = gzopen(path.c_str(), i == 0 ? "wb" : "ab");
    gzwrite(gz, members[i].data(), static_cast<unsigned>(members[i].size())), gzclose(gz);
  }
  WriteFile(path, ReadFile(path) + tail);
}

// One read is a line with its "\n" (a CR LF pair reads as one "\n", a lone CR
// stays), or limit - 1 characters of a longer one; a gzip file reads the same,
// whatever its members and padding.
TEST(TextFile, LineRuleOfPlainAndGzipFiles) {
  const std::string q(65535, 'q'), x(300, 'x'), y(253, 'y');
  // The content cut into gzip members, its first reads of 255 at most, bytes after the last member.
  const struct { std::vector<std::string> members, reads; std::string tail; } cases[] = {
      {{"one\r\ntwo\nthree\r\n\r\nlast"}, {"one\n", "two\n", "three\n", "\n", "last"}, ""},
      {{"a\rb\n"}, {"a\rb\n"}, ""},
      {{x + "\nend\n"}, {std::string(254, 'x'), std::string(46, 'x') + "\n", "end\n"}, ""},
      {{y + "\r\nz"}, {y + "\n", "z"}, ""},  // the pair counts as one character of the read
      {{"a\r", "\nb\n", "c\n"}, {"a\n", "b\n", "c\n"}, ""},
      {{"x\ny\n"}, {"x\n", "y\n"}, std::string(8, '\0')},
      {{""}, {}, ""},
      {{q + "\r\ntwo\n"}, {std::string(254, 'q')}, ""},  // a CR LF across the first 64 KiB block edge
  };
  TempDir dir;
  for (const auto& c : cases) {
    std::string content;
    for (const auto& m : c.members) content += m;
    WriteFile(dir.File("plain.txt"), content);
    WriteGzip(dir.File("text.gz"), c.members, c.tail);
    auto reads = ReadAll(dir.File("plain.txt"));
    reads.resize(std::min(reads.size(), c.reads.size()));
    EXPECT_EQ(reads, c.reads) << content.substr(0, 40);
    for (unsigned limit : {255u, 7u})
      EXPECT_EQ(ReadAll(dir.File("text.gz"), limit), ReadAll(dir.File("plain.txt"), limit)) << content.substr(0, 40);
  }
}

// Damaged or cut gzip data is a read error naming the file and the place in
// the content, thrown after the content before it has been read.
TEST(TextFile, BrokenGzipDataIsAReadError) {
  TempDir dir;
  const std::string content = std::string(99, 'z') + "\n", path = dir.File("broken.gz");
  WriteGzip(path, {content});
  const std::string whole = ReadFile(path);
  std::string badCrc = whole;
  badCrc[badCrc.size() - 8] ^= 1;  // the data check
  for (const auto& [bytes, reason] : std::vector<std::pair<std::string, std::string>>{
           {whole.substr(0, whole.size() - 4), "its gzip data ends early, after 100 bytes of content (the file is cut short)"},
           {badCrc, "its gzip data is damaged after 100 bytes of content (incorrect data check)"}}) {
    WriteFile(path, bytes);
    CStdioFile f;
    ASSERT_TRUE(f.Open(path, CStdioFile::modeRead));
    char buf[255];
    ASSERT_NE(f.ReadString(buf, 255), nullptr);
    EXPECT_EQ(buf, content);
    std::string said;
    try { f.ReadString(buf, 255); } catch (const CFileException& e) { said = e.Text(); }
    EXPECT_EQ(said, "Cannot access file " + path + ": " + reason + ".");
    EXPECT_TRUE(f.ReadFailed());
    EXPECT_EQ(f.ReadString(buf, 255), nullptr);
  }
}

// An output stands under a temporary name until closed, Abort leaves the old
// file, modeDirect writes the final name at once, and inputs are never written.
TEST(TextFile, OutputsAndProtectedInputs) {
  TempDir dir;
  WriteFile(dir.File("old.txt"), "old");
  CStdioFile f, a, d;
  ASSERT_TRUE(f.Open(dir.File("out.txt"), CStdioFile::modeWrite | CStdioFile::modeCreate));
  ASSERT_TRUE(a.Open(dir.File("old.txt"), CStdioFile::modeWrite | CStdioFile::modeCreate));
  ASSERT_TRUE(d.Open(dir.File("log.txt"), CStdioFile::modeWrite | CStdioFile::modeCreate | CStdioFile::modeDirect));
  f.WriteString("hello\n");
  a.WriteString("new"), a.Abort();
  EXPECT_EQ(ListFiles(dir.Folder()).size(), 3u);  // old.txt, log.txt and out.txt's temporary
  EXPECT_FALSE(std::filesystem::exists(dir.File("out.txt")));
  f.Close(), d.Close();
  EXPECT_EQ(ReadFile(dir.File("out.txt")) + ReadFile(dir.File("old.txt")), "hello\nold");
  EXPECT_EQ(ListFiles(dir.Folder()), (std::vector<std::string>{"log.txt", "old.txt", "out.txt"}));
  CFileException e;
  RecordingReporter boxes;
  EXPECT_FALSE(f.Open(dir.File("missing.txt"), CStdioFile::modeRead, &e));
  e.ReportError();
  EXPECT_TRUE(boxes.Has(BoxKind::FileError, "Cannot access file " + dir.File("missing.txt") + ": No such file or directory."));
  ProtectInput(dir.File("old.txt"));
  EXPECT_FALSE(f.Open(dir.Folder() + "./old.txt", CStdioFile::modeWrite | CStdioFile::modeCreate, &e));
  EXPECT_NE(e.Text().find("input"), std::string::npos);
  ClearProtectedInputs();
}

// The shortest text that reads back as the same double, with at least the decimals asked, never in exponent form.
TEST(ExactDecimal, ShortestTextWithAtLeastTheDecimalsAsked) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct { double value; int minDecimals; const char* text; } cases[] = {
      {110.0710, 5, "110.07100"}, {101.1071167, 5, "101.1071167"}, {457.723968505859, 6, "457.723968505859"},
      {3284441.75, 0, "3284441.75"}, {1234.0, 0, "1234"}, {1e6, 0, "1000000"}, {0.0001, 0, "0.0001"},
      {1e-7, 0, "0.0000001"}, {-2.5, 3, "-2.500"}, {0.0, 2, "0.00"}, {110.07101440429688, 5, "110.07101440429688"},
      {inf, 5, "inf"}, {-inf, 5, "-inf"}, {std::numeric_limits<double>::quiet_NaN(), 5, "nan"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ExactDecimal(c.value, c.minDecimals), c.text) << c.text;
    EXPECT_TRUE(!(std::abs(c.value) < inf) || std::strtod(c.text, nullptr) == c.value) << c.text;
  }
  const std::string b400(400, 'b');
  EXPECT_EQ(Format("a%s-%d", b400.c_str(), 7), std::string("a").append(b400).append("-7"));  // any length
}

TEST(Reporter, AThreadSeesOnlyItsOwnBoxes) {
  RecordingReporter mine;
  ShowError("here");
  std::thread([] {
    RecordingReporter theirs;
    ShowNote("there");
    EXPECT_EQ(theirs.boxes.size(), 1u);
  }).join();
  EXPECT_TRUE(mine.Has(BoxKind::Error, "here") && mine.boxes.size() == 1u);
}

TEST(ClassRegistry, RegistryFormOfIdsAndUnknownClasses) {
  const auto g = GUID::Parse("{97229a5c-2b05-419f-b18b-8ee7b780c371}");
  ASSERT_TRUE(g.has_value());
  EXPECT_EQ(g->Data1, 0x97229A5Cu);
  EXPECT_EQ(g->ToString(), "{97229A5C-2B05-419F-B18B-8EE7B780C371}");
  CLSID clsid;
  EXPECT_EQ(CLSIDFromProgID("No.Such.Thing", &clsid), CO_E_CLASSSTRING);
  void* p = reinterpret_cast<void*>(1);
  EXPECT_EQ(CoCreateInstance(*g, nullptr, 1, IID_IUnknown, &p), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(p, nullptr);
}

}  // namespace
}  // namespace orvane
