// Design of the Y-filter: a recursive filter B(z)/A(z) of order n whose
// magnitude response follows a piecewise linear curve, by the Yule-Walker
// method.
//
// The idea. A filter's power response |H|^2 is the Fourier transform of its
// autocorrelation. For a recursive filter of order n the autocorrelation obeys,
// beyond lag n, the recursion of the denominator alone:
//     R[m] + a1 R[m-1] + ... + an R[m-n] = 0     for m > n.
// So the denominator can be read off the autocorrelation of the wanted power
// curve, and the numerator fitted afterwards with the denominator fixed.
//
// The steps, with N = 2 * kGridPoints:
//
// 1. Sampling. The curve through the corners (f_i, g_i) is sampled by linear
//    interpolation at kGridPoints+1 equally spaced frequencies from 0 to the
//    Nyquist frequency (4096 intervals: a notch of 1/1000 of Nyquist still
//    gets four samples). Mirrored, the squared samples form the power curve
//    on the whole unit circle, N points.
//
// 2. Autocorrelation. Its inverse transform is the autocorrelation R of the
//    ideal filter. Only the first nr = 4n lags are used, tapered by the half
//    window 0.54 + 0.46 cos(pi k / (nr-1)): the taper smooths the curve a
//    little (the ideal curve has corners no filter of order n can follow) and
//    keeps the far lags, which the sampling makes least reliable, from
//    dominating.
//
// 3. Denominator. The modified Yule-Walker equations are the recursion above
//    written for every lag m = n+1 ... nr-1, 3n-1 equations in the n unknowns
//    a1 ... an, solved in the least-squares sense (QR with column pivoting).
//    Using lags above n (rather than the ordinary equations at lags 1 ... n)
//    is what makes the equations hold for a filter with zeros as well as
//    poles; taking three times more equations than unknowns averages out the
//    mismatch between the curve and any filter of order n.
//
// 4. Reflection. Nothing in the least-squares fit keeps the roots of A inside
//    the unit circle. If the step-down test finds one outside, every root
//    outside is replaced by its mirror image 1/conj(root): the magnitude of
//    A on the unit circle keeps its shape (each reflection scales it by a
//    constant, which the numerator absorbs) while the filter becomes causal
//    and stable. A stable A is kept as it is: multiplying the polynomial out
//    again from its roots would cost accuracy at high orders for nothing.
//
// 5. The target spectrum of the numerator. The numerator is fitted to the
//    power spectrum that the tapered autocorrelation and A describe, not to
//    the raw curve, so that numerator and denominator agree. That spectrum is
//    found by splitting R into a causal and an anti-causal part,
//        R(z) = Q(z)/A(z) + Q(1/z)/A(1/z),
//    Q of degree n fitted by least squares so that the impulse response of
//    Q/A matches R[0]/2, R[1], ..., R[nr-1]. On the unit circle the power is
//    then S = 2 Re(Q/A).
//
// 6. Minimum phase. Only the magnitude of the filter is wanted; of all
//    responses with magnitude sqrt(S), the minimum-phase one has its energy
//    earliest and is the one a causal B/A with stable A can match best. It
//    comes from the cepstrum: the inverse transform of log S (S taken by its
//    absolute value and floored at 1e-10 of its maximum: the fit may dip
//    slightly below zero inside a notch), halved, its anti-causal half folded
//    onto the causal one, transformed back and exponentiated. The inverse
//    transform of that is the minimum-phase impulse response h.
//
// 7. Numerator. With A fixed, the response of B/A is B convolved with the
//    impulse response g of 1/A, which is linear in B. The n+1 coefficients of
//    B are the least-squares fit of that convolution to h over its first
//    nr+1 samples.
//
// 8. Check. A is stable by construction, but the result is tested again by the
//    step-down recursion, and every coefficient must be finite; otherwise the
//    design fails rather than handing out a filter that could blow up.
//
// Measured on the notch curves of the de-isotoping: at order 40 (ten notches
// with stop bands 2/100 of Nyquist wide) the notch centres reach |H|
// 0.07-0.15 and the pass bands stay within 0.95-1.01; at order 80 (twenty
// notches) 0.06-0.14 and 0.91-1.04.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "tonalith/dsp.h"
#include "tonalith/fft.h"

namespace orvane::tonalith {
namespace {

constexpr std::size_t kGridPoints = 4096;  // intervals from 0 to Nyquist
constexpr double kCornerRounding = 1e-9;   // a fall below this is rounding
constexpr double kSpectrumFloor = 1e-10;   // relative floor of the model spectrum

// Checks the corners and samples the curve through them on the grid.
// Corners must start at 0.0 and end at 1.0, gains must be finite and not
// negative, and frequencies must not fall, except by less than
// kCornerRounding, which is rounding and is clamped to the previous corner.
HRESULT SampleCurve(const std::vector<double>& vFreq, const std::vector<double>& vGain,
                    std::vector<double>& curve) {
  const std::size_t m = vFreq.size();
  if (m < 2 || vGain.size() != m) return E_INVALIDARG;
  std::vector<double> f(m);
  for (std::size_t i = 0; i < m; ++i) {
    if (!std::isfinite(vFreq[i]) || !std::isfinite(vGain[i]) || vGain[i] < 0.0) {
      return E_INVALIDARG;
    }
    f[i] = vFreq[i];
    if (i > 0 && f[i] < f[i - 1]) {
      if (f[i - 1] - f[i] >= kCornerRounding) return E_INVALIDARG;
      f[i] = f[i - 1];
    }
  }
  if (f.front() != 0.0 || f.back() != 1.0) return E_INVALIDARG;

  curve.assign(kGridPoints + 1, 0.0);
  std::size_t seg = 0;  // the curve between corners seg and seg+1
  for (std::size_t j = 0; j <= kGridPoints; ++j) {
    const double x = static_cast<double>(j) / static_cast<double>(kGridPoints);
    while (seg + 2 < m && x > f[seg + 1]) ++seg;
    const double width = f[seg + 1] - f[seg];
    if (width <= 0.0) {
      curve[j] = vGain[seg + 1];  // a vertical step at the last frequency
    } else {
      const double t = std::clamp((x - f[seg]) / width, 0.0, 1.0);
      curve[j] = vGain[seg] + (vGain[seg + 1] - vGain[seg]) * t;
    }
  }
  return S_OK;
}

// Real, even spectrum given at bins 0 ... N/2 -> its (real, even) inverse
// transform at lags 0 ... N-1.
std::vector<double> InverseOfEven(const std::vector<double>& half, std::size_t n) {
  AlignedArray bins(n + 2);
  for (std::size_t k = 0; k <= n / 2; ++k) {
    bins[2 * k] = half[k];
    bins[2 * k + 1] = 0.0;
  }
  AlignedArray out(n);
  InverseRealFft(n, bins.data(), out.data());
  std::vector<double> result(n);
  const double scale = 1.0 / static_cast<double>(n);
  for (std::size_t j = 0; j < n; ++j) result[j] = out[j] * scale;
  return result;
}

// Transform of a short real sequence, zero-padded to n: bins 0 ... n/2.
std::vector<std::complex<double>> SpectrumOf(const std::vector<double>& x, std::size_t n) {
  AlignedArray in(n);
  std::fill(in.data(), in.data() + n, 0.0);
  std::copy(x.begin(), x.end(), in.data());
  AlignedArray out(n + 2);
  ForwardRealFft(n, in.data(), out.data());
  std::vector<std::complex<double>> bins(n / 2 + 1);
  for (std::size_t k = 0; k <= n / 2; ++k) bins[k] = {out[2 * k], out[2 * k + 1]};
  return bins;
}

// First `count` samples of the impulse response of 1/A.
std::vector<double> InverseImpulse(const std::vector<double>& a, std::size_t count) {
  std::vector<double> g(count, 0.0);
  for (std::size_t i = 0; i < count; ++i) {
    double v = (i == 0) ? 1.0 : 0.0;
    for (std::size_t j = 1; j < a.size() && j <= i; ++j) v -= a[j] * g[i - j];
    g[i] = v / a[0];
  }
  return g;
}

// Least-squares b (length order+1) with conv(b, g)[0 ... target.size()-1]
// closest to target: the fit of a numerator to an impulse response, given the
// impulse response g of 1/A.
std::vector<double> FitNumerator(const std::vector<double>& g, const std::vector<double>& target,
                                 std::size_t order) {
  const auto rows = static_cast<Eigen::Index>(target.size());
  const auto cols = static_cast<Eigen::Index>(order + 1);
  Eigen::MatrixXd t = Eigen::MatrixXd::Zero(rows, cols);
  for (Eigen::Index i = 0; i < rows; ++i) {
    for (Eigen::Index j = 0; j <= std::min(i, cols - 1); ++j) {
      t(i, j) = g[static_cast<std::size_t>(i - j)];
    }
  }
  const Eigen::VectorXd rhs =
      Eigen::Map<const Eigen::VectorXd>(target.data(), rows);
  const Eigen::VectorXd b = t.householderQr().solve(rhs);
  return std::vector<double>(b.data(), b.data() + b.size());
}

}  // namespace

HRESULT DesignYuleWalker(int nOrder, const std::vector<double>& vFreq,
                         const std::vector<double>& vGain, std::vector<double>& vB,
                         std::vector<double>& vA, bool* pReflected) {
  if (pReflected != nullptr) *pReflected = false;
  if (nOrder < 1 || nOrder > kMaxYFilterOrder) return E_INVALIDARG;
  const auto order = static_cast<std::size_t>(nOrder);

  // 1. The curve on the grid, and the power on the whole circle (bins 0 ...
  //    N/2 of an even spectrum).
  std::vector<double> curve;
  if (const HRESULT hr = SampleCurve(vFreq, vGain, curve); FAILED(hr)) return hr;
  const std::size_t n = 2 * kGridPoints;
  if (*std::max_element(curve.begin(), curve.end()) == 0.0) {
    // Gain 0 everywhere: the zero filter is the exact answer.
    vB.assign(order + 1, 0.0);
    vA.assign(order + 1, 0.0);
    vA[0] = 1.0;
    return S_OK;
  }
  std::vector<double> power(curve.size());
  for (std::size_t j = 0; j < curve.size(); ++j) power[j] = curve[j] * curve[j];

  // 2. Autocorrelation, nr lags, tapered.
  const std::size_t nr = 4 * order;
  std::vector<double> r = InverseOfEven(power, n);
  r.resize(nr);
  for (std::size_t k = 0; k < nr; ++k) {
    r[k] *= 0.54 + 0.46 * std::cos(std::numbers::pi * static_cast<double>(k) /
                                   static_cast<double>(nr - 1));
  }

  // 3. Denominator from the modified Yule-Walker equations:
  //    sum_j a_j R[m-j] = -R[m] for m = n+1 ... nr-1.
  const auto eqs = static_cast<Eigen::Index>(nr - order - 1);
  const auto unknowns = static_cast<Eigen::Index>(order);
  Eigen::MatrixXd m(eqs, unknowns);
  Eigen::VectorXd rhs(eqs);
  for (Eigen::Index row = 0; row < eqs; ++row) {
    const auto lag = static_cast<std::size_t>(row) + order + 1;
    for (Eigen::Index col = 0; col < unknowns; ++col) {
      m(row, col) = r[lag - static_cast<std::size_t>(col) - 1];
    }
    rhs[row] = -r[lag];
  }
  const Eigen::VectorXd sol = m.colPivHouseholderQr().solve(rhs);
  std::vector<double> a(order + 1);
  a[0] = 1.0;
  for (std::size_t j = 0; j < order; ++j) a[j + 1] = sol[static_cast<Eigen::Index>(j)];
  for (double c : a) {
    if (!std::isfinite(c)) return E_FAIL;
  }

  // 4. Roots outside the unit circle go inside.
  if (!IsMinimumPhase(a)) {
    if (pReflected != nullptr) *pReflected = true;
    a = ReflectRootsInside(a);
    if (!IsMinimumPhase(a)) return E_FAIL;  // a root on the circle: no stable filter
  }

  // 5. The model's power spectrum S = 2 Re(Q/A), Q from the causal part of R.
  std::vector<double> causal(r);
  causal[0] *= 0.5;
  const std::vector<double> q = FitNumerator(InverseImpulse(a, nr), causal, order);
  const auto qBins = SpectrumOf(q, n);
  const auto aBins = SpectrumOf(a, n);
  std::vector<double> logPower(n / 2 + 1);
  double peak = 0.0;
  for (std::size_t k = 0; k <= n / 2; ++k) {
    logPower[k] = std::abs(2.0 * (qBins[k] / aBins[k]).real());
    peak = std::max(peak, logPower[k]);
  }
  if (!(peak > 0.0) || !std::isfinite(peak)) return E_FAIL;
  for (double& v : logPower) v = std::log(std::max(v, kSpectrumFloor * peak));

  // 6. Minimum-phase impulse response of sqrt(S) by the folded cepstrum.
  //    c = cepstrum of log S; that of log sqrt(S) is c/2, and folding doubles
  //    every causal term: c[0]/2, c[1 ... N/2-1], c[N/2]/2, zeros after.
  std::vector<double> cep = InverseOfEven(logPower, n);
  std::vector<double> folded(n, 0.0);
  folded[0] = 0.5 * cep[0];
  for (std::size_t k = 1; k < n / 2; ++k) folded[k] = cep[k];
  folded[n / 2] = 0.5 * cep[n / 2];
  const auto logResponse = SpectrumOf(folded, n);
  AlignedArray response(n + 2);
  for (std::size_t k = 0; k <= n / 2; ++k) {
    const std::complex<double> h = std::exp(logResponse[k]);
    response[2 * k] = h.real();
    response[2 * k + 1] = h.imag();
  }
  AlignedArray impulse(n);
  InverseRealFft(n, response.data(), impulse.data());
  std::vector<double> h(nr + 1);
  for (std::size_t i = 0; i <= nr; ++i) h[i] = impulse[i] / static_cast<double>(n);

  // 7. Numerator: least-squares fit of B * (1/A) to h.
  std::vector<double> b = FitNumerator(InverseImpulse(a, nr + 1), h, order);

  // 8. Final check.
  for (double c : b) {
    if (!std::isfinite(c)) return E_FAIL;
  }
  if (!IsMinimumPhase(a)) return E_FAIL;
  vB = std::move(b);
  vA = std::move(a);
  return S_OK;
}

HRESULT DesignYFilter(int nPoints, const std::vector<double>& vFreq, const std::vector<int>& vGain,
                      std::vector<double>& vB, std::vector<double>& vA) {
  if (nPoints < 2 || vFreq.size() != static_cast<std::size_t>(nPoints) || vGain.size() != vFreq.size())
    return E_INVALIDARG;
  const std::vector<double> gains(vGain.begin(), vGain.end());
  return DesignYuleWalker(nPoints, vFreq, gains, vB, vA);
}

}  // namespace orvane::tonalith
