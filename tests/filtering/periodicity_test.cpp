#include <gtest/gtest.h>

#include "filtering/deisotope_stages.h"
#include "support/test_support.h"
#include "support/fake_stages.h"

namespace orvane {
namespace {

using filtering::BuildPeriodicitySpectrum;
using filtering::FftLength;
using filtering::kStageComplete;
using filtering::PeriodicitySpectrum;
using filtering::Routine;
using test::FakeAnalyze;
using test::FakeTonalith;
using test::GridSpectrum;
using test::RecordingReporter;

struct LengthCase {
  std::uint32_t nPeaks;
  int nFftLength;
};
class FftLengthTest : public testing::TestWithParam<LengthCase> {};

TEST_P(FftLengthTest, PadsToAtLeastTwiceTheLength) {
  EXPECT_EQ(FftLength(GetParam().nPeaks), GetParam().nFftLength);
}
INSTANTIATE_TEST_SUITE_P(Lengths, FftLengthTest,
                         testing::Values(LengthCase{1, 2}, LengthCase{2, 4}, LengthCase{3, 8},
                                         LengthCase{5, 16}, LengthCase{1000, 2048},
                                         LengthCase{1024, 2048}, LengthCase{1025, 4096},
                                         LengthCase{131072, 262144},
                                         LengthCase{131073, 524288},
                                         LengthCase{1u << 28, 1 << 29},
                                         LengthCase{(1u << 28) + 1, 0}));

TEST(FftLength, EveryPowerOfTwoDoublesExactly) {
  for (int c = 0; c <= 28; ++c) EXPECT_EQ(FftLength(1u << c), 2 << c) << c;
}

struct Fixture {
  FakeTonalith tonalith;
  FakeAnalyze analyze;
  RecordingReporter reporter;
  std::vector<double> vOut{-7.0};  // the stage must replace whatever is there
  PeriodicitySpectrum spectrum;
  int Run(const Dta& dta, Routine routine = Routine::Strict, int nWidth = 3) {
    return BuildPeriodicitySpectrum(&tonalith, &analyze, dta, nWidth, routine, vOut, spectrum);
  }
};

TEST(Periodicity, TransformsThePaddedSpectrumAndTheMirroredMedian) {
  Fixture f;
  const Dta dta = GridSpectrum({1.0, 2.0, 3.0, 4.0, 5.0});
  ASSERT_EQ(f.Run(dta, Routine::Strict, 5), kStageComplete);
  EXPECT_EQ(f.vOut, dta.vIntensity);
  ASSERT_EQ(f.tonalith.fftLengths, (std::vector<int>{16, 16}));
  EXPECT_EQ(f.tonalith.fftInputs[0],
            (std::vector<double>{1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  // The power spectrum is cut to its first half and, with an overall value of
  // 1000, not lifted.
  EXPECT_EQ(f.tonalith.medianInput, (std::vector<double>{1, 2, 3, 4, 5, 0, 0, 0}));
  EXPECT_EQ(f.tonalith.medianLength, 8);
  EXPECT_EQ(f.tonalith.medianWidth, 5);
  const std::vector<double> mirrored{1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 5, 4, 3, 2, 1};
  EXPECT_EQ(f.spectrum.vMedian, mirrored);
  EXPECT_EQ(f.tonalith.fftInputs[1], mirrored);
  EXPECT_EQ(f.spectrum.vPeriodicity, mirrored);  // the fake hands it on
  EXPECT_EQ(f.spectrum.nFftLength, 16);
  EXPECT_EQ(f.spectrum.nHalfLength, 8);
  EXPECT_EQ(f.spectrum.nMedianLength, 16);
  EXPECT_TRUE(f.reporter.boxes.empty());
}

TEST(Periodicity, MirrorRepeatsTheMiddleAndEndsWhereItBegins) {
  Fixture f;
  std::vector<double> v(1000);
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<double>(i % 17) + 0.5;
  ASSERT_EQ(f.Run(GridSpectrum(v)), kStageComplete);
  const auto& m = f.spectrum.vMedian;
  ASSERT_EQ(m.size(), 2048u);
  EXPECT_EQ(m[1024], m[1023]);
  EXPECT_EQ(m[2047], m[0]);
  for (std::size_t k = 0; k < 1024; ++k) ASSERT_EQ(m[1024 + k], m[1023 - k]);
}

struct LiftCase {
  double overall;
  double factor;
};
class LiftTest : public testing::TestWithParam<LiftCase> {};

TEST_P(LiftTest, WeakSpectraAreLiftedByAHundred) {
  Fixture f;
  f.tonalith.overall = GetParam().overall;
  ASSERT_EQ(f.Run(GridSpectrum({2.0, 3.0})), kStageComplete);
  EXPECT_EQ(f.tonalith.medianInput,
            (std::vector<double>{2.0 * GetParam().factor, 3.0 * GetParam().factor}));
}
INSTANTIATE_TEST_SUITE_P(Overall, LiftTest,
                         testing::Values(LiftCase{0.0, 100.0}, LiftCase{99.9, 100.0},
                                         LiftCase{99.99999, 100.0}, LiftCase{100.0, 1.0},
                                         LiftCase{250.0, 1.0}, LiftCase{-99.0, 100.0},
                                         LiftCase{1e300, 1.0}));

TEST(Periodicity, MissingReferencesComeBeforeTheEmptyTest) {
  for (int which = 0; which < 2; ++which) {
    Fixture f;
    Dta empty;
    const int r = which == 0
                      ? BuildPeriodicitySpectrum(nullptr, &f.analyze, empty, 3, Routine::Strict,
                                                 f.vOut, f.spectrum)
                      : BuildPeriodicitySpectrum(&f.tonalith, nullptr, empty, 3, Routine::Soft,
                                                 f.vOut, f.spectrum);
    EXPECT_EQ(r, -2);
    ASSERT_EQ(f.reporter.boxes.size(), 1u);
    EXPECT_TRUE(f.reporter.Has(BoxKind::Error, "Interfaces are not referenced."));
    EXPECT_TRUE(f.vOut.empty());
  }
  // The output is filled before the references are checked.
  Fixture f;
  const Dta dta = GridSpectrum({4.0, 5.0});
  EXPECT_EQ(BuildPeriodicitySpectrum(nullptr, nullptr, dta, 3, Routine::Strict, f.vOut,
                                     f.spectrum),
            -2);
  EXPECT_EQ(f.vOut, dta.vIntensity);
}

TEST(Periodicity, EmptySpectrumEndsWithoutCallingTheComponent) {
  Fixture f;
  EXPECT_EQ(f.Run(Dta{}), -1);
  EXPECT_TRUE(f.reporter.Has(BoxKind::Error, "dtaWork empty"));
  EXPECT_TRUE(f.tonalith.calls.empty());
  EXPECT_TRUE(f.vOut.empty());
}

struct FailureCase {
  const char* name;
  std::function<void(FakeTonalith&)> script;
  const char* box;  // nullptr: none
  int result;
};
class FailureTest : public testing::TestWithParam<FailureCase> {};

TEST_P(FailureTest, EachFailureHasItsBoxAndCode) {
  for (Routine routine : {Routine::Strict, Routine::Soft}) {
    Fixture f;
    GetParam().script(f.tonalith);
    const Dta dta = GridSpectrum({1.0, 0.0, 3.0});
    EXPECT_EQ(f.Run(dta, routine), GetParam().result);
    EXPECT_EQ(f.vOut, dta.vIntensity);
    if (GetParam().box == nullptr) {
      EXPECT_TRUE(f.reporter.boxes.empty());
    } else {
      ASSERT_EQ(f.reporter.boxes.size(), 1u);
      EXPECT_TRUE(f.reporter.Has(BoxKind::Error, GetParam().box));
    }
  }
}
INSTANTIATE_TEST_SUITE_P(
    Steps, FailureTest,
    testing::Values(
        FailureCase{"FirstFft", [](FakeTonalith& t) { t.fftStatus = {E_FAIL}; },
                    "Error computing FFT!", -1},
        FailureCase{"SecondFftIsNotLookedAt",
                    [](FakeTonalith& t) { t.fftStatus = {S_OK, E_FAIL}; }, nullptr,
                    kStageComplete},
        FailureCase{"FirstPower", [](FakeTonalith& t) { t.powerStatus = {E_FAIL}; },
                    "Couldn't compute Power Spectrum!", -1},
        FailureCase{"FirstPowerTooShort", [](FakeTonalith& t) { t.firstPower = {1.0}; },
                    "Couldn't compute Power Spectrum!", -1},
        FailureCase{"SecondPower", [](FakeTonalith& t) { t.powerStatus = {S_OK, E_FAIL}; },
                    "Couldn't compute Power Spectrum!", -1},
        FailureCase{"MedianWrongLength", [](FakeTonalith& t) { t.median = {1.0, 2.0, 3.0}; },
                    "Median Filter failed!", -1},
        FailureCase{"MedianEmptyWithSuccess", [](FakeTonalith& t) { t.medianEmpty = true; },
                    nullptr, 2}),
    [](const auto& info) { return std::string(info.param.name); });

// The one point where the two routines differ: the order of the two tests on
// the median filter's answer.
struct MedianOrderCase {
  Routine routine;
  bool bEmpty;
  HRESULT hr;
  int result;
  bool bBox;
};
class MedianOrderTest : public testing::TestWithParam<MedianOrderCase> {};

TEST_P(MedianOrderTest, StrictLooksAtTheStatusFirstSoftAtTheLength) {
  const MedianOrderCase& c = GetParam();
  Fixture f;
  f.tonalith.medianEmpty = c.bEmpty;
  f.tonalith.medianStatus = c.hr;
  EXPECT_EQ(f.Run(GridSpectrum({1.0, 2.0, 3.0}), c.routine), c.result);
  EXPECT_EQ(f.reporter.Has(BoxKind::Error, "Median Filter failed!"), c.bBox);
  EXPECT_EQ(f.reporter.boxes.size(), c.bBox ? 1u : 0u);
  // Nothing after the filter runs when the stage stops there.
  EXPECT_EQ(f.tonalith.Count("Fft"), c.result == kStageComplete ? 2 : 1);
}
INSTANTIATE_TEST_SUITE_P(
    Orders, MedianOrderTest,
    testing::Values(MedianOrderCase{Routine::Strict, true, E_FAIL, -1, true},
                    MedianOrderCase{Routine::Soft, true, E_FAIL, 2, false},
                    MedianOrderCase{Routine::Strict, true, S_OK, 2, false},
                    MedianOrderCase{Routine::Soft, true, S_OK, 2, false},
                    MedianOrderCase{Routine::Strict, false, E_FAIL, -1, true},
                    MedianOrderCase{Routine::Soft, false, E_FAIL, -1, true},
                    MedianOrderCase{Routine::Strict, false, S_FALSE, kStageComplete, false},
                    MedianOrderCase{Routine::Soft, false, S_OK, kStageComplete, false}));

}  // namespace
}  // namespace orvane
