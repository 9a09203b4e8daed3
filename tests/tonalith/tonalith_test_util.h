// Shared helpers of the signal-processing tests.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <fstream>
#include <map>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "platform/class_registry.h"
#include "tonalith/itonalith.h"

namespace orvane::test {

// Creates the component the way a cleaning run does: by name, as IUnknown,
// then asks for ITonalith.
inline ComPtr<ITonalith> CreateTonalith() {
  RegisterTonalith();
  CLSID clsid;
  ComPtr<IUnknown> unknown;
  ComPtr<ITonalith> tonalith;
  EXPECT_TRUE(CLSIDFromProgID(kTonalithProgId, &clsid) == S_OK &&
              CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               unknown.Out()) == S_OK &&
              unknown->QueryInterface(IID_ITonalith, tonalith.Out()) == S_OK);
  return tonalith;
}

// An array of reference/octave_reference.txt (see its README): lines
// "name count", each followed by the count values.
inline const std::vector<double>& Octave(const std::string& name) {
  static const std::map<std::string, std::vector<double>> all = [] {
    std::map<std::string, std::vector<double>> m;
    std::ifstream in(ORVANE_SOURCE_DIR "/tests/tonalith/reference/octave_reference.txt");
    std::string key;
    std::size_t n = 0;
    while (in >> key >> n) {
      std::vector<double>& v = m[key];
      v.resize(n);
      for (double& x : v) in >> x;
    }
    return m;
  }();
  static const std::vector<double> none;
  const auto it = all.find(name);
  if (it == all.end()) ADD_FAILURE() << "no reference array " << name;
  return it == all.end() ? none : it->second;
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

inline std::vector<double> PolyMul(const std::vector<double>& p, const std::vector<double>& q) {
  std::vector<double> r(p.size() + q.size() - 1, 0.0);
  for (std::size_t i = 0; i < p.size(); ++i)
    for (std::size_t j = 0; j < q.size(); ++j) r[i + j] += p[i] * q[j];
  return r;
}

inline void ExpectClose(const std::vector<double>& got, const std::vector<double>& want,
                        double tol, const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (std::size_t i = 0; i < got.size(); ++i)
    ASSERT_NEAR(got[i], want[i], tol * (1.0 + std::abs(want[i]))) << what << " at " << i;
}

}  // namespace orvane::test
