#include "spectrum/dta.h"

#include <cmath>
#include <cstdlib>

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
}

void Dta::ClearPeaks() {
  vMass.clear();
  vIntensity.clear();
  nPeaks = 0;
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

bool Dta::HasPeakNear(double dMassIn, double dTolerance) const {
  if (nPeaks == 0) return false;
  if (!bEquidistant) {
    for (std::uint32_t i = 0; i < nPeaks; ++i)
      if (std::fabs(vMass[i] - dMassIn) <= dTolerance) return true;
    return false;
  }
  const double s = nSampling;
  const long i0 = static_cast<long>((dMassIn - vMass[0]) * s);
  double loD = static_cast<double>(i0) - s * dTolerance;
  if (loD < 0) loD = 0;
  const long lo = static_cast<long>(loD);
  long hi = lo + static_cast<long>(2.0 * dTolerance * s);
  if (hi > static_cast<long>(nPeaks)) hi = static_cast<long>(nPeaks);
  for (long i = lo; i < hi; ++i)
    if (vIntensity[static_cast<std::size_t>(i)] > 0) return true;
  return false;
}

int Dta::BlankCluster(double dMassIn, int nColumns, int nSamplingIn) {
  if (nPeaks == 0) return 0;
  const double s = nSamplingIn;
  const long start = static_cast<long>(std::trunc(std::trunc(s * dMassIn) - s * vMass[0]));
  long end = start + nColumns;
  if (end > static_cast<long>(nPeaks) - 1) end = static_cast<long>(nPeaks) - 1;
  int count = 0;
  for (long k = start < 0 ? 0 : start; k < end; ++k) {
    double& v = vIntensity[static_cast<std::size_t>(k)];
    if (v > 0) ++count;
    v = 0.0;
  }
  return count;
}

}  // namespace orvane
