// The sequence tag check: does the spectrum hold a chain of stronger peaks
// whose steps in mass are amino-acid residue masses?
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "analysis/analysis.h"

namespace orvane {
namespace {

// Monoisotopic residue masses of the twenty standard amino acids, in the
// order they are tried (I and L share one mass).
constexpr std::array<double, 20> kResidueMasses = {
    71.03711,   // A
    156.10111,  // R
    114.04293,  // N
    115.02694,  // D
    103.00919,  // C
    129.04259,  // E
    128.09496,  // K
    57.02146,   // G
    137.05891,  // H
    113.08406,  // I
    113.08406,  // L
    128.05858,  // Q
    131.04049,  // M
    147.06841,  // F
    97.05276,   // P
    87.03203,   // S
    101.04768,  // T
    186.07931,  // W
    163.06333,  // Y
    99.06841,   // V
};

// Just above the heaviest residue (W): no step can be longer.
constexpr double kLongestStep = 187.0;

bool IsResidueStep(double d, double dTolerance) {
  return std::any_of(kResidueMasses.begin(), kResidueMasses.end(),
                     [&](double residue) { return std::fabs(d - residue) < dTolerance; });
}

}  // namespace

HRESULT CheckSequenceTags(const Dta* pDta, int nTagLength, double dTolerance,
                          int nLadderIntensity, bool* pbHasTag) {
  if (pbHasTag == nullptr) return E_POINTER;
  *pbHasTag = false;
  if (pDta == nullptr) return E_POINTER;
  const std::int64_t n = pDta->GetPeakCount();
  if (n <= 0) return S_OK;  // no peaks, no threshold, no tag
  const std::vector<double>& vMass = pDta->vMass;
  const std::vector<double>& vIntensity = pDta->vIntensity;

  // The threshold: the intensity of rank nLadderIntensity percent.
  std::vector<double> vSorted(vIntensity.begin(), vIntensity.begin() + n);
  std::sort(vSorted.begin(), vSorted.end());
  std::int64_t q = n * static_cast<std::int64_t>(nLadderIntensity) / 100;
  q = std::max<std::int64_t>(std::min<std::int64_t>(q, n - 1), 0);
  const double t = vSorted[static_cast<std::size_t>(q)];

  for (std::int64_t i = 0; i < n; ++i) {
    if (vIntensity[i] < t) continue;  // a start peak may equal the threshold
    int nCount = 0;
    std::int64_t cur = i;
    // Greedy walk: take the first later peak that is one residue further.
    for (std::int64_t j = i + 1; j < n; ++j) {
      const double d = vMass[j] - vMass[cur];
      if (d >= kLongestStep) break;
      if (!(vIntensity[j] > t)) continue;  // ladder peaks lie strictly above it
      if (IsResidueStep(d, dTolerance)) {
        ++nCount;
        cur = j;
        if (nCount >= nTagLength) {
          *pbHasTag = true;
          return S_OK;
        }
      }
    }
  }
  return S_OK;
}

}  // namespace orvane
