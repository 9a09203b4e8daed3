// The short ways the MGF reader and the classic writer take with numbers:
// every value read must be the one atof gives, to the bit, and every classic
// peak line printf's "%7.3lf %9.3lf\n", rounding and signs included. What the
// readers and writers do with whole files is pinned by tests/golden/records.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include "platform/format.h"
#include "spectrum/mgf_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

std::vector<Dta> RoundTrip(const std::vector<Dta>& in, const std::string& text, std::string* written) {
  test::TempDir dir;
  CStdioFile out;
  EXPECT_TRUE(out.Open(dir.File("o.mgf"), CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText));
  for (const Dta& d : in) ExportMgf(&out, &d, "", MgfDialect::Classic);
  out.Close();
  *written = test::ReadFile(dir.File("o.mgf"));
  test::WriteFile(dir.File("i.mgf"), text);
  CStdioFile file;
  EXPECT_TRUE(file.Open(dir.File("i.mgf"), CStdioFile::modeRead));
  std::vector<Dta> read;
  for (Dta d; ImportMgf(&file, &d, MgfDialect::Classic) == S_OK; d = Dta()) read.push_back(d);
  return read;
}

TEST(ClassicNumbers, ReadAsAtofAndWrittenAsPrintf) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<std::string> texts = {"0", "-0", "1.", ".5", "-.5", "007.250", "0.1", "1e5", "2.5E-3", "0x1p3", "inf",
                                    "-infinity", "1.7976931348623157e308", "1e999", "4.9e-324", "1e-400",
                                    "1234567890123456", "12345678901234567890", "0.00000000000000000000001",
                                    "9007199254740993", "457.723968505859"};
  std::vector<double> values = {0.0005, 0.0015, 2.0005, -0.0004, -0.0, 999.9995, 9999.9995, 1e-300, 4.9e-324,
                                0.0625, 4503599627370495.5, 9007199254740993.0, 1e22, -1e22, 123.4565, 123.4575,
                                1e7 + 0.0005, 1.7976931348623157e308, inf, -inf, nan, -nan};
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int i = 0; i < 2000; ++i) {
    const double v = unit(random) * std::pow(10.0, static_cast<int>(random() % 13) - 3) * (i % 3 ? 1 : -1);
    texts.push_back(Format("%.*f", static_cast<int>(random() % 13), v));
    texts.push_back(Format("%.17g", v));
    values.push_back(v);
    values.push_back(static_cast<double>(random() % 5'000'000) / 1000.0 + 0.0005);  // halves of the last digit
  }
  std::string text = "BEGIN IONS\n", expected = "\nBEGIN IONS\nTITLE=\nCHARGE=0+\nPEPMASS=0.000000\n";
  for (const auto& t : texts) text += t + " " + t + "\n";
  Dta d;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double intensity = values[values.size() - 1 - i];
    d.AddPeak(values[i], intensity);
    if (intensity != 0.0) expected += Format("%7.3lf %9.3lf\n", values[i], intensity);
  }
  std::string written;
  const auto read = RoundTrip({d}, text + "END IONS\n", &written);
  EXPECT_EQ(written, expected + "END IONS\n");
  ASSERT_EQ(read.size(), 1u);
  ASSERT_EQ(read[0].GetPeakCount(), texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i)
    EXPECT_EQ(std::bit_cast<std::uint64_t>(read[0].GetMass(static_cast<unsigned>(i))),
              std::bit_cast<std::uint64_t>(std::atof(texts[i].c_str())))
        << texts[i];
}

// The count of spectra the MGF driver announces: lines that are exactly "BEGIN IONS".
TEST(CountMgfSpectra, CountsOnlyWholeBeginIonsLines) {
  test::TempDir dir;
  test::WriteFile(dir.File("a.mgf"), "BEGIN IONS\nEND IONS\nBEGIN IONS extra\n BEGIN IONS\nBEGIN IONS\r\n"
                                     "begin ions\nBEGIN IONS");
  EXPECT_EQ(CountMgfSpectra(dir.File("a.mgf").c_str()), 2u);
  test::RecordingReporter boxes;
  EXPECT_EQ(CountMgfSpectra(dir.File("missing.mgf").c_str()), 0u);
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
}

}  // namespace
}  // namespace orvane
