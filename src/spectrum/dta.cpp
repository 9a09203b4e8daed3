#include "spectrum/dta.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "platform/format.h"
#include "spectrum/dialect.h"

namespace orvane {

Dta& Dta::operator=(const Dta& other) {
  if (this == &other) return *this;
  dMass = other.dMass;
  nCharge = other.nCharge;
  nPeaks = other.nPeaks;
  strPath = other.strPath;
  strTitle = other.strTitle;
  vMass.clear();
  vIntensity.clear();
  vMass = other.vMass;
  vIntensity = other.vIntensity;
  vHeaderLines = other.vHeaderLines;
  dPrecursorIntensity = other.dPrecursorIntensity;
  vCharges = other.vCharges;
  strPeakLines = other.strPeakLines;
  return *this;
}

void Dta::Clear() {
  dMass = 0.0;
  nCharge = 0;
  nPeaks = 0;
  strPath.clear();
  strTitle.clear();
  vMass.clear();
  vIntensity.clear();
  vHeaderLines.clear();
  dPrecursorIntensity = 0.0;
  vCharges.clear();
  strPeakLines.clear();
}

void Dta::ClearPeaks() {
  vMass.clear();
  vIntensity.clear();
  nPeaks = 0;
  strPeakLines.clear();
}

void Dta::AddPeak(double dMassIn, double dIntensity) {
  vMass.push_back(dMassIn);
  vIntensity.push_back(dIntensity);
  ++nPeaks;
}

void Dta::SetEquidistant(bool bFlag, double dStep) {
  bEquidistant = bFlag;
  nSampling = static_cast<std::int32_t>(1.0 / dStep);
}

namespace {

// Truncation toward zero to a 32-bit int, saturating outside the range and 0
// for NaN, so no mass a host hands in can reach an undefined conversion.
std::int64_t TruncInt32(double dValue) {
  if (std::isnan(dValue)) return 0;
  if (dValue >= 2147483647.0) return 2147483647;
  if (dValue <= -2147483648.0) return -2147483648LL;
  return static_cast<std::int32_t>(dValue);
}

}  // namespace

bool Dta::HasPeakNear(double dMassIn, double dTolerance) const {
  const std::size_t n = std::min<std::size_t>({nPeaks, vMass.size(), vIntensity.size()});
  if (n == 0 || std::isnan(dMassIn) || std::isnan(dTolerance)) return false;
  if (!bEquidistant) {
    // Any mass within the tolerance, the bound included.
    for (std::size_t i = 0; i < n; ++i)
      if (std::fabs(vMass[i] - dMassIn) <= dTolerance) return true;
    return false;
  }
  // On the grid: any signal in the 2 * tolerance * nSampling points from
  // tolerance * nSampling points below the point of dMassIn.
  const double s = nSampling;
  const std::int64_t i0 = TruncInt32((dMassIn - vMass[0]) * s);
  double dLow = static_cast<double>(i0) - s * dTolerance;
  if (dLow < 0) dLow = 0;
  const std::int64_t lo = TruncInt32(dLow);
  std::int64_t hi = lo + TruncInt32(2.0 * dTolerance * s);
  if (hi > static_cast<std::int64_t>(n)) hi = static_cast<std::int64_t>(n);
  for (std::int64_t i = lo; i < hi; ++i)
    if (vIntensity[static_cast<std::size_t>(i)] > 0) return true;
  return false;
}

int Dta::BlankCluster(double dMassIn, int nColumns, int nSamplingIn) {
  const std::int64_t n = std::min<std::size_t>({nPeaks, vMass.size(), vIntensity.size()});
  if (n == 0) return 0;
  const double s = nSamplingIn;
  // The grid index of dMassIn, counted from the first point; the spectrum's
  // very last point is never blanked.
  const std::int64_t start = TruncInt32(static_cast<double>(TruncInt32(s * dMassIn)) - s * vMass[0]);
  std::int64_t end = start + nColumns;
  if (end > n - 1) end = n - 1;
  int count = 0;
  for (std::int64_t k = start < 0 ? 0 : start; k < end; ++k) {
    double& v = vIntensity[static_cast<std::size_t>(k)];
    if (v > 0) ++count;
    v = 0.0;
  }
  return count;
}

void AppendExactPeakLines(std::string& out, const Dta& dta) {
  const unsigned n = dta.GetPeakCount();
  for (unsigned i = 0; i < n; ++i) {
    const double intensity = dta.GetIntensity(i);
    if (intensity == 0.0) continue;
    AppendExactDecimal(out, dta.GetMass(i), kPeakMzDecimals);
    out += ' ';
    AppendExactDecimal(out, intensity, 0);
    out += '\n';
  }
}

}  // namespace orvane
