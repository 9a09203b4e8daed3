// FFTW backend of the transforms (FFTW 3, double precision).
//
// One plan per direction and length, made with FFTW_ESTIMATE the first time
// the length is asked for and kept for the life of the process. Plans live in
// a fixed table indexed by log2 of the length; a finished plan is published
// through an atomic pointer, so the common path takes no lock. Only the
// planner is guarded by a mutex: FFTW's planner is not thread-safe, but
// executing an existing plan on new arrays (fftw_execute_dft_r2c/c2r) is.
//
// The new-array execute functions require arrays of the same alignment as
// those the plan was made for. Plans are made on 64-byte aligned scratch
// arrays; a caller's array that is not SIMD-aligned (fftw_alignment_of != 0)
// goes through an aligned copy.
#include <fftw3.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>

#include "tonalith/dsp.h"
#include "tonalith/fft.h"

namespace orvane::tonalith {
namespace {

constexpr int kSlots = 31;  // lengths 2^0 ... 2^30

struct PlanTable {
  std::array<std::atomic<fftw_plan>, kSlots> forward{};
  std::array<std::atomic<fftw_plan>, kSlots> inverse{};
  std::mutex planner;
};

PlanTable& Table() {
  // Never destroyed: plans stay valid for threads still running at exit.
  static PlanTable* table = new PlanTable;
  return *table;
}

bool Aligned(const double* p) {
  return fftw_alignment_of(const_cast<double*>(p)) == 0;
}

fftw_plan GetPlan(std::size_t n, bool inverse) {
  PlanTable& table = Table();
  const int slot = std::countr_zero(n);
  auto& entry = inverse ? table.inverse[slot] : table.forward[slot];
  fftw_plan plan = entry.load(std::memory_order_acquire);
  if (plan) return plan;

  std::lock_guard lock(table.planner);
  plan = entry.load(std::memory_order_relaxed);
  if (plan) return plan;
  // FFTW_ESTIMATE plans don't touch the arrays, but they must exist and carry
  // the alignment that later calls will have.
  AlignedArray real(n);
  AlignedArray complex(n + 2);
  const int len = static_cast<int>(n);
  if (inverse) {
    plan = fftw_plan_dft_c2r_1d(len, reinterpret_cast<fftw_complex*>(complex.data()), real.data(),
                                FFTW_ESTIMATE | FFTW_DESTROY_INPUT);
  } else {
    plan = fftw_plan_dft_r2c_1d(len, real.data(), reinterpret_cast<fftw_complex*>(complex.data()),
                                FFTW_ESTIMATE);
  }
  if (plan == nullptr) throw std::bad_alloc();
  entry.store(plan, std::memory_order_release);
  return plan;
}

}  // namespace

void ForwardRealFft(std::size_t n, const double* in, double* out) {
  fftw_plan plan = GetPlan(n, false);
  // r2c out of place leaves the input alone, so a const input is safe.
  if (Aligned(in) && Aligned(out)) {
    fftw_execute_dft_r2c(plan, const_cast<double*>(in), reinterpret_cast<fftw_complex*>(out));
    return;
  }
  AlignedArray a(n);
  AlignedArray b(n + 2);
  std::memcpy(a.data(), in, n * sizeof(double));
  fftw_execute_dft_r2c(plan, a.data(), reinterpret_cast<fftw_complex*>(b.data()));
  std::memcpy(out, b.data(), (n + 2) * sizeof(double));
}

void InverseRealFft(std::size_t n, const double* in, double* out) {
  fftw_plan plan = GetPlan(n, true);
  // c2r destroys its input: always work on a copy.
  AlignedArray a(n + 2);
  std::memcpy(a.data(), in, (n + 2) * sizeof(double));
  a[1] = 0.0;
  a[n + 1] = 0.0;
  if (Aligned(out)) {
    fftw_execute_dft_c2r(plan, reinterpret_cast<fftw_complex*>(a.data()), out);
    return;
  }
  AlignedArray b(n);
  fftw_execute_dft_c2r(plan, reinterpret_cast<fftw_complex*>(a.data()), b.data());
  std::memcpy(out, b.data(), n * sizeof(double));
}

const char* FftBackendName() { return "FFTW"; }

std::string FftBackendInfo() {
  // fftw_version reads "fftw-3.3.10-sse2-avx": the version is its second word.
  std::string version = fftw_version;
  if (version.rfind("fftw-", 0) == 0) version = version.substr(5);
  version = version.substr(0, version.find('-'));
  return "FFTW " + version + ", GNU GPL 2 or later: a binary with it is distributed under the GPL";
}

}  // namespace orvane::tonalith
