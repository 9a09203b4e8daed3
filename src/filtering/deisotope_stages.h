// The stages of the two de-isotoping routines: the periodicity spectrum, the
// comb fit and the Y-filter removal, plus the small decisions the routines
// make on their numbers. Private to the engine; the routines of deisotope.h
// are the only callers outside the tests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "filtering/deisotope.h"

namespace orvane::filtering {

// Which routine is asking: they differ in the order of two tests after the
// median filter.
enum class Routine { Strict, Soft };

// Length of the first transform: the next power of two at or above nPeaks,
// doubled (1 -> 2, 5 -> 16, 1024 -> 2048, 1025 -> 4096). 0 for a spectrum too
// long to transform (above 2^28 points).
int FftLength(std::uint32_t nPeaks);

struct PeriodicitySpectrum {
  int nFftLength = 0;
  int nHalfLength = 0;
  int nMedianLength = 0;
  // Median-filtered power spectrum, mirrored: m0 ... m(H-1), m(H-1) ... m0.
  std::vector<double> vMedian;
  // Power spectrum of vMedian: element i says how strongly points i grid
  // steps apart go together.
  std::vector<double> vPeriodicity;
};

// Fills vOutIntensity with the intensities of dtaWork (always, first), then
// transforms the spectrum twice. Answers nothing when the routine goes on,
// else the routine's verdict: LeftAlone (the median filter gave nothing
// back) or Failed (a step failed, box shown).
std::optional<Verdict> BuildPeriodicitySpectrum(const Dta& dtaWork, int nMedianFilter,
                                                Routine routine, std::vector<double>& vOutIntensity,
                                                PeriodicitySpectrum& out);

// What a routine makes of a periodicity spectrum: a comb to filter with
// (Cleaned, with its harmonics and half spacing), or its verdict without
// one (LeftAlone, Bad, or Failed after a box).
struct CombChoice {
  Verdict verdict = Verdict::LeftAlone;
  double dHarmonics = 0.0;
  int nHalfSpacing = 0;
};
// The strict routine stakes everything on the strongest period from 13 grid
// steps up to nMaxPeriodicity; the soft one takes the period whose comb fits
// best. Both may change spectrum.vPeriodicity.
CombChoice ChooseStrict(PeriodicitySpectrum& spectrum, int nMaxPeriodicity);
CombChoice ChooseSoft(PeriodicitySpectrum& spectrum, int nMaxPeriodicity);

// The segment limits of one comb. Tooth segments are the pairs of
// neighbouring vToothEdges with their expected maximum in vToothCentres; gap
// segments likewise for the minima.
struct CombSegments {
  std::vector<int> vToothEdges;
  std::vector<int> vToothCentres;
  std::vector<int> vGapEdges;
  std::vector<int> vGapCentres;
};

// Length of the stretch of vMedian the comb is laid over.
int CombLength(const std::vector<double>& vMedian, int nPeriodIndex);
// Builds the segment lists for a comb of nCombLength elements and half
// spacing h >= 1 over an array of n elements. The lists are cleared first, so
// one CombSegments can be reused from candidate to candidate.
void BuildCombSegments(int n, int nCombLength, int h, CombSegments& segments);

struct CombFit {
  int nHalfSpacing = 0;
  int nCentreSum = 0;
  int nEdgeSum = 0;
  std::vector<int> vToothPeaks;
  // Working lists, kept for reuse across calls.
  CombSegments segments;
};

// Lays the comb of period index nPeriodIndex (1 more than the index in the
// periodicity spectrum) over vMedian. Returns 0, or -1 after the box "Divided
// by NULL !! " (a period index of 0 or 1) or "Iterator overrun ! ". A half
// spacing of 0 (a comb too fine for the array) comes back with nHalfSpacing 0,
// both sums 0 and no tooth peaks: such a candidate does not fit.
int MeasureCombFit(const std::vector<double>& vMedian, int nPeriodIndex, CombFit& fit);

// The strict routine's fit test: 0.95 * nCentreSum not above nEdgeSum, and a
// comb to speak of.
bool StrictCombFits(const CombFit& fit);
// The soft routine's: nEdgeSum not below nCentreSum, and a comb to speak of.
bool SoftCombInPhase(const CombFit& fit);
// Whether the quotient second / first of Statistics lets a spectrum whose comb
// failed count as good: above 3.3. Not a number is not above; infinity is.
bool StatQuotientAbove(double dFirst, double dSecond);
// Whether a period's power passes both strength tests: at least 2e-05 percent
// of the zero-period power and at least a tenth of the strongest far period.
bool StrongEnough(double dValue, double dZeroPeriodPower, double dFarPeak);
// The soft routine's test on a candidate, written the other way round: below
// 2e-05 percent or below a tenth. (Not a number is neither strong nor weak.)
bool TooWeak(double dValue, double dZeroPeriodPower, double dFarPeak);

// The race of the soft routine's scan: of the candidates whose comb is in
// phase, the one with the greatest lead of nEdgeSum over nCentreSum wins; a
// lead of 0 can't win, and of equal leads the first offered stays.
struct SoftRace {
  explicit SoftRace(int nFallback) : nBestCandidate(nFallback) {}
  // Returns true when the candidate's comb is out of phase.
  bool Offer(int nCandidate, const CombFit& fit);

  int nBestCandidate;
  double dBestMargin = 0.0;
  int nBestHalfSpacing = 0;
};

// Corners of the multi-notch Y-filter: frequencies as fractions of Nyquist
// and gains 0 or 1.
void BuildNotchCorners(double dHarmonics, int nHalfSpacing, int nMedianLength,
                       double dFilterWidth, std::vector<double>& vFreq, std::vector<int>& vGain);

// Designs the Y-filter, runs the intensities through it and sets to 0.0 in
// vOutIntensity every point that loses more than dDeisotopThreshold percent.
// Cleaned, or Failed after its box / log line.
Verdict DeisotopeWithYFilter(const DeisotopeSettings& settings, double dHarmonics,
                             int nHalfSpacing, int nMedianLength, const Dta& dtaWork,
                             std::vector<double>& vOutIntensity);
// Sets to 0.0 every point of vOutIntensity above 0 that loses more than
// dThreshold percent of it in vFiltered (a negative output counts as
// nothing left); answers how many it set.
int RemoveLostPoints(double dThreshold, const std::vector<double>& vFiltered,
                     std::vector<double>& vOutIntensity);

}  // namespace orvane::filtering
