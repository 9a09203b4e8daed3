// The rules under the readers: random access into gzip files (several
// members, access points thinned to their bound, damaged and cut data),
// base64 and zlib arrays and their damage, durations, scan numbers from
// native ids, and which paths are instrument files. What the readers make of
// whole documents is pinned by tests/golden/records/mz_* and convert/raw_*.
#include <gtest/gtest.h>

#include <zlib.h>

#include <random>

#include "readers/binary_decode.h"
#include "readers/byte_source.h"
#include "readers/mz_reader.h"
#include "readers/scan_table.h"
#include "support/test_support.h"

namespace orvane::readers {
namespace {

// Writes content as gzip members cut at the given offsets.
void WriteGzip(const std::string& path, const std::string& content, std::vector<std::size_t> cuts) {
  cuts.push_back(content.size());
  std::size_t from = 0;
  for (std::size_t to : cuts) {
    gzFile g = gzopen(path.c_str(), from == 0 ? "wb" : "ab");
    ASSERT_NE(g, nullptr);
    ASSERT_EQ(gzwrite(g, content.data() + from, static_cast<unsigned>(to - from)), static_cast<int>(to - from));
    gzclose(g);
    from = to;
  }
}

TEST(GzipSource, SequentialAndRandomReadsGiveTheContent) {
  std::mt19937 rng(7);
  std::string content;  // text that compresses to many deflate blocks
  while (content.size() < 3'000'000) content += std::to_string(rng() % 100000) + (rng() % 7 ? " " : "\n");
  content.resize(3'000'000);
  struct Case {
    std::uint64_t span;
    std::vector<std::size_t> cuts;
  };
  // One member; three; 16 KiB spacing over 3 MB, more points than the bound: thinned.
  for (const Case& c : {Case{1 << 20, {}}, Case{1 << 20, {1'000'000, 1'000'001}}, Case{16384, {1'500'000}}}) {
    test::TempDir dir;
    WriteGzip(dir.File("c.gz"), content, c.cuts);
    auto src = OpenGzipSource(dir.File("c.gz"), c.span);
    ASSERT_TRUE(src->IsCompressed());
    std::string all, out;
    char buf[70000];
    while (std::size_t n = src->ReadNext(buf, sizeof buf)) all.append(buf, n);
    ASSERT_TRUE(all == content);
    std::vector<std::pair<std::uint64_t, std::size_t>> reads = {
        {0, 10}, {2'999'990, 10}, {1'000'000, 5000}, {999'990, 20}, {1'000'010, 30}, {0, 300000}};
    for (int i = 0; i < 300; ++i) reads.emplace_back(rng() % 2'990'000, 1 + rng() % 9000);
    for (auto [offset, size] : reads) {
      src->ReadAt(offset, size, &out);
      ASSERT_TRUE(out == content.substr(offset, size)) << "offset " << offset << " size " << size;
    }
    EXPECT_THROW(src->ReadAt(2'999'995, 10, &out), std::runtime_error);
  }
}

TEST(GzipSource, DamagedAndCutFilesFailToOpenNamingTheByte) {
  test::TempDir dir;
  WriteGzip(dir.File("good.gz"), test::ReadFile(std::string(ORVANE_SOURCE_DIR) + "/tests/readers/fixtures/yeast_zlib.mzML"), {});
  const std::string bytes = test::ReadFile(dir.File("good.gz")), path = dir.File("bad.mzML.gz");
  std::string damaged = bytes;
  for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 64; ++i) damaged[i] = static_cast<char>(~damaged[i]);
  for (const auto& [data, message] :
       {std::pair{damaged, path + ": damaged gzip data at compressed byte "},
        std::pair{bytes.substr(0, bytes.size() / 2),
                  path + ": the gzip data ends too early, at compressed byte " + std::to_string(bytes.size() / 2)}}) {
    test::WriteFile(path, data);
    test::RecordingReporter boxes;
    MzReader r;
    EXPECT_EQ(r.OpenRawFile(path), 2);
    EXPECT_EQ(r.LastError().substr(0, message.size()), message);
  }
}

TEST(Base64, DecodesAndRefuses) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""}, {"QQ==", "A"}, {"QUI=", "AB"}, {"QUJD", "ABC"}, {" Q U\nJ\r\tD ", "ABC"}, {"QUJDRA", "ABCD"},
      {"QQ== \n", "A"}, {"QUJDR", nullptr}, {"QU*D", nullptr}, {"QQ==QQ", nullptr}};
  for (const auto& [text, bytes] : cases) {
    std::string out;
    if (bytes) {
      DecodeBase64(text, &out);
      EXPECT_EQ(out, bytes) << text;
    } else {
      EXPECT_THROW(DecodeBase64(text, &out), std::runtime_error) << text;
    }
  }
}

TEST(DecodeNumbers, WidthsByteOrderZlibAndDeclaredCounts) {
  const std::vector<double> v = {1.5, -2.25, 1e6};
  const std::string zlib = "eJxjYACBH/ZgioHpAIhsaNFzBAAgtANt";  // the three doubles, compressed
  struct Case {
    const char* text;
    ArrayEncoding encoding;
    long count;
    std::vector<double> values;  // empty: refused
  };
  const Case cases[] = {
      {"AAAAAAAA+D8AAAAAAAACwAAAAACAhC5B", {NumberKind::kFloat64, false, false}, 3, v},
      {"P8AAAMAQAABJdCQA", {NumberKind::kFloat32, false, true}, 3, v},
      {"BwAAAAAAAAD4/////////w==", {NumberKind::kInt64, false, false}, -1, {7, -8}},
      {"P4AAAA==", {NumberKind::kFloat32, false, true}, 1, {1.0}},
      {"P4AAAA==", {NumberKind::kFloat32, false, true}, 2, {}},
      {"P4AA", {NumberKind::kFloat32, false, true}, -1, {}},
      {zlib.c_str(), {NumberKind::kFloat64, true, false}, 3, v},
      {zlib.c_str(), {NumberKind::kFloat64, true, false}, -1, v},
      {zlib.c_str(), {NumberKind::kFloat64, true, false}, 2, {}},
      {zlib.c_str(), {NumberKind::kFloat64, true, false}, 4, {}},
      {"eJxjYACBH/ZgioHpAIhsaNFzBAA=", {NumberKind::kFloat64, true, false}, 3, {}}};  // cut short
  for (const Case& c : cases) {
    if (!c.values.empty()) {
      EXPECT_EQ(DecodeNumbers(c.text, c.encoding, c.count, "a"), c.values) << c.text << " " << c.count;
    } else {
      EXPECT_THROW(DecodeNumbers(c.text, c.encoding, c.count, "a"), std::runtime_error) << c.text << " " << c.count;
    }
  }
  try {
    DecodeNumbers(zlib, {NumberKind::kFloat64, true, false}, 2, "the m/z array");
    ADD_FAILURE();
  } catch (const std::runtime_error& e) {
    EXPECT_EQ(std::string(e.what()).rfind("the m/z array: zlib data holds", 0), 0u) << e.what();
  }
}

TEST(ScanTable, DurationsIdsAndInputs) {
  const std::pair<const char*, double> durations[] = {
      {"PT1503.96S", 1503.96 / 60.0}, {"PT1H2M30S", 62.5}, {"P1DT0S", 1440.0}, {"1503.96", -1}, {"PT", -1}, {"PT12X", -1}};
  for (const auto& [text, minutes] : durations) {
    double m = 0;
    EXPECT_EQ(ParseDuration(text, &m), minutes >= 0) << text;
    if (minutes >= 0) {
      EXPECT_DOUBLE_EQ(m, minutes) << text;
    }
  }
  const std::pair<const char*, long> ids[] = {{"controllerType=0 controllerNumber=1 scan=42", 42}, {"spectrum=2442", 2442},
                                              {"index=0", 1}, {"scanId=9", 9}, {"merged=3", 0}};
  for (const auto& [id, scan] : ids) EXPECT_EQ(ScanNumberFromId(id), scan) << id;
  const std::pair<const char*, bool> inputs[] = {{"a.mzML", true}, {"dir/b.MZXML", true}, {"c.mzml.gz", true},
                                                 {"d.mzXML.GZ", true}, {"e.mgf", false}, {"f.mzML.zip", false},
                                                 {".mzML", false}, {"g.raw", false}, {"mzML", false}};
  for (const auto& [path, raw] : inputs) {
    EXPECT_EQ(IsRawInput(path), raw) << path;
    if (!raw) {
      EXPECT_THROW(MakeRawReader(path), std::invalid_argument) << path;
    }
  }
}

}  // namespace
}  // namespace orvane::readers
