// The two de-isotoping routines of the cleaning pipeline. Both find the
// isotope period of a spectrum in its periodicity spectrum and check it with
// a comb fit; the strict one stakes everything on the strongest period, the
// soft one takes the period whose comb fits best.
#include <algorithm>

#include "filtering/deisotope.h"
#include "filtering/deisotope_stages.h"
#include "tonalith/dsp.h"

namespace orvane {

namespace filtering {

namespace {

// Whether the maxima of a comb that failed lie evenly enough for a good
// spectrum: the quotient of mean and deviation of their distances.
bool EvenlySpread(const std::vector<double>& vValues) {
  double dDeviation = 0.0;
  double dMean = 0.0;
  tonalith::MeanAndDeviation(vValues, &dDeviation, &dMean);
  return StatQuotientAbove(dDeviation, dMean);
}

}  // namespace

CombChoice ChooseStrict(PeriodicitySpectrum& spectrum, int nMax) {
  std::vector<double>& vPeriodicity = spectrum.vPeriodicity;
  // Periods below 13 grid steps are never taken, so with a maximum of 13 or
  // less nothing is left to look at; and a spectrum too short for the first
  // 13 values or for nMax values is left alone.
  if (nMax <= 13 || vPeriodicity.size() < 13 || vPeriodicity.size() < static_cast<std::size_t>(nMax))
    return {};

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
  if (!(dHarmonics >= 2.0) || dHarmonics > nMax || !StrongEnough(dBest, dZeroPeriodPower, dFarPeak))
    return {};

  CombFit fit;
  if (MeasureCombFit(spectrum.vMedian, nPeriodIndex, fit) < 0) return {Verdict::Failed};
  if (StrictCombFits(fit)) return {Verdict::Cleaned, dHarmonics, fit.nHalfSpacing};

  // The comb doesn't fit: maxima spread evenly still make a good spectrum.
  std::vector<double> vSpacing;
  for (std::size_t i = 1; i < fit.vToothPeaks.size(); ++i)
    vSpacing.push_back(static_cast<double>(fit.vToothPeaks[i] - fit.vToothPeaks[i - 1]));
  return {EvenlySpread(vSpacing) ? Verdict::LeftAlone : Verdict::Bad};
}

CombChoice ChooseSoft(PeriodicitySpectrum& spectrum, int nMax) {
  std::vector<double>& vPeriodicity = spectrum.vPeriodicity;
  // No candidate from index 5 on, or a spectrum too short for nMax values:
  // left alone.
  if (nMax <= 5 || vPeriodicity.size() < static_cast<std::size_t>(nMax)) return {};
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

  double dFarPeak = 0.1;
  for (std::size_t i = nNear; i < vPeriodicity.size(); ++i)
    if (vPeriodicity[i] > dFarPeak) dFarPeak = vPeriodicity[i];

  std::vector<char> bWeak(nNear, 0);
  std::vector<char> bOutOfPhase(nNear, 0);
  SoftRace race(nFallback);
  CombFit fit;  // reused: its lists keep their room from candidate to candidate
  for (int i = 5; i < nMax; ++i) {
    const std::size_t u = static_cast<std::size_t>(i);
    if (TooWeak(vPeriodicity[u], dZeroPeriodPower, dFarPeak)) bWeak[u] = 1;
    if (MeasureCombFit(spectrum.vMedian, i + 1, fit) < 0) return {Verdict::Failed};
    if (race.Offer(i, fit)) bOutOfPhase[u] = 1;
  }
  const int nBest = race.nBestCandidate;
  if (nBest < 5) return {};
  const std::size_t best = static_cast<std::size_t>(nBest);
  if (bWeak[best]) return {};
  if (bOutOfPhase[best]) return {EvenlySpread(vNearPeriods) ? Verdict::LeftAlone : Verdict::Bad};
  // A fallback that neither fitted nor failed (centre and edge sums equal)
  // has no comb to build notches from.
  if (race.nBestHalfSpacing == 0) return {};
  return {Verdict::Cleaned, (nBest + 1) * 0.5, race.nBestHalfSpacing};
}

}  // namespace filtering

namespace {

Verdict Deisotope(filtering::Routine routine, const DeisotopeSettings& settings, const Dta& dtaWork,
                  std::vector<double>& vOutIntensity) {
  filtering::PeriodicitySpectrum spectrum;
  if (const auto verdict = filtering::BuildPeriodicitySpectrum(dtaWork, settings.nMedianFilter, routine,
                                                                vOutIntensity, spectrum))
    return *verdict;
  const filtering::CombChoice choice = routine == filtering::Routine::Strict
                                           ? filtering::ChooseStrict(spectrum, settings.nMaxPeriodicity)
                                           : filtering::ChooseSoft(spectrum, settings.nMaxPeriodicity);
  if (choice.verdict == Verdict::Bad && settings.pLog != nullptr)
    *settings.pLog += "\n########## Bad Spectrum! #########################\n";
  if (choice.verdict != Verdict::Cleaned) return choice.verdict;
  return filtering::DeisotopeWithYFilter(settings, choice.dHarmonics, choice.nHalfSpacing,
                                         spectrum.nMedianLength, dtaWork, vOutIntensity);
}

}  // namespace

Verdict DeisotopeStrict(const DeisotopeSettings& settings, const Dta& dtaWork,
                        std::vector<double>& vOutIntensity) {
  return Deisotope(filtering::Routine::Strict, settings, dtaWork, vOutIntensity);
}

Verdict DeisotopeSoft(const DeisotopeSettings& settings, const Dta& dtaWork,
                      std::vector<double>& vOutIntensity) {
  return Deisotope(filtering::Routine::Soft, settings, dtaWork, vOutIntensity);
}

}  // namespace orvane
