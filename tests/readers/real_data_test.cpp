// The real runs of the data folder against msconvert's MGF of them; skipped
// when the folder is not there.
#include <gtest/gtest.h>

#include <cmath>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "raw/scan_access.h"
#include "reader_test_util.h"
#include "readers/mz_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ViewScan;

struct RealCase {
  const char* raw;
  const char* mgf;
  long spectra, first, last, msms;
};

class RealDataTest : public ::testing::TestWithParam<RealCase> {};

// Every MS/MS scan, in order, has msconvert's peaks and charge.
TEST_P(RealDataTest, MsMsScansMatchMsconvert) {
  const auto& c = GetParam();
  ORVANE_REQUIRE_DATA(raw, c.raw);
  ORVANE_REQUIRE_DATA(mgf, c.mgf);
  readers::MzReader r;
  ASSERT_EQ(r.OpenRawFile(raw), 0) << r.LastError();
  long n = 0, first = 0, last = 0;
  r.GetSpectrumCount(&n);
  r.GetFirstScan(&first);
  r.GetLastScan(&last);
  EXPECT_EQ(n, c.spectra);
  EXPECT_EQ(first, c.first);
  EXPECT_EQ(last, c.last);
  auto blocks = test::ReadMgf(mgf);
  ASSERT_EQ(static_cast<long>(blocks.size()), c.msms);
  std::size_t b = 0;
  for (long scan = first; scan <= last; ++scan) {
    std::string filter;
    r.GetScanFilter(scan, &filter);
    if (MsLevelFromFilter(filter) < 2) continue;
    ASSERT_LT(b, blocks.size());
    auto v = ViewScan(r, scan);
    const auto& blk = blocks[b++];
    ASSERT_EQ(v.peaks.size(), blk.peaks.size()) << blk.title;
    for (std::size_t i = 0; i < v.peaks.size(); ++i) {
      ASSERT_NEAR(v.peaks[i].dMass, blk.peaks[i].first, 1e-6 * blk.peaks[i].first) << blk.title;
      ASSERT_NEAR(v.peaks[i].dIntensity, blk.peaks[i].second, 1e-6 * blk.peaks[i].second) << blk.title;
    }
    ASSERT_EQ(v.charge.vt, Variant::VT_I2) << blk.title;
    EXPECT_EQ(v.charge.iVal, blk.charge) << blk.title;
    ASSERT_EQ(v.mono.vt, Variant::VT_R8);
    EXPECT_NEAR(v.mono.dblVal, blk.pepmass, 1e-4) << blk.title;
    // The survey scan comes before the precursor in time and is a survey scan.
    ASSERT_NE(v.priorScan, scan);
    std::string priorFilter;
    r.GetScanFilter(v.priorScan, &priorFilter);
    EXPECT_EQ(MsLevelFromFilter(priorFilter), 1);
    ScanHeader own, prior;
    r.GetScanHeader(scan, &own);
    r.GetScanHeader(v.priorScan, &prior);
    EXPECT_LT(prior.dStartTime, own.dStartTime);
  }
  EXPECT_EQ(b, blocks.size());
}

INSTANTIATE_TEST_SUITE_P(
    Data, RealDataTest,
    ::testing::Values(RealCase{"bsa/BSA1.mzML", "bsa/BSA1.mgf", 1684, 1011, 3561, 1120},
                      RealCase{"yeast/SmallCalibratible_Yeast.mzML", "yeast/SmallCalibratible_Yeast.mgf", 142,
                               1, 142, 118}),
    [](const auto& info) { return std::string(info.param.raw).substr(0, 3); });

// BSA1 lists every survey scan first: the survey scan of a precursor is the
// last one before it in time, not in file order.
TEST(RealData, Bsa1SurveyScanByTime) {
  ORVANE_REQUIRE_DATA(raw, "bsa/BSA1.mzML");
  readers::MzReader r;
  ASSERT_EQ(r.OpenRawFile(raw), 0);
  EXPECT_EQ(ViewScan(r, 2442).priorScan, 1012);  // 1503.96 s: survey 1012 at 1503.03 s
  EXPECT_EQ(ViewScan(r, 2443).priorScan, 1015);
  EXPECT_EQ(ViewScan(r, 1015).filter, "FTMS + p NSI Full ms [300.00-2000.00]");
  EXPECT_EQ(ViewScan(r, 2000).filter, readers::kGapFilter);
}

TEST(RealData, MzxmlRunsFollowPrecursorScanNum) {
  for (const char* name : {"mzxml/BSA_min_21.mzXML", "mzxml/BSA_min_23.mzXML"}) {
    ORVANE_REQUIRE_DATA(raw, name);
    readers::MzReader r;
    ASSERT_EQ(r.OpenRawFile(raw), 0);
    long n = 0, first = 0, last = 0, msms = 0;
    r.GetSpectrumCount(&n);
    r.GetFirstScan(&first);
    r.GetLastScan(&last);
    EXPECT_EQ(n, 100);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(last, 100);
    for (long s = first; s <= last; ++s) {
      auto v = ViewScan(r, s);
      if (MsLevelFromFilter(v.filter) < 2) continue;
      ++msms;
      EXPECT_LT(v.priorScan, s);
      EXPECT_EQ(v.peaks.size(), static_cast<std::size_t>(v.header.nEntries));
    }
    EXPECT_GT(msms, 75);
  }
}

// The engine's raw-to-MGF road over the real runs gives msconvert's MS/MS
// spectra, each twice: every precursor there has a stated charge of 2 or
// more, which the engine writes as charge 2 and as charge 3.
TEST(RealData, RawToMgfWritesEveryMsMsSpectrumAsCharge2And3) {
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
  for (auto [raw, mgf] : {std::pair<const char*, const char*>{"bsa/BSA1.mzML", "bsa/BSA1.mgf"},
                          {"yeast/SmallCalibratible_Yeast.mzML", "yeast/SmallCalibratible_Yeast.mgf"}}) {
    auto rawPath = test::DataFile(raw);
    auto mgfPath = test::DataFile(mgf);
    if (!rawPath || !mgfPath) {
      convert->Release();
      GTEST_SKIP() << "real data not available";
    }
    readers::MzReader reader;
    const std::string out = dir.File("out.mgf");
    ASSERT_EQ(convert->RawToMgf(*rawPath, out, &reader, &options, &cancel, &window), S_OK);
    auto ours = test::ReadMgf(out);
    auto theirs = test::ReadMgf(*mgfPath);
    ASSERT_EQ(ours.size(), 2 * theirs.size()) << raw;
    for (std::size_t i = 0; i < theirs.size(); ++i) {
      EXPECT_EQ(ours[2 * i].charge, 2);
      EXPECT_EQ(ours[2 * i + 1].charge, 3);
      EXPECT_NEAR(ours[2 * i].pepmass, theirs[i].pepmass, 1e-4);
    }
  }
  convert->Release();
}

}  // namespace
}  // namespace orvane
