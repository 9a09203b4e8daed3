// Small numeric helpers shared by the resampling and the cluster search.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace orvane::grid {

// Truncation toward zero to a 32-bit signed integer, as a C cast does for the
// values real spectra produce. Values outside the range saturate and NaN
// gives 0, so hostile input can never reach an undefined conversion.
inline std::int32_t TruncInt32(double dValue) {
  if (std::isnan(dValue)) return 0;
  if (dValue >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
  if (dValue <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(dValue);
}

// The grid position of a mass, in hundredths: the mass is truncated to
// hundredths, and the last digit goes down to 0 (0-2), to 5 (3-7) or up to
// the next ten (8-9). 100.02 -> 10000, 100.03 -> 10005, 100.08 -> 10010.
inline std::int64_t GridHundredths(double dMass) {
  const std::int64_t t = TruncInt32(dMass * 100.0);
  const std::int64_t r = t % 10;
  const std::int64_t b = t - r;
  const std::int64_t e = r - 5;
  std::int64_t rounded = b;
  if (e > -3) rounded += 5;
  if (e > 2) rounded += 5;
  return rounded;
}

// The grid mass of a peak: a multiple of 0.05.
inline double GridMass(double dMass) { return static_cast<double>(GridHundredths(dMass)) / 100.0; }

}  // namespace orvane::grid
