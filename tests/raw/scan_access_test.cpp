// Reading single scans for the classic conversions: MS level, precursor
// (trailer, filter text, the walk through the survey scan, MS3), charge
// class, thresholds and peak minimum, and the base peak over a file. What the
// conversions write is pinned by the golden convert cases (raw_*, mzml_*).
#include "raw/scan_access.h"

#include <gtest/gtest.h>

#include "support/scripted_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::MakeScan;
using test::ScriptedScan;
constexpr const char* kMs2 = "ITMS + c NSI d Full ms2 500.25@cid35.00 [125.00-1015.00]";
constexpr const char* kMs3 = "ITMS + c NSI d Full ms3 800.40@cid35.00 500.25@cid35.00 [1-2]";
const Variant kNone = Variant::Empty(), kErr = Variant::Error();

TEST(ScanAccess, LevelFromTheFirstMsOfTheFilter) {
  const std::pair<const char*, int> cases[] = {{"FTMS + p NSI Full ms [300.00-2000.00]", 1}, {kMs2, 2}, {kMs3, 3},
                                               {"ITMS + c NSI Full ms10 1.00@cid35.00", 10}, {"msx ms2 500.00@cid", 0},
                                               {"ITMS + c Full ms", 0}, {"no level here", 0}};
  for (const auto& [filter, level] : cases) EXPECT_EQ(MsLevelFromFilter(filter), level) << filter;
  EXPECT_EQ(0.1 - 0.05, kPrecursorWalkTolerance);  // the boundary rows below rest on this
}

struct ScanCase {
  const char* name;
  const char* filter;
  Variant mono, charge;
  RawPeakList peaks, prior;
  int status, chargeClass;
  double precursor;
  unsigned peaksRead;
  int mode = 0, threshold = 0, minPeaks = 0;
  double total = -1, maxBasePeak = 0;  // total intensity of the header; -1: that of the peaks
  long entries = -1;                   // -1: the number of peaks
};

TEST(ScanAccess, ReadScan) {
  const RawPeakList one = {{100.0, 1.0}}, two = {{100.0, 5.0}, {200.0, 6.0}};
  const ScanCase cases[] = {
      {"Survey", "FTMS + p NSI Full ms [300.00-2000.00]", kNone, kNone, one, {}, kScanSurvey, 0, 0, 0},
      {"TrailerR8", kMs2, Variant::R8(500.123), kNone, one, {{500.123, 10}, {500.163, 900}}, kScanRead, 1, 500.123, 1},
      {"TrailerR4Widened", kMs2, Variant::R4(500.123f), kNone, one, {}, kScanRead, 1, double(500.123f), 1},
      {"ErrorTakesFilter", kMs2, kErr, kNone, one, {}, kScanRead, 1, 500.25, 1},
      {"ZeroTakesFilter", kMs2, Variant::R8(0.0), kNone, one, {}, kScanRead, 1, 500.25, 1},
      {"R4ZeroTakesFilter", kMs2, Variant::R4(0.0f), kNone, one, {}, kScanRead, 1, 500.25, 1},
      {"EmptyIsUnexpected", kMs2, kNone, kNone, one, {}, kScanUnexpectedType, 0, 0, 0},
      {"I2IsUnexpected", kMs2, Variant::I2(500), kNone, one, {}, kScanUnexpectedType, 0, 0, 0},
      {"Ms3TakesTheSecondAt", kMs3, Variant::R8(800.41), kNone, one, {{800.41, 99}}, kScanRead, 1, 500.25, 1},
      {"WalkStrongestNeighbour", kMs2, kErr, kNone, one,
       {{400.0, 1000.0}, {500.21, 10.0}, {500.27, 50.0}, {500.40, 20.0}, {500.45, 5000.0}}, kScanRead, 1, 500.27, 1},
      {"WalkWeakerStays", kMs2, kErr, kNone, one, {{500.21, 50.0}, {500.27, 10.0}}, kScanRead, 1, 500.21, 1},
      {"WalkFirstAboveTaken", kMs2, kErr, kNone, one, {{400.0, 1000.0}, {600.0, 1000.0}}, kScanRead, 1, 600.0, 1},
      {"WalkNothingAbove", kMs2, kErr, kNone, one, {{400.0, 1000.0}, {500.19, 1000.0}}, kScanRead, 1, 500.25, 1},
      {"WalkExactlyTAboveGoesOn", "ITMS + c Full ms2 0.05@cid35.00", kErr, kNone, one,
       {{0.05, 100.0}, {0.1, 1.0}, {0.12, 500.0}}, kScanRead, 2, 0.12, 1},
      {"WalkBeyondTStops", "ITMS + c Full ms2 0.05@cid35.00", kErr, kNone, one,
       {{0.05, 100.0}, {0.1000001, 1.0}, {0.12, 500.0}}, kScanRead, 2, 0.05, 1},
      {"WalkExactlyTBelowIsOut", "ITMS + c Full ms2 0.10@cid35.00", kErr, kNone, one, {{0.05, 1000.0}, {0.11, 1.0}},
       kScanRead, 2, 0.11, 1},
      {"WalkNoAt", "ITMS + c Full ms2 [100.00-200.00]", kErr, kNone, one, {{0.02, 5.0}, {0.06, 9.0}}, kScanRead, 2, 0.06, 1},
      {"StatedOneIsMultiply", kMs2, Variant::R8(500), Variant::I2(1), {{100, 1000}}, {}, kScanRead, 2, 500, 1},
      {"R8ChargeIgnored", kMs2, Variant::R8(500), Variant::R8(2), {{100, 1000}}, {}, kScanRead, 1, 500, 1},
      {"EstimateAtTheTenth", kMs2, Variant::R8(500), kNone, {{100, 1000}, {600, 100}}, {}, kScanRead, 1, 500, 2},
      {"EstimateAboveTheTenth", kMs2, Variant::R8(500), kNone, {{100, 1000}, {600, 101}}, {}, kScanRead, 2, 500, 2},
      {"EstimateAtPrecursorIsBelow", kMs2, Variant::R8(500), kNone, {{500, 1000}, {600, 100}}, {}, kScanRead, 1, 500, 2},
      {"EstimateOnlyAbove", kMs2, Variant::R8(500), kNone, {{600, 1}}, {}, kScanRead, 2, 500, 1},
      {"NoEntriesNoWalk", kMs2, kErr, Variant::I2(2), one, {{500.21, 10}}, kScanNoEntries, 2, 500.25, 0, 0, 0, 0, -1, 0, 0},
      {"FixedBelow", kMs2, Variant::R8(500), kNone, two, {}, kScanTooFewPeaks, 0, 500, 0, 1, 1000, 1, 999.9},
      {"FixedBelowNoMinimum", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 0, 1, 1000, 0, 999.9},
      {"FixedEqual", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 2, 1, 1000, 0, 1000.0},
      {"FixedIgnoresBasePeak", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 2, 1, 10, 0, 11, 1e9},
      {"BasePeakBelow", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 0, 2, 1000000, 0, 4999, 5000},
      {"BasePeakEqual", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 2, 2, 1000000, 0, 5000, 5000},
      {"OtherModeNoTest", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 2, 3, 1000000, 0, 0, 1e9},
      {"MinPeaksAbove", kMs2, Variant::R8(500), kNone, two, {}, kScanTooFewPeaks, 0, 500, 2, 0, 0, 3},
      {"MinPeaksEqual", kMs2, Variant::R8(500), kNone, two, {}, kScanRead, 1, 500, 2, 0, 0, 2},
  };
  for (const ScanCase& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedScan s = MakeScan(c.filter, c.peaks, c.prior);
    if (c.mono.vt != Variant::VT_EMPTY) s.trailer[kTrailerMonoisotopicMz] = c.mono;
    if (c.charge.vt != Variant::VT_EMPTY) s.trailer[kTrailerChargeState] = c.charge;
    if (c.total >= 0) s.header.dTotalIntensity = c.total;
    if (c.entries >= 0) s.header.nEntries = c.entries;
    test::ScriptedReader reader;
    reader.AddFile("run.raw").scans[42] = s;
    ASSERT_EQ(reader.OpenRawFile("run.raw"), 0);
    RawOptions options;
    options.nThresholdMode = static_cast<ThresholdMode>(c.mode);
    options.nIntensityThreshold = c.threshold;
    options.nMinPeaks = c.minPeaks;
    ScanInfo info;
    info.nScan = 42;
    info.dMaxBasePeak = c.maxBasePeak;
    Dta dta;
    test::RecordingReporter boxes;
    EXPECT_EQ(ReadScan(&reader, &info, &options, &dta), c.status);
    EXPECT_EQ(dta.GetPeakCount(), c.peaksRead);
    if (c.status == kScanUnexpectedType) {
      EXPECT_EQ(boxes.Texts(BoxKind::Error),
                std::vector<std::string>{"Scan: 42 MS level: 2 unexpected type when looking for precursorMz"});
      continue;
    }
    EXPECT_TRUE(boxes.boxes.empty());
    if (c.status == kScanSurvey) continue;
    EXPECT_EQ(info.dPrecursorMz, c.precursor);
    EXPECT_EQ(info.nChargeClass, c.chargeClass);
  }
}

TEST(ScanAccess, MaxBasePeakLeavesTheLastScanOutAndNamesDropTheirFolder) {
  test::ScriptedReader reader;
  auto& file = reader.AddFile("run.raw");
  const double base[] = {10.0, 50.0, 30.0, 999.0};
  for (long s = 1; s <= 4; ++s) {
    file.scans[s] = MakeScan(kMs2, {});
    file.scans[s].header.dBasePeakIntensity = base[s - 1];
  }
  ASSERT_EQ(reader.OpenRawFile("run.raw"), 0);
  EXPECT_EQ(GetMaxBasePeak(&reader, 1, 4), 50.0);
  EXPECT_EQ(GetMaxBasePeak(&reader, 1, 5), 999.0);
  EXPECT_EQ(GetMaxBasePeak(&reader, 4, 4), 0.0);
  const std::pair<const char*, const char*> names[] = {{"/data/run1.raw", "run1"}, {"C:\\data\\run.1.RAW", "run.1"},
                                                       {"C:run.raw", "run"}, {"run", "run"}, {"/data.d/run", "run"},
                                                       {"/data/", ""}};
  for (const auto& [path, name] : names) EXPECT_EQ(PathBaseName(path), name) << path;
}

}  // namespace
}  // namespace orvane
