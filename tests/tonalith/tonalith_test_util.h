// Shared helpers of the signal-processing tests.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "platform/class_registry.h"
#include "tonalith/itonalith.h"

namespace orvane::test {

// Creates the component the way a cleaning run does: by name, as IUnknown,
// then asks for ITonalith.
inline ComPtr<ITonalith> CreateTonalith() {
  RegisterTonalith();
  CLSID clsid;
  EXPECT_EQ(CLSIDFromProgID(kTonalithProgId, &clsid), S_OK);
  ComPtr<IUnknown> unknown;
  EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, unknown.Out()),
            S_OK);
  ComPtr<ITonalith> tonalith;
  if (unknown) {
    EXPECT_EQ(unknown->QueryInterface(IID_ITonalith, tonalith.Out()), S_OK);
  }
  return tonalith;
}

inline std::vector<double> RandomVector(std::size_t n, unsigned seed, double lo = -1.0,
                                        double hi = 1.0) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> dist(lo, hi);
  std::vector<double> v(n);
  for (double& x : v) x = dist(gen);
  return v;
}

// |B(e^{jw})/A(e^{jw})| at w = pi * f, f a fraction of Nyquist.
inline double Magnitude(const std::vector<double>& b, const std::vector<double>& a, double f) {
  const std::complex<double> z1 = std::polar(1.0, -std::numbers::pi * f);  // z^-1
  auto eval = [&](const std::vector<double>& p) {
    std::complex<double> s = 0.0;
    for (std::size_t i = p.size(); i-- > 0;) s = s * z1 + p[i];
    return s;
  };
  return std::abs(eval(b) / eval(a));
}

// The plain difference equation a0 y[n] = sum b_k x[n-k] - sum_{k>0} a_k y[n-k].
inline std::vector<double> DifferenceEquation(const std::vector<double>& b,
                                              const std::vector<double>& a,
                                              const std::vector<double>& x) {
  std::vector<double> y(x.size());
  for (std::size_t n = 0; n < x.size(); ++n) {
    double s = 0.0;
    for (std::size_t k = 0; k < b.size() && k <= n; ++k) s += b[k] * x[n - k];
    for (std::size_t k = 1; k < a.size() && k <= n; ++k) s -= a[k] * y[n - k];
    y[n] = s / a[0];
  }
  return y;
}

}  // namespace orvane::test
