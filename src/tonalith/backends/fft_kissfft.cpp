// kissfft backend of the transforms (the C++ template kissfft<double>,
// header only, BSD-3-Clause).
//
// A forward transform of n real values is a complex transform of n/2 points
// with kissfft's real post-processing (transform_real); the inverse is a
// complex transform of n points over the Hermitian-extended spectrum. The
// transform objects (twiddle tables) are made once per length and direction,
// kept for the life of the process, and published through atomic pointers.
// Threads share them: for power-of-two lengths kissfft factors into radix 4
// and 2 only, whose butterflies read nothing but the twiddle table (its one
// piece of mutable state, the scratch buffer of the generic butterfly, serves
// other radices and a length of 1, which never occur here: a real transform of
// 2 points is done by hand). Making one is serialised by a mutex.
#include <kissfft.hh>

#include <array>
#include <atomic>
#include <bit>
#include <complex>
#include <mutex>
#include <vector>

#include "tonalith/dsp.h"
#include "tonalith/fft.h"

namespace orvane::tonalith {
namespace {

using Kiss = kissfft<double>;
using Complex = std::complex<double>;

constexpr int kSlots = 31;  // lengths 2^0 ... 2^30

struct KissTable {
  std::array<std::atomic<const Kiss*>, kSlots> forward{};  // indexed by log2 of the complex length
  std::array<std::atomic<const Kiss*>, kSlots> inverse{};
  std::mutex maker;
};

KissTable& Table() {
  // Never destroyed: shared with threads that may still run at exit.
  static KissTable* table = new KissTable;
  return *table;
}

const Kiss& GetTransform(std::size_t complexLength, bool inverse) {
  KissTable& table = Table();
  const int slot = std::countr_zero(complexLength);
  auto& entry = inverse ? table.inverse[slot] : table.forward[slot];
  const Kiss* kiss = entry.load(std::memory_order_acquire);
  if (kiss) return *kiss;
  std::lock_guard lock(table.maker);
  kiss = entry.load(std::memory_order_relaxed);
  if (!kiss) {
    kiss = new Kiss(complexLength, inverse);
    entry.store(kiss, std::memory_order_release);
  }
  return *kiss;
}

}  // namespace

void ForwardRealFft(std::size_t n, const double* in, double* out) {
  if (n == 2) {
    out[0] = in[0] + in[1];
    out[1] = 0.0;
    out[2] = in[0] - in[1];
    out[3] = 0.0;
    return;
  }
  const std::size_t half = n / 2;
  // transform_real writes n/2 complex values: bin 0 carries the real parts of
  // bins 0 and n/2, bins 1 ... n/2-1 follow in order.
  Complex* dst = reinterpret_cast<Complex*>(out);
  GetTransform(half, false).transform_real(in, dst);
  const double nyquist = out[1];
  out[1] = 0.0;
  out[n] = nyquist;
  out[n + 1] = 0.0;
}

void InverseRealFft(std::size_t n, const double* in, double* out) {
  std::vector<Complex> full(n);
  std::vector<Complex> result(n);
  const std::size_t half = n / 2;
  full[0] = Complex(in[0], 0.0);
  full[half] = Complex(in[n], 0.0);
  for (std::size_t k = 1; k < half; ++k) {
    full[k] = Complex(in[2 * k], in[2 * k + 1]);
    full[n - k] = std::conj(full[k]);
  }
  GetTransform(n, true).transform(full.data(), result.data());
  for (std::size_t j = 0; j < n; ++j) out[j] = result[j].real();
}

const char* FftBackendName() { return "kissfft"; }

std::string FftBackendInfo() { return "kissfft, BSD-3-Clause: the binary's dependencies are all permissive"; }

}  // namespace orvane::tonalith
