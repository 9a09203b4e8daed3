// Spectra for the analysis tests.
#pragma once

#include <cstddef>
#include <vector>

#include "spectrum/dta.h"

namespace orvane::test {

inline Dta MakeDta(const std::vector<double>& vMass, const std::vector<double>& vIntensity,
                   double dMass = 0.0) {
  Dta dta;
  dta.dMass = dMass;
  for (std::size_t i = 0; i < vMass.size(); ++i) dta.AddPeak(vMass[i], vIntensity[i]);
  return dta;
}

// An equidistant spectrum on the 0.05 grid from nFirst / 20 to nLast / 20,
// every intensity 0; masses are computed as whole twentieths.
inline Dta MakeGrid(int nFirst, int nLast, double dMass) {
  Dta dta;
  dta.dMass = dMass;
  for (int k = nFirst; k <= nLast; ++k) dta.AddPeak(k / 20.0, 0.0);
  dta.SetEquidistant(true, 0.05);
  return dta;
}

// Index of the grid point of mass nTwentieths / 20 in a MakeGrid spectrum.
inline std::size_t GridIndex(int nFirst, int nTwentieths) {
  return static_cast<std::size_t>(nTwentieths - nFirst);
}

}  // namespace orvane::test
