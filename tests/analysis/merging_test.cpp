// MergePeaks and MergeClosestPeaks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <random>
#include <vector>

#include "analysis/analysis.h"
#include "analysis_test_util.h"
#include "support/test_support.h"

// Allocation failure on demand: the allocation numbered g_nFailAt from the
// moment it is armed throws std::bad_alloc. Every form of the global
// operators is replaced so that allocation and release stay paired under
// the address sanitizer.
namespace {
thread_local long g_nFailAt = -1;

void* Allocate(std::size_t n) {
  if (g_nFailAt >= 0 && g_nFailAt-- == 0) throw std::bad_alloc();
  if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(std::size_t n) { return Allocate(n); }
void* operator new[](std::size_t n) { return Allocate(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  try {
    return Allocate(n);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  try {
    return Allocate(n);
  } catch (...) {
    return nullptr;
  }
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace orvane {
namespace {

using test::MakeDta;
using test::RecordingReporter;

using MergeFn = HRESULT (*)(Dta*, double);

std::vector<double> Merged(MergeFn fn, const std::vector<double>& vMass,
                           const std::vector<double>& vIntensity, double dSpacing) {
  Dta dta = MakeDta(vMass, vIntensity);
  EXPECT_EQ(fn(&dta, dSpacing), S_OK);
  EXPECT_EQ(dta.vMass, vMass);  // masses and places stay
  EXPECT_EQ(dta.GetPeakCount(), vMass.size());
  return dta.vIntensity;
}

struct MergeCase {
  const char* name;
  std::vector<double> vMass;
  std::vector<double> vIntensity;
  double dSpacing;
  std::vector<double> vStrongestFirst;  // MergePeaks
  std::vector<double> vClosestFirst;    // MergeClosestPeaks
};

class Merging : public ::testing::TestWithParam<MergeCase> {};

TEST_P(Merging, StrongestFirst) {
  const MergeCase& c = GetParam();
  EXPECT_EQ(Merged(&MergePeaks, c.vMass, c.vIntensity, c.dSpacing), c.vStrongestFirst);
}

TEST_P(Merging, ClosestFirst) {
  const MergeCase& c = GetParam();
  EXPECT_EQ(Merged(&MergeClosestPeaks, c.vMass, c.vIntensity, c.dSpacing), c.vClosestFirst);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Merging,
    ::testing::Values(
        // Both outer peaks lose to the middle one. For the closest-first rule
        // 100.2 - 100.0 and 100.4 - 100.2 are the same double, so the second
        // edge never enters the set and the third peak stays.
        MergeCase{"MiddleWins", {100.0, 100.2, 100.4}, {5, 9, 7}, 0.25, {0, 9, 0}, {0, 9, 7}},
        MergeCase{"MiddleWinsDistinctWeights", {100.0, 100.2, 100.41}, {5, 9, 7}, 0.25, {0, 9, 0}, {0, 9, 0}},
        // The middle loses to the first; its edges go and the third survives.
        MergeCase{"LoserFreesTheWeaker", {100.0, 100.2, 100.4}, {9, 8, 7}, 0.25, {9, 0, 7}, {9, 0, 7}},
        // Of two equal intensities the lower index counts as the stronger.
        MergeCase{"EqualIntensities", {100.0, 100.1}, {5, 5}, 0.25, {5, 0}, {5, 0}},
        // A difference equal to the spacing makes an edge.
        MergeCase{"BoundIncluded", {100.0, 100.25}, {5, 9}, 0.25, {0, 9}, {0, 9}},
        MergeCase{"JustOutOfReach", {100.0, 100.25}, {5, 9}, 0.2499, {5, 9}, {5, 9}},
        // The rules part: the closest pair (0.1) goes first and takes out the
        // third peak before the second can lose to the first.
        MergeCase{"RulesDiffer", {100.0, 100.2, 100.3, 100.52}, {9, 8, 7, 6}, 0.25, {9, 0, 7, 0}, {9, 0, 0, 6}},
        MergeCase{"SinglePeak", {100.0}, {3}, 0.25, {3}, {3}},
        MergeCase{"NegativeSpacing", {100.0, 100.0, 100.1}, {1, 2, 3}, -0.5, {1, 2, 3}, {1, 2, 3}},
        // Spacing 0: equal masses still make an edge for MergePeaks, while
        // MergeClosestPeaks changes nothing.
        MergeCase{"ZeroSpacing", {100.0, 100.0, 100.1}, {1, 2, 3}, 0.0, {0, 2, 3}, {1, 2, 3}},
        // Exactly equal weights: only the first such edge enters the set, so
        // the second pair is left alone by the closest-first rule.
        MergeCase{"EqualWeights", {100.0, 100.25, 200.0, 200.25}, {5, 9, 5, 9}, 0.5, {0, 9, 0, 9}, {0, 9, 5, 9}},
        // ... unless its weaker peak has another edge in the set.
        // Here the pair 200.00 / 200.25 has the weight of the first pair,
        // but 200.00 also loses its edge to 199.875 (0.125, the closest).
        MergeCase{"EqualWeightsOtherEdge",
                  {100.0, 100.25, 199.875, 200.0, 200.25},
                  {5, 9, 7, 5, 9},
                  0.5,
                  {0, 9, 0, 0, 9},
                  {0, 9, 0, 0, 9}},
        // Zero-intensity peaks take part like any other.
        MergeCase{"ZeroIntensities", {100.0, 100.1, 100.2}, {0, 0, 4}, 0.15, {0, 0, 4}, {0, 0, 4}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MergePeaks, EmptySpectrumIsRefusedWithAPlainBox) {
  RecordingReporter reporter;
  Dta dta;
  EXPECT_EQ(MergePeaks(&dta, 0.5), E_UNEXPECTED);
  ASSERT_EQ(reporter.boxes.size(), 1u);
  EXPECT_EQ(reporter.boxes[0].kind, BoxKind::Plain);
  EXPECT_EQ(reporter.boxes[0].text, "Dta not valid");
}

TEST(MergeClosestPeaks, EmptySpectrumIsNoFailure) {
  RecordingReporter reporter;
  Dta dta;
  EXPECT_EQ(MergeClosestPeaks(&dta, 0.5), S_OK);
  EXPECT_TRUE(reporter.boxes.empty());
}

// Every allocation of a call fails in turn: each failing call reports the
// exception's text in a plain box, returns E_OUTOFMEMORY and leaves the peaks
// as they were.
void CheckAllocationFailures(MergeFn fn) {
  const std::vector<double> vMass = {100.0, 100.1, 100.15, 100.3, 100.32, 100.5, 101.0, 101.1};
  const std::vector<double> vIntensity = {5, 3, 8, 1, 9, 2, 4, 4};
  int nFailures = 0;
  for (long nAt = 0;; ++nAt) {
    Dta dta = MakeDta(vMass, vIntensity);
    RecordingReporter reporter;
    g_nFailAt = nAt;
    const HRESULT hr = fn(&dta, 0.25);
    g_nFailAt = -1;
    if (hr == S_OK) break;
    ++nFailures;
    ASSERT_EQ(hr, E_OUTOFMEMORY) << nAt;
    EXPECT_EQ(dta.vIntensity, vIntensity) << nAt;
    ASSERT_EQ(reporter.boxes.size(), 1u);
    EXPECT_EQ(reporter.boxes[0].kind, BoxKind::Plain);
    EXPECT_EQ(reporter.boxes[0].text, std::bad_alloc().what());
    ASSERT_LT(nAt, 10000);
  }
  EXPECT_GT(nFailures, 3);
}

TEST(MergeClosestPeaks, ExceptionWhileBuildingGivesOutOfMemory) {
  CheckAllocationFailures(&MergeClosestPeaks);
}

TEST(MergePeaks, ExceptionWhileBuildingGivesOutOfMemory) { CheckAllocationFailures(&MergePeaks); }

// --- both rules against plain restatements, on random spectra ---------------

// Strongest first: a peak loses exactly when a stronger peak within the
// spacing survives (stronger: higher intensity, then lower index).
std::vector<double> StrongestFirstOracle(const std::vector<double>& m, const std::vector<double>& a,
                                         double dSpacing) {
  const std::size_t n = m.size();
  std::vector<std::size_t> order(n);
  for (std::size_t i = 0; i < n; ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t x, std::size_t y) { return a[x] > a[y]; });
  std::vector<bool> alive(n, false);
  std::vector<double> out = a;
  for (std::size_t i : order) {
    bool beaten = false;
    for (std::size_t j = 0; j < n; ++j)
      if (alive[j] && std::fabs(m[i] - m[j]) <= dSpacing) beaten = true;
    if (beaten)
      out[i] = 0.0;
    else
      alive[i] = true;
  }
  return out;
}

// Closest first: while two unmarked peaks lie within the spacing, the weaker
// of the closest such pair is marked.
std::vector<double> ClosestFirstOracle(const std::vector<double>& m, const std::vector<double>& a,
                                       double dSpacing) {
  const std::size_t n = m.size();
  std::vector<bool> marked(n, false);
  for (;;) {
    double best = dSpacing + 1.0;
    std::size_t loser = n;
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = i + 1; j < n; ++j) {
        if (marked[i] || marked[j]) continue;
        const double d = m[j] - m[i];
        if (d <= dSpacing && d < best) {
          best = d;
          loser = a[j] > a[i] ? i : j;
        }
      }
    if (loser == n) break;
    marked[loser] = true;
  }
  std::vector<double> out = a;
  for (std::size_t i = 0; i < n; ++i)
    if (marked[i]) out[i] = 0.0;
  return out;
}

TEST(Merging, RandomSpectraFollowBothRules) {
  std::mt19937 rng(20240611);
  std::uniform_real_distribution<double> gap(0.001, 0.6);
  std::uniform_int_distribution<int> level(1, 12);  // ties on purpose
  for (int round = 0; round < 200; ++round) {
    std::vector<double> m;
    std::vector<double> a;
    double x = 100.0 + round;
    for (int k = 0; k < 40; ++k) {
      x += gap(rng);
      m.push_back(x);
      a.push_back(level(rng));
    }
    const double dSpacing = 0.1 + 0.005 * (round % 60);
    EXPECT_EQ(Merged(&MergePeaks, m, a, dSpacing), StrongestFirstOracle(m, a, dSpacing)) << round;
    // Random gaps make equal weights practically impossible, so the set of
    // the closest-first rule holds every edge.
    EXPECT_EQ(Merged(&MergeClosestPeaks, m, a, dSpacing), ClosestFirstOracle(m, a, dSpacing))
        << round;
  }
}

}  // namespace
}  // namespace orvane
