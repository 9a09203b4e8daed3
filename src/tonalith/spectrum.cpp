// Fourier transform and power spectrum of real signals.
#include <cmath>
#include <cstring>

#include "tonalith/dsp.h"
#include "tonalith/fft.h"

namespace orvane::tonalith {

HRESULT Transform(const std::vector<double>& vX, int nLength, std::vector<double>& vSpectrum) {
  if (nLength < 2) return E_INVALIDARG;
  const auto n = static_cast<std::size_t>(nLength);
  if (!IsPowerOfTwo(n) || n > kMaxFftLength || vX.size() != n) return E_INVALIDARG;

  AlignedArray in(n);
  AlignedArray out(n + 2);
  std::memcpy(in.data(), vX.data(), n * sizeof(double));
  ForwardRealFft(n, in.data(), out.data());

  vSpectrum.resize(n + 3);
  vSpectrum[0] = static_cast<double>(n);
  std::memcpy(vSpectrum.data() + 1, out.data(), (n + 2) * sizeof(double));
  return S_OK;
}

HRESULT Power(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
              double* pdOverall) {
  if (pdOverall == nullptr) return E_POINTER;
  if (vSpectrum.empty()) return E_INVALIDARG;
  // The length must be a whole power of two that matches the array: anything
  // else is not a transform of ours.
  const double length = vSpectrum[0];
  if (!(length >= 2.0) || length > static_cast<double>(kMaxFftLength) ||
      length != std::floor(length)) {
    return E_INVALIDARG;
  }
  const auto n = static_cast<std::size_t>(length);
  if (!IsPowerOfTwo(n) || vSpectrum.size() != n + 3) return E_INVALIDARG;

  const double* bins = vSpectrum.data() + 1;
  const double scale = 1.0 / static_cast<double>(n);
  const std::size_t half = n / 2;
  vPower.resize(n);
  double sum = 0.0;
  for (std::size_t k = 0; k <= half; ++k) {
    const double re = bins[2 * k];
    const double im = bins[2 * k + 1];
    const double p = (re * re + im * im) * scale;
    vPower[k] = p;
    sum += p;
    // Bin n-k is the conjugate of bin k (bins 0 and n/2 are their own).
    if (k != 0 && k != half) {
      vPower[n - k] = p;
      sum += p;
    }
  }
  *pdOverall = sum * scale;
  return S_OK;
}

}  // namespace orvane::tonalith
