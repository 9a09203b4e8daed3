// Fft and PowerSpectrum against a direct DFT and the identities a power
// spectrum must satisfy.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>

#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

struct Power {
  std::vector<double> p;
  double overall = -1.0;
};

Power PowerOf(ITonalith* t, const std::vector<double>& x) {
  std::vector<double> spectrum;
  Power out;
  EXPECT_EQ(t->Fft(x, static_cast<int>(x.size()), spectrum), S_OK);
  EXPECT_EQ(t->PowerSpectrum(spectrum, out.p, &out.overall), S_OK);
  return out;
}

// |X[k]|^2 / N by the definition, in long double.
std::vector<double> DirectPower(const std::vector<double>& x) {
  const std::size_t n = x.size();
  std::vector<double> p(n);
  const long double pi = std::acos(-1.0L);
  std::vector<long double> c(n), s(n);
  for (std::size_t m = 0; m < n; ++m) {
    c[m] = std::cos(2.0L * pi * static_cast<long double>(m) / static_cast<long double>(n));
    s[m] = -std::sin(2.0L * pi * static_cast<long double>(m) / static_cast<long double>(n));
  }
  for (std::size_t k = 0; k < n; ++k) {
    long double re = 0.0L;
    long double im = 0.0L;
    for (std::size_t j = 0; j < n; ++j) {
      re += x[j] * c[(j * k) % n];
      im += x[j] * s[(j * k) % n];
    }
    p[k] = static_cast<double>((re * re + im * im) / n);
  }
  return p;
}

class PowerSpectrumVsDft : public ::testing::TestWithParam<int> {};

TEST_P(PowerSpectrumVsDft, EveryBinMatchesTheDefinition) {
  ComPtr<ITonalith> t = CreateTonalith();
  const auto n = static_cast<std::size_t>(GetParam());
  const std::vector<double> x = RandomVector(n, 100u + static_cast<unsigned>(n), -3.0, 5.0);
  const Power got = PowerOf(t.Get(), x);
  const std::vector<double> want = DirectPower(x);
  ASSERT_EQ(got.p.size(), n);  // all N bins, the upper half mirrored
  const double total = std::accumulate(want.begin(), want.end(), 0.0);
  for (std::size_t k = 0; k < n; ++k) {
    EXPECT_NEAR(got.p[k], want[k], 1e-11 * total) << "bin " << k;
  }
  EXPECT_NEAR(got.overall, total / static_cast<double>(n), 1e-12 * total);
}

INSTANTIATE_TEST_SUITE_P(Lengths, PowerSpectrumVsDft,
                         ::testing::Values(2, 4, 8, 16, 32, 64, 128, 256, 1024, 2048));

// Parseval: sum |X|^2 = N sum x^2, so the sum of P is the signal's energy and
// the overall value its mean square, up to the longest length in use.
TEST(PowerSpectrum, ParsevalHoldsUpToTwoToTheNineteen) {
  ComPtr<ITonalith> t = CreateTonalith();
  for (int e : {1, 5, 12, 16, 19}) {
    const std::size_t n = std::size_t{1} << e;
    const std::vector<double> x = RandomVector(n, static_cast<unsigned>(e), 0.0, 100.0);
    const Power got = PowerOf(t.Get(), x);
    ASSERT_EQ(got.p.size(), n);
    double energy = 0.0;
    for (double v : x) energy += v * v;
    const double sum = std::accumulate(got.p.begin(), got.p.end(), 0.0);
    EXPECT_NEAR(sum / energy, 1.0, 1e-12) << n;
    EXPECT_NEAR(got.overall / (energy / static_cast<double>(n)), 1.0, 1e-12) << n;
    for (double v : got.p) ASSERT_GE(v, 0.0);
  }
}

TEST(PowerSpectrum, ZerosInZerosOut) {
  ComPtr<ITonalith> t = CreateTonalith();
  for (std::size_t n : {2u, 64u, 4096u}) {
    const Power got = PowerOf(t.Get(), std::vector<double>(n, 0.0));
    EXPECT_EQ(got.p, std::vector<double>(n, 0.0));
    EXPECT_EQ(got.overall, 0.0);
  }
}

// The shortest transform, made by a spectrum of one point padded to two:
// X = {a+b, a-b}.
TEST(PowerSpectrum, LengthTwo) {
  ComPtr<ITonalith> t = CreateTonalith();
  const Power got = PowerOf(t.Get(), {3.0, 1.0});
  EXPECT_EQ(got.p, (std::vector<double>{8.0, 2.0}));
  EXPECT_EQ(got.overall, 5.0);
  const Power one = PowerOf(t.Get(), {7.0, 0.0});
  EXPECT_EQ(one.p, (std::vector<double>{24.5, 24.5}));
}

// A cosine at bin m puts N/4 into bins m and N-m and nothing elsewhere; a
// constant puts everything into bin 0.
TEST(PowerSpectrum, PureTonesLandInTheirBins) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::size_t n = 512;
  for (std::size_t m : {1u, 37u, 255u}) {
    std::vector<double> x(n);
    for (std::size_t j = 0; j < n; ++j) x[j] = std::cos(2.0 * std::numbers::pi * double(m * j) / double(n));
    const Power got = PowerOf(t.Get(), x);
    for (std::size_t k = 0; k < n; ++k) {
      const double want = (k == m || k == n - m) ? n / 4.0 : 0.0;
      EXPECT_NEAR(got.p[k], want, 1e-9) << m << " " << k;
    }
  }
  const Power dc = PowerOf(t.Get(), std::vector<double>(n, 2.0));
  EXPECT_NEAR(dc.p[0], 4.0 * n, 1e-9);
  EXPECT_NEAR(dc.overall, 4.0, 1e-12);
  // Nyquist: alternating signs.
  std::vector<double> alt(n);
  for (std::size_t j = 0; j < n; ++j) alt[j] = (j % 2) ? -1.0 : 1.0;
  const Power ny = PowerOf(t.Get(), alt);
  EXPECT_NEAR(ny.p[n / 2], double(n), 1e-9);
  EXPECT_NEAR(ny.p[0], 0.0, 1e-9);
}

// The input array is not changed, and a transform can be read twice.
TEST(PowerSpectrum, InputsStayUntouched) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double> x = RandomVector(256, 5);
  const std::vector<double> copy = x;
  std::vector<double> spectrum;
  ASSERT_EQ(t->Fft(x, 256, spectrum), S_OK);
  EXPECT_EQ(x, copy);
  const std::vector<double> spectrumCopy = spectrum;
  std::vector<double> p1, p2;
  double o1 = 0, o2 = 0;
  ASSERT_EQ(t->PowerSpectrum(spectrum, p1, &o1), S_OK);
  ASSERT_EQ(t->PowerSpectrum(spectrum, p2, &o2), S_OK);
  EXPECT_EQ(spectrum, spectrumCopy);
  EXPECT_EQ(p1, p2);
  EXPECT_EQ(o1, o2);
}

}  // namespace
}  // namespace orvane::test
