// Recursive filtering and the Butterworth band-stop of the noise stage.
#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "tonalith/dsp.h"

namespace orvane::tonalith {

HRESULT FilterDirect(const std::vector<double>& vB, const std::vector<double>& vA,
                     const std::vector<double>& vX, std::vector<double>& vY) {
  if (vB.empty() || vA.empty()) return E_INVALIDARG;
  for (double c : vB) {
    if (!std::isfinite(c)) return E_INVALIDARG;
  }
  for (double c : vA) {
    if (!std::isfinite(c)) return E_INVALIDARG;
  }
  if (vA[0] == 0.0) return E_INVALIDARG;

  // Both coefficient arrays to one length m, normalised so that a[0] = 1.
  const std::size_t m = std::max(vB.size(), vA.size());
  std::vector<double> b(m, 0.0);
  std::vector<double> a(m, 0.0);
  const double a0 = vA[0];
  for (std::size_t i = 0; i < vB.size(); ++i) b[i] = vB[i] / a0;
  for (std::size_t i = 0; i < vA.size(); ++i) a[i] = vA[i] / a0;

  // Direct form II transposed: y[n] = b0 x[n] + z0, and each state
  // z_i = b_{i+1} x[n] - a_{i+1} y[n] + z_{i+1}, the last without z_{i+1}.
  // The state starts at zero: the signal is taken as zero before its start.
  const std::size_t n = vX.size();
  std::vector<double> y(n);
  std::vector<double> z(m, 0.0);  // z[m-1] stays 0 and ends the recursion
  const std::size_t order = m - 1;
  for (std::size_t k = 0; k < n; ++k) {
    const double x = vX[k];
    const double out = b[0] * x + z[0];
    for (std::size_t i = 0; i < order; ++i) z[i] = b[i + 1] * x - a[i + 1] * out + z[i + 1];
    y[k] = out;
  }
  vY = std::move(y);
  return S_OK;
}

HRESULT DesignButterworthBandStop(int order, double f1, double f2,
                                  std::vector<Biquad>& sections) {
  if (order < 1 || order > 32 || !(f1 > 0.0) || !(f2 > f1) || !(f2 < 1.0)) return E_INVALIDARG;
  using C = std::complex<double>;
  const double pi = std::numbers::pi;

  // Bilinear transform s = (1 - z^-1) / (1 + z^-1): the digital frequency f
  // (fraction of Nyquist) lands at the analog frequency tan(pi f / 2), so the
  // band edges are pre-warped to those points.
  const double w1 = std::tan(pi * f1 / 2.0);
  const double w2 = std::tan(pi * f2 / 2.0);
  const double bw = w2 - w1;
  const double w0sq = w1 * w2;  // centre of the analog stop band, squared

  // Low-pass prototype poles on the left half of the unit circle; the
  // band-stop substitution s_lp = bw s / (s^2 + w0^2) turns each into the two
  // roots of s^2 - (bw / p) s + w0^2, and puts order zeros pairs at +-j w0.
  std::vector<C> upper;  // poles with positive imaginary part
  std::vector<C> real;   // poles on the real axis
  for (int k = 1; k <= order; ++k) {
    const C p = std::polar(1.0, pi * (2.0 * k + order - 1) / (2.0 * order));
    const C half = bw / p / 2.0;
    const C root = std::sqrt(half * half - w0sq);
    for (const C s : {half + root, half - root}) {
      if (std::abs(s.imag()) <= 1e-12 * std::abs(s)) real.push_back(C(s.real(), 0.0));
      else if (s.imag() > 0.0) upper.push_back(s);
    }
  }
  std::sort(real.begin(), real.end(), [](C x, C y) { return x.real() < y.real(); });
  if (upper.size() * 2 + real.size() != static_cast<std::size_t>(2 * order) ||
      real.size() % 2 != 0) {
    return E_FAIL;
  }

  // Each section: one zero pair at exp(+-j theta0), theta0 = 2 atan(w0), and
  // one pole pair (a complex pole with its conjugate, or two real poles),
  // mapped by z = (1 + s) / (1 - s) and scaled to gain 1 at DC.
  const double cos0 = std::cos(2.0 * std::atan(std::sqrt(w0sq)));
  auto toZ = [](C s) { return (1.0 + s) / (1.0 - s); };
  std::vector<Biquad> out;
  auto add = [&](double a1, double a2) {
    const double b1 = -2.0 * cos0;
    const double gain = (1.0 + a1 + a2) / (2.0 + b1);
    out.push_back(Biquad{gain, gain * b1, gain, a1, a2});
  };
  for (const C s : upper) {
    const C z = toZ(s);
    add(-2.0 * z.real(), std::norm(z));
  }
  for (std::size_t i = 0; i < real.size(); i += 2) {
    const double z1 = toZ(real[i]).real();
    const double z2 = toZ(real[i + 1]).real();
    add(-(z1 + z2), z1 * z2);
  }
  sections = std::move(out);
  return S_OK;
}

HRESULT BandStopEdges(int nSelector, double* pf1, double* pf2) {
  if (nSelector < 0 || nSelector > 4) return E_INVALIDARG;
  // The bilinear transform puts the infinite attenuation of a band-stop with
  // edges f1, f2 at the frequency fc with tan^2(pi fc/2) = tan(pi f1/2)
  // tan(pi f2/2), a little off the midpoint (f1 + f2)/2. For edges d apart
  // that product identity solves to
  //     (f1 + f2)/2 = acos(cos(pi d/2) cos(pi fc)) / pi,
  // so the band is shifted just enough for the notch to sit on fc.
  const double pi = std::numbers::pi;
  const double centre = 0.5 + 0.1 * nSelector;
  const double mid = std::acos(std::cos(pi * kBandStopWidth / 2.0) * std::cos(pi * centre)) / pi;
  *pf1 = mid - kBandStopWidth / 2.0;
  *pf2 = mid + kBandStopWidth / 2.0;
  return S_OK;
}

HRESULT DesignBandStop(int nSelector, std::vector<Biquad>& sections) {
  double f1 = 0.0;
  double f2 = 0.0;
  if (const HRESULT hr = BandStopEdges(nSelector, &f1, &f2); FAILED(hr)) return hr;
  return DesignButterworthBandStop(kBandStopPrototypeOrder, f1, f2, sections);
}

void FilterSections(const std::vector<Biquad>& sections, const std::vector<double>& vX,
                    std::vector<double>& vY) {
  std::vector<double> y = vX;
  for (const Biquad& q : sections) {
    double z1 = 0.0;
    double z2 = 0.0;
    for (double& v : y) {
      const double x = v;
      const double out = q.b0 * x + z1;
      z1 = q.b1 * x - q.a1 * out + z2;
      z2 = q.b2 * x - q.a2 * out;
      v = out;
    }
  }
  vY = std::move(y);
}

HRESULT BandStopFilter(int nSelector, const std::vector<double>& vX, std::vector<double>& vY) {
  std::vector<Biquad> sections;
  if (const HRESULT hr = DesignBandStop(nSelector, sections); FAILED(hr)) return hr;
  FilterSections(sections, vX, vY);
  return S_OK;
}

}  // namespace orvane::tonalith
