// The comb fit: a true period leaves maxima of the median-filtered power
// spectrum at regular distances from index 0, with minima half-way between.
// The fit measures how far the extrema lie from where the comb expects them
// against how far they lie from the segment limits.
//
// The soft routine calls this for every candidate period on arrays of up to
// 2^18 elements, so the search runs over the array in place and the few small
// segment lists are reused from call to call.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "filtering/deisotope_stages.h"
#include "platform/reporter.h"

namespace orvane::filtering {

namespace {

// Index of the first maximum (or minimum) of v[begin, end).
template <class Better>
int FindExtremum(const std::vector<double>& v, int begin, int end, Better better) {
  int best = begin;
  double bestValue = v[static_cast<std::size_t>(begin)];
  for (int i = begin + 1; i < end; ++i) {
    const double d = v[static_cast<std::size_t>(i)];
    if (better(d, bestValue)) {
      bestValue = d;
      best = i;
    }
  }
  return best;
}

// The far limits of the outer tooth segments can lie beyond the range of
// int on the largest arrays; they are only ever far, so they saturate, and
// distances to them are taken in 64 bits.
int Saturated(std::int64_t v) {
  return static_cast<int>(std::clamp<std::int64_t>(v, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

int NearerLimit(int m, int left, int right) {
  const std::int64_t toRight = std::llabs(static_cast<std::int64_t>(m) - right);
  const std::int64_t toLeft = std::llabs(static_cast<std::int64_t>(m) - left);
  return static_cast<int>(std::min(toRight, toLeft));
}

}  // namespace

int CombLength(const std::vector<double>& vMedian, int nPeriodIndex) {
  const int n = static_cast<int>(vMedian.size());
  const int nSplit = n - n / (2 * nPeriodIndex);
  // A comb shorter than the array when the tail has fallen below the split
  // point. When the split lies at the end (an array shorter than two
  // periods) both lengths are n.
  if (nSplit < n &&
      vMedian[static_cast<std::size_t>(n - 1)] < vMedian[static_cast<std::size_t>(nSplit)])
    return nSplit;
  return n;
}

void BuildCombSegments(int n, int nCombLength, int h, CombSegments& s) {
  s.vToothEdges.clear();
  s.vToothCentres.clear();
  s.vGapEdges.clear();
  s.vGapCentres.clear();

  // Teeth: the outer limits of the first and last segments lie far away, so
  // only their inner limits count as near.
  s.vToothEdges.push_back(Saturated(-100 * static_cast<std::int64_t>(h)));
  int x = h;
  for (; x < nCombLength; x += 2 * h) {
    s.vToothEdges.push_back(x);
    s.vToothCentres.push_back(x - h);
  }
  s.vToothEdges.push_back(Saturated(nCombLength + 100 * static_cast<std::int64_t>(h)));
  s.vToothCentres.push_back(x - h);

  // Gaps: no far limits, so the stretch behind the last edge belongs to no
  // segment.
  for (x = 0; x < nCombLength; x += 2 * h) {
    s.vGapEdges.push_back(x);
    if (x + h < n - 1) s.vGapCentres.push_back(x + h);
  }
}

int MeasureCombFit(const std::vector<double>& vMedian, int nPeriodIndex, CombFit& fit) {
  fit.nHalfSpacing = 0;
  fit.nCentreSum = 0;
  fit.nEdgeSum = 0;
  fit.vToothPeaks.clear();

  if (nPeriodIndex == 0 || nPeriodIndex == 1) {
    ShowError("Divided by NULL !! ");
    return -1;
  }
  const int n = static_cast<int>(vMedian.size());
  if (n == 0 || nPeriodIndex < 0) return 0;  // no comb: does not fit

  const int nCombLength = CombLength(vMedian, nPeriodIndex);
  const int h = (nCombLength / (nPeriodIndex - 1)) / 2;
  fit.nHalfSpacing = h;
  // A comb finer than two elements per tooth cannot be laid: the candidate
  // does not fit.
  if (h <= 0) return 0;

  CombSegments& s = fit.segments;
  BuildCombSegments(n, nCombLength, h, s);

  const std::size_t nTeeth = s.vToothEdges.size() - 1;
  if (s.vToothCentres.size() < nTeeth) {
    ShowError("Iterator overrun ! ");
    return -1;
  }
  int nCentreSum = 0;
  int nEdgeSum = 0;
  int begin = 0;
  for (std::size_t w = 0; w < nTeeth; ++w) {
    const int left = s.vToothEdges[w];
    const int right = s.vToothEdges[w + 1];
    const int end = right < n ? right : n;
    if (begin >= end) {  // cannot happen with h >= 1; keeps the search in range
      ShowError("Iterator overrun ! ");
      return -1;
    }
    const int m = FindExtremum(vMedian, begin, end, [](double a, double b) { return a > b; });
    fit.vToothPeaks.push_back(m);
    nCentreSum += std::abs(m - s.vToothCentres[w]);
    nEdgeSum += NearerLimit(m, left, right);
    begin = right;
  }

  const std::size_t nGaps = s.vGapEdges.empty() ? 0 : s.vGapEdges.size() - 1;
  if (s.vGapCentres.size() < nGaps) {
    ShowError("Iterator overrun ! ");
    return -1;
  }
  for (std::size_t w = 0; w < nGaps; ++w) {
    const int left = s.vGapEdges[w];
    const int right = s.vGapEdges[w + 1];
    const int end = right < n ? right : n;
    if (left >= end) {
      ShowError("Iterator overrun ! ");
      return -1;
    }
    const int m = FindExtremum(vMedian, left, end, [](double a, double b) { return a < b; });
    nCentreSum += std::abs(m - s.vGapCentres[w]);
    nEdgeSum += NearerLimit(m, left, right);
  }

  fit.nCentreSum = nCentreSum;
  fit.nEdgeSum = nEdgeSum;
  return 0;
}

bool StrictCombFits(const CombFit& fit) {
  return fit.nHalfSpacing > 0 &&
         !(0.95 * static_cast<double>(fit.nCentreSum) > static_cast<double>(fit.nEdgeSum));
}

bool SoftCombInPhase(const CombFit& fit) {
  return fit.nHalfSpacing > 0 && !(fit.nEdgeSum < fit.nCentreSum);
}

bool SoftRace::Offer(int nCandidate, const CombFit& fit) {
  if (!SoftCombInPhase(fit)) return true;
  const double dMargin = static_cast<double>(fit.nCentreSum - fit.nEdgeSum);
  if (dMargin < dBestMargin) {
    dBestMargin = dMargin;
    nBestCandidate = nCandidate;
    nBestHalfSpacing = fit.nHalfSpacing;
  }
  return false;
}

bool StatQuotientAbove(double dFirst, double dSecond) { return dSecond / dFirst > 3.3; }

bool StrongEnough(double dValue, double dZeroPeriodPower, double dFarPeak) {
  return dValue * 100.0 / dZeroPeriodPower >= 2e-05 && dValue * 10.0 >= dFarPeak;
}

bool TooWeak(double dValue, double dZeroPeriodPower, double dFarPeak) {
  return dValue * 100.0 / dZeroPeriodPower < 2e-05 || dValue * 10.0 < dFarPeak;
}

}  // namespace orvane::filtering
