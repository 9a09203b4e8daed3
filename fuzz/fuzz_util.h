// What the fuzz targets share: the input as a file for the readers that open
// paths, a reporter that keeps the message boxes quiet, and a reader of
// settings from the first bytes of an input.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/reporter.h"

namespace orvane::fuzz {

// A file of this process, rewritten for every input: under /dev/shm when it
// can be written, else under $TMPDIR or /tmp. name ends in the extension the
// reader expects ("in.mgf"). Removed when the process exits normally.
class ScratchFile {
 public:
  explicit ScratchFile(const char* name) {
    std::string folder = "/dev/shm";
    if (access(folder.c_str(), W_OK) != 0) {
      const char* tmp = std::getenv("TMPDIR");
      folder = tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
    }
    path_ = folder + "/orvane-fuzz-" + std::to_string(getpid()) + "-" + name;
  }
  ~ScratchFile() { std::remove(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // Writes the bytes and answers the path.
  const std::string& Write(const void* data, std::size_t size) {
    std::FILE* f = std::fopen(path_.c_str(), "wb");
    if (f == nullptr || (size > 0 && std::fwrite(data, 1, size, f) != size) || std::fclose(f) != 0) {
      std::perror(path_.c_str());
      std::abort();
    }
    return path_;
  }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

// Message boxes are part of what the readers do with bad input; printing
// them would only slow the fuzzer down. ORVANE_FUZZ_VERBOSE=1 shows them.
class QuietReporter : public IReporter {
 public:
  void Show(BoxKind, std::string_view) override {}
};

inline void KeepBoxesQuiet() {
  static QuietReporter quiet;
  static const bool installed = [] {
    const char* verbose = std::getenv("ORVANE_FUZZ_VERBOSE");
    if (verbose == nullptr || *verbose == '\0' || *verbose == '0') SetReporter(&quiet);
    return true;
  }();
  (void)installed;
}

// Takes settings from the front of an input; past its end every value is 0.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t U8() { return pos_ < size_ ? data_[pos_++] : 0; }
  std::uint16_t U16() { return static_cast<std::uint16_t>(U8() | U8() << 8); }
  std::uint32_t U32() { return static_cast<std::uint32_t>(U16()) | static_cast<std::uint32_t>(U16()) << 16; }
  bool Bit(std::uint8_t flags, int bit) const { return (flags >> bit & 1) != 0; }
  // lo + (hi - lo) * k / 255 for the next byte k.
  double Between(double lo, double hi) { return lo + (hi - lo) * U8() / 255.0; }
  int IntBetween(int lo, int hi) { return lo + static_cast<int>(U16() % static_cast<unsigned>(hi - lo + 1)); }
  // Copies sizeof(T) raw bytes into *out; false (and *out untouched) when
  // fewer are left.
  template <class T>
  bool Take(T* out) {
    if (size_ - pos_ < sizeof(T)) return false;
    std::memcpy(out, data_ + pos_, sizeof(T));
    pos_ += sizeof(T);
    return true;
  }

  std::size_t Left() const { return size_ - pos_; }
  const std::uint8_t* Rest() const { return data_ + pos_; }
  std::string_view RestText() const {
    return {reinterpret_cast<const char*>(data_ + pos_), size_ - pos_};
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

}  // namespace orvane::fuzz
