// Mean and deviation, and the running median.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "tonalith/dsp.h"

namespace orvane::tonalith {

void MeanAndDeviation(const std::vector<double>& vX, double* pdDeviation, double* pdMean) {
  const std::size_t n = vX.size();
  if (n < 2) {
    *pdDeviation = 0.0;
    *pdMean = 0.0;
    return;
  }
  // Two passes: the mean first, then the squared distances from it, which
  // keeps the deviation accurate for values far from zero.
  double sum = 0.0;
  for (double x : vX) sum += x;
  const double mean = sum / static_cast<double>(n);
  double squares = 0.0;
  for (double x : vX) squares += (x - mean) * (x - mean);
  *pdMean = mean;
  *pdDeviation = std::sqrt(squares / static_cast<double>(n - 1));
}

namespace {

// Two ways to keep a window in order. For the narrow windows that the
// cleaning uses, the padding zeros count as values like any other and the
// window is a sorted array of exactly `width` values: a step finds the leaving
// value by binary search, puts the entering one in its slot and moves it to
// its place (at most `width` moves). For wide windows, a Fenwick tree over the
// ranks of the array's values holds only the values inside the array, and the
// padding zeros are merged in by count: the negative values come first, then
// the padding zeros, then the values from zero up. A step then costs
// O(log n) whatever the width, and a width far beyond the length costs no
// memory.

void NarrowMedian(const double* x, std::size_t n, std::size_t width, double* y) {
  const std::size_t before = width / 2;  // width-1-before values after the centre
  // Position p of the padded array is x[p - before], or 0 outside the array;
  // the window of point i covers positions i ... i + width - 1.
  auto padded = [&](std::size_t p) { return (p >= before && p - before < n) ? x[p - before] : 0.0; };
  std::vector<double> window(width);
  for (std::size_t p = 0; p < width; ++p) window[p] = padded(p);
  std::sort(window.begin(), window.end());
  const std::size_t mid = width / 2;
  for (std::size_t i = 0;; ++i) {
    y[i] = (width % 2) ? window[mid] : 0.5 * (window[mid - 1] + window[mid]);
    if (i + 1 == n) break;
    const double leaving = padded(i);
    const double entering = padded(i + width);
    // Overwrite the leaving value with the entering one and move it to its
    // place: one pass over the values in between.
    std::size_t k = static_cast<std::size_t>(
        std::lower_bound(window.begin(), window.end(), leaving) - window.begin());
    window[k] = entering;
    while (k > 0 && window[k - 1] > entering) {
      window[k] = window[k - 1];
      window[--k] = entering;
    }
    while (k + 1 < width && window[k + 1] < entering) {
      window[k] = window[k + 1];
      window[++k] = entering;
    }
  }
}

class RankWindow {
 public:
  explicit RankWindow(const double* x, std::size_t n) : n_(n), tree_(n + 1, 0), rank_(n) {
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [x](std::size_t i, std::size_t j) { return x[i] < x[j]; });
    sorted_.resize(n);
    for (std::size_t r = 0; r < n; ++r) {
      rank_[order[r]] = r;
      sorted_[r] = x[order[r]];
    }
    negativeRanks_ = static_cast<std::size_t>(
        std::lower_bound(sorted_.begin(), sorted_.end(), 0.0) - sorted_.begin());
    step_ = std::size_t{1};
    while (step_ * 2 <= n_) step_ *= 2;
  }
  void Insert(std::size_t index) { Add(rank_[index], 1); }
  void Erase(std::size_t index) { Add(rank_[index], -1); }
  std::size_t Negatives() const { return Prefix(negativeRanks_); }
  // The k-th (from 0) present value: descend the tree for the smallest rank
  // whose prefix count exceeds k.
  double Kth(std::size_t k) const {
    std::size_t pos = 0;
    std::int64_t remaining = static_cast<std::int64_t>(k) + 1;
    for (std::size_t step = step_; step > 0; step /= 2) {
      const std::size_t next = pos + step;
      if (next <= n_ && tree_[next] < remaining) {
        pos = next;
        remaining -= tree_[next];
      }
    }
    return sorted_[pos];  // pos is the 0-based rank
  }

 private:
  void Add(std::size_t rank, std::int64_t delta) {
    for (std::size_t i = rank + 1; i <= n_; i += i & (~i + 1)) tree_[i] += delta;
  }
  // Number of present ranks below `count`.
  std::size_t Prefix(std::size_t count) const {
    std::int64_t s = 0;
    for (std::size_t i = count; i > 0; i -= i & (~i + 1)) s += tree_[i];
    return static_cast<std::size_t>(s);
  }
  std::size_t n_;
  std::vector<std::int64_t> tree_;
  std::vector<std::size_t> rank_;
  std::vector<double> sorted_;
  std::size_t negativeRanks_ = 0;
  std::size_t step_ = 1;
};

void WideMedian(const double* x, std::size_t n, std::uint64_t width, double* y) {
  RankWindow window(x, n);
  const std::uint64_t before = width / 2;
  const std::uint64_t after = width - 1 - before;
  // Values inside the array in the window of point 0: indices 0 ... min(n-1, after).
  const std::uint64_t last = std::min<std::uint64_t>(n - 1, after);
  for (std::uint64_t j = 0; j <= last; ++j) window.Insert(static_cast<std::size_t>(j));
  std::uint64_t present = last + 1;

  for (std::uint64_t i = 0; i < n; ++i) {
    const std::uint64_t zeros = width - present;
    const std::uint64_t negatives = window.Negatives();
    auto kth = [&](std::uint64_t k) {
      if (k < negatives) return window.Kth(static_cast<std::size_t>(k));
      if (k < negatives + zeros) return 0.0;
      return window.Kth(static_cast<std::size_t>(k - zeros));
    };
    y[i] = (width % 2) ? kth(width / 2) : 0.5 * (kth(width / 2 - 1) + kth(width / 2));
    if (i + 1 == n) break;
    // Point i+1: index i-before leaves, index i+1+after enters.
    if (i >= before) {
      window.Erase(static_cast<std::size_t>(i - before));
      --present;
    }
    if (i + 1 + after < n) {
      window.Insert(static_cast<std::size_t>(i + 1 + after));
      ++present;
    }
  }
}

}  // namespace

HRESULT RunningMedian(const std::vector<double>& vX, int nLength, int nWidth,
                      std::vector<double>& vY) {
  if (nLength < 0 || static_cast<std::size_t>(nLength) != vX.size()) return E_INVALIDARG;
  const auto n = static_cast<std::size_t>(nLength);
  // A NaN has no place in an order; refuse it rather than corrupt the window.
  for (double x : vX) {
    if (std::isnan(x)) return E_INVALIDARG;
  }
  if (nWidth <= 1 || n == 0) {
    vY = vX;
    return S_OK;
  }
  if (&vX == &vY) {  // the same array as input and output
    const std::vector<double> copy = vX;
    return RunningMedian(copy, nLength, nWidth, vY);
  }
  const auto width = static_cast<std::uint64_t>(nWidth);
  const double* x = vX.data();
  vY.resize(n);
  constexpr std::uint64_t kNarrowLimit = 256;
  if (width <= kNarrowLimit) {
    NarrowMedian(x, n, static_cast<std::size_t>(width), vY.data());
  } else {
    WideMedian(x, n, width, vY.data());
  }
  return S_OK;
}

}  // namespace orvane::tonalith
