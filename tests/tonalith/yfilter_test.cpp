// CreateYFilter: measured magnitude against the corners of the multi-notch
// curves the de-isotoping builds, stability, corner rules, and the polynomial
// helpers behind the design.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tonalith/dsp.h"
#include "tonalith/reference/octave_reference.h"
#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

// The corners of the de-isotoping's notch filter: notch k centred at 2kh on
// a scale whose Nyquist is H = medianLength/2, each 2w - t wide at gain 0 with
// slopes t wide, the last one running out at Nyquist.
struct Corners {
  std::vector<double> freq;
  std::vector<int> gain;
};

Corners NotchCorners(int h, int medianLength, double harmonics, double width) {
  const double big = static_cast<double>(medianLength / 2);
  const double t = 0.1 * h;
  const double w = width * h * 0.5;
  Corners c{{0.0}, {1}};
  for (int k = 1; k < harmonics; ++k) {
    const double centre = k * 2.0 * h;
    const double lo = centre - w;
    const double hi = centre + w;
    c.freq.push_back((lo - t) / big);
    c.gain.push_back(1);
    c.freq.push_back(lo / big);
    c.gain.push_back(0);
    if (harmonics - 1 > k) {
      c.freq.push_back(std::min((hi - t) / big, 1.0));
      c.gain.push_back(0);
      c.freq.push_back(std::min(hi / big, 1.0));
      c.gain.push_back(1);
    } else {
      c.freq.push_back(1.0);
      c.gain.push_back(0);
      break;
    }
  }
  return c;
}

struct Design {
  HRESULT hr = E_FAIL;
  std::vector<double> b;
  std::vector<double> a;
};

Design Create(ITonalith* t, const Corners& c) {
  Design d;
  d.hr = t->CreateYFilter(static_cast<int>(c.freq.size()), c.freq, c.gain, d.b, d.a);
  return d;
}

struct NotchQuality {
  double worstNotch = 0.0;  // largest |H| at a notch's centre
  double passMin = 1e9;     // |H| over the middle of the pass bands
  double passMax = 0.0;
};

// |H| at the middle of each stop band (lo ... hi-t) and over the middle of
// each pass band between notches, on the curve's own scale.
NotchQuality Measure(const Design& d, int h, int medianLength, double harmonics, double width) {
  const double big = static_cast<double>(medianLength / 2);
  const double t = 0.1 * h;
  const double w = width * h * 0.5;
  NotchQuality q;
  for (int k = 1; k < harmonics; ++k) {
    const double centre = k * 2.0 * h;
    const double mid = (centre - w + centre + w - t) / 2.0;
    if (mid / big >= 1.0) break;
    q.worstNotch = std::max(q.worstNotch, Magnitude(d.b, d.a, mid / big));
    // Pass band before this notch, without its slopes.
    const double from = (k == 1) ? 0.0 : centre - 2.0 * h + w + 2.0 * t;
    const double to = centre - w - 2.0 * t;
    for (double x = from; x <= to; x += 0.25) {
      const double m = Magnitude(d.b, d.a, x / big);
      q.passMin = std::min(q.passMin, m);
      q.passMax = std::max(q.passMax, m);
    }
  }
  return q;
}

void ExpectStable(const std::vector<double>& a) {
  EXPECT_TRUE(tonalith::IsMinimumPhase(a));
  for (const auto& r : tonalith::PolynomialRoots(a)) EXPECT_LT(std::abs(r), 1.0);
}

struct NotchCase {
  const char* name;
  int h;
  double harmonics;
  double width;
  int corners;
  double maxNotch;
  double passLow;
  double passHigh;
};

class YFilterNotches : public ::testing::TestWithParam<NotchCase> {};

TEST_P(YFilterNotches, ResponseFollowsTheCorners) {
  ComPtr<ITonalith> t = CreateTonalith();
  const NotchCase& c = GetParam();
  const Corners corners = NotchCorners(c.h, 2048, c.harmonics, c.width);
  ASSERT_EQ(static_cast<int>(corners.freq.size()), c.corners);
  const Design d = Create(t.Get(), corners);
  ASSERT_EQ(d.hr, S_OK);
  ASSERT_EQ(d.b.size(), corners.freq.size() + 1);  // order = number of corners
  ASSERT_EQ(d.a.size(), corners.freq.size() + 1);
  EXPECT_EQ(d.a[0], 1.0);
  ExpectStable(d.a);

  const NotchQuality q = Measure(d, c.h, 2048, c.harmonics, c.width);
  EXPECT_LT(q.worstNotch, c.maxNotch);
  EXPECT_GT(q.passMin, c.passLow);
  EXPECT_LT(q.passMax, c.passHigh);

  // Through ApplyFilter: a comb of period 2h/2048... on the signal's own scale
  // a tone at a notch loses most of its amplitude, a tone between passes.
  auto gain = [&](double f) {
    std::vector<double> x(20000), y;
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = std::cos(std::numbers::pi * f * double(i));
    EXPECT_EQ(t->ApplyFilter(d.b, d.a, x, 0, y), S_OK);
    double peak = 0.0;
    for (std::size_t i = 10000; i < y.size(); ++i) peak = std::max(peak, std::abs(y[i]));
    return peak;
  };
  const double big = 1024.0;
  const double t0 = 0.1 * c.h;
  const double notch = (2.0 * c.h - t0 / 2.0) / big;  // middle of the first stop band
  EXPECT_LT(gain(notch), c.maxNotch);
  EXPECT_GT(gain(c.h / big), c.passLow);  // halfway between 0 and the first notch
}

INSTANTIATE_TEST_SUITE_P(
    DeisotopingCurves, YFilterNotches,
    ::testing::Values(
        // The worked example: h 50, 2048 points, 10.5 harmonics, width 0.5:
        // ten notches, 40 corners, order 40.
        NotchCase{"ten_notches_order_40", 50, 10.5, 0.5, 40, 0.2, 0.9, 1.05},
        NotchCase{"wide_notches_order_40", 50, 10.5, 1.0, 40, 0.25, 0.9, 1.05},
        NotchCase{"twelve_notches_order_48", 40, 13.0, 0.6, 48, 0.25, 0.8, 1.08},
        NotchCase{"five_notches_order_20", 100, 5.5, 0.5, 20, 0.2, 0.9, 1.05},
        // A period of 25: twenty notches, order 80, the fragile region.
        NotchCase{"twenty_notches_order_80", 25, 20.5, 0.5, 80, 0.2, 0.88, 1.1},
        NotchCase{"twenty_five_notches_order_100", 20, 26.0, 0.5, 100, 0.2, 0.85, 1.1}),
    [](const auto& info) { return std::string(info.param.name); });

// The same algorithm written in Octave (make_reference.m) gives the same
// magnitude response: three notch curves, then two curves whose first
// denominator has roots outside the unit circle, which both reflect.
TEST(YFilter, MatchesTheOctaveDesign) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double>* freqs[] = {&octave::kYFilterFreq0, &octave::kYFilterFreq1,
                                        &octave::kYFilterFreq2, &octave::kYFilterFreq3,
                                        &octave::kYFilterFreq4};
  const std::vector<double>* gains[] = {&octave::kYFilterGain0, &octave::kYFilterGain1,
                                        &octave::kYFilterGain2, &octave::kYFilterGain3,
                                        &octave::kYFilterGain4};
  const std::vector<double>* mags[] = {&octave::kYFilterMagnitude0, &octave::kYFilterMagnitude1,
                                       &octave::kYFilterMagnitude2, &octave::kYFilterMagnitude3,
                                       &octave::kYFilterMagnitude4};
  for (int i = 0; i < 5; ++i) {
    Corners c{*freqs[i], std::vector<int>(gains[i]->begin(), gains[i]->end())};
    const Design d = Create(t.Get(), c);
    ASSERT_EQ(d.hr, S_OK) << i;
    ExpectStable(d.a);
    double worst = 0.0;
    for (std::size_t k = 0; k < mags[i]->size(); ++k) {
      const double f = static_cast<double>(k) / static_cast<double>(mags[i]->size());
      worst = std::max(worst, std::abs(Magnitude(d.b, d.a, f) - (*mags[i])[k]));
    }
    EXPECT_LT(worst, 1e-6) << "case " << i << " order " << c.freq.size();

    bool reflected = true;
    std::vector<double> b, a;
    ASSERT_EQ(tonalith::DesignYuleWalker(static_cast<int>(c.freq.size()), c.freq,
                                         std::vector<double>(c.gain.begin(), c.gain.end()), b, a,
                                         &reflected),
              S_OK);
    EXPECT_EQ(reflected, i >= 3) << "case " << i;
    EXPECT_EQ(b, d.b);
  }
}

// Filter widths of exactly 0.1 and 1.9 make corners that fall by a rounding
// error (h 23 and 51 among others); they are taken as equal. A real fall is
// refused.
TEST(YFilter, CornersFallingByRoundingAreClampedRealFallsRefused) {
  ComPtr<ITonalith> t = CreateTonalith();
  for (auto [h, width] : {std::pair{23, 0.1}, std::pair{51, 1.9}}) {
    const Corners c = NotchCorners(h, 2048, 10.5, width);
    int falls = 0;
    for (std::size_t i = 1; i < c.freq.size(); ++i) falls += c.freq[i] < c.freq[i - 1];
    EXPECT_GE(falls, 4) << width;  // the rounding this rule is for
    const Design d = Create(t.Get(), c);
    EXPECT_EQ(d.hr, S_OK) << width;
    ExpectStable(d.a);
  }

  Corners base = NotchCorners(50, 2048, 10.5, 0.5);
  Corners tiny = base;
  tiny.freq[5] = tiny.freq[4] - 5e-10;
  Corners clamped = base;
  clamped.freq[5] = clamped.freq[4];
  const Design dt = Create(t.Get(), tiny);
  const Design dc = Create(t.Get(), clamped);
  ASSERT_EQ(dt.hr, S_OK);
  EXPECT_EQ(dt.b, dc.b);
  EXPECT_EQ(dt.a, dc.a);

  Corners fall = base;
  fall.freq[5] = fall.freq[4] - 1e-6;
  Design df = Create(t.Get(), fall);
  EXPECT_LT(df.hr, 0);
  EXPECT_TRUE(df.b.empty());
  EXPECT_TRUE(df.a.empty());
}

// Several corners in a row at exactly 1.0, as the caller's clipping makes
// them: a notch whose upper slope is cut off, then the last notch.
TEST(YFilter, SeveralCornersAtNyquist) {
  ComPtr<ITonalith> t = CreateTonalith();
  const Corners c{{0.0, 0.85, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0}, {1, 1, 0, 0, 1, 1, 0, 0}};
  const Design d = Create(t.Get(), c);
  ASSERT_EQ(d.hr, S_OK);
  ExpectStable(d.a);
  EXPECT_NEAR(Magnitude(d.b, d.a, 0.4), 1.0, 0.05);
  EXPECT_LT(Magnitude(d.b, d.a, 0.97), 0.1);
}

TEST(YFilter, FlatAndZeroCurves) {
  ComPtr<ITonalith> t = CreateTonalith();
  // Gain 1 everywhere: an all-pass in magnitude.
  const Design flat = Create(t.Get(), Corners{{0.0, 0.5, 1.0}, {1, 1, 1}});
  ASSERT_EQ(flat.hr, S_OK);
  for (double f : {0.0, 0.3, 0.7, 1.0}) EXPECT_NEAR(Magnitude(flat.b, flat.a, f), 1.0, 1e-3);
  // Gain 0 everywhere: the zero filter.
  const Design zero = Create(t.Get(), Corners{{0.0, 1.0}, {0, 0}});
  ASSERT_EQ(zero.hr, S_OK);
  EXPECT_EQ(zero.b, std::vector<double>(3, 0.0));
  EXPECT_EQ(zero.a, (std::vector<double>{1.0, 0.0, 0.0}));
  // Low-pass half band.
  const Design low = Create(t.Get(), Corners{{0.0, 0.45, 0.55, 1.0}, {1, 1, 0, 0}});
  ASSERT_EQ(low.hr, S_OK);
  EXPECT_NEAR(Magnitude(low.b, low.a, 0.2), 1.0, 0.05);
  EXPECT_LT(Magnitude(low.b, low.a, 0.8), 0.05);
}

TEST(YFilter, BadCornersAreRefused) {
  ComPtr<ITonalith> t = CreateTonalith();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Bad {
    const char* what;
    int n;
    std::vector<double> f;
    std::vector<int> g;
  };
  const std::vector<Bad> cases = {
      {"count differs from nPoints", 4, {0.0, 0.5, 1.0}, {1, 0, 1}},
      {"gains shorter", 3, {0.0, 0.5, 1.0}, {1, 0}},
      {"one corner", 1, {0.0}, {1}},
      {"first not 0", 3, {0.1, 0.5, 1.0}, {1, 0, 1}},
      {"last not 1", 3, {0.0, 0.5, 0.9}, {1, 0, 1}},
      {"above 1", 3, {0.0, 1.5, 1.0}, {1, 0, 1}},
      {"NaN", 3, {0.0, nan, 1.0}, {1, 0, 1}},
      {"negative gain", 3, {0.0, 0.5, 1.0}, {1, -1, 1}},
      {"order too high", 600, std::vector<double>(600, 1.0), std::vector<int>(600, 1)},
  };
  for (Bad c : cases) {
    if (c.f.size() == 600) c.f.front() = 0.0;
    std::vector<double> b{1.0}, a{1.0};
    EXPECT_LT(t->CreateYFilter(c.n, c.f, c.g, b, a), 0) << c.what;
    EXPECT_TRUE(b.empty() && a.empty()) << c.what;
  }
}

TEST(Polynomials, RootsOfAKnownPolynomial) {
  // (1 - 0.5 z^-1)(1 + 0.25 z^-1)(1 - 1.2 z^-1 + 0.72 z^-2): roots 0.5,
  // -0.25 and 0.6 +- 0.6i.
  std::vector<double> p{1.0};
  auto mul = [&p](std::vector<double> q) {
    std::vector<double> r(p.size() + q.size() - 1, 0.0);
    for (std::size_t i = 0; i < p.size(); ++i)
      for (std::size_t j = 0; j < q.size(); ++j) r[i + j] += p[i] * q[j];
    p = r;
  };
  mul({1.0, -0.5});
  mul({1.0, 0.25});
  mul({1.0, -1.2, 0.72});
  const auto roots = tonalith::PolynomialRoots(p);
  ASSERT_EQ(roots.size(), 4u);
  auto has = [&](std::complex<double> z) {
    return std::any_of(roots.begin(), roots.end(),
                       [&](auto r) { return std::abs(r - z) < 1e-12; });
  };
  EXPECT_TRUE(has({0.5, 0.0}));
  EXPECT_TRUE(has({-0.25, 0.0}));
  EXPECT_TRUE(has({0.6, 0.6}));
  EXPECT_TRUE(has({0.6, -0.6}));
  EXPECT_TRUE(tonalith::IsMinimumPhase(p));
}

TEST(Polynomials, ReflectionMovesRootsInsideAndKeepsTheMagnitudeShape) {
  // Roots 2 and 0.8 e^{+-i}: one outside, two inside.
  const double c = std::cos(1.0);
  std::vector<double> p{1.0, -2.0};
  std::vector<double> q{1.0, -1.6 * c, 0.64};
  std::vector<double> a(4, 0.0);
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 3; ++j) a[i + j] += p[i] * q[j];
  EXPECT_FALSE(tonalith::IsMinimumPhase(a));
  const std::vector<double> r = tonalith::ReflectRootsInside(a);
  ASSERT_EQ(r.size(), 4u);
  EXPECT_TRUE(tonalith::IsMinimumPhase(r));
  EXPECT_EQ(r[0], a[0]);
  // |A| changes by the constant factor |root| = 2 at every frequency.
  for (double f : {0.0, 0.1, 0.33, 0.5, 0.9, 1.0}) {
    EXPECT_NEAR(Magnitude({1.0}, r, f) / Magnitude({1.0}, a, f), 2.0, 1e-12) << f;
  }
  // Trailing zeros are roots at 0; a stable polynomial is left alone.
  EXPECT_EQ(tonalith::PolynomialRoots({1.0, -0.5, 0.0}).size(), 2u);
  EXPECT_FALSE(tonalith::IsMinimumPhase({1.0, 0.0, 1.0}));  // roots on the circle
  EXPECT_TRUE(tonalith::IsMinimumPhase({1.0, 0.0, 0.99}));
}

// High-degree polynomials with roots crowded near the unit circle, as notch
// filters of order 80 have them: the roots are found to high accuracy. (The
// pairs are multiplied in alternating order, so that the test polynomial
// itself is accurate.)
TEST(Polynomials, CrowdedRootsOfDegreeEighty) {
  std::vector<std::complex<double>> want;
  std::vector<double> p{1.0};
  for (int i = 0; i < 40; ++i) {
    const int k = (i % 2) ? 39 - i / 2 : i / 2;
    const double radius = 0.97 + 0.0005 * k;
    const std::complex<double> z = std::polar(radius, std::numbers::pi * (k + 0.5) / 40.5);
    want.push_back(z);
    std::vector<double> r(p.size() + 2, 0.0);
    const std::vector<double> q{1.0, -2.0 * z.real(), std::norm(z)};
    for (std::size_t i = 0; i < p.size(); ++i)
      for (std::size_t j = 0; j < 3; ++j) r[i + j] += p[i] * q[j];
    p = r;
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
