// The operations of the component as the engine calls them: results against
// their definitions, statuses on bad arguments, and use from several threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <thread>
#include <tuple>

#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Tonalith, ApplyFilterIsTheDifferenceEquationFromRest) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double> x = RandomVector(500, 17, -5.0, 20.0);
  const std::vector<std::pair<std::vector<double>, std::vector<double>>> filters = {
      {{0.25, 0.5, 0.25}, {1.0}},  {{3.0}, {2.0}}, {{1.0, -0.5, 0.25, 0.125, -0.3}, {1.0, -0.9}},
      {{0.2}, {1.0, -1.2, 0.8, -0.1}}, {{0.5, -0.3, 0.2}, {4.0, -2.0, 0.5}},
      {{0.1, 0.2, 0.3, 0.2}, {1.0, 0.3, -0.2, 0.1}}};
  for (const auto& [b, a] : filters) {
    // a0 y[n] = sum b_k x[n-k] - sum_{k>0} a_k y[n-k], nothing before x[0].
    std::vector<double> want(x.size());
    for (std::size_t n = 0; n < x.size(); ++n) {
      double s = 0.0;
      for (std::size_t k = 0; k < b.size() && k <= n; ++k) s += b[k] * x[n - k];
      for (std::size_t k = 1; k < a.size() && k <= n; ++k) s -= a[k] * want[n - k];
      want[n] = s / a[0];
    }
    std::vector<double> y;
    ASSERT_EQ(t->ApplyFilter(b, a, x, 0, y), S_OK);
    ExpectClose(y, want, 1e-12, "b of " + std::to_string(b.size()));
  }
}

// The window of point i: width/2 values before it, (width-1)/2 after it,
// zeros outside; an even count takes the mean of its two middle values.
std::vector<double> BruteMedian(const std::vector<double>& x, int width) {
  if (width <= 1) return x;
  const long long n = static_cast<long long>(x.size()), before = width / 2;
  std::vector<double> y(x.size());
  for (long long i = 0; i < n; ++i) {
    std::vector<double> w;
    for (long long j = i - before; j <= i + width - 1 - before; ++j)
      w.push_back(j >= 0 && j < n ? x[static_cast<std::size_t>(j)] : 0.0);
    std::sort(w.begin(), w.end());
    const std::size_t m = w.size() / 2;
    y[static_cast<std::size_t>(i)] = width % 2 ? w[m] : 0.5 * (w[m - 1] + w[m]);
  }
  return y;
}

TEST(Tonalith, MedianFilterMatchesTheDefinition) {
  ComPtr<ITonalith> t = CreateTonalith();
  auto median = [&](const std::vector<double>& x, int width) {
    std::vector<double> y{99.0};
    double ignored = 0.0;
    EXPECT_EQ(t->MedianFilter(x, static_cast<int>(x.size()), width, y, &ignored), S_OK);
    return y;
  };
  // Widths up to 256 take the sorted-window path, wider ones the rank tree;
  // half-integer values make ties, as a resampled power spectrum has them.
  for (std::size_t n : {0u, 1u, 2u, 7u, 64u, 600u}) {
    for (int width : {-3, 0, 1, 2, 3, 4, 5, 8, 11, 255, 256, 257, 400, 1201}) {
      for (bool tied : {false, true}) {
        std::vector<double> x = RandomVector(n, static_cast<unsigned>(n + width), -3.0, 6.0);
        if (tied) for (double& v : x) v = std::round(v) * 0.5;
        ASSERT_EQ(median(x, width), BruteMedian(x, width)) << n << " " << width << " " << tied;
      }
    }
  }
  // More than half of every window is padding.
  EXPECT_EQ(median(RandomVector(1000, 4, 1.0, 2.0), 2'000'000'000), std::vector<double>(1000, 0.0));
}

TEST(Tonalith, StatisticsAreSampleDeviationThenMean) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<std::tuple<std::vector<double>, double, double>> cases = {
      {{}, 0.0, 0.0}, {{42.0}, 0.0, 0.0}, {{1.0, 3.0}, std::sqrt(2.0), 2.0},
      {{2, 4, 4, 4, 5, 5, 7, 9}, std::sqrt(32.0 / 7.0), 5.0}, {{5, 5, 5, 5}, 0.0, 5.0},
      {{1e9 + 1, 1e9 + 2, 1e9 + 3}, 1.0, 1e9 + 2},  // two passes stay exact far from 0
      {{-2.0, 2.0}, 2.0 * std::sqrt(2.0), 0.0}};
  for (const auto& [x, deviation, mean] : cases) {
    double first = -1.0, second = -1.0;
    EXPECT_EQ(t->Statistics(x, &first, &second), S_OK);
    EXPECT_NEAR(first, deviation, 1e-12 * (1.0 + deviation)) << x.size();
    EXPECT_NEAR(second, mean, 1e-12 * (1.0 + std::abs(mean))) << x.size();
  }
}

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

// P[k] = |X[k]|^2 / N for all N bins, overall = sum(P) / N.
TEST(Tonalith, PowerSpectrumMatchesTheDefinition) {
  ComPtr<ITonalith> t = CreateTonalith();
  const long double pi = std::acos(-1.0L);
  for (std::size_t n : {2u, 4u, 8u, 16u, 64u, 256u, 2048u}) {
    const std::vector<double> x = RandomVector(n, 100u + static_cast<unsigned>(n), -3.0, 5.0);
    const Power got = PowerOf(t.Get(), x);
    ASSERT_EQ(got.p.size(), n);
    std::vector<std::complex<long double>> roots(n);
    for (std::size_t m = 0; m < n; ++m) roots[m] = std::polar(1.0L, -2.0L * pi * m / n);
    std::vector<double> want(n);
    for (std::size_t k = 0; k < n; ++k) {
      std::complex<long double> sum = 0.0L;
      for (std::size_t j = 0; j < n; ++j) sum += (long double)x[j] * roots[(j * k) % n];
      want[k] = static_cast<double>(std::norm(sum) / n);
    }
    const double total = std::accumulate(want.begin(), want.end(), 0.0);
    for (std::size_t k = 0; k < n; ++k)
      EXPECT_NEAR(got.p[k], want[k], 1e-11 * total) << n << " bin " << k;
    EXPECT_NEAR(got.overall, total / static_cast<double>(n), 1e-12 * total) << n;
  }
  // Parseval (sum P = energy) up to the longest transforms in use; zeros stay zeros.
  for (int e : {12, 16, 19}) {
    const std::vector<double> x = RandomVector(std::size_t{1} << e, e, 0.0, 100.0);
    const Power got = PowerOf(t.Get(), x);
    const double energy = std::inner_product(x.begin(), x.end(), x.begin(), 0.0);
    EXPECT_NEAR(std::accumulate(got.p.begin(), got.p.end(), 0.0) / energy, 1.0, 1e-12) << e;
    EXPECT_GE(*std::min_element(got.p.begin(), got.p.end()), 0.0);
  }
  const Power zeros = PowerOf(t.Get(), std::vector<double>(64, 0.0));
  EXPECT_EQ(zeros.p, std::vector<double>(64, 0.0));
  EXPECT_EQ(zeros.overall, 0.0);
}

// Every way to fail: a negative status and the output left empty, even when
// the caller handed in an array that was not empty.
TEST(Tonalith, BadArgumentsAnswerFailureAndEmptyOutputs) {
  ComPtr<ITonalith> t = CreateTonalith();
  double d = 0.0;
  const std::vector<double> x8 = RandomVector(8, 1);
  const std::vector<double> f{0.0, 0.5, 1.0};
  std::vector<double> b;  // second output of CreateYFilter
  std::vector<double> f600(600, 1.0);
  f600[0] = 0.0;
  using Call = std::function<HRESULT(std::vector<double>&)>;
#define CASE(what, ...) {what, [&](std::vector<double>& o) { return __VA_ARGS__; }}
  const std::vector<std::pair<const char*, Call>> cases = {
      CASE("Fft length 1", t->Fft({1.0}, 1, o)),
      CASE("Fft length 6", t->Fft(RandomVector(6, 2), 6, o)),
      CASE("Fft negative", t->Fft(x8, -8, o)),
      CASE("Fft length above size", t->Fft(x8, 16, o)),
      CASE("Power empty", t->PowerSpectrum({}, o, &d)),
      CASE("Power not a transform", t->PowerSpectrum(x8, o, &d)),
      // A transform of N points is N+3 values, its length last.
      CASE("Power length 3", t->PowerSpectrum({0, 0, 0, 0, 0, 3}, o, &d)),
      CASE("Power no overall", t->PowerSpectrum({1, 0, 1, 0, 2}, o, nullptr)),
      CASE("Median length above size", t->MedianFilter(x8, 9, 3, o, &d)),
      CASE("Median NaN", t->MedianFilter({1, kNaN, 2}, 3, 3, o, &d)),
      CASE("Filter empty b", t->ApplyFilter({}, {1.0}, x8, 0, o)),
      CASE("Filter a0 0", t->ApplyFilter({1.0}, {0.0, 1.0}, x8, 0, o)),
      CASE("Filter NaN", t->ApplyFilter({kNaN}, {1.0}, x8, 0, o)),
      CASE("Filter state", t->ApplyFilter({1.0}, {1.0}, x8, 1, o)),
      CASE("BandStop -1", t->BandStop(-1, x8, o)),
      CASE("BandStop 5", t->BandStop(5, x8, o)),
      CASE("Y count differs", t->CreateYFilter(4, f, {1, 0, 1}, o, b)),
      CASE("Y one corner", t->CreateYFilter(1, {0.0}, {1}, o, b)),
      CASE("Y first not 0", t->CreateYFilter(3, {0.1, 0.5, 1.0}, {1, 0, 1}, o, b)),
      CASE("Y last not 1", t->CreateYFilter(3, {0.0, 0.5, 0.9}, {1, 0, 1}, o, b)),
      CASE("Y above 1", t->CreateYFilter(3, {0.0, 1.5, 1.0}, {1, 0, 1}, o, b)),
      CASE("Y NaN", t->CreateYFilter(3, {0.0, kNaN, 1.0}, {1, 0, 1}, o, b)),
      CASE("Y negative gain", t->CreateYFilter(3, f, {1, -1, 1}, o, b)),
      CASE("Y order 600", t->CreateYFilter(600, f600, std::vector<int>(600, 1), o, b)),
  };
#undef CASE
  for (const auto& [what, call] : cases) {
    std::vector<double> out{7.0, 8.0, 9.0};
    b = out;
    EXPECT_LT(call(out), 0) << what;
    EXPECT_TRUE(out.empty() && (what[0] != 'Y' || b.empty())) << what;
  }
  EXPECT_EQ(t->Statistics({1.0, 2.0}, nullptr, &d), E_POINTER);
  EXPECT_EQ(t->Statistics({1.0, 2.0}, &d, nullptr), E_POINTER);
}

// Objects on several threads ask for lengths in different orders, so that
// transforms are prepared while others run (no other test asks for 2^14,
// 2^15 or 2^17): every result equals the one computed alone afterwards.
TEST(Tonalith, ObjectsOnSeveralThreadsGiveTheSameResults) {
  const std::vector<int> exponents{3, 7, 11, 14, 15, 17};
  auto run = [&](ITonalith* t, std::size_t rotate) {
    std::vector<std::vector<double>> powers(exponents.size());
    for (std::size_t i = 0; i < exponents.size(); ++i) {
      const std::size_t slot = (i + rotate) % exponents.size();
      const int e = exponents[slot];
      powers[slot] = PowerOf(t, RandomVector(std::size_t{1} << e, static_cast<unsigned>(e))).p;
    }
    return powers;
  };
  std::vector<std::vector<std::vector<double>>> results(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < 4; ++i)
    threads.emplace_back([&, i] { results[i] = run(CreateTonalith().Get(), i); });
  for (auto& th : threads) th.join();
  for (const auto& r : results) EXPECT_EQ(r, run(CreateTonalith().Get(), 0));
}

}  // namespace
}  // namespace orvane::test
