// CheckSequenceTags.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/analysis.h"
#include "analysis_test_util.h"

namespace orvane {
namespace {

using test::MakeDta;

bool HasTag(const Dta& dta, int nTagLength, double dTolerance, int nLadder) {
  bool b = true;  // must be reset by the call
  EXPECT_EQ(CheckSequenceTags(&dta, nTagLength, dTolerance, nLadder, &b), S_OK);
  return b;
}

struct TagCase {
  const char* name;
  std::vector<double> vMass;
  std::vector<double> vIntensity;
  int nTagLength;
  double dTolerance;
  int nLadder;
  bool bTag;
};

class Tags : public ::testing::TestWithParam<TagCase> {};

TEST_P(Tags, Verdict) {
  const TagCase& c = GetParam();
  const Dta dta = MakeDta(c.vMass, c.vIntensity);
  EXPECT_EQ(HasTag(dta, c.nTagLength, c.dTolerance, c.nLadder), c.bTag);
}

// Ten peaks with intensities 1 to 10; 50 percent makes the sixth weakest (6)
// the threshold. The two low peaks are one A (71.03711) apart; the others
// stand 200 apart, out of any step.
const std::vector<double> kTenMasses = {100.0, 171.03711, 400, 600, 800, 1000, 1200, 1400, 1600, 1800};

INSTANTIATE_TEST_SUITE_P(
    Cases, Tags,
    ::testing::Values(
        // A (71.04) then G (57.02) chain.
        TagCase{"TwoSteps", {100.0, 171.04, 228.06}, {10, 20, 30}, 2, 0.1, 0, true},
        // t is 10; the third peak does not lie above it.
        TagCase{"LadderPeakMustBeAboveThreshold", {100.0, 171.04, 228.06}, {10, 20, 10}, 2, 0.1, 0, false},
        TagCase{"OneStepIsTagOfOne", {100.0, 171.04, 228.06}, {10, 20, 10}, 1, 0.1, 0, true},
        // 100 percent: t is the strongest, nothing lies above it.
        TagCase{"LadderAtHundred", {100.0, 171.04, 228.06}, {10, 20, 30}, 1, 0.1, 100, false},
        TagCase{"LadderAboveHundredIsClamped", {100.0, 171.04, 228.06}, {10, 20, 30}, 1, 0.1, 250, false},
        TagCase{"NegativeLadderIsClamped", {100.0, 171.04, 228.06}, {10, 20, 30}, 2, 0.1, -50, true},
        // A start peak may equal t (6), a ladder peak must lie above it.
        TagCase{"StartEqualsThreshold", kTenMasses, {6, 7, 1, 2, 3, 4, 5, 8, 9, 10}, 1, 0.01, 50, true},
        TagCase{"LadderEqualsThreshold", kTenMasses, {7, 6, 1, 2, 3, 4, 5, 8, 9, 10}, 1, 0.01, 50, false},
        // 40 percent: q = 4, t = 5.
        TagCase{"LowerRankLowersThreshold", kTenMasses, {7, 6, 1, 2, 3, 4, 5, 8, 9, 10}, 1, 0.01, 40, true},
        // Tag length 0 or below: the first step made is enough ...
        TagCase{"ZeroLengthNeedsOneStep", {100.0, 171.04}, {10, 20}, 0, 0.1, 0, true},
        TagCase{"NegativeLength", {100.0, 171.04}, {10, 20}, -3, 0.1, 0, true},
        // ... but a spectrum without any step has none.
        TagCase{"ZeroLengthWithoutSteps", {100.0, 150.0, 190.0}, {10, 20, 30}, 0, 0.1, 0, false},
        // W, the heaviest residue, is a step below 187.0.
        TagCase{"Tryptophan", {100.0, 286.07931}, {1, 2}, 1, 0.01, 0, true},
        // I and L share a mass; the table still finds it.
        TagCase{"Leucine", {100.0, 213.08406}, {1, 2}, 1, 0.01, 0, true},
        // Greedy: from 100 the walk takes G at 157.02 and never goes back, so
        // the chain 100 -> 171.04 (A) -> 242.07 (A) is not seen from there;
        // its own start at 171.04 gives one step only.
        TagCase{"GreedyWalkDoesNotGoBack",
                {100.0, 157.02146, 171.03711, 242.07422},
                {5, 10, 10, 10},
                2, 0.001, 0, false},
        TagCase{"GreedyWalkFindsOneStep",
                {100.0, 157.02146, 171.03711, 242.07422},
                {5, 10, 10, 10},
                1, 0.001, 0, true},
        // A weak peak 187.0 above the current one ends the walk, even though
        // a later (out-of-order) peak would have fitted.
        TagCase{"StepBoundEndsTheWalk", {100.0, 287.0, 171.03711}, {10, 1, 20}, 1, 0.01, 50, false},
        TagCase{"BelowTheStepBound", {100.0, 286.99, 171.03711}, {10, 1, 20}, 1, 0.01, 50, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CheckSequenceTags, MatchWithinTheToleranceIsStrict) {
  const Dta dta = MakeDta({100.0, 157.3}, {1, 2});
  // The difference from G exactly as the check computes it.
  const double dOff = std::fabs((157.3 - 100.0) - 57.02146);
  EXPECT_FALSE(HasTag(dta, 1, dOff, 0));
  EXPECT_TRUE(HasTag(dta, 1, std::nextafter(dOff, 1.0), 0));
}

TEST(CheckSequenceTags, EmptySpectrumHasNoTag) {
  const Dta dta;
  EXPECT_FALSE(HasTag(dta, 1, 0.5, 50));
  bool b = true;
  EXPECT_EQ(CheckSequenceTags(nullptr, 1, 0.5, 50, &b), E_POINTER);
  EXPECT_FALSE(b);
}

}  // namespace
}  // namespace orvane
