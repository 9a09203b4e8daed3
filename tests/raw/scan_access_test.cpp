// Reading single scans: MS level, precursor (trailer, filter text, prior-scan
// walk, MS3), charge class, thresholds and the base-peak scan.
#include "raw/scan_access.h"

#include <gtest/gtest.h>

#include "support/scripted_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::MakeScan;
using test::RecordingReporter;
using test::ScriptedReader;
using test::ScriptedScan;
using Op = ScriptedReader::Op;

constexpr const char* kMs2Filter = "ITMS + c NSI d Full ms2 500.25@cid35.00 [125.00-1015.00]";

// A reader with one open file holding the scans given.
struct OpenReader {
  explicit OpenReader(std::map<long, ScriptedScan> scans) {
    reader.AddFile("run.raw").scans = std::move(scans);
    EXPECT_EQ(reader.OpenRawFile("run.raw"), 0);
  }
  ScriptedReader reader;
};

struct ReadResult {
  int status;
  ScanInfo info;
  Dta dta;
};

ReadResult Read(ScriptedReader& reader, long nScan, const RawOptions& options,
                double dMaxBasePeak = 0.0) {
  ReadResult r{};
  r.info.nScan = static_cast<int>(nScan);
  r.info.dMaxBasePeak = dMaxBasePeak;
  r.status = ReadScan(&reader, &r.info, &options, &r.dta);
  return r;
}

ScriptedScan Ms2(const std::string& filter, Variant mz, RawPeakList peaks,
                 RawPeakList prior = {}) {
  ScriptedScan s = MakeScan(filter, std::move(peaks), std::move(prior));
  s.trailer[kTrailerMonoisotopicMz] = mz;
  return s;
}

// --- MS level -------------------------------------------------------------

TEST(ReadScan, SurveyScanStopsBeforeTrailerAndMassLists) {
  OpenReader r({{5, MakeScan("FTMS + p NSI Full ms [300.00-2000.00]", {{400.0, 10.0}})}});
  const ReadResult res = Read(r.reader, 5, RawOptions{});
  EXPECT_EQ(res.status, kScanSurvey);
  EXPECT_EQ(res.info.nMsLevel, 1);
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter, 5), 1);
  EXPECT_EQ(r.reader.Calls(Op::GetScanHeader, 5), 1);
  EXPECT_EQ(r.reader.Calls(Op::GetScanTrailer), 0);
  EXPECT_EQ(r.reader.Calls(Op::GetPriorMassList), 0);
  EXPECT_EQ(r.reader.Calls(Op::GetMassList), 0);
  EXPECT_EQ(res.dta.GetPeakCount(), 0u);
}

struct LevelCase {
  const char* filter;
  int level;
};

class MsLevel : public ::testing::TestWithParam<LevelCase> {};

TEST_P(MsLevel, ComesFromTheFirstMs) {
  EXPECT_EQ(MsLevelFromFilter(GetParam().filter), GetParam().level) << GetParam().filter;
}

INSTANTIATE_TEST_SUITE_P(
    Filters, MsLevel,
    ::testing::Values(LevelCase{"FTMS + p NSI Full ms [300.00-2000.00]", 1},
                      LevelCase{kMs2Filter, 2},
                      LevelCase{"ITMS + c NSI d Full ms3 800.40@cid35.00 500.25@cid35.00 [1-2]", 3},
                      LevelCase{"ITMS + c NSI Full ms10 1.00@cid35.00", 10},
                      // The first "ms" wins, wherever it stands.
                      LevelCase{"msx ms2 500.00@cid", 0},
                      LevelCase{"ITMS + c Full ms", 0},
                      LevelCase{"no level here", 0}));

TEST(ReadScan, LevelsTwoAndThreeReadTheTrailers) {
  OpenReader r({{1, Ms2(kMs2Filter, Variant::R8(500.3), {{100.0, 1.0}})},
                {2, Ms2("ITMS + c NSI d Full ms3 800.40@cid35.00 500.25@cid35.00 [1-2]",
                        Variant::R8(800.4), {{100.0, 1.0}})}});
  EXPECT_EQ(Read(r.reader, 1, RawOptions{}).info.nMsLevel, 2);
  EXPECT_EQ(Read(r.reader, 2, RawOptions{}).info.nMsLevel, 3);
  const auto calls = r.reader.CallsOf(Op::GetScanTrailer);
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].text, "Monoisotopic M/Z:");
  EXPECT_EQ(calls[1].text, "Charge State:");
}

// --- Precursor from the trailer -------------------------------------------

TEST(ReadScan, TrailerR4IsWidenedAndR8TakenAsIs) {
  OpenReader r({{1, Ms2(kMs2Filter, Variant::R4(500.123f), {{100.0, 1.0}})},
                {2, Ms2(kMs2Filter, Variant::R8(500.123), {{100.0, 1.0}})}});
  EXPECT_EQ(Read(r.reader, 1, RawOptions{}).info.dPrecursorMz, static_cast<double>(500.123f));
  EXPECT_EQ(Read(r.reader, 2, RawOptions{}).info.dPrecursorMz, 500.123);
}

TEST(ReadScan, TrailerValueSurvivesAStrongerPeakNearby) {
  // 500.163 lies 0.04 above and is stronger: a trailer value doesn't move.
  OpenReader r({{1, Ms2(kMs2Filter, Variant::R8(500.123), {{100.0, 1.0}},
                        {{500.123, 10.0}, {500.163, 900.0}})}});
  const ReadResult res = Read(r.reader, 1, RawOptions{});
  EXPECT_EQ(res.status, kScanRead);
  EXPECT_EQ(res.info.dPrecursorMz, 500.123);
}

class FilterFallback : public ::testing::TestWithParam<Variant> {};

TEST_P(FilterFallback, ZeroOrErrorTakesTheFilterNumber) {
  OpenReader r({{1, Ms2(kMs2Filter, GetParam(), {{100.0, 1.0}})}});
  const ReadResult res = Read(r.reader, 1, RawOptions{});
  EXPECT_EQ(res.status, kScanRead);
  EXPECT_EQ(res.info.dPrecursorMz, 500.25);
}

INSTANTIATE_TEST_SUITE_P(Values, FilterFallback,
                         ::testing::Values(Variant::Error(), Variant::R8(0.0), Variant::R4(0.0f)));

class UnexpectedType : public ::testing::TestWithParam<Variant> {};

TEST_P(UnexpectedType, ShowsTheBoxAndEndsWithStatusZero) {
  RecordingReporter boxes;
  OpenReader r({{42, Ms2(kMs2Filter, GetParam(), {{100.0, 1.0}})}});
  const ReadResult res = Read(r.reader, 42, RawOptions{});
  EXPECT_EQ(res.status, kScanUnexpectedType);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Error);
  EXPECT_EQ(boxes.boxes[0].text, "Scan: 42 MS level: 2 unexpected type when looking for precursorMz");
  EXPECT_EQ(r.reader.Calls(Op::GetScanTrailer), 1);
  EXPECT_EQ(r.reader.Calls(Op::GetMassList), 0);
}

Variant OfType(std::uint16_t vt) {
  Variant v;
  v.vt = static_cast<Variant::Type>(vt);
  return v;
}

INSTANTIATE_TEST_SUITE_P(Values, UnexpectedType,
                         ::testing::Values(Variant::Empty(), Variant::I2(500), OfType(8),
                                           OfType(3)));

// --- Precursor from the filter text and the prior-scan walk ----------------

struct WalkCase {
  const char* name;
  const char* filter;
  RawPeakList prior;
  double expected;
};

class PrecursorWalk : public ::testing::TestWithParam<WalkCase> {};

TEST_P(PrecursorWalk, RefinesAFilterPrecursor) {
  const WalkCase& c = GetParam();
  OpenReader r({{3, Ms2(c.filter, Variant::Error(), {{100.0, 1.0}}, c.prior)}});
  const ReadResult res = Read(r.reader, 3, RawOptions{});
  EXPECT_EQ(res.status, kScanRead);
  EXPECT_EQ(res.info.dPrecursorMz, c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PrecursorWalk,
    ::testing::Values(
        // Far peaks below fail the first test; 500.21 then 500.27 are new
        // maxima; 500.40 is no new maximum and lies beyond, so the walk ends
        // before the strong 500.45.
        WalkCase{"StrongestNeighbour", kMs2Filter,
                 {{400.0, 1000.0}, {500.21, 10.0}, {500.27, 50.0}, {500.40, 20.0}, {500.45, 5000.0}},
                 500.27},
        WalkCase{"WeakerNeighbourStays", kMs2Filter, {{500.21, 50.0}, {500.27, 10.0}}, 500.21},
        // Any peak above counts as near: with nothing around the precursor
        // the first stronger peak above takes it.
        WalkCase{"FirstPeakAboveIsTaken", kMs2Filter, {{400.0, 1000.0}, {600.0, 1000.0}}, 600.0},
        WalkCase{"NothingAbove", kMs2Filter, {{400.0, 1000.0}, {500.19, 1000.0}}, 500.25},
        WalkCase{"EmptyPrior", kMs2Filter, {}, 500.25},
        // 0.1 - 0.05 is exactly the tolerance: the walk goes on to 0.12.
        WalkCase{"ExactlyTAboveGoesOn", "ITMS + c Full ms2 0.05@cid35.00",
                 {{0.05, 100.0}, {0.1, 1.0}, {0.12, 500.0}}, 0.12},
        WalkCase{"BeyondTStops", "ITMS + c Full ms2 0.05@cid35.00",
                 {{0.05, 100.0}, {0.1000001, 1.0}, {0.12, 500.0}}, 0.05},
        // 0.1 - 0.05 below is not less than the tolerance: not weighed.
        WalkCase{"ExactlyTBelowIsOut", "ITMS + c Full ms2 0.10@cid35.00",
                 {{0.05, 1000.0}, {0.11, 1.0}}, 0.11},
        // Without "@" the filter gives 0.0, and every peak within reach above
        // it moves it along.
        WalkCase{"NoAt", "ITMS + c Full ms2 [100.00-200.00]", {{0.02, 5.0}, {0.06, 9.0}}, 0.06},
        // An "@" as the very first character isn't looked at.
        WalkCase{"AtFirstCharacter", "@ms2", {}, 0.0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ReadScan, ExactToleranceArithmeticHolds) {
  // The boundary cases above rest on this.
  EXPECT_EQ(0.1 - 0.05, kPrecursorWalkTolerance);
}

TEST(ReadScan, PriorAndMassListCallsCarryTheirArguments) {
  OpenReader r({{9, Ms2(kMs2Filter, Variant::Error(), {{100.0, 1.0}}, {{500.25, 1.0}})}});
  Read(r.reader, 9, RawOptions{});
  const auto prior = r.reader.CallsOf(Op::GetPriorMassList);
  ASSERT_EQ(prior.size(), 1u);
  EXPECT_EQ(prior[0].nScan, 9);
  EXPECT_EQ(prior[0].text, "!d");
  EXPECT_FALSE(prior[0].bWidthNull);
  EXPECT_EQ(prior[0].dWidth, 0.0);
  EXPECT_EQ(prior[0].ints, (std::vector<long>{0, 0, 0, 0}));
  const auto list = r.reader.CallsOf(Op::GetMassList);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].nScan, 9);
  EXPECT_EQ(list[0].text, "");
  EXPECT_TRUE(list[0].bWidthNull);
  EXPECT_EQ(list[0].ints, (std::vector<long>{0, 0, 0, 0}));
}

TEST(ReadScan, PriorScanMoveDoesNotChangeTheScanRead) {
  ScriptedScan s = Ms2(kMs2Filter, Variant::Error(), {{100.0, 1.0}, {200.0, 2.0}}, {{500.26, 1.0}});
  s.priorScan = 8;
  OpenReader r({{9, s}});
  const ReadResult res = Read(r.reader, 9, RawOptions{});
  EXPECT_EQ(res.info.nScan, 9);
  EXPECT_EQ(res.info.dPrecursorMz, 500.26);
  EXPECT_EQ(res.dta.GetPeakCount(), 2u);
  EXPECT_EQ(r.reader.Calls(Op::GetMassList, 9), 1);
}

TEST(ReadScan, Ms3TakesTheNumberBeforeTheSecondAt) {
  const char* filter = "ITMS + c NSI d Full ms3 800.40@cid35.00 500.25@cid35.00 [135.00-1000.00]";
  // Trailer and prior-scan values are both replaced.
  OpenReader r({{1, Ms2(filter, Variant::R8(800.41), {{100.0, 1.0}}, {{800.41, 99.0}})},
                {2, Ms2(filter, Variant::Error(), {{100.0, 1.0}}, {{800.41, 99.0}})}});
  EXPECT_EQ(Read(r.reader, 1, RawOptions{}).info.dPrecursorMz, 500.25);
  EXPECT_EQ(Read(r.reader, 2, RawOptions{}).info.dPrecursorMz, 500.25);
}

// --- Charge class ------------------------------------------------------------

struct ChargeCase {
  const char* name;
  Variant charge;
  RawPeakList peaks;
  int expected;
};

class ChargeClass : public ::testing::TestWithParam<ChargeCase> {};

TEST_P(ChargeClass, FromTrailerOrEstimate) {
  ScriptedScan s = Ms2(kMs2Filter, Variant::R8(500.0), GetParam().peaks);
  s.trailer[kTrailerChargeState] = GetParam().charge;
  OpenReader r({{1, s}});
  EXPECT_EQ(Read(r.reader, 1, RawOptions{}).info.nChargeClass, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ChargeClass,
    ::testing::Values(
        // Any I2 means multiply charged, a stated 1 included.
        ChargeCase{"StatedOne", Variant::I2(1), {{100.0, 1000.0}}, 2},
        ChargeCase{"StatedThree", Variant::I2(3), {{100.0, 1000.0}}, 2},
        // Other types leave it to the estimate.
        ChargeCase{"R8Ignored", Variant::R8(2.0), {{100.0, 1000.0}}, 1},
        ChargeCase{"EmptySingly", Variant::Empty(), {{100.0, 1000.0}, {600.0, 100.0}}, 1},
        ChargeCase{"EmptyMultiply", Variant::Empty(), {{100.0, 1000.0}, {600.0, 101.0}}, 2}),
    [](const auto& info) { return std::string(info.param.name); });

struct EstimateCase {
  const char* name;
  std::vector<std::pair<double, double>> peaks;
  double precursor;
  int expected;
};

class Estimate : public ::testing::TestWithParam<EstimateCase> {};

TEST_P(Estimate, TenthOfTheSignalBelow) {
  Dta dta;
  for (auto [m, i] : GetParam().peaks) dta.AddPeak(m, i);
  EXPECT_EQ(EstimateChargeClass(GetParam().precursor, &dta), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Estimate,
    ::testing::Values(EstimateCase{"AtTheTenth", {{100.0, 1000.0}, {600.0, 100.0}}, 500.0, 1},
                      EstimateCase{"AboveTheTenth", {{100.0, 1000.0}, {600.0, 101.0}}, 500.0, 2},
                      EstimateCase{"Empty", {}, 500.0, 1},
                      EstimateCase{"OnlyAbove", {{600.0, 1.0}}, 500.0, 2},
                      // A peak at the precursor counts below.
                      EstimateCase{"AtPrecursorIsBelow", {{500.0, 1000.0}, {600.0, 100.0}}, 500.0, 1}),
    [](const auto& info) { return std::string(info.param.name); });

// --- No entries, thresholds, minimum peaks --------------------------------------

TEST(ReadScan, NoEntriesReturnsTwoAndLeavesTheRecord) {
  ScriptedScan s = Ms2(kMs2Filter, Variant::Error(), {{100.0, 1.0}}, {{500.21, 10.0}});
  s.header.nEntries = 0;
  s.trailer[kTrailerChargeState] = Variant::I2(2);
  OpenReader r({{1, s}});
  ReadResult res{};
  res.info.nScan = 1;
  res.dta.AddPeak(1.0, 2.0);
  const RawOptions options{};
  res.status = ReadScan(&r.reader, &res.info, &options, &res.dta);
  EXPECT_EQ(res.status, kScanNoEntries);
  EXPECT_EQ(res.info.nMsLevel, 2);
  EXPECT_EQ(res.info.dPrecursorMz, 500.25);  // no walk
  EXPECT_EQ(res.info.nChargeClass, 2);
  EXPECT_EQ(res.dta.GetPeakCount(), 1u);
  EXPECT_EQ(r.reader.Calls(Op::GetPriorMassList), 0);
  EXPECT_EQ(r.reader.Calls(Op::GetMassList), 0);
}

struct ThresholdCase {
  const char* name;
  int mode;
  int threshold;
  double maxBasePeak;
  double total;
  bool kept;
};

class Threshold : public ::testing::TestWithParam<ThresholdCase> {};

TEST_P(Threshold, RejectsScansBelowIt) {
  const ThresholdCase& c = GetParam();
  ScriptedScan s = Ms2(kMs2Filter, Variant::R8(500.0), {{100.0, 5.0}, {200.0, 6.0}});
  s.header.dTotalIntensity = c.total;
  OpenReader r({{1, s}});
  RawOptions options;
  options.nThresholdMode = c.mode;
  options.nIntensityThreshold = c.threshold;
  Dta dta;
  const int n = ReadMassList(&r.reader, 1, &options, c.maxBasePeak, &dta);
  EXPECT_EQ(n, c.kept ? 2 : 0);
  EXPECT_EQ(dta.GetPeakCount(), c.kept ? 2u : 0u);
  EXPECT_EQ(r.reader.Calls(Op::GetMassList), c.kept ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Threshold,
    ::testing::Values(ThresholdCase{"FixedBelow", 1, 1000, 0.0, 999.9, false},
                      ThresholdCase{"FixedEqual", 1, 1000, 0.0, 1000.0, true},
                      ThresholdCase{"FixedIgnoresBasePeak", 1, 10, 1e9, 11.0, true},
                      ThresholdCase{"BasePeakBelow", 2, 1000000, 5000.0, 4999.0, false},
                      ThresholdCase{"BasePeakEqual", 2, 1000000, 5000.0, 5000.0, true},
                      ThresholdCase{"NoTest", 0, 1000000, 1e9, 0.0, true},
                      ThresholdCase{"OtherModeNoTest", 3, 1000000, 1e9, 0.0, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ReadScan, RejectedScanIsTooFewPeaksUnlessNoneAreRequired) {
  ScriptedScan s = Ms2(kMs2Filter, Variant::R8(500.0), {{100.0, 5.0}, {200.0, 6.0}});
  s.header.dTotalIntensity = 999.9;
  OpenReader r({{1, s}});
  RawOptions options;
  options.nThresholdMode = 1;
  options.nIntensityThreshold = 1000;
  options.nMinPeaks = 1;
  ReadResult res = Read(r.reader, 1, options);
  EXPECT_EQ(res.status, kScanTooFewPeaks);
  EXPECT_EQ(res.dta.GetPeakCount(), 0u);

  options.nMinPeaks = 0;
  res = Read(r.reader, 1, options);
  EXPECT_EQ(res.status, kScanRead);
  EXPECT_EQ(res.dta.GetPeakCount(), 0u);
  EXPECT_EQ(res.info.nChargeClass, 1);  // the estimate of an empty spectrum
}

TEST(ReadScan, MinPeaksBoundary) {
  OpenReader r({{1, Ms2(kMs2Filter, Variant::R8(500.0), {{100.0, 5.0}, {200.0, 6.0}, {300.0, 7.0}})}});
  RawOptions options;
  options.nMinPeaks = 4;
  ReadResult res = Read(r.reader, 1, options);
  EXPECT_EQ(res.status, kScanTooFewPeaks);
  EXPECT_EQ(res.dta.GetPeakCount(), 3u);  // what was read stays
  options.nMinPeaks = 3;
  res = Read(r.reader, 1, options);
  EXPECT_EQ(res.status, kScanRead);
  ASSERT_EQ(res.dta.GetPeakCount(), 3u);
  EXPECT_EQ(res.dta.GetMass(2), 300.0);
  EXPECT_EQ(res.dta.GetIntensity(2), 7.0);
}

TEST(ReadMassList, ScanBelowOneReadsNothing) {
  OpenReader r({{0, MakeScan(kMs2Filter, {{1.0, 1.0}})}});
  Dta dta;
  dta.AddPeak(3.0, 4.0);
  EXPECT_EQ(ReadMassList(&r.reader, 0, nullptr, 0.0, &dta), 0);
  EXPECT_EQ(dta.GetPeakCount(), 0u);
  EXPECT_EQ(r.reader.Calls(Op::GetScanHeader), 0);
}

TEST(ReadScan, ReaderFailurePropagates) {
  OpenReader r({{1, Ms2(kMs2Filter, Variant::Error(), {{100.0, 1.0}})}});
  r.reader.ThrowOn(Op::GetPriorMassList);
  ScanInfo info;
  info.nScan = 1;
  Dta dta;
  const RawOptions options{};
  EXPECT_ANY_THROW(ReadScan(&r.reader, &info, &options, &dta));
}

// --- Base peak -------------------------------------------------------------------

TEST(GetMaxBasePeak, LeavesTheLastScanOut) {
  std::map<long, ScriptedScan> scans;
  const double base[] = {10.0, 50.0, 30.0, 999.0};
  for (long s = 1; s <= 4; ++s) {
    scans[s] = MakeScan(kMs2Filter, {});
    scans[s].header.dBasePeakIntensity = base[s - 1];
  }
  OpenReader r(scans);
  EXPECT_EQ(GetMaxBasePeak(&r.reader, 1, 4), 50.0);
  EXPECT_EQ(r.reader.Calls(Op::GetScanHeader), 3);
  EXPECT_EQ(GetMaxBasePeak(&r.reader, 1, 5), 999.0);
  EXPECT_EQ(GetMaxBasePeak(&r.reader, 4, 4), 0.0);
  EXPECT_EQ(GetMaxBasePeak(&r.reader, 5, 1), 0.0);
}

// --- Helpers -------------------------------------------------------------------------

TEST(PathBaseName, FileNameWithoutFolderAndExtension) {
  EXPECT_EQ(PathBaseName("/data/run1.raw"), "run1");
  EXPECT_EQ(PathBaseName("C:\\data\\run.1.RAW"), "run.1");
  EXPECT_EQ(PathBaseName("C:run.raw"), "run");
  EXPECT_EQ(PathBaseName("run"), "run");
  EXPECT_EQ(PathBaseName("/data.d/run"), "run");
  EXPECT_EQ(PathBaseName("/data/"), "");
}

}  // namespace
}  // namespace orvane
