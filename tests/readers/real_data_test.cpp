// The real runs of the data folder against msconvert's MGF of them, for what
// the small fixtures don't hold: thousands of scans, charges 4+ to 6+ (BSA1),
// survey scans listed apart from their MS/MS scans. Skipped without the data.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "platform/text_file.h"
#include "raw/scan_access.h"
#include "raw/scan_conversion.h"
#include "readers/mz_reader.h"
#include "spectrum/mgf_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

std::vector<Dta> ReadBlocks(const std::string& path) {
  CStdioFile file;
  EXPECT_TRUE(file.Open(path, CStdioFile::modeRead)) << path;
  std::vector<Dta> blocks;
  for (Dta d; ImportMgf(&file, &d, MgfDialect::Modern) == S_OK;) blocks.push_back(d);
  return blocks;
}

void ExpectNear(double ours, double theirs, double relative, const std::string& where) {
  EXPECT_LE(std::fabs(ours - theirs), relative * std::max(1.0, std::fabs(theirs))) << where;
}

// Both roads: the modern conversion writes msconvert's spectra (charge,
// precursor, peaks); the classic reader gives each MS/MS scan msconvert's
// peaks, charge and monoisotopic m/z, and an earlier survey scan.
TEST(RealData, BothRoadsAgreeWithMsconvert) {
  for (auto [raw, mgf] : {std::pair<const char*, const char*>{"bsa/BSA1.mzML", "bsa/BSA1.mgf"},
                          {"yeast/SmallCalibratible_Yeast.mzML", "yeast/SmallCalibratible_Yeast.mgf"}}) {
    const auto rawPath = test::DataFile(raw), mgfPath = test::DataFile(mgf);
    if (!rawPath || !mgfPath) GTEST_SKIP() << "real data not available";
    const std::vector<Dta> theirs = ReadBlocks(*mgfPath);
    readers::MzReader reader;
    reader.Open(*rawPath);
    RawOptions options;
    options.dMaxMass = 100000.0;
    ScanConversion job;
    job.strInput = *rawPath;
    job.pOptions = &options;
    test::TempDir dir;
    ASSERT_EQ(ScansToMgf(reader, job, dir.File("out.mgf"), nullptr), S_OK);
    const std::vector<Dta> ours = ReadBlocks(dir.File("out.mgf"));
    ASSERT_EQ(ours.size(), theirs.size()) << raw;
    readers::MzReader classic;
    ASSERT_EQ(classic.OpenRawFile(*rawPath), 0);
    long first = 0, last = 0;
    classic.GetFirstScan(&first);
    classic.GetLastScan(&last);
    std::size_t b = 0;
    for (long scan = first; scan <= last; scan = classic.NextScanAfter(scan, last)) {
      std::string filter;
      classic.GetScanFilter(scan, &filter);
      if (MsLevelFromFilter(filter) < 2) continue;
      ASSERT_LT(b, theirs.size());
      const Dta &t = theirs[b], &o = ours[b];
      ++b;
      EXPECT_EQ(o.nCharge, t.nCharge) << t.strTitle;
      ExpectNear(o.dMass, t.dMass, 1e-7, t.strTitle);
      RawPeakList peaks, flags, prior;
      long n = 0, at = scan;
      classic.GetMassList(&at, "", 0, 0, 0, 0, nullptr, &peaks, &flags, &n);
      ASSERT_EQ(o.GetPeakCount(), t.GetPeakCount()) << t.strTitle;
      ASSERT_EQ(peaks.size(), t.GetPeakCount()) << t.strTitle;
      for (unsigned k = 0; k < t.GetPeakCount(); ++k) {
        ExpectNear(o.GetMass(k), t.GetMass(k), 1e-6, t.strTitle);
        ExpectNear(o.GetIntensity(k), t.GetIntensity(k), 1e-6, t.strTitle);
        ExpectNear(peaks[k].dMass, t.GetMass(k), 1e-6, t.strTitle);
      }
      Variant charge, mono;
      classic.GetScanTrailer(scan, kTrailerChargeState, &charge);
      classic.GetScanTrailer(scan, kTrailerMonoisotopicMz, &mono);
      EXPECT_EQ(charge.iVal, t.nCharge) << t.strTitle;
      ASSERT_EQ(mono.vt, Variant::VT_R8);
      ExpectNear(mono.dblVal, t.dMass, 1e-7, t.strTitle);
      double width = 0.0;
      at = scan;
      classic.GetPriorMassList(&at, "!d", 0, 0, 0, 0, &width, &prior, &flags, &n);
      ScanHeader own, survey;
      classic.GetScanHeader(scan, &own);
      classic.GetScanHeader(at, &survey);
      classic.GetScanFilter(at, &filter);
      EXPECT_EQ(MsLevelFromFilter(filter), 1) << t.strTitle;
      EXPECT_LT(survey.dStartTime, own.dStartTime) << t.strTitle;
    }
    EXPECT_EQ(b, theirs.size());
  }
}

}  // namespace
}  // namespace orvane
