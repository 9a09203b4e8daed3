// Fourier transform and power spectrum of real signals.
#include <cmath>

#include "tonalith/dsp.h"
#include "tonalith/fft.h"

namespace orvane::tonalith {

HRESULT Transform(const std::vector<double>& vX, int nLength, std::vector<double>& vSpectrum) {
  if (nLength < 2) return E_INVALIDARG;
  const auto n = static_cast<std::size_t>(nLength);
  if (!IsPowerOfTwo(n) || n > kMaxFftLength || vX.size() != n) return E_INVALIDARG;

  if (&vX == &vSpectrum) {  // the same array as input and output
    const std::vector<double> copy = vX;
    return Transform(copy, nLength, vSpectrum);
  }
  vSpectrum.resize(n + 3);
  ForwardRealFft(n, vX.data(), vSpectrum.data());
  vSpectrum[n + 2] = static_cast<double>(n);
  return S_OK;
}

HRESULT Power(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
              double* pdOverall) {
  if (pdOverall == nullptr) return E_POINTER;
  if (vSpectrum.size() < 5) return E_INVALIDARG;
  // The length must be a whole power of two that matches the array: anything
  // else is not a transform of ours.
  const double length = vSpectrum.back();
  if (!(length >= 2.0) || length > static_cast<double>(kMaxFftLength) ||
      length != std::floor(length)) {
    return E_INVALIDARG;
  }
  const auto n = static_cast<std::size_t>(length);
  if (!IsPowerOfTwo(n) || vSpectrum.size() != n + 3) return E_INVALIDARG;

  if (&vSpectrum == &vPower) {  // the same array as input and output
    const std::vector<double> copy = vSpectrum;
    return Power(copy, vPower, pdOverall);
  }
  const double* bins = vSpectrum.data();
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
