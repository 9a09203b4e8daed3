// The filter designs: against the same computations done in GNU Octave
// (reference/make_reference.m: filter, butter + filter, medfilt1 with zero
// padding, the Yule-Walker design measured with freqz), the Y-filter on the
// multi-notch curves the de-isotoping builds, and the root finding behind it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "filtering/deisotope_stages.h"
#include "tonalith/dsp.h"
#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

struct Curve {
  std::vector<double> freq;
  std::vector<int> gain;
};
struct Design { HRESULT hr = E_FAIL; std::vector<double> b, a; };
Design Create(const Curve& c) {
  Design d;
  d.hr = CreateTonalith()->CreateYFilter(int(c.freq.size()), c.freq, c.gain, d.b, d.a);
  if (d.hr == S_OK) {
    EXPECT_TRUE(tonalith::IsMinimumPhase(d.a));
  }
  return d;
}

// filter(b, a, x) with an a0 of 2; then for each band-stop selector the edge
// Octave found with fzero, the sections multiplied out against
// butter(2, [f1 f2], "stop"), and the filtered signal.
TEST(OctaveReference, FilterAndBandStop) {
  ComPtr<ITonalith> t = CreateTonalith();
  std::vector<double> y;
  ASSERT_EQ(t->ApplyFilter(Octave("kFilterB"), Octave("kFilterA"), Octave("kSignal"), 0, y), S_OK);
  ExpectClose(y, Octave("kFilterOut"), 1e-12, "filter");
  for (int s = 0; s <= 4; ++s) {
    const std::string n = std::to_string(s);
    double f1 = 0.0, f2 = 0.0;
    ASSERT_EQ(tonalith::BandStopEdges(s, &f1, &f2), S_OK);
    EXPECT_NEAR(f1, Octave("kBandStopEdge" + n)[0], 1e-12) << s;
    EXPECT_NEAR(f2 - f1, 0.1, 1e-12) << s;
    std::vector<tonalith::Biquad> sections;
    ASSERT_EQ(tonalith::DesignBandStop(s, sections), S_OK);
    std::vector<double> b{1.0}, a{1.0};
    for (const auto& q : sections) {
      b = PolyMul(b, {q.b0, q.b1, q.b2});
      a = PolyMul(a, {1.0, q.a1, q.a2});
    }
    ExpectClose(b, Octave("kBandStopB" + n), 1e-12, "numerator " + n);
    ExpectClose(a, Octave("kBandStopA" + n), 1e-12, "denominator " + n);
    ASSERT_EQ(t->BandStop(s, Octave("kSignal"), y), S_OK);
    ExpectClose(y, Octave("kBandStopOut" + n), 1e-9, "output " + n);
  }
}

TEST(OctaveReference, MedianFilterIsZeroPaddedMedfilt1) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double>& x = Octave("kMedianIn");
  for (int width = 2; width <= 9; ++width) {
    std::vector<double> y;
    double ignored = 0.0;
    ASSERT_EQ(t->MedianFilter(x, static_cast<int>(x.size()), width, y, &ignored), S_OK);
    EXPECT_EQ(y, Octave("kMedian" + std::to_string(width))) << width;
  }
}

// Three notch curves of the de-isotoping, then two curves whose first
// denominator has roots outside the unit circle, which both reflect.
TEST(OctaveReference, YFilterHasTheMagnitudeOfTheOctaveDesign) {
  for (int i = 0; i < 5; ++i) {
    const std::string n = std::to_string(i);
    const std::vector<double>& f = Octave("kYFilterFreq" + n);
    const std::vector<double>& g = Octave("kYFilterGain" + n);
    const std::vector<double>& mag = Octave("kYFilterMagnitude" + n);
    const Design d = Create({f, std::vector<int>(g.begin(), g.end())});
    ASSERT_EQ(d.hr, S_OK) << i;
    double worst = 0.0;
    for (std::size_t k = 0; k < mag.size(); ++k)
      worst = std::max(worst, std::abs(Magnitude(d.b, d.a, double(k) / mag.size()) - mag[k]));
    EXPECT_LT(worst, 1e-6) << "case " << i << " order " << f.size();
    bool reflected = false;
    std::vector<double> b2, a2;
    ASSERT_EQ(tonalith::DesignYuleWalker(int(f.size()), f, g, b2, a2, &reflected), S_OK);
    EXPECT_EQ(reflected, i >= 3) << i;
  }
}

// The corners the de-isotoping builds on a median array of 2048 (Nyquist
// 1024): notch k centred at 2kh, the last one running out at Nyquist.
Curve Notches(int h, double harmonics, double width) {
  Curve c;
  filtering::BuildNotchCorners(harmonics, h, 2048, width, c.freq, c.gain);
  return c;
}

// |H| is below maxNotch in the middle of every stop band and within
// [passLow, passHigh] over the middle of every pass band between notches, from
// h 50 (ten notches, order 40) down to the fragile region of order 80 and 100.
TEST(YFilter, NotchesFollowTheCorners) {
  struct Case {
    int h;
    double harmonics, width, maxNotch, passLow, passHigh;
  };
  for (const Case& c : {Case{50, 10.5, 0.5, 0.2, 0.9, 1.05}, Case{50, 10.5, 1.0, 0.25, 0.9, 1.05},
                        Case{40, 13.0, 0.6, 0.25, 0.8, 1.08}, Case{100, 5.5, 0.5, 0.2, 0.9, 1.05},
                        Case{25, 20.5, 0.5, 0.2, 0.88, 1.1}, Case{20, 26.0, 0.5, 0.2, 0.85, 1.1}}) {
    SCOPED_TRACE(testing::Message() << "h " << c.h << " width " << c.width);
    const Curve curve = Notches(c.h, c.harmonics, c.width);
    const Design d = Create(curve);
    ASSERT_EQ(d.hr, S_OK);
    ASSERT_EQ(d.b.size(), curve.freq.size() + 1);  // the order is the number of corners
    ASSERT_EQ(d.a.size(), curve.freq.size() + 1);
    EXPECT_EQ(d.a[0], 1.0);
    const double t = 0.1 * c.h, w = c.width * c.h * 0.5;
    for (int k = 1; k < c.harmonics; ++k) {
      const double centre = k * 2.0 * c.h;
      if ((centre - t / 2) / 1024.0 >= 1.0) break;
      EXPECT_LT(Magnitude(d.b, d.a, (centre - t / 2) / 1024.0), c.maxNotch) << "notch " << k;
      const double from = k == 1 ? 0.0 : centre - 2.0 * c.h + w + 2.0 * t;
      for (double x = from; x <= centre - w - 2.0 * t; x += 0.25) {
        const double m = Magnitude(d.b, d.a, x / 1024.0);
        ASSERT_TRUE(m > c.passLow && m < c.passHigh) << "pass band at " << x << ": " << m;
      }
    }
  }
}

// A corner below the one before it by less than 1e-9 is rounding and is
// taken as equal to it; a real fall is refused.
TEST(YFilter, CornersFallingByRoundingAreClampedRealFallsRefused) {
  Curve tiny = Notches(50, 10.5, 0.5), clamped = tiny, fall = tiny;
  tiny.freq[5] = tiny.freq[4] - 5e-10;
  clamped.freq[5] = clamped.freq[4];
  fall.freq[5] = fall.freq[4] - 1e-6;
  const Design dt = Create(tiny), dc = Create(clamped);
  ASSERT_EQ(dt.hr, S_OK);
  EXPECT_EQ(dt.b, dc.b);
  EXPECT_EQ(dt.a, dc.a);
  const Design df = Create(fall);
  EXPECT_LT(df.hr, 0);
  EXPECT_TRUE(df.b.empty() && df.a.empty());
}

// Several corners in a row at exactly 1.0, as the caller's clipping makes
// them; and a curve at gain 0 throughout, which makes the zero filter.
TEST(YFilter, CornersAtNyquistAndTheZeroCurve) {
  const Design d = Create({{0.0, 0.85, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0}, {1, 1, 0, 0, 1, 1, 0, 0}});
  ASSERT_EQ(d.hr, S_OK);
  EXPECT_NEAR(Magnitude(d.b, d.a, 0.4), 1.0, 0.05);
  EXPECT_LT(Magnitude(d.b, d.a, 0.97), 0.1);
  const Design zero = Create({{0.0, 1.0}, {0, 0}});
  ASSERT_EQ(zero.hr, S_OK);
  EXPECT_EQ(zero.b, std::vector<double>(3, 0.0));
}

// Degree 80 with roots crowded near the unit circle, as notch filters of
// order 80 have them: the roots are found to high accuracy.
TEST(Polynomials, CrowdedRootsOfDegreeEighty) {
  std::vector<std::complex<double>> want;
  std::vector<double> p{1.0};
  for (int i = 0; i < 40; ++i) {  // alternating order keeps the product accurate
    const int k = (i % 2) ? 39 - i / 2 : i / 2;
    const double angle = (k + 0.5) * std::numbers::pi / 40.5;
    const auto z = want.emplace_back(std::polar(0.97 + 0.0005 * k, angle));
    p = PolyMul(p, {1.0, -2.0 * z.real(), std::norm(z)});
  }
  EXPECT_TRUE(tonalith::IsMinimumPhase(p));
  const auto roots = tonalith::PolynomialRoots(p);
  ASSERT_EQ(roots.size(), 80u);
  for (const auto& z : want) {
    double best = 1e9;
    for (const auto& r : roots) best = std::min(best, std::abs(r - z));
    EXPECT_LT(best, 1e-6) << z;
  }
}

}  // namespace
}  // namespace orvane::test
