// Spectra for the analysis tests.
#pragma once

#include <cstddef>
#include <vector>

#include "spectrum/dta.h"

namespace orvane::test {

inline Dta MakeDta(const std::vector<double>& vMass, const std::vector<double>& vIntensity) {
  Dta dta;
  for (std::size_t i = 0; i < vMass.size(); ++i) dta.AddPeak(vMass[i], vIntensity[i]);
  return dta;
}

}  // namespace orvane::test
