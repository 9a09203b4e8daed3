// Bad-spectrum detection and de-isotoping: find the isotope period of a
// spectrum on the regular grid, call the spectrum bad or remove its isotope
// peaks with a multi-notch filter.
#pragma once

#include <vector>

#include "frame/interfaces.h"
#include "platform/text_file.h"
#include "spectrum/dta.h"
#include "tonalith/itonalith.h"

namespace orvane {

// The run parameters the routines read.
struct DeisotopeSettings {
  int nMaxPeriodicity = 0;
  int nMedianFilter = 0;
  double dDeisotopFilterWidth = 0.0;
  double dDeisotopThreshold = 0.0;
  bool bWriteLog = false;
  CStdioFile* pLogFile = nullptr;
};

// Results: 1 isotope peaks removed, 2 left alone, 4 bad spectrum, -1 a
// reported failure, -2 references missing. vOutIntensity always ends with one
// value per point of dtaWork.
int DeisotopeStrict(ITonalith* pTonalith, IAnalyzeMSMS* pAnalyze,
                    const DeisotopeSettings& settings, const Dta& dtaWork,
                    std::vector<double>& vOutIntensity);
int DeisotopeSoft(ITonalith* pTonalith, IAnalyzeMSMS* pAnalyze,
                  const DeisotopeSettings& settings, const Dta& dtaWork,
                  std::vector<double>& vOutIntensity);

}  // namespace orvane
