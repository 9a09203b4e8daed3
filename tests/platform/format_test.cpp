// Numbers written without loss: the shortest text that reads back as the same
// double, with a least number of decimals.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>

#include "platform/format.h"

namespace orvane {
namespace {

struct ExactCase {
  double value;
  int minDecimals;
  const char* text;
};

TEST(ExactDecimal, ShortestTextWithAtLeastTheDecimalsAsked) {
  const double inf = std::numeric_limits<double>::infinity();
  const ExactCase cases[] = {
      {110.0710, 5, "110.07100"},            // fewer decimals than asked: padded
      {101.1071167, 5, "101.1071167"},       // more: all of them
      {457.723968505859, 6, "457.723968505859"},
      {3284441.75, 0, "3284441.75"},
      {1234.0, 0, "1234"},
      {1e6, 0, "1000000"},                   // never in exponent form
      {0.0001, 0, "0.0001"},                 // a small intensity stays above 0
      {1e-7, 0, "0.0000001"},
      {-2.5, 3, "-2.500"},
      {0.0, 2, "0.00"},
      {110.07101440429688, 5, "110.07101440429688"},  // a float's value, in full
      {inf, 5, "inf"},
      {-inf, 5, "-inf"},
      {std::numeric_limits<double>::quiet_NaN(), 5, "nan"},
  };
  for (const ExactCase& c : cases) {
    EXPECT_EQ(ExactDecimal(c.value, c.minDecimals), c.text) << c.text;
    if (c.value == c.value && c.value != inf && c.value != -inf) {
      EXPECT_EQ(std::strtod(ExactDecimal(c.value, c.minDecimals).c_str(), nullptr), c.value);
    }
  }
}

}  // namespace
}  // namespace orvane
