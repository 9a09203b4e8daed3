// MedianFilter against a brute-force median and Octave's medfilt1; Statistics
// of known vectors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tonalith/reference/octave_reference.h"
#include "tonalith_test_util.h"

namespace orvane::test {
namespace {

// The window of point i: width/2 values before it, (width-1)/2 after it,
// zeros outside the array; the median of an even count is the mean of the two
// middle values.
std::vector<double> BruteMedian(const std::vector<double>& x, int width) {
  if (width <= 1) return x;
  const long long n = static_cast<long long>(x.size());
  const long long before = width / 2;
  const long long after = width - 1 - before;
  std::vector<double> y(x.size());
  for (long long i = 0; i < n; ++i) {
    std::vector<double> w;
    for (long long j = i - before; j <= i + after; ++j) w.push_back(j >= 0 && j < n ? x[j] : 0.0);
    std::sort(w.begin(), w.end());
    y[i] = width % 2 ? w[w.size() / 2] : 0.5 * (w[w.size() / 2 - 1] + w[w.size() / 2]);
  }
  return y;
}

std::vector<double> Median(ITonalith* t, const std::vector<double>& x, int width) {
  std::vector<double> y;
  double ignored = -1.0;
  EXPECT_EQ(t->MedianFilter(x, static_cast<int>(x.size()), width, y, &ignored), S_OK);
  return y;
}

// Values with many ties, negatives and zeros, as a power spectrum after
// resampling has them.
std::vector<double> TiedValues(std::size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> dist(-6, 12);
  std::vector<double> v(n);
  for (double& x : v) x = dist(gen) * 0.5;
  return v;
}

TEST(MedianFilter, MatchesBruteForceForNarrowAndWideWindows) {
  ComPtr<ITonalith> t = CreateTonalith();
  // Widths up to 256 take the sorted-window path, wider ones the rank tree;
  // widths beyond the length are mostly padding.
  for (std::size_t n : {1u, 2u, 3u, 7u, 64u, 600u}) {
    for (int width : {2, 3, 4, 5, 6, 7, 8, 11, 20, 255, 256, 257, 400, 1201}) {
      for (unsigned seed : {1u, 2u}) {
        const std::vector<double> x =
            seed == 1 ? TiedValues(n, static_cast<unsigned>(n * 31 + width))
                      : RandomVector(n, static_cast<unsigned>(n + width), -2.0, 10.0);
        ASSERT_EQ(Median(t.Get(), x, width), BruteMedian(x, width))
            << "n=" << n << " width=" << width << " seed=" << seed;
      }
    }
  }
}

TEST(MedianFilter, MatchesOctaveZeroPaddedMedfilt1) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<const std::vector<double>*> expected = {
      &octave::kMedian2, &octave::kMedian3, &octave::kMedian4, &octave::kMedian5,
      &octave::kMedian6, &octave::kMedian7, &octave::kMedian8, &octave::kMedian9};
  for (int width = 2; width <= 9; ++width) {
    EXPECT_EQ(Median(t.Get(), octave::kMedianIn, width), *expected[width - 2]) << width;
  }
}

TEST(MedianFilter, EndsAndEvenWidthsByHand) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double> x{5, -1, 3, 8, 2, 7, -4, 6};
  // Width 3: the first window is {0, 5, -1}, the last {-4, 6, 0}.
  EXPECT_EQ(Median(t.Get(), x, 3), (std::vector<double>{0, 3, 3, 3, 7, 2, 6, 0}));
  // Width 4 takes two values before the centre and one after:
  // point 0 sees {0, 0, 5, -1}, point 1 sees {0, 5, -1, 3}.
  EXPECT_EQ(Median(t.Get(), x, 4), (std::vector<double>{0, 1.5, 4, 2.5, 5, 4.5, 4, 3}));
  // Width 2: the point and the one before it.
  EXPECT_EQ(Median(t.Get(), x, 2), (std::vector<double>{2.5, 2, 1, 5.5, 5, 4.5, 1.5, 1}));
}

TEST(MedianFilter, WidthOneOrLessCopiesAndEmptyStaysEmpty) {
  ComPtr<ITonalith> t = CreateTonalith();
  const std::vector<double> x = RandomVector(50, 9);
  for (int width : {1, 0, -3}) EXPECT_EQ(Median(t.Get(), x, width), x) << width;
  std::vector<double> y{1.0};
  double ignored = 0.0;
  EXPECT_EQ(t->MedianFilter({}, 0, 3, y, &ignored), S_OK);
  EXPECT_TRUE(y.empty());
  EXPECT_EQ(t->MedianFilter(x, 50, 3, y, nullptr), S_OK);  // the double is optional
}

TEST(MedianFilter, HugeWidthIsAllPadding) {
  ComPtr<ITonalith> t = CreateTonalith();
  // More than half of every window is padding: the median is 0 throughout.
  const std::vector<double> x = RandomVector(1000, 4, 1.0, 2.0);
  EXPECT_EQ(Median(t.Get(), x, 2'000'000'000), std::vector<double>(1000, 0.0));
  EXPECT_EQ(Median(t.Get(), x, 2001), std::vector<double>(1000, 0.0));
}

struct StatsCase {
  std::vector<double> x;
  double deviation;
  double mean;
};

class StatisticsOf : public ::testing::TestWithParam<StatsCase> {};

TEST_P(StatisticsOf, SampleDeviationFirstMeanSecond) {
  ComPtr<ITonalith> t = CreateTonalith();
  double first = -1.0;
  double second = -1.0;
  EXPECT_EQ(t->Statistics(GetParam().x, &first, &second), S_OK);
  EXPECT_NEAR(first, GetParam().deviation, 1e-12 * (1.0 + std::abs(GetParam().deviation)));
  EXPECT_NEAR(second, GetParam().mean, 1e-12 * (1.0 + std::abs(GetParam().mean)));
}

INSTANTIATE_TEST_SUITE_P(
    Known, StatisticsOf,
    ::testing::Values(StatsCase{{}, 0.0, 0.0}, StatsCase{{42.0}, 0.0, 0.0},
                      StatsCase{{1.0, 3.0}, std::sqrt(2.0), 2.0},
                      StatsCase{{2, 4, 4, 4, 5, 5, 7, 9}, std::sqrt(32.0 / 7.0), 5.0},
                      StatsCase{{5, 5, 5, 5}, 0.0, 5.0},
                      // Far from zero: two passes keep the deviation exact.
                      StatsCase{{1e9 + 1, 1e9 + 2, 1e9 + 3}, 1.0, 1e9 + 2},
                      StatsCase{{-2.0, 2.0}, 2.0 * std::sqrt(2.0), 0.0}));

TEST(Statistics, NullOutputsAreRefused) {
  ComPtr<ITonalith> t = CreateTonalith();
  double d = 0.0;
  EXPECT_EQ(t->Statistics({1.0, 2.0}, nullptr, &d), E_POINTER);
  EXPECT_EQ(t->Statistics({1.0, 2.0}, &d, nullptr), E_POINTER);
}

}  // namespace
}  // namespace orvane::test
