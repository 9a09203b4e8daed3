// The two de-isotoping routines of the cleaning pipeline. Both find the
// isotope period of a spectrum in its periodicity spectrum and check it with
// a comb fit; the strict one stakes everything on the strongest period, the
// soft one takes the period whose comb fits best.
#include <algorithm>

#include "filtering/deisotope.h"
#include "filtering/deisotope_stages.h"
#include "platform/text_file.h"

namespace orvane {

namespace {

using filtering::CombFit;
using filtering::PeriodicitySpectrum;

constexpr const char* kBadSpectrumLine = "\n########## Bad Spectrum! #########################\n";

// Result 4, with its log line.
int BadSpectrum(const DeisotopeSettings& settings) {
  if (settings.bWriteLog && settings.pLogFile != nullptr)
    settings.pLogFile->WriteString(kBadSpectrumLine);
  return 4;
}

}  // namespace

int DeisotopeStrict(ITonalith* pTonalith, IAnalyzeMSMS* pAnalyze,
                    const DeisotopeSettings& settings, const Dta& dtaWork,
                    std::vector<double>& vOutIntensity) {
  PeriodicitySpectrum spectrum;
  const int nStage =
      filtering::BuildPeriodicitySpectrum(pTonalith, pAnalyze, dtaWork, settings.nMedianFilter,
                                          filtering::Routine::Strict, vOutIntensity, spectrum);
  if (nStage != filtering::kStageComplete) return nStage;

  std::vector<double>& vPeriodicity = spectrum.vPeriodicity;
  const int nMax = settings.nMaxPeriodicity;
  // Periods below 13 grid steps are never taken, so with a maximum of 13 or
  // less nothing is left to look at; and a spectrum too short for the first
  // 13 values or for nMax values is left alone.
  if (nMax <= 13 || vPeriodicity.size() < 13 || vPeriodicity.size() < static_cast<std::size_t>(nMax))
    return 2;

  const double dZeroPeriodPower = vPeriodicity[0];
  std::fill(vPeriodicity.begin(), vPeriodicity.begin() + 13, 0.0);
  if (vPeriodicity.size() > static_cast<std::size_t>(10) * nMax)
    vPeriodicity.resize(static_cast<std::size_t>(10) * nMax);

  double dBest = 0.1;
  int nPeriodIndex = 0;
  for (int i = 0; i < nMax; ++i) {
    if (vPeriodicity[static_cast<std::size_t>(i)] > dBest) {
      dBest = vPeriodicity[static_cast<std::size_t>(i)];
      nPeriodIndex = i + 1;
    }
  }
  double dFarPeak = 0.1;
  for (std::size_t i = static_cast<std::size_t>(nMax); i < vPeriodicity.size(); ++i)
    if (vPeriodicity[i] > dFarPeak) dFarPeak = vPeriodicity[i];

  const double dHarmonics = nPeriodIndex * 0.5;
  if (!(dHarmonics >= 2.0) || dHarmonics > nMax ||
      !filtering::StrongEnough(dBest, dZeroPeriodPower, dFarPeak))
    return 2;

  CombFit fit;
  if (filtering::MeasureCombFit(spectrum.vMedian, nPeriodIndex, fit) < 0) return -1;

  std::vector<double> vSpacing;
  for (std::size_t i = 1; i < fit.vToothPeaks.size(); ++i)
    vSpacing.push_back(static_cast<double>(fit.vToothPeaks[i] - fit.vToothPeaks[i - 1]));
  double dFirst = 0.0;
  double dSecond = 0.0;
  (void)pTonalith->Statistics(vSpacing, &dFirst, &dSecond);

  if (filtering::StrictCombFits(fit))
    return filtering::DeisotopeWithYFilter(pTonalith, settings, dHarmonics, fit.nHalfSpacing,
                                           spectrum.nMedianLength, dtaWork, vOutIntensity);

  // The comb doesn't fit: maxima spread evenly still make a good spectrum.
  if (filtering::StatQuotientAbove(dFirst, dSecond)) return 2;
  return BadSpectrum(settings);
}

int DeisotopeSoft(ITonalith* pTonalith, IAnalyzeMSMS* pAnalyze,
                  const DeisotopeSettings& settings, const Dta& dtaWork,
                  std::vector<double>& vOutIntensity) {
  PeriodicitySpectrum spectrum;
  const int nStage =
      filtering::BuildPeriodicitySpectrum(pTonalith, pAnalyze, dtaWork, settings.nMedianFilter,
                                          filtering::Routine::Soft, vOutIntensity, spectrum);
  if (nStage != filtering::kStageComplete) return nStage;

  std::vector<double>& vPeriodicity = spectrum.vPeriodicity;
  const int nMax = settings.nMaxPeriodicity;
  // No candidate from index 5 on, or a spectrum too short for nMax values:
  // left alone.
  if (nMax <= 5 || vPeriodicity.size() < static_cast<std::size_t>(nMax)) return 2;
  const std::size_t nNear = static_cast<std::size_t>(nMax);

  const double dZeroPeriodPower = vPeriodicity[0];
  if (vPeriodicity.size() > 13) std::fill(vPeriodicity.begin(), vPeriodicity.begin() + 4, 0.0);
  if (vPeriodicity.size() > static_cast<std::size_t>(20) * nMax)
    vPeriodicity.resize(static_cast<std::size_t>(20) * nMax);

  const std::vector<double> vNearPeriods(vPeriodicity.begin(),
                                         vPeriodicity.begin() + static_cast<std::ptrdiff_t>(nNear));
  // The strongest near period is the fallback when no comb fits; of equal
  // values the first counts.
  const int nFallback = static_cast<int>(
      std::max_element(vNearPeriods.begin(), vNearPeriods.end()) - vNearPeriods.begin());

  double dFirst = 0.0;
  double dSecond = 0.0;
  (void)pTonalith->Statistics(vNearPeriods, &dFirst, &dSecond);

  double dFarPeak = 0.1;
  for (std::size_t i = nNear; i < vPeriodicity.size(); ++i)
    if (vPeriodicity[i] > dFarPeak) dFarPeak = vPeriodicity[i];

  std::vector<char> bWeak(nNear, 0);
  std::vector<char> bOutOfPhase(nNear, 0);
  filtering::SoftRace race(nFallback);
  CombFit fit;  // reused: its lists keep their room from candidate to candidate
  for (int i = 5; i < nMax; ++i) {
    const std::size_t u = static_cast<std::size_t>(i);
    if (filtering::TooWeak(vPeriodicity[u], dZeroPeriodPower, dFarPeak)) bWeak[u] = 1;
    if (filtering::MeasureCombFit(spectrum.vMedian, i + 1, fit) < 0) return -1;
    if (race.Offer(i, fit)) bOutOfPhase[u] = 1;
  }
  const int nBestCandidate = race.nBestCandidate;
  const int nBestHalfSpacing = race.nBestHalfSpacing;

  if (nBestCandidate < 5) return 2;
  const std::size_t best = static_cast<std::size_t>(nBestCandidate);
  if (bWeak[best]) return 2;
  if (bOutOfPhase[best]) {
    if (filtering::StatQuotientAbove(dFirst, dSecond)) return 2;
    return BadSpectrum(settings);
  }
  // A fallback that neither fitted nor failed (centre and edge sums equal)
  // has no comb to build notches from.
  if (nBestHalfSpacing == 0) return 2;
  return filtering::DeisotopeWithYFilter(pTonalith, settings, (nBestCandidate + 1) * 0.5,
                                         nBestHalfSpacing, spectrum.nMedianLength, dtaWork,
                                         vOutIntensity);
}

}  // namespace orvane
