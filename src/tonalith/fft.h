// Real-input discrete Fourier transforms of power-of-two lengths: the one
// internal interface behind which the FFT library stands. Exactly one backend
// source (backends/fft_fftw.cpp or backends/fft_kissfft.cpp) is built in,
// chosen by the CMake cache variable ORVANE_FFT_BACKEND.
//
// Every call may come from any thread. A backend prepares what it needs for a
// length once (an FFTW plan, kissfft twiddles), keeps it for the life of the
// process and shares it between threads; preparation is serialised by a mutex.
#pragma once

#include <cstddef>
#include <new>

namespace orvane::tonalith {

// The largest transform length accepted: 2^30 values.
inline constexpr std::size_t kMaxFftLength = std::size_t{1} << 30;

constexpr bool IsPowerOfTwo(std::size_t n) { return n != 0 && (n & (n - 1)) == 0; }

// Forward transform of n real values (n a power of two, 2 <= n <= kMaxFftLength):
//   out[2k] + i*out[2k+1] = sum_j in[j] * exp(-2*pi*i*j*k/n),  k = 0 ... n/2,
// that is n/2+1 complex bins, interleaved; the bins above n/2 follow from
// Hermitian symmetry. `in` holds n values, `out` n+2; they must not overlap.
// `in` is not changed. Throws std::bad_alloc.
void ForwardRealFft(std::size_t n, const double* in, double* out);

// Inverse of the above without the 1/n factor: `in` holds the n/2+1 complex
// bins of a Hermitian spectrum (the imaginary parts of bins 0 and n/2 are
// ignored), `out` receives n real values
//   out[j] = sum_{k=0}^{n-1} X[k] * exp(+2*pi*i*j*k/n).
// `in` is not changed; `in` and `out` must not overlap. Throws std::bad_alloc.
void InverseRealFft(std::size_t n, const double* in, double* out);

// "FFTW" or "kissfft".
const char* FftBackendName();

// A heap array of doubles aligned to 64 bytes, which every SIMD code path of
// the backends accepts. Transforms on such arrays need no extra copy.
class AlignedArray {
 public:
  AlignedArray() = default;
  explicit AlignedArray(std::size_t n)
      : data_(n ? static_cast<double*>(::operator new(n * sizeof(double), kAlign)) : nullptr),
        size_(n) {}
  AlignedArray(const AlignedArray&) = delete;
  AlignedArray& operator=(const AlignedArray&) = delete;
  AlignedArray(AlignedArray&& o) noexcept : data_(o.data_), size_(o.size_) {
    o.data_ = nullptr;
    o.size_ = 0;
  }
  AlignedArray& operator=(AlignedArray&& o) noexcept {
    if (this != &o) {
      Free();
      data_ = o.data_;
      size_ = o.size_;
      o.data_ = nullptr;
      o.size_ = 0;
    }
    return *this;
  }
  ~AlignedArray() { Free(); }

  double* data() { return data_; }
  const double* data() const { return data_; }
  std::size_t size() const { return size_; }
  double& operator[](std::size_t i) { return data_[i]; }
  const double& operator[](std::size_t i) const { return data_[i]; }

  static constexpr std::align_val_t kAlign{64};

 private:
  void Free() {
    if (data_) ::operator delete(data_, kAlign);
    data_ = nullptr;
  }
  double* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace orvane::tonalith
