// Polynomials of filter design: stability test, roots and root reflection.
#include <Eigen/Core>
#include <unsupported/Eigen/Polynomials>
#include <algorithm>
#include <cmath>
#include <complex>
#include <stdexcept>

#include "tonalith/dsp.h"

namespace orvane::tonalith {
namespace {

using Complex = std::complex<double>;

// Value and derivative, in z, of a[0] z^n + a[1] z^(n-1) + ... + a[n]
// (Horner).
void Evaluate(const std::vector<double>& a, Complex z, Complex* value, Complex* slope) {
  Complex p = a[0];
  Complex d = 0.0;
  for (std::size_t i = 1; i < a.size(); ++i) {
    d = d * z + p;
    p = p * z + a[i];
  }
  *value = p;
  *slope = d;
}

// A few Newton steps on the polynomial itself, each kept only when it lowers
// |p|: the companion eigenvalues carry the rounding of the eigen-solver, the
// polished roots only that of the polynomial's evaluation.
Complex Polish(const std::vector<double>& a, Complex root) {
  Complex value;
  Complex slope;
  Evaluate(a, root, &value, &slope);
  for (int step = 0; step < 4 && std::abs(value) > 0.0; ++step) {
    if (std::abs(slope) == 0.0) break;
    const Complex next = root - value / slope;
    Complex nextValue;
    Complex nextSlope;
    Evaluate(a, next, &nextValue, &nextSlope);
    if (!(std::abs(nextValue) < std::abs(value))) break;
    root = next;
    value = nextValue;
    slope = nextSlope;
  }
  return root;
}

// Roots sorted into the upper half plane (each stands for itself and its
// conjugate) and the real axis.
struct SplitRoots {
  std::vector<Complex> upper;
  std::vector<double> real;
};

SplitRoots FindRoots(const std::vector<double>& a) {
  if (a.empty() || a[0] == 0.0) throw std::invalid_argument("leading coefficient is zero");
  SplitRoots roots;
  // Trailing zero coefficients are roots at z = 0.
  std::size_t n = a.size() - 1;
  while (n > 0 && a[n] == 0.0) {
    roots.real.push_back(0.0);
    --n;
  }
  std::vector<double> p(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(n) + 1);
  if (n == 1) {
    roots.real.push_back(-p[1] / p[0]);
  } else if (n >= 2) {
    // Eigen wants the coefficients from the constant term up: z^n A(z) =
    // p[0] z^n + ... + p[n], so the constant is p[n].
    Eigen::VectorXd coeffs(static_cast<Eigen::Index>(n + 1));
    for (std::size_t i = 0; i <= n; ++i) coeffs[static_cast<Eigen::Index>(i)] = p[n - i];
    Eigen::PolynomialSolver<double, Eigen::Dynamic> solver(coeffs);
    const auto& found = solver.roots();
    for (Eigen::Index i = 0; i < found.size(); ++i) {
      const Complex r = found[i];
      // The real eigen-solver gives complex roots as exact conjugate pairs.
      if (r.imag() > 0.0) {
        Complex polished = Polish(p, r);
        if (polished.imag() <= 0.0) polished = r;  // keep it on its side
        roots.upper.push_back(polished);
      } else if (r.imag() == 0.0) {
        roots.real.push_back(Polish(p, r).real());
      }
    }
    if (roots.upper.size() * 2 + roots.real.size() != a.size() - 1) {
      throw std::runtime_error("unpaired complex roots");
    }
  }
  return roots;
}

}  // namespace

bool IsMinimumPhase(const std::vector<double>& a) {
  if (a.empty() || a[0] == 0.0) return false;
  for (double c : a) {
    if (!std::isfinite(c)) return false;
  }
  // Step-down recursion: with the polynomial of degree m normalised to a
  // leading 1, k = a[m] is its last reflection coefficient. All roots lie
  // inside the unit circle exactly when |k| < 1 at every degree, where the
  // polynomial of the next lower degree is (a[i] - k a[m-i]) / (1 - k^2).
  std::vector<double> p(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) p[i] = a[i] / a[0];
  std::vector<double> next(a.size());
  for (std::size_t m = a.size() - 1; m > 0; --m) {
    const double k = p[m];
    if (!(std::abs(k) < 1.0)) return false;
    const double scale = 1.0 / (1.0 - k * k);
    for (std::size_t i = 0; i < m; ++i) next[i] = (p[i] - k * p[m - i]) * scale;
    std::copy(next.begin(), next.begin() + static_cast<std::ptrdiff_t>(m), p.begin());
  }
  return true;
}

std::vector<Complex> PolynomialRoots(const std::vector<double>& a) {
  const SplitRoots split = FindRoots(a);
  std::vector<Complex> roots;
  for (const Complex r : split.upper) {
    roots.push_back(r);
    roots.push_back(std::conj(r));
  }
  for (double r : split.real) roots.emplace_back(r, 0.0);
  return roots;
}

std::vector<double> ReflectRootsInside(const std::vector<double>& a) {
  SplitRoots split = FindRoots(a);
  for (Complex& r : split.upper) {
    if (std::abs(r) > 1.0) r = 1.0 / std::conj(r);
  }
  for (double& r : split.real) {
    if (std::abs(r) > 1.0) r = 1.0 / r;
  }
  // Multiply out a[0] * prod (1 - r z^-1), a conjugate pair at a time as the
  // real quadratic 1 - 2 Re(r) z^-1 + |r|^2 z^-2, so that everything stays real.
  std::vector<double> poly{a[0]};
  auto multiply = [&poly](const std::vector<double>& factor) {
    std::vector<double> product(poly.size() + factor.size() - 1, 0.0);
    for (std::size_t i = 0; i < poly.size(); ++i) {
      for (std::size_t j = 0; j < factor.size(); ++j) product[i + j] += poly[i] * factor[j];
    }
    poly.swap(product);
  };
  for (const Complex r : split.upper) multiply({1.0, -2.0 * r.real(), std::norm(r)});
  for (double r : split.real) multiply({1.0, -r});
  return poly;
}

}  // namespace orvane::tonalith
