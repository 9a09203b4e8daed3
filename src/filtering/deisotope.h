// Bad-spectrum detection and de-isotoping: find the isotope period of a
// spectrum on the regular grid, call the spectrum bad or remove its isotope
// peaks with a multi-notch filter.
#pragma once

#include <string>
#include <vector>

#include "filtering/verdict.h"
#include "spectrum/dta.h"

namespace orvane {

// The run parameters the routines read, and where their log lines go
// (nullptr: no log).
struct DeisotopeSettings {
  int nMaxPeriodicity = 0;
  int nMedianFilter = 0;
  double dDeisotopFilterWidth = 0.0;
  double dDeisotopThreshold = 0.0;
  std::string* pLog = nullptr;
};

// Cleaned (isotope peaks removed), LeftAlone, Bad, or Failed after its box.
// vOutIntensity always ends with one value per point of dtaWork.
Verdict DeisotopeStrict(const DeisotopeSettings& settings, const Dta& dtaWork,
                        std::vector<double>& vOutIntensity);
Verdict DeisotopeSoft(const DeisotopeSettings& settings, const Dta& dtaWork,
                      std::vector<double>& vOutIntensity);

}  // namespace orvane
