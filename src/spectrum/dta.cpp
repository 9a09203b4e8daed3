#include "spectrum/dta.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <string_view>

#include "platform/format.h"
#include "spectrum/dialect.h"

namespace orvane {

Dta& Dta::operator=(const Dta& other) {
  if (this == &other) return *this;
  dMass = other.dMass;
  nCharge = other.nCharge;
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
  strPeakLines.clear();
}

void Dta::AddPeak(double dMassIn, double dIntensity) {
  vMass.push_back(dMassIn);
  vIntensity.push_back(dIntensity);
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
  const std::size_t n = GetPeakCount();
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
  const std::int64_t n = GetPeakCount();
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

bool IsUsablePeak(double dMz, double dIntensity) {
  return IsUsablePrecursorMz(dMz) && std::isfinite(dIntensity) && dIntensity >= 0.0;
}

bool IsUsablePrecursorMz(double dMz) { return std::isfinite(dMz) && dMz > 0.0 && dMz <= kMaxUsableMz; }

bool SortPeaksByMz(Dta* pDta) {
  const std::size_t n = pDta->GetPeakCount();
  const std::vector<double>& mass = pDta->vMass;
  if (std::is_sorted(mass.begin(), mass.begin() + static_cast<std::ptrdiff_t>(n))) return false;
  std::vector<std::size_t> order(n);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&mass](std::size_t a, std::size_t b) { return mass[a] < mass[b]; });
  // The kept line of each peak, where it has one.
  std::vector<std::string_view> lines(n);
  const std::string text = pDta->strPeakLines;
  std::size_t at = 0;
  for (std::size_t k = 0; k < n && at < text.size(); ++k) {
    if (pDta->vIntensity[k] == 0.0) continue;
    std::size_t end = text.find('\n', at);
    end = end == std::string::npos ? text.size() : end + 1;
    lines[k] = std::string_view(text).substr(at, end - at);
    at = end;
  }
  std::vector<double> sortedMass(n);
  std::vector<double> sortedIntensity(n);
  std::string sortedText;
  sortedText.reserve(text.size());
  for (std::size_t k = 0; k < n; ++k) {
    sortedMass[k] = mass[order[k]];
    sortedIntensity[k] = pDta->vIntensity[order[k]];
    sortedText += lines[order[k]];
  }
  pDta->vMass = std::move(sortedMass);
  pDta->vIntensity = std::move(sortedIntensity);
  if (!pDta->strPeakLines.empty()) pDta->strPeakLines = std::move(sortedText);
  return true;
}

}  // namespace orvane
