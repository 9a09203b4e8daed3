// The modern road from instrument files to MGF against msconvert's MGF of the
// same file: one block per MS/MS scan, in order, with msconvert's charge,
// retention time, scan number, precursor m/z and intensity, and peaks. On the
// fixtures, and on the real runs when the data folder is there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/text_file.h"
#include "raw/scan_conversion.h"
#include "reader_test_util.h"
#include "readers/mz_reader.h"
#include "readers/scan_table.h"
#include "spectrum/mgf_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

std::vector<Dta> ReadBlocks(const std::string& path) {
  CStdioFile file;
  EXPECT_TRUE(file.Open(path, CStdioFile::modeRead)) << path;
  std::vector<Dta> blocks;
  Dta dta;
  while (ImportMgf(&file, &dta, MgfDialect::Modern) == S_OK) {
    blocks.push_back(dta);
    dta.Clear();
  }
  return blocks;
}

std::optional<double> Header(const Dta& d, const std::string& key) {
  for (const std::string& line : d.vHeaderLines)
    if (line.rfind(key + "=", 0) == 0) return std::atof(line.c_str() + key.size() + 1);
  return std::nullopt;
}

// The scan number in msconvert's titles: "spectrum=2442", "scan=2442" or
// "Run.2.2.2 File:...".
long ScanOfTitle(const std::string& title) {
  const std::string first = title.substr(0, title.find(' '));
  if (first.find('=') != std::string::npos) return readers::ScanNumberFromId(first);
  const std::size_t dot = first.find('.');
  return dot == std::string::npos ? 0 : std::atol(first.c_str() + dot + 1);
}

void ExpectSameAsMsconvert(const std::string& raw, const std::string& msconvertMgf) {
  SCOPED_TRACE(raw);
  readers::MzReader reader;
  reader.Open(raw);
  RawOptions options;
  options.dMaxMass = 100000.0;
  ScanConversion job;
  job.strInput = raw;
  job.pOptions = &options;
  test::TempDir dir;
  ASSERT_EQ(ScansToMgf(reader, job, dir.File("out.mgf"), nullptr), S_OK);
  const std::vector<Dta> ours = ReadBlocks(dir.File("out.mgf"));
  const std::vector<Dta> theirs = ReadBlocks(msconvertMgf);
  ASSERT_EQ(ours.size(), theirs.size());
  for (std::size_t i = 0; i < ours.size(); ++i) {
    const Dta& a = ours[i];
    const Dta& b = theirs[i];
    SCOPED_TRACE(b.strTitle);
    if (b.nCharge != 0) {
      EXPECT_EQ(a.nCharge, b.nCharge);
      EXPECT_TRUE(a.vCharges.empty());
    }
    EXPECT_NEAR(a.dMass, b.dMass, 1e-4);
    EXPECT_NEAR(a.dPrecursorIntensity, b.dPrecursorIntensity, 1e-4 * std::max(1.0, b.dPrecursorIntensity));
    ASSERT_TRUE(Header(a, "RTINSECONDS") && Header(b, "RTINSECONDS"));
    EXPECT_NEAR(*Header(a, "RTINSECONDS"), *Header(b, "RTINSECONDS"), 1e-3);
    EXPECT_EQ(Header(a, "SCANS"), static_cast<double>(ScanOfTitle(b.strTitle)));
    ASSERT_EQ(a.GetPeakCount(), b.GetPeakCount());
    for (unsigned k = 0; k < a.GetPeakCount(); ++k) {
      EXPECT_NEAR(a.GetMass(k), b.GetMass(k), 1e-6 * b.GetMass(k));
      EXPECT_NEAR(a.GetIntensity(k), b.GetIntensity(k), 1e-6 * b.GetIntensity(k));
    }
  }
}

class ModernRoadFixture : public ::testing::TestWithParam<const char*> {};

TEST_P(ModernRoadFixture, AgreesWithMsconvert) {
  const std::string path = test::FixturePath(GetParam());
  ExpectSameAsMsconvert(path, path + ".msconvert.mgf");
}

INSTANTIATE_TEST_SUITE_P(Fixtures, ModernRoadFixture,
                         ::testing::Values("bsa_survey_first.mzML", "bsa_survey_first.mzXML",
                                           "yeast_32_zlib.mzXML", "yeast_64.mzXML", "yeast_plain.mzML",
                                           "yeast_zlib.mzML", "yeast_zlib.mzML.gz"));

// BSA1 states 4+, 5+ and 6+ precursors too; msconvert writes them as such.
TEST(ModernRoadRealData, AgreesWithMsconvert) {
  for (auto [raw, mgf] : {std::pair<const char*, const char*>{"bsa/BSA1.mzML", "bsa/BSA1.mgf"},
                          {"yeast/SmallCalibratible_Yeast.mzML", "yeast/SmallCalibratible_Yeast.mgf"}}) {
    const auto rawPath = test::DataFile(raw);
    const auto mgfPath = test::DataFile(mgf);
    if (!rawPath || !mgfPath) GTEST_SKIP() << "real data not available";
    ExpectSameAsMsconvert(*rawPath, *mgfPath);
  }
}

}  // namespace
}  // namespace orvane
