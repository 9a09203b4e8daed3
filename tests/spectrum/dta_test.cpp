#include "spectrum/dta.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

Dta Resampled() {
  Dta d;
  d.strTitle = "t.dta";
  d.strPath = "/data/";
  d.dMass = 500.25;
  d.nCharge = 2;
  d.AddPeak(100.0, 5.0);
  d.AddPeak(200.0, 7.0);
  d.SetEquidistant(true, 0.05);
  d.cChargeSign = '-';
  d.vHeaderLines = {"RTINSECONDS=12.5"};
  d.dPrecursorIntensity = 42.0;
  return d;
}

TEST(Dta, NewRecord) {
  Dta d;
  EXPECT_EQ(d.GetPeakCount(), 0u);
  EXPECT_EQ(d.GetMass(0), -1.0);
  EXPECT_EQ(d.GetIntensity(0), -1.0);
  EXPECT_EQ(d.GetChargeSign(), '+');
  EXPECT_FALSE(d.bEquidistant);
  EXPECT_EQ(d.nSampling, 0);
}

TEST(Dta, AddPeakKeepsOrderAndZeroIntensities) {
  Dta d;
  d.AddPeak(300.0, 1.0);
  d.AddPeak(100.0, 0.0);
  ASSERT_EQ(d.GetPeakCount(), 2u);
  EXPECT_EQ(d.GetMass(0), 300.0);
  EXPECT_EQ(d.GetMass(1), 100.0);
  EXPECT_EQ(d.GetIntensity(1), 0.0);
  EXPECT_EQ(d.GetMass(2), -1.0);
  EXPECT_THROW(d.SetIntensity(2, 1.0), std::out_of_range);
}

TEST(Dta, SetEquidistantTruncatesTheSampling) {
  Dta d;
  d.SetEquidistant(true, 0.05);
  EXPECT_EQ(d.nSampling, 20);
  d.SetEquidistant(true, 0.3);
  EXPECT_EQ(d.nSampling, 3);
}

// What each way of copying or clearing does to each field.
TEST(Dta, CopyConstructorCopiesEverything) {
  const Dta src = Resampled();
  const Dta copy(src);
  EXPECT_EQ(copy.strTitle, "t.dta");
  EXPECT_EQ(copy.strPath, "/data/");
  EXPECT_EQ(copy.dMass, 500.25);
  EXPECT_EQ(copy.nCharge, 2);
  EXPECT_EQ(copy.vMass, src.vMass);
  EXPECT_EQ(copy.vIntensity, src.vIntensity);
  EXPECT_EQ(copy.nPeaks, 2u);
  EXPECT_TRUE(copy.bEquidistant);
  EXPECT_EQ(copy.nSampling, 20);
  EXPECT_EQ(copy.cChargeSign, '-');
  EXPECT_EQ(copy.vHeaderLines, src.vHeaderLines);
}

TEST(Dta, AssignmentKeepsTheGridFieldsAndSignOfTheTarget) {
  const Dta src = Resampled();
  Dta target;
  target.AddPeak(1.0, 1.0);
  target.AddPeak(2.0, 1.0);
  target.AddPeak(3.0, 1.0);
  target = src;
  EXPECT_EQ(target.strTitle, "t.dta");
  EXPECT_EQ(target.strPath, "/data/");
  EXPECT_EQ(target.dMass, 500.25);
  EXPECT_EQ(target.nCharge, 2);
  EXPECT_EQ(target.vMass, src.vMass);
  EXPECT_EQ(target.nPeaks, 2u);
  EXPECT_FALSE(target.bEquidistant);
  EXPECT_EQ(target.nSampling, 0);
  EXPECT_EQ(target.cChargeSign, '+');
  EXPECT_EQ(target.vHeaderLines, src.vHeaderLines);
  EXPECT_EQ(target.dPrecursorIntensity, 42.0);
}

TEST(Dta, ClearKeepsGridFieldsAndSign) {
  Dta d = Resampled();
  d.Clear();
  EXPECT_EQ(d.strTitle, "");
  EXPECT_EQ(d.strPath, "");
  EXPECT_EQ(d.dMass, 0.0);
  EXPECT_EQ(d.nCharge, 0);
  EXPECT_EQ(d.GetPeakCount(), 0u);
  EXPECT_TRUE(d.vMass.empty());
  EXPECT_TRUE(d.vIntensity.empty());
  EXPECT_TRUE(d.bEquidistant);
  EXPECT_EQ(d.nSampling, 20);
  EXPECT_EQ(d.cChargeSign, '-');
  EXPECT_TRUE(d.vHeaderLines.empty());
  EXPECT_EQ(d.dPrecursorIntensity, 0.0);
}

TEST(Dta, ClearPeaksKeepsEverythingElse) {
  Dta d = Resampled();
  d.ClearPeaks();
  EXPECT_EQ(d.GetPeakCount(), 0u);
  EXPECT_TRUE(d.vMass.empty());
  EXPECT_EQ(d.strTitle, "t.dta");
  EXPECT_EQ(d.strPath, "/data/");
  EXPECT_EQ(d.dMass, 500.25);
  EXPECT_EQ(d.nCharge, 2);
  EXPECT_TRUE(d.bEquidistant);
  EXPECT_EQ(d.vHeaderLines.size(), 1u);
}

}  // namespace
}  // namespace orvane
