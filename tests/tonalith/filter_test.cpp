// ApplyFilter and BandStop against the difference equation, Octave's
// butter/filter, and measured responses.
#include <gtest/gtest.h>

#include <cmath>

#include "tonalith/dsp.h"
#include "tonalith/reference/octave_reference.h"
#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

void ExpectClose(const std::vector<double>& got, const std::vector<double>& want, double tol,
                 const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (std::size_t i = 0; i < got.size(); ++i) {
    ASSERT_NEAR(got[i], want[i], tol * (1.0 + std::abs(want[i]))) << what << " at " << i;
  }
}

struct FilterCase {
  const char* name;
  std::vector<double> b;
  std::vector<double> a;
};

class ApplyFilterVsDifferenceEquation : public ::testing::TestWithParam<FilterCase> {};

TEST_P(ApplyFilterVsDifferenceEquation, SameOutputs) {
  ComPtr<ITonalith> t = CreateTonalith();
  const FilterCase& c = GetParam();
  const std::vector<double> x = RandomVector(500, 17, -5.0, 20.0);
  std::vector<double> y;
  ASSERT_EQ(t->ApplyFilter(c.b, c.a, x, 0, y), S_OK);
  ExpectClose(y, DifferenceEquation(c.b, c.a, x), 1e-12, c.name);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ApplyFilterVsDifferenceEquation,
    ::testing::Values(FilterCase{"fir", {0.25, 0.5, 0.25}, {1.0}},
                      FilterCase{"gain", {3.0}, {2.0}},
                      FilterCase{"b longer", {1.0, -0.5, 0.25, 0.125, -0.3}, {1.0, -0.9}},
                      FilterCase{"a longer", {0.2}, {1.0, -1.2, 0.8, -0.1}},
                      FilterCase{"a0 not one", {0.5, -0.3, 0.2}, {4.0, -2.0, 0.5}},
                      FilterCase{"equal lengths", {0.1, 0.2, 0.3, 0.2}, {1.0, 0.3, -0.2, 0.1}}),
    [](const auto& info) {
      std::string s = info.param.name;
      for (char& ch : s) ch = std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
      return s;
    });

TEST(ApplyFilter, MatchesOctaveFilter) {
  ComPtr<ITonalith> t = CreateTonalith();
  std::vector<double> y;
  ASSERT_EQ(t->ApplyFilter(octave::kFilterB, octave::kFilterA, octave::kSignal, 0, y), S_OK);
  ExpectClose(y, octave::kFilterOut, 1e-12, "octave filter");
}

// Causal with zero initial state: an impulse at 3 leaves the first three
// outputs 0, then gives the impulse response.
TEST(ApplyFilter, CausalFromRest) {
  ComPtr<ITonalith> t = CreateTonalith();
  std::vector<double> x(8, 0.0);
  x[3] = 1.0;
  std::vector<double> y;
  ASSERT_EQ(t->ApplyFilter({1.0}, {1.0, -0.5}, x, 0, y), S_OK);
  EXPECT_EQ(y, (std::vector<double>{0, 0, 0, 1, 0.5, 0.25, 0.125, 0.0625}));
  ASSERT_EQ(t->ApplyFilter({1.0}, {1.0}, {}, 0, y), S_OK);
  EXPECT_TRUE(y.empty());
}

// Steady-state amplitude of a cosine at f (fraction of Nyquist) after the
// band-stop, measured on the second half of a long signal.
double MeasuredGain(ITonalith* t, int selector, double f) {
  const std::size_t n = 8000;
  std::vector<double> x(n);
  for (std::size_t i = 0; i < n; ++i) x[i] = std::cos(std::numbers::pi * f * double(i));
  std::vector<double> y;
  EXPECT_EQ(t->BandStop(selector, x, y), S_OK);
  EXPECT_EQ(y.size(), n);
  double peak = 0.0;
  for (std::size_t i = n / 2; i < n; ++i) peak = std::max(peak, std::abs(y[i]));
  return peak;
}

class BandStopSelector : public ::testing::TestWithParam<int> {};

TEST_P(BandStopSelector, StopsItsCentreAndPassesTheRest) {
  ComPtr<ITonalith> t = CreateTonalith();
  const int s = GetParam();
  const double centre = 0.5 + 0.1 * s;
  EXPECT_LT(MeasuredGain(t.Get(), s, centre), 1e-3) << "centre " << centre;
  // The -3 dB edges: 0.1 apart, around the centre.
  double f1 = 0.0;
  double f2 = 0.0;
  ASSERT_EQ(tonalith::BandStopEdges(s, &f1, &f2), S_OK);
  EXPECT_NEAR(f2 - f1, 0.1, 1e-12);
  EXPECT_LT(f1, centre);
  EXPECT_GT(f2, centre);
  EXPECT_NEAR(MeasuredGain(t.Get(), s, f1), std::sqrt(0.5), 0.005);
  EXPECT_NEAR(MeasuredGain(t.Get(), s, f2), std::sqrt(0.5), 0.005);
  EXPECT_LT(MeasuredGain(t.Get(), s, (f1 + centre) / 2), 0.5);
  // Pass band: the gain rises back towards 1 away from the stop band.
  EXPECT_NEAR(MeasuredGain(t.Get(), s, 0.05), 1.0, 0.01);
  EXPECT_GT(MeasuredGain(t.Get(), s, centre - 0.3), 0.92);
  EXPECT_LT(MeasuredGain(t.Get(), s, centre - 0.3), 1.0 + 1e-3);
  // A constant goes through unchanged once the filter has settled.
  std::vector<double> y;
  ASSERT_EQ(t->BandStop(s, std::vector<double>(2000, 3.0), y), S_OK);
  EXPECT_NEAR(y.back(), 3.0, 1e-9);
}

TEST_P(BandStopSelector, MatchesOctaveButterAndFilter) {
  ComPtr<ITonalith> t = CreateTonalith();
  const int s = GetParam();
  const std::vector<const std::vector<double>*> outs = {
      &octave::kBandStopOut0, &octave::kBandStopOut1, &octave::kBandStopOut2,
      &octave::kBandStopOut3, &octave::kBandStopOut4};
  const std::vector<const std::vector<double>*> bs = {
      &octave::kBandStopB0, &octave::kBandStopB1, &octave::kBandStopB2, &octave::kBandStopB3,
      &octave::kBandStopB4};
  const std::vector<const std::vector<double>*> as = {
      &octave::kBandStopA0, &octave::kBandStopA1, &octave::kBandStopA2, &octave::kBandStopA3,
      &octave::kBandStopA4};
  const std::vector<const std::vector<double>*> edges = {
      &octave::kBandStopEdge0, &octave::kBandStopEdge1, &octave::kBandStopEdge2,
      &octave::kBandStopEdge3, &octave::kBandStopEdge4};
  double f1 = 0.0;
  double f2 = 0.0;
  ASSERT_EQ(tonalith::BandStopEdges(s, &f1, &f2), S_OK);
  EXPECT_NEAR(f1, (*edges[s])[0], 1e-12);  // Octave found it with fzero
  std::vector<double> y;
  ASSERT_EQ(t->BandStop(s, octave::kSignal, y), S_OK);
  ExpectClose(y, *outs[s], 1e-9, "band-stop output");

  // The sections multiplied out are Octave's transfer function.
  std::vector<tonalith::Biquad> sections;
  ASSERT_EQ(tonalith::DesignBandStop(s, sections), S_OK);
  std::vector<double> b{1.0}, a{1.0};
  auto mul = [](const std::vector<double>& p, std::vector<double> q) {
    std::vector<double> r(p.size() + q.size() - 1, 0.0);
    for (std::size_t i = 0; i < p.size(); ++i)
      for (std::size_t j = 0; j < q.size(); ++j) r[i + j] += p[i] * q[j];
    return r;
  };
  for (const auto& q : sections) {
    b = mul(b, {q.b0, q.b1, q.b2});
    a = mul(a, {1.0, q.a1, q.a2});
  }
  ExpectClose(b, *bs[s], 1e-12, "numerator");
  ExpectClose(a, *as[s], 1e-12, "denominator");
}

INSTANTIATE_TEST_SUITE_P(Selectors, BandStopSelector, ::testing::Values(0, 1, 2, 3, 4));

TEST(BandStop, EmptyInputGivesEmptyOutput) {
  ComPtr<ITonalith> t = CreateTonalith();
  std::vector<double> y{1.0};
  EXPECT_EQ(t->BandStop(2, {}, y), S_OK);
  EXPECT_TRUE(y.empty());
}

TEST(BandStop, GeneralDesignRefusesBadEdges) {
  std::vector<tonalith::Biquad> s;
  EXPECT_EQ(tonalith::DesignButterworthBandStop(2, 0.0, 0.5, s), E_INVALIDARG);
  EXPECT_EQ(tonalith::DesignButterworthBandStop(2, 0.6, 0.5, s), E_INVALIDARG);
  EXPECT_EQ(tonalith::DesignButterworthBandStop(2, 0.5, 1.0, s), E_INVALIDARG);
  EXPECT_EQ(tonalith::DesignButterworthBandStop(0, 0.4, 0.5, s), E_INVALIDARG);
  // Odd prototype orders pair a real prototype pole into its own section.
  ASSERT_EQ(tonalith::DesignButterworthBandStop(3, 0.3, 0.4, s), S_OK);
  EXPECT_EQ(s.size(), 3u);
}

}  // namespace
}  // namespace orvane::test
