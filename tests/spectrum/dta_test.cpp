// The record a driver reuses from one spectrum to the next: assignment and
// Clear() leave the grid fields and the charge sign of the target alone,
// ClearPeaks() everything but the peaks; and a DTA file that can't be
// written is reported.
#include <gtest/gtest.h>

#include "spectrum/dta_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

TEST(Dta, ReuseKeepsTheGridFieldsAndTheSign) {
  Dta src;
  src.strTitle = "t.dta";
  src.dMass = 500.25;
  src.AddPeak(100.0, 5.0);
  src.SetEquidistant(true, 0.3);  // 1 / 0.3 truncated
  src.cChargeSign = '-';
  src.vHeaderLines = {"RTINSECONDS=12.5"};
  EXPECT_EQ(Dta(src).nSampling, 3);
  EXPECT_EQ(Dta(src).cChargeSign, '-');
  Dta target;
  target = src;
  EXPECT_EQ(target.strTitle, "t.dta");
  EXPECT_EQ(target.vHeaderLines, src.vHeaderLines);
  EXPECT_FALSE(target.bEquidistant);
  EXPECT_EQ(target.cChargeSign, '+');
  src.ClearPeaks();
  EXPECT_EQ(src.GetPeakCount(), 0u);
  EXPECT_EQ(src.strTitle, "t.dta");
  EXPECT_EQ(src.vHeaderLines.size(), 1u);
  src.Clear();
  EXPECT_EQ(src.strTitle, "");
  EXPECT_TRUE(src.vHeaderLines.empty());
  EXPECT_TRUE(src.bEquidistant);
  EXPECT_EQ(src.nSampling, 3);
  EXPECT_EQ(src.cChargeSign, '-');
  EXPECT_EQ(src.GetMass(0), -1.0);
  EXPECT_THROW(src.SetIntensity(0, 1.0), std::out_of_range);
}

TEST(ExportDta, AFolderThatIsMissingFailsWithAReport) {
  test::RecordingReporter boxes;
  Dta d;
  EXPECT_EQ(ExportDta("/nonexistent-folder/x.dta", &d), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
}

}  // namespace
}  // namespace orvane
