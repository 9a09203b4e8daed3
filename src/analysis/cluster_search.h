// Pieces of the isotope cluster search, open to the tests: the template band
// that a mass falls into and the correlation of a window with its template.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/isotope_templates.h"

namespace orvane::cluster {

// The template in use for a stretch of the spectrum, with the template side
// of the correlation computed once.
struct TemplateBand {
  std::int64_t nBase = 0;  // b: the band's lower end, in units of charge times mass
  double dRowMass = 0.0;   // the mass-to-charge value handed to GetTemplate
  std::vector<std::int32_t> vTemplate;
  std::vector<double> vTemplateD;  // the same entries as doubles
  double dSumY = 0.0;              // sum of the entries
  double dSumYY = 0.0;             // sum of their squares
  double dDenominator = 0.0;       // nT * SYY - SY^2
};

// The band of mass dMass for charge nCharge (nCharge above 0):
// b = trunc(z m) - (trunc(m) z) mod 100, template GetTemplate(b / z + 1.0).
TemplateBand MakeTemplateBand(double dMass, int nCharge, const IsotopeTemplates& templates);

// Pearson correlation of the window pWindow[0 .. nT) with the band's
// template. False when it has no value (a flat window or template).
bool Correlate(const double* pWindow, const TemplateBand& band, double* pR);

}  // namespace orvane::cluster
