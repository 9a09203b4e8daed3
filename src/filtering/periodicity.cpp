// The periodicity spectrum: the power spectrum of the intensities, median
// filtered and mirrored, transformed a second time. The mirrored array is
// symmetric, so the second transform acts like an autocorrelation of the
// signal: a comb of isotope peaks shows as a maximum at its spacing in grid
// steps.
#include <algorithm>
#include <cmath>

#include "filtering/deisotope_stages.h"
#include "platform/reporter.h"
#include "tonalith/dsp.h"

namespace orvane::filtering {

int FftLength(std::uint32_t nPeaks) {
  // The exponent is the ceiling of log2(nPeaks), counted in integers so that
  // an exact power of two never rounds up to the next one.
  constexpr std::uint32_t kMaxPeaks = 1u << 28;
  if (nPeaks > kMaxPeaks) return 0;
  int c = 0;
  while ((std::uint32_t{1} << c) < nPeaks) ++c;
  return 1 << (c + 1);
}

std::optional<Verdict> BuildPeriodicitySpectrum(const Dta& dtaWork, int nMedianFilter,
                                                Routine routine, std::vector<double>& vOutIntensity,
                                                PeriodicitySpectrum& out) {
  // The caller's output holds the intensities on every way out, errors too.
  const std::size_t nPoints = dtaWork.GetPeakCount();
  vOutIntensity.assign(dtaWork.vIntensity.begin(),
                       dtaWork.vIntensity.begin() + static_cast<std::ptrdiff_t>(nPoints));

  out = PeriodicitySpectrum{};
  if (nPoints == 0) {
    ShowError("dtaWork empty");
    return Verdict::Failed;
  }

  const int nFftLength = FftLength(static_cast<std::uint32_t>(nPoints));
  if (nFftLength == 0) {
    ShowError("Error computing FFT!");
    return Verdict::Failed;
  }
  std::vector<double> vPadded(static_cast<std::size_t>(nFftLength), 0.0);
  std::copy(vOutIntensity.begin(), vOutIntensity.end(), vPadded.begin());

  std::vector<double> vSpectrum;
  if (FAILED(tonalith::Transform(vPadded, nFftLength, vSpectrum))) {
    ShowError("Error computing FFT!");
    return Verdict::Failed;
  }
  std::vector<double>().swap(vPadded);

  std::vector<double> vPower;
  double dOverall = 0.0;
  const int nHalfLength = nFftLength / 2;
  if (FAILED(tonalith::Power(vSpectrum, vPower, &dOverall)) ||
      vPower.size() < static_cast<std::size_t>(nHalfLength)) {
    ShowError("Couldn't compute Power Spectrum!");
    return Verdict::Failed;
  }
  vPower.resize(static_cast<std::size_t>(nHalfLength));

  // Weak spectra are lifted so that their periods clear the absolute floor of
  // 0.1 the routines compare against.
  if (std::trunc(dOverall / 100.0) == 0.0) {
    for (double& d : vPower) d *= 100.0;
  }

  std::vector<double>& vMedian = out.vMedian;
  const HRESULT hrMedian = tonalith::RunningMedian(vPower, nHalfLength, nMedianFilter, vMedian);
  // The strict routine looks at the status first, the soft one at the length:
  // an empty answer with a failure status ends them differently.
  if (routine == Routine::Strict) {
    if (FAILED(hrMedian)) {
      ShowError("Median Filter failed!");
      return Verdict::Failed;
    }
    if (vMedian.empty()) return Verdict::LeftAlone;
  } else {
    if (vMedian.empty()) return Verdict::LeftAlone;
    if (FAILED(hrMedian)) {
      ShowError("Median Filter failed!");
      return Verdict::Failed;
    }
  }
  // The filter owes one value per input value; anything else is a failure of
  // the filter as well.
  if (vMedian.size() != static_cast<std::size_t>(nHalfLength)) {
    ShowError("Median Filter failed!");
    return Verdict::Failed;
  }

  vMedian.resize(static_cast<std::size_t>(2 * nHalfLength));
  std::reverse_copy(vMedian.begin(), vMedian.begin() + nHalfLength, vMedian.begin() + nHalfLength);
  const int nMedianLength = static_cast<int>(vMedian.size());

  vSpectrum.clear();
  // Status deliberately not looked at: a failed transform leaves an empty
  // spectrum, which the power spectrum below and the routines' length checks
  // answer.
  (void)tonalith::Transform(vMedian, 2 * nHalfLength, vSpectrum);
  double dOverallIgnored = 0.0;
  if (FAILED(tonalith::Power(vSpectrum, out.vPeriodicity, &dOverallIgnored))) {
    ShowError("Couldn't compute Power Spectrum!");
    return Verdict::Failed;
  }

  out.nFftLength = nFftLength;
  out.nHalfLength = nHalfLength;
  out.nMedianLength = nMedianLength;
  return std::nullopt;
}

}  // namespace orvane::filtering
