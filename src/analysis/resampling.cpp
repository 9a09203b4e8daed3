// Resampling onto the 0.05 grid (MakeEquidistant) and closing short zero runs
// between peaks (DenseSpectrum).
#include <algorithm>
#include <cmath>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/grid_math.h"
#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

// Smallest step that still advances the zero fill by one hundredth.
constexpr double kMinStep = 0.005;
// A spectrum whose grid would need more points than this is refused rather
// than allowed to eat the memory of the machine (a stray mass of 1e7 in a
// peak list would otherwise ask for hundreds of millions of points).
constexpr double kMaxGridPoints = 20'000'000.0;

}  // namespace

HRESULT MakeEquidistant(double dStep, Dta* pDta) { return MakeEquidistant(dStep, pDta, nullptr); }

HRESULT MakeEquidistant(double dStep, Dta* pDta, std::vector<std::uint32_t>* pPointOfPeak) {
  if (pDta == nullptr) return E_POINTER;
  if (pPointOfPeak != nullptr) pPointOfPeak->clear();
  if (pDta->GetPeakCount() == 0) {
    ShowError("Working DTA not valid");
    return E_UNEXPECTED;
  }
  if (!(dStep >= kMinStep) || !std::isfinite(dStep)) {
    ShowError(Format("Equidistant step %f is not usable: it must be at least %.3f", dStep, kMinStep));
    return E_UNEXPECTED;
  }

  const std::uint32_t n = pDta->GetPeakCount();
  std::vector<double> vMass(pDta->vMass.begin(), pDta->vMass.begin() + n);
  std::vector<double> vIntensity(pDta->vIntensity.begin(), pDta->vIntensity.begin() + n);

  // Grid masses once, and the width of the grid they span.
  std::vector<std::int64_t> vHundredths(n);
  std::vector<double> vGrid(n);
  double dLow = 0.0;
  double dHigh = 0.0;
  for (std::uint32_t k = 0; k < n; ++k) {
    vHundredths[k] = grid::GridHundredths(vMass[k]);
    vGrid[k] = static_cast<double>(vHundredths[k]) / 100.0;
    dLow = k == 0 ? vGrid[k] : std::min(dLow, vGrid[k]);
    dHigh = k == 0 ? vGrid[k] : std::max(dHigh, vGrid[k]);
  }
  const double dPoints = (dHigh - dLow) / dStep + n;
  if (dPoints > kMaxGridPoints) {
    ShowError(Format("Spectrum too wide for the equidistant grid: %f to %f in steps of %f", dLow,
                     dHigh, dStep));
    return E_UNEXPECTED;
  }

  pDta->ClearPeaks();
  pDta->vMass.reserve(static_cast<std::size_t>(dPoints) + 1);
  pDta->vIntensity.reserve(static_cast<std::size_t>(dPoints) + 1);
  if (pPointOfPeak != nullptr) pPointOfPeak->assign(n, 0);

  const double dFillLimit = 1.1 * dStep;
  // Each zero point is x = trunc((x + dStep) * 100 + 0.5) / 100. In
  // hundredths that adds the whole part of 100 * dStep + 0.5 every time, as
  // long as its fraction stays clear of the rounding error of the sum (for
  // 0.05: 5.5, five hundredths a step). Counting hundredths then gives the
  // same doubles without a chain of dependent divisions through the loop.
  const double dIncrement = dStep * 100.0 + 0.5;
  const double dWhole = std::floor(dIncrement);
  const bool bFixedIncrement =
      dWhole >= 1.0 && dIncrement - dWhole > 1e-6 && dWhole + 1.0 - dIncrement > 1e-6;
  const std::int64_t nIncrement = static_cast<std::int64_t>(dWhole);
  constexpr double kFixedIncrementRange = 1.0e6;  // masses where the sum errs by < 1e-8

  std::uint32_t i = 0;
  while (i + 1 < n) {
    const double m0 = vGrid[i];
    const std::int64_t nHundredths0 = vHundredths[i];
    double m1 = vGrid[i + 1];
    double a = vIntensity[i];
    const std::uint32_t nFirst = i;
    // Peaks sharing a grid position fold into one point with the highest
    // intensity. The last peak never takes part: it is appended by itself.
    if (m0 > m1 - 0.001 && m0 < m1 + 0.001) {
      while (i + 2 < n && m0 > m1 - 0.001 && m0 < m1 + 0.001) {
        a = std::max(a, vIntensity[i + 1]);
        ++i;
        m1 = vGrid[i + 1];
      }
    }
    if (pPointOfPeak != nullptr)
      std::fill(pPointOfPeak->begin() + nFirst, pPointOfPeak->begin() + i + 1, pDta->GetPeakCount());
    pDta->AddPeak(m0, a);
    if (m1 < m0) {
      ShowError(Format("Dta not sorted!: %f < %f\n", m1, m0));
      return E_UNEXPECTED;
    }
    if (m1 - m0 > dFillLimit) {
      // Zero points one step apart, each rounded to hundredths, up to at
      // most 1.1 steps below the next peak.
      double x = m0;
      if (bFixedIncrement && m0 >= 0.0 && m1 < kFixedIncrementRange) {
        std::int64_t nHundredths = nHundredths0;
        while (m1 - x > dFillLimit) {
          nHundredths += nIncrement;
          x = static_cast<double>(nHundredths) / 100.0;
          pDta->AddPeak(x, 0.0);
        }
      }
      while (m1 - x > dFillLimit) {
        double xNext = std::trunc((x + dStep) * 100.0 + 0.5) / 100.0;
        // With the smallest steps the rounding can land on x again (x * 100
        // a hair below a whole number); move on by one hundredth then.
        if (!(xNext > x)) xNext = (std::round(x * 100.0) + 1.0) / 100.0;
        x = xNext;
        pDta->AddPeak(x, 0.0);
      }
    }
    ++i;
  }
  if (pPointOfPeak != nullptr) (*pPointOfPeak)[i] = pDta->GetPeakCount();
  pDta->AddPeak(vGrid[i], vIntensity[i]);
  pDta->SetEquidistant(true, dStep);
  return S_OK;
}

HRESULT DenseSpectrum(int nCharge, Dta* pDta) {
  if (pDta == nullptr) return E_POINTER;
  if (pDta->GetPeakCount() == 0) {
    ShowPlain("Working DTA not valid");
    return E_UNEXPECTED;
  }

  // How far a ramp may reach, and the gap length from which a run of zeros
  // is left open.
  int nReach = 20;
  std::uint32_t nGapLimit = 26;
  if (nCharge == 2) {
    nReach = 10;
    nGapLimit = 16;
  } else if (nCharge == 3) {
    nReach = 6;
    nGapLimit = 9;
  }
  const double dLimit = pDta->dMass / nCharge + 1.0 + (nReach / 10.0) * 5.0;

  const std::uint32_t n = pDta->GetPeakCount();
  const std::vector<double>& vMass = pDta->vMass;
  std::vector<double>& vIntensity = pDta->vIntensity;
  if (!(vMass[0] < dLimit)) return S_OK;

  std::uint32_t i = 0;
  do {
    if (vIntensity[i] != 0.0) {
      // The next non-zero point; past the end the accessor's -1.0 counts as
      // one. Gaps of nGapLimit or more stay open, so the scan can stop there.
      std::uint32_t g = 1;
      while (g < nGapLimit && pDta->GetIntensity(i + g) == 0.0) ++g;
      if (1 < g && g < nGapLimit) {
        const double d = (vIntensity[i] - pDta->GetIntensity(i + g)) / g;
        for (std::uint32_t j = i + 1; j < i + g; ++j) vIntensity[j] = vIntensity[j - 1] - d;
        i += g - 1;
      }
    }
    ++i;
  } while (i < n && vMass[i] < dLimit);
  return S_OK;
}

}  // namespace orvane
