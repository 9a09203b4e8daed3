// The algorithms behind the signal-processing component, as plain functions.
// The component (tonalith.cpp) validates nothing twice: each function here
// checks its own arguments and answers a status, fills its outputs only on
// success, and may throw std::bad_alloc, which the component turns into
// E_OUTOFMEMORY.
#pragma once

#include <complex>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/hresult.h"

namespace orvane::tonalith {

// The FFT backend this build does its transforms with: name, version and
// licence, in words ("FFTW 3.3.10, GNU GPL 2 or later: ...").
std::string FftBackendInfo();

// ---- Fourier transform and power spectrum -------------------------------
//
// The transform that Fft hands out and PowerSpectrum reads has this private
// layout, N + 3 doubles for a transform of N points:
//   [2k], [2k + 1]    real and imaginary part of bin k, k = 0 ... N/2
//   [N + 2]           N, the transform length, as a double
// The bins above N/2 are the complex conjugates of those below it. The bins
// come first so that the transform can write them straight into the array.
HRESULT Transform(const std::vector<double>& vX, int nLength, std::vector<double>& vSpectrum);
// P[k] = |X[k]|^2 / N for all N bins (bin 0 first), *pdOverall = sum(P) / N.
HRESULT Power(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
              double* pdOverall);

// ---- Statistics and running median ---------------------------------------

// Sample standard deviation and mean of the values; both 0 for fewer than two.
void MeanAndDeviation(const std::vector<double>& vX, double* pdDeviation, double* pdMean);

// Centred running median of nWidth values over the first nLength values of
// vX, the ends padded with zeros. The window of point i runs from
// i - nWidth/2 to i + (nWidth-1)/2: an even width takes one more value before
// the centre than after it, and its median is the mean of the two middle
// values. nWidth <= 1 copies the input.
HRESULT RunningMedian(const std::vector<double>& vX, int nLength, int nWidth,
                      std::vector<double>& vY);

// ---- Recursive filters ----------------------------------------------------

// y = filter(b, a, x): causal direct form II transposed, zero initial state,
// coefficients normalised by a[0]. E_INVALIDARG for empty coefficient arrays,
// an a[0] of 0 or a coefficient that is not finite.
HRESULT FilterDirect(const std::vector<double>& vB, const std::vector<double>& vA,
                     const std::vector<double>& vX, std::vector<double>& vY);

// A second-order section b0 + b1 z^-1 + b2 z^-2 over 1 + a1 z^-1 + a2 z^-2.
struct Biquad {
  double b0, b1, b2, a1, a2;
};

// Band-stop filter of the noise stage, selector 0 ... 4: a digital
// Butterworth band-stop of prototype order kBandStopPrototypeOrder (filter
// order twice that) whose infinite attenuation lies exactly at the centre
// 0.5, 0.6, 0.7, 0.8 or 0.9 of the Nyquist frequency, and whose -3 dB edges
// lie kBandStopWidth apart (see BandStopEdges); the gain is 1 at DC. Made by
// the bilinear transform, as cascaded second-order sections.
inline constexpr int kBandStopPrototypeOrder = 2;
inline constexpr double kBandStopWidth = 0.1;
// E_INVALIDARG for a selector outside 0 ... 4.
HRESULT DesignBandStop(int nSelector, std::vector<Biquad>& sections);
// The -3 dB edges f1 < f2 of selector 0 ... 4 (fractions of Nyquist).
HRESULT BandStopEdges(int nSelector, double* pf1, double* pf2);
// The general design: Butterworth band-stop of prototype order `order`
// between the band edges f1 < f2 (fractions of Nyquist, 0 < f1 < f2 < 1).
HRESULT DesignButterworthBandStop(int order, double f1, double f2, std::vector<Biquad>& sections);
// Runs the sections one after another (each direct form II transposed, zero
// initial state); one output per input.
void FilterSections(const std::vector<Biquad>& sections, const std::vector<double>& vX,
                    std::vector<double>& vY);
// The noise stage's filter: the band-stop of selector nSelector over vX.
// E_INVALIDARG (vY untouched) for a selector outside 0 ... 4.
HRESULT BandStopFilter(int nSelector, const std::vector<double>& vX, std::vector<double>& vY);

// ---- Polynomials (coefficients in powers of z^-1: a[0] + a[1] z^-1 + ...) --

// True when every root of the polynomial lies strictly inside the unit circle
// (step-down / Schur-Cohn recursion on the reflection coefficients).
bool IsMinimumPhase(const std::vector<double>& a);
// The roots in z of a[0] + a[1] z^-1 + ... + a[n] z^-n (a[0] != 0): the
// eigenvalues of the balanced companion matrix, each polished by Newton steps
// on the polynomial itself.
std::vector<std::complex<double>> PolynomialRoots(const std::vector<double>& a);
// Reflects every root outside the unit circle to 1/conj(root) and rebuilds
// the polynomial with the same a[0]. The magnitude response keeps its shape
// (each reflection scales it by the constant |root|); the phase becomes
// minimum phase.
std::vector<double> ReflectRootsInside(const std::vector<double>& a);

// ---- Y-filter ---------------------------------------------------------------

// Largest order CreateYFilter designs.
inline constexpr int kMaxYFilterOrder = 512;
// Recursive filter of order nOrder whose magnitude follows the piecewise
// linear curve through (vFreq[i], vGain[i]); see yule_walker.cpp.
// *pReflected, if given, tells whether the denominator had roots outside the
// unit circle that were reflected inside.
HRESULT DesignYuleWalker(int nOrder, const std::vector<double>& vFreq,
                         const std::vector<double>& vGain, std::vector<double>& vB,
                         std::vector<double>& vA, bool* pReflected = nullptr);
// The de-isotoping's design: nPoints corners (vFreq[i], vGain[i] of 0 or 1),
// and nPoints is the order as well. E_INVALIDARG unless nPoints is at least 2
// and both lists hold nPoints values.
HRESULT DesignYFilter(int nPoints, const std::vector<double>& vFreq, const std::vector<int>& vGain,
                      std::vector<double>& vB, std::vector<double>& vA);

}  // namespace orvane::tonalith
