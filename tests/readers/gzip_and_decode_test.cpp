// Random access into gzip files (several members, access points thinned to
// their bound, damaged and truncated data), and the decoding of peak arrays.
#include <gtest/gtest.h>

#include <zlib.h>

#include <random>

#include "reader_test_util.h"
#include "readers/binary_decode.h"
#include "readers/byte_source.h"
#include "readers/mz_reader.h"
#include "support/test_support.h"

namespace orvane::readers {
namespace {

using test::FixturePath;
using test::ReadFile;
using test::TempDir;
using test::ViewScan;
using test::WriteFile;

// Writes content as gzip members cut at the given offsets.
void WriteGzip(const std::string& path, const std::string& content, std::vector<std::size_t> cuts) {
  cuts.push_back(content.size());
  std::size_t from = 0;
  bool first = true;
  for (std::size_t to : cuts) {
    gzFile g = gzopen(path.c_str(), first ? "wb" : "ab");
    ASSERT_NE(g, nullptr);
    ASSERT_EQ(gzwrite(g, content.data() + from, static_cast<unsigned>(to - from)), static_cast<int>(to - from));
    gzclose(g);
    from = to;
    first = false;
  }
}

// Text that compresses to many deflate blocks.
std::string SampleContent(std::size_t size) {
  std::mt19937 rng(7);
  std::string s;
  while (s.size() < size) s += std::to_string(rng() % 100000) + (rng() % 7 ? " " : "\n");
  s.resize(size);
  return s;
}

struct GzipCase {
  const char* name;
  std::uint64_t span;
  std::vector<std::size_t> cuts;
};

class GzipSourceTest : public ::testing::TestWithParam<GzipCase> {};

TEST_P(GzipSourceTest, SequentialAndRandomReadsGiveTheContent) {
  const auto& c = GetParam();
  TempDir dir;
  const std::string content = SampleContent(3'000'000);
  const std::string path = dir.File("c.gz");
  WriteGzip(path, content, c.cuts);
  auto src = OpenGzipSource(path, c.span);
  ASSERT_TRUE(src->IsCompressed());
  std::string all;
  char buf[70000];
  while (std::size_t n = src->ReadNext(buf, sizeof buf)) all.append(buf, n);
  ASSERT_EQ(all.size(), content.size());
  ASSERT_TRUE(all == content);
  std::mt19937 rng(11);
  std::string out;
  std::vector<std::pair<std::uint64_t, std::size_t>> reads = {
      {0, 10}, {2'999'990, 10}, {1'000'000, 5000}, {999'990, 20}, {1'000'010, 30}, {0, 300000}};
  for (int i = 0; i < 300; ++i) reads.emplace_back(rng() % 2'990'000, 1 + rng() % 9000);
  for (auto [offset, size] : reads) {
    src->ReadAt(offset, size, &out);
    ASSERT_TRUE(out == content.substr(offset, size)) << "offset " << offset << " size " << size;
  }
  EXPECT_THROW(src->ReadAt(2'999'995, 10, &out), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, GzipSourceTest,
    ::testing::Values(GzipCase{"oneMember", 1 << 20, {}},
                      GzipCase{"threeMembers", 1 << 20, {1'000'000, 1'000'001}},
                      // 16 KiB spacing over 3 MB is more than the bound of points: thinned.
                      GzipCase{"thinnedPoints", 16384, {1'500'000}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(GzipSource, DamagedAndTruncatedFilesFailToOpen) {
  TempDir dir;
  const std::string content = ReadFile(FixturePath("yeast_zlib.mzML"));
  const std::string good = dir.File("good.mzML.gz");
  WriteGzip(good, content, {});
  std::string bytes = ReadFile(good);
  std::string damaged = bytes;
  for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 64; ++i) damaged[i] = static_cast<char>(~damaged[i]);
  // The messages name the file and the compressed byte where reading stopped.
  const std::string path = dir.File("bad.mzML.gz");
  struct Case {
    std::string data;
    std::string message;
  };
  for (const Case& c :
       {Case{damaged, path + ": damaged gzip data at compressed byte "},
        Case{bytes.substr(0, bytes.size() / 2),
             path + ": the gzip data ends too early, at compressed byte " + std::to_string(bytes.size() / 2)}}) {
    WriteFile(path, c.data);
    test::RecordingReporter boxes;
    MzReader r;
    EXPECT_EQ(r.OpenRawFile(path), 2);
    EXPECT_EQ(r.LastError().substr(0, c.message.size()), c.message);
  }
}

// A gzip file of several members reads as the plain file does, whatever its name.
TEST(GzipSource, MultiMemberMzmlReadsLikeThePlainFile) {
  TempDir dir;
  const std::string content = ReadFile(FixturePath("yeast_zlib.mzML"));
  const std::string path = dir.File("multi.mzML");  // no .gz: the content tells
  WriteGzip(path, content, {content.size() / 3, 2 * content.size() / 3});
  MzReader plain, gz;
  ASSERT_EQ(plain.OpenRawFile(FixturePath("yeast_zlib.mzML")), 0);
  ASSERT_EQ(gz.OpenRawFile(path), 0) << gz.LastError();
  for (long scan : {8L, 1L, 5L, 2L, 7L}) {
    auto a = ViewScan(plain, scan);
    auto b = ViewScan(gz, scan);
    EXPECT_EQ(a.filter, b.filter);
    ASSERT_EQ(a.peaks.size(), b.peaks.size());
    for (std::size_t i = 0; i < a.peaks.size(); ++i) {
      EXPECT_EQ(a.peaks[i].dMass, b.peaks[i].dMass);
      EXPECT_EQ(a.peaks[i].dIntensity, b.peaks[i].dIntensity);
    }
  }
}

TEST(Base64, DecodesAndRefuses) {
  struct Case {
    const char* text;
    const char* bytes;  // nullptr: refused
  };
  for (const Case& c : {Case{"", ""}, Case{"QQ==", "A"}, Case{"QUI=", "AB"}, Case{"QUJD", "ABC"},
                        Case{" Q U\nJ\r\tD ", "ABC"}, Case{"QUJDRA", "ABCD"}, Case{"QUJDR", nullptr},
                        Case{"QU*D", nullptr}, Case{"QQ==QQ", nullptr}, Case{"QQ== \n", "A"}}) {
    SCOPED_TRACE(c.text);
    std::string out;
    if (c.bytes) {
      DecodeBase64(c.text, &out);
      EXPECT_EQ(out, c.bytes);
    } else {
      EXPECT_THROW(DecodeBase64(c.text, &out), std::runtime_error);
    }
  }
}

TEST(DecodeNumbers, ByteOrderWidthAndCounts) {
  const std::vector<double> v = {1.5, -2.25, 1e6};
  EXPECT_EQ(DecodeNumbers(test::EncodeBase64(test::NumberBytes<double>(v)), {NumberKind::kFloat64, false, false}, 3, "a"), v);
  EXPECT_EQ(DecodeNumbers(test::EncodeBase64(test::NumberBytes<float>(v, true)), {NumberKind::kFloat32, false, true}, 3, "a"), v);
  EXPECT_EQ(DecodeNumbers(test::EncodeBase64(test::NumberBytes<std::int64_t>({7, -8})), {NumberKind::kInt64, false, false}, -1, "a"),
            (std::vector<double>{7, -8}));
  // Big-endian 1.0f is 3F 80 00 00.
  EXPECT_EQ(DecodeNumbers("P4AAAA==", {NumberKind::kFloat32, false, true}, 1, "a"), std::vector<double>{1.0});
  EXPECT_THROW(DecodeNumbers("P4AAAA==", {NumberKind::kFloat32, false, true}, 2, "a"), std::runtime_error);
  EXPECT_THROW(DecodeNumbers("P4AA", {NumberKind::kFloat32, false, true}, -1, "a"), std::runtime_error);
  // zlib: the declared count fixes the size; more or less data is an error.
  std::string raw = test::NumberBytes<double>(v);
  std::string packed(compressBound(raw.size()), '\0');
  uLongf len = packed.size();
  compress(reinterpret_cast<Bytef*>(packed.data()), &len, reinterpret_cast<const Bytef*>(raw.data()), raw.size());
  packed.resize(len);
  const std::string text = test::EncodeBase64(packed);
  EXPECT_EQ(DecodeNumbers(text, {NumberKind::kFloat64, true, false}, 3, "a"), v);
  EXPECT_EQ(DecodeNumbers(text, {NumberKind::kFloat64, true, false}, -1, "a"), v);
  for (long wrong : {2L, 4L}) {
    try {
      DecodeNumbers(text, {NumberKind::kFloat64, true, false}, wrong, "the m/z array");
      ADD_FAILURE();
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(std::string(e.what()).rfind("the m/z array: zlib data holds", 0), 0u) << e.what();
    }
  }
  EXPECT_THROW(DecodeNumbers(test::EncodeBase64(packed.substr(0, packed.size() - 4)),
                             {NumberKind::kFloat64, true, false}, 3, "a"),
               std::runtime_error);
}

TEST(Duration, MinutesFromXsDuration) {
  double m = 0;
  ASSERT_TRUE(ParseDuration("PT1503.96S", &m));
  EXPECT_DOUBLE_EQ(m, 1503.96 / 60.0);
  ASSERT_TRUE(ParseDuration("PT1H2M30S", &m));
  EXPECT_DOUBLE_EQ(m, 62.5);
  ASSERT_TRUE(ParseDuration("P1DT0S", &m));
  EXPECT_DOUBLE_EQ(m, 1440.0);
  EXPECT_FALSE(ParseDuration("1503.96", &m));
  EXPECT_FALSE(ParseDuration("PT", &m));
  EXPECT_FALSE(ParseDuration("PT12X", &m));
}

}  // namespace
}  // namespace orvane::readers
