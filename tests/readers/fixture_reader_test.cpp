// The reader against files written by an independent tool (msconvert) and
// what that tool reports about them: scan numbers, levels, headers, peaks,
// precursors, charges and the survey scan of each precursor.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "raw/conversions.h"
#include "raw/scan_access.h"
#include "reader_test_util.h"
#include "readers/mz_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ExpectedSpectrum;
using test::FixturePath;
using test::ScanOfId;
using test::ViewScan;

::testing::AssertionResult Near(double expected, double actual, double relative) {
  if (std::fabs(expected - actual) <= relative * std::max(std::fabs(expected), 1e-12)) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "expected " << expected << ", got " << actual;
}

class FixtureTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    path = FixturePath(GetParam());
    expected = test::ReadExpected(path + ".expected.tsv");
    ASSERT_FALSE(expected.empty());
    reader = MakeRawReader(path);
    ASSERT_EQ(reader->OpenRawFile(path), 0);
    reader->SelectController(0, 1);
  }
  std::string path;
  std::vector<ExpectedSpectrum> expected;
  std::unique_ptr<IRawReader> reader;
};

TEST_P(FixtureTest, CountAndScanRange) {
  long count = 0, first = 0, last = 0;
  reader->GetSpectrumCount(&count);
  reader->GetFirstScan(&first);
  reader->GetLastScan(&last);
  EXPECT_EQ(count, static_cast<long>(expected.size()));
  long lo = ScanOfId(expected.front().id), hi = lo;
  for (const auto& e : expected) {
    lo = std::min(lo, ScanOfId(e.id));
    hi = std::max(hi, ScanOfId(e.id));
  }
  EXPECT_EQ(first, lo);
  EXPECT_EQ(last, hi);
}

TEST_P(FixtureTest, EveryScanAsMsconvertReportsIt) {
  const std::string content = test::ReadFile(path);
  const bool statesRefs = path.find(".mzML") != std::string::npos ||
                          content.find("precursorScanNum") != std::string::npos;
  for (const auto& e : expected) {
    SCOPED_TRACE(e.id);
    const long scan = ScanOfId(e.id);
    auto v = ViewScan(*reader, scan);
    EXPECT_EQ(MsLevelFromFilter(v.filter), e.level) << v.filter;
    if (!e.filter.empty()) {
      EXPECT_EQ(v.filter, e.filter);
    }
    EXPECT_EQ(v.header.nEntries, e.count);
    EXPECT_TRUE(Near(e.tic, v.header.dTotalIntensity, 1e-7));
    EXPECT_TRUE(Near(e.bpi, v.header.dBasePeakIntensity, 1e-7));
    EXPECT_NEAR(v.header.dStartTime, e.rtMinutes, 1e-4);
    ASSERT_EQ(v.peaks.size(), e.mz.size());
    ASSERT_EQ(e.mz.size(), e.intensity.size());
    for (std::size_t i = 0; i < e.mz.size(); ++i) {
      EXPECT_TRUE(Near(e.mz[i], v.peaks[i].dMass, 1e-10)) << "peak " << i;
      EXPECT_TRUE(Near(e.intensity[i], v.peaks[i].dIntensity, 1e-9)) << "peak " << i;
    }
    if (e.level < 2) {
      EXPECT_EQ(v.priorScan, scan);
      EXPECT_TRUE(v.priorPeaks.empty());
      continue;
    }
    // The precursor the engine takes: the trailer value where the file has
    // one, else the last number before "@" of the filter text.
    if (v.mono.vt == Variant::VT_R8) {
      EXPECT_NEAR(v.mono.dblVal, e.precursorMz, 1e-6);
    } else {
      EXPECT_EQ(v.mono.vt, Variant::VT_ERROR);
      EXPECT_NEAR(LastPrecursorFromFilter(v.filter), e.precursorMz, 1e-4);
    }
    if (e.charge >= 2) {
      ASSERT_EQ(v.charge.vt, Variant::VT_I2);
      EXPECT_EQ(v.charge.iVal, e.charge);
    } else {
      EXPECT_EQ(v.charge.vt, Variant::VT_ERROR);
    }
    // The survey scan: the one the precursor names, else the last one before
    // it in time. (For an mzXML file without precursorScanNum msconvert
    // reports the last survey scan in file order; the file names none.)
    long survey = 0;
    if (!e.ref.empty() && statesRefs) {
      survey = ScanOfId(e.ref);
    } else {
      double best = -1e300;
      for (const auto& o : expected) {
        if (o.level == e.level - 1 && o.rtMinutes < e.rtMinutes && o.rtMinutes > best) {
          best = o.rtMinutes;
          survey = ScanOfId(o.id);
        }
      }
    }
    EXPECT_EQ(v.priorScan, survey);
    auto s = std::find_if(expected.begin(), expected.end(),
                          [&](const ExpectedSpectrum& o) { return ScanOfId(o.id) == survey; });
    ASSERT_NE(s, expected.end());
    ASSERT_EQ(v.priorPeaks.size(), s->mz.size());
    EXPECT_TRUE(Near(s->mz.front(), v.priorPeaks.front().dMass, 1e-10));
  }
}

// msconvert's own MGF of the file lists the same MS/MS spectra, in order,
// with the same peaks and charges.
TEST_P(FixtureTest, MsMsScansMatchMsconvertsMgf) {
  auto blocks = test::ReadMgf(path + ".msconvert.mgf");
  long first = 0, last = 0;
  reader->GetFirstScan(&first);
  reader->GetLastScan(&last);
  std::size_t b = 0;
  for (long scan = first; scan <= last; ++scan) {
    std::string filter;
    reader->GetScanFilter(scan, &filter);
    if (MsLevelFromFilter(filter) < 2) continue;
    ASSERT_LT(b, blocks.size());
    SCOPED_TRACE(blocks[b].title);
    auto v = ViewScan(*reader, scan);
    ASSERT_EQ(v.peaks.size(), blocks[b].peaks.size());
    for (std::size_t i = 0; i < v.peaks.size(); ++i) {
      EXPECT_TRUE(Near(blocks[b].peaks[i].first, v.peaks[i].dMass, 1e-7));
      EXPECT_TRUE(Near(blocks[b].peaks[i].second, v.peaks[i].dIntensity, 1e-6));
    }
    EXPECT_EQ(v.charge.iVal, blocks[b].charge);
    ++b;
  }
  EXPECT_EQ(b, blocks.size());
}

// The engine's own reading of each MS/MS scan: level, precursor and charge class.
TEST_P(FixtureTest, ReadScanSeesLevelPrecursorAndChargeClass) {
  RawOptions options;
  options.dMaxMass = 100000.0;
  for (const auto& e : expected) {
    if (e.level < 2) continue;
    SCOPED_TRACE(e.id);
    ScanInfo info;
    info.nScan = static_cast<int>(ScanOfId(e.id));
    Dta dta;
    EXPECT_EQ(ReadScan(reader.get(), &info, &options, &dta), kScanRead);
    EXPECT_EQ(info.nMsLevel, e.level);
    EXPECT_EQ(info.nChargeClass, 2);  // every precursor here has charge 2 or 3
    Variant mono;
    reader->GetScanTrailer(info.nScan, "Monoisotopic M/Z:", &mono);
    if (mono.vt == Variant::VT_R8) {
      EXPECT_EQ(info.dPrecursorMz, mono.dblVal);
    } else {
      // From the filter text, then moved by the engine's walk through the
      // survey scan to a stronger peak at or above it.
      EXPECT_GE(info.dPrecursorMz, e.precursorMz - 0.05);
    }
    EXPECT_EQ(static_cast<long>(dta.GetPeakCount()), e.count);
  }
}

INSTANTIATE_TEST_SUITE_P(Msconvert, FixtureTest,
                         ::testing::Values("yeast_zlib.mzML", "yeast_plain.mzML",
                                           "yeast_zlib.mzML.gz", "yeast_32_zlib.mzXML",
                                           "yeast_64.mzXML", "bsa_survey_first.mzML",
                                           "bsa_survey_first.mzXML"),
                         [](const auto& info) {
                           std::string n = info.param;
                           std::replace(n.begin(), n.end(), '.', '_');
                           return n;
                         });

// Filter texts built for files that carry none (mzXML written without filterLine).
TEST(BuiltFilterText, ThermoFormFromMzxmlMetadata) {
  readers::MzReader r;
  ASSERT_EQ(r.OpenRawFile(FixturePath("yeast_32_zlib.mzXML")), 0);
  std::string f;
  r.GetScanFilter(1, &f);
  EXPECT_EQ(f, "FTMS + c NSI Full ms [300.17-1499.11]");
  r.GetScanFilter(2, &f);
  EXPECT_EQ(f, "FTMS + c NSI d Full ms2 488.7343@hcd42.00 [101.07-849.37]");
  r.GetScanFilter(5, &f);
  EXPECT_EQ(f, "FTMS + c NSI d Full ms2 536.2742@hcd42.00 [101.07-928.41]");
}

// The engine's whole raw-to-MGF road over a fixture: every MS/MS spectrum of
// msconvert's MGF, written as charge 2 and as charge 3 (the engine's doubling
// for multiply charged precursors), with the same peaks.
TEST(RawToMgfOverFixture, WritesMsconvertsSpectraTwice) {
  RegisterOrvaneModule();
  IConvertMSMS* convert = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IConvertMSMS,
                             reinterpret_cast<void**>(&convert)),
            S_OK);
  test::TempDir dir;
  test::RecordingWindow window;
  CEvent cancel;
  RawOptions options;
  options.dMaxMass = 100000.0;
  for (const char* name : {"yeast_zlib.mzML", "bsa_survey_first.mzXML"}) {
    SCOPED_TRACE(name);
    auto reader = MakeRawReader(name);
    std::string out = dir.File(std::string(name) + ".mgf");
    EXPECT_EQ(convert->RawToMgf(FixturePath(name), out, reader.get(), &options, &cancel, &window),
              S_OK);
    auto ours = test::ReadMgf(out);
    auto theirs = test::ReadMgf(FixturePath(name) + ".msconvert.mgf");
    ASSERT_EQ(ours.size(), 2 * theirs.size());
    for (std::size_t i = 0; i < theirs.size(); ++i) {
      EXPECT_EQ(ours[2 * i].charge, 2);
      EXPECT_EQ(ours[2 * i + 1].charge, 3);
      EXPECT_EQ(ours[2 * i].peaks.size(), theirs[i].peaks.size());
      if (std::string(name).find(".mzML") != std::string::npos) {
        // The trailer's monoisotopic m/z, which msconvert writes too.
        EXPECT_NEAR(ours[2 * i].pepmass, theirs[i].pepmass, 1e-4);
      }
    }
  }
  convert->Release();
}

}  // namespace
}  // namespace orvane
