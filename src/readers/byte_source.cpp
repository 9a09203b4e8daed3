#include "readers/byte_source.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace orvane::readers {
namespace {

constexpr std::size_t kWindow = 32768;     // the deflate history
constexpr std::size_t kInput = 65536;      // compressed bytes read at a time
constexpr std::uint64_t kSpan = 1u << 20;  // first access point spacing: 1 MiB of content
constexpr std::size_t kCursors = 3;

std::string SystemError(const std::string& what, const std::string& path) {
  return what + " " + path + ": " + std::strerror(errno);
}

// An open file descriptor, read with pread so that several readers can share it.
class File {
 public:
  explicit File(const std::string& path) : path_(path) {
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) throw std::runtime_error(SystemError("cannot open", path));
  }
  ~File() {
    if (fd_ >= 0) ::close(fd_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Up to size bytes from offset; fewer only at the end of the file.
  std::size_t Read(void* buffer, std::size_t size, std::uint64_t offset) const {
    std::size_t got = 0;
    while (got < size) {
      ssize_t n = ::pread(fd_, static_cast<char*>(buffer) + got, size - got,
                          static_cast<off_t>(offset + got));
      if (n < 0) {
        if (errno == EINTR) continue;
        throw std::runtime_error(SystemError("cannot read", path_));
      }
      if (n == 0) break;
      got += static_cast<std::size_t>(n);
    }
    return got;
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int fd_ = -1;
};

class PlainSource final : public ByteSource {
 public:
  explicit PlainSource(const std::string& path) : file_(path) {}
  std::size_t ReadNext(char* buffer, std::size_t size) override {
    std::size_t n = file_.Read(buffer, size, pos_);
    pos_ += n;
    return n;
  }
  void ReadAt(std::uint64_t offset, std::size_t size, std::string* out) override {
    out->resize(size);
    if (file_.Read(out->data(), size, offset) != size) {
      throw std::runtime_error(file_.path() + " ends before byte " +
                               std::to_string(offset + size) +
                               " (was it changed after it was opened?)");
    }
  }
  bool IsCompressed() const override { return false; }

 private:
  File file_;
  std::uint64_t pos_ = 0;
};

struct AccessPoint {
  std::uint64_t out = 0;  // offset in the content
  std::uint64_t in = 0;   // offset in the file of the first whole compressed byte
  int bits = 0;           // bits of the byte before `in` that still belong to the stream
  std::vector<unsigned char> window;  // the content just before `out`
};

// Remembers the last 32 KiB of content and turns block boundaries into access points.
class PointRecorder {
 public:
  explicit PointRecorder(std::uint64_t span) : span_(span), ring_(kWindow) {}

  void Append(const unsigned char* data, std::size_t n) {
    if (n >= kWindow) {
      std::memcpy(ring_.data(), data + n - kWindow, kWindow);
      head_ = 0;
      filled_ = kWindow;
      return;
    }
    std::size_t first = std::min(n, kWindow - head_);
    std::memcpy(ring_.data() + head_, data, first);
    if (n > first) std::memcpy(ring_.data(), data + first, n - first);
    head_ = (head_ + n) % kWindow;
    filled_ = std::min(kWindow, filled_ + n);
  }

  void AtBoundary(std::uint64_t out, std::uint64_t in, int bits) {
    if (!points_.empty() && out - points_.back().out < span_) return;
    AccessPoint p;
    p.out = out;
    p.in = in;
    p.bits = bits;
    if (filled_ > 0) {
      p.window.resize(filled_);
      std::size_t start = (head_ + kWindow - filled_) % kWindow;
      std::size_t first = std::min(filled_, kWindow - start);
      std::memcpy(p.window.data(), ring_.data() + start, first);
      if (filled_ > first) std::memcpy(p.window.data() + first, ring_.data(), filled_ - first);
    }
    points_.push_back(std::move(p));
    if (points_.size() >= kMaxAccessPoints) {
      // Keep every other point: the memory stays bounded, the spacing doubles.
      std::vector<AccessPoint> kept;
      for (std::size_t i = 0; i < points_.size(); i += 2) kept.push_back(std::move(points_[i]));
      points_.swap(kept);
      span_ *= 2;
    }
  }

  std::vector<AccessPoint> Take() { return std::move(points_); }

 private:
  std::uint64_t span_;
  std::vector<unsigned char> ring_;
  std::size_t head_ = 0;
  std::size_t filled_ = 0;
  std::vector<AccessPoint> points_;
};

// One decompression stream over a gzip file, which may hold several members.
class Inflater {
 public:
  explicit Inflater(const File& file) : file_(file), input_(kInput) {}
  ~Inflater() { End(); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  void StartAtFileBegin() {
    End();
    if (inflateInit2(&strm_, 15 + 16) != Z_OK) throw std::runtime_error("zlib could not be started");
    live_ = true;
    raw_ = false;
    ended_ = false;
    nextRead_ = 0;
    strm_.avail_in = 0;
    out_ = 0;
  }

  void StartAt(const AccessPoint& p) {
    End();
    if (inflateInit2(&strm_, -15) != Z_OK) throw std::runtime_error("zlib could not be started");
    live_ = true;
    raw_ = true;
    ended_ = false;
    strm_.avail_in = 0;
    nextRead_ = p.in;
    if (p.bits) {
      unsigned char c = 0;
      if (file_.Read(&c, 1, p.in - 1) != 1) throw Truncated();
      inflatePrime(&strm_, p.bits, c >> (8 - p.bits));
    }
    if (!p.window.empty()) {
      inflateSetDictionary(&strm_, p.window.data(), static_cast<uInt>(p.window.size()));
    }
    out_ = p.out;
  }

  // Decompresses up to size bytes; fewer only at the end of the content.
  std::size_t Inflate(unsigned char* buffer, std::size_t size, PointRecorder* recorder) {
    std::size_t produced = 0;
    while (produced < size && !ended_) {
      if (strm_.avail_in == 0 && !Fill(1)) throw Truncated();
      strm_.next_out = buffer + produced;
      strm_.avail_out = static_cast<uInt>(size - produced);
      int ret = inflate(&strm_, recorder ? Z_BLOCK : Z_NO_FLUSH);
      std::size_t n = (size - produced) - strm_.avail_out;
      if (recorder && n) recorder->Append(buffer + produced, n);
      produced += n;
      out_ += n;
      if (ret == Z_STREAM_END) {
        NextMember();
        continue;
      }
      if (ret != Z_OK && ret != Z_BUF_ERROR) {
        throw std::runtime_error(file_.path() + ": damaged gzip data at compressed byte " +
                                 std::to_string(InputOffset()) + " (" +
                                 (strm_.msg ? strm_.msg : "unknown error") + ")");
      }
      if (recorder && (strm_.data_type & 128) && !(strm_.data_type & 64)) {
        recorder->AtBoundary(out_, nextRead_ - strm_.avail_in, strm_.data_type & 7);
      }
    }
    return produced;
  }

  std::uint64_t out() const { return out_; }
  bool ended() const { return ended_; }
  bool live() const { return live_; }

 private:
  std::runtime_error Truncated() const {
    return std::runtime_error(file_.path() + ": the gzip data ends too early, at compressed byte " +
                              std::to_string(InputOffset()));
  }

  // The file offset of the next compressed byte not yet taken by zlib.
  std::uint64_t InputOffset() const { return nextRead_ - strm_.avail_in; }

  void End() {
    if (live_) inflateEnd(&strm_);
    live_ = false;
    strm_ = z_stream{};
  }

  // Makes at least n compressed bytes available; false at the end of the file.
  bool Fill(std::size_t n) {
    if (strm_.avail_in >= n) return true;
    if (strm_.avail_in > 0 && strm_.next_in != input_.data()) {
      std::memmove(input_.data(), strm_.next_in, strm_.avail_in);
    }
    strm_.next_in = input_.data();
    while (strm_.avail_in < n) {
      std::size_t got = file_.Read(input_.data() + strm_.avail_in, kInput - strm_.avail_in,
                                   nextRead_);
      if (got == 0) return false;
      nextRead_ += got;
      strm_.avail_in += static_cast<uInt>(got);
    }
    return true;
  }

  // At the end of a member's deflate data: skip its trailer when reading raw,
  // then go on with the next member if one follows.
  void NextMember() {
    if (raw_) {
      if (!Fill(8)) throw Truncated();
      strm_.next_in += 8;
      strm_.avail_in -= 8;
    }
    if (!Fill(2) || strm_.next_in[0] != 0x1f || strm_.next_in[1] != 0x8b) {
      ended_ = true;  // the end, or padding that gzip itself ignores
      return;
    }
    if (inflateReset2(&strm_, 15 + 16) != Z_OK) throw std::runtime_error("zlib could not be reset");
    raw_ = false;
  }

  const File& file_;
  std::vector<unsigned char> input_;
  z_stream strm_{};
  bool live_ = false;
  bool raw_ = false;
  bool ended_ = false;
  std::uint64_t nextRead_ = 0;  // file offset of the next compressed read
  std::uint64_t out_ = 0;       // content offset of the next byte produced
};

class GzipSource final : public ByteSource {
 public:
  GzipSource(const std::string& path, std::uint64_t span)
      : file_(path), recorder_(span), scratch_(kInput) {
    pass_ = std::make_unique<Inflater>(file_);
    pass_->StartAtFileBegin();
  }

  std::size_t ReadNext(char* buffer, std::size_t size) override {
    if (!pass_) return 0;
    std::size_t n = pass_->Inflate(reinterpret_cast<unsigned char*>(buffer), size, &recorder_);
    if (n == 0 && pass_->ended()) {
      size_ = pass_->out();
      points_ = recorder_.Take();
      pass_.reset();
      passDone_ = true;
    }
    return n;
  }

  void ReadAt(std::uint64_t offset, std::size_t size, std::string* out) override {
    out->resize(size);
    if (size == 0) return;
    if (passDone_ && offset + size > size_) {
      throw std::runtime_error("the content of " + file_.path() + " ends before byte " +
                               std::to_string(offset + size));
    }
    Inflater& c = CursorFor(offset);
    while (c.out() < offset) {
      std::size_t step = static_cast<std::size_t>(std::min<std::uint64_t>(kInput, offset - c.out()));
      if (c.Inflate(scratch_.data(), step, nullptr) == 0) break;
    }
    std::size_t got = c.out() == offset
                          ? c.Inflate(reinterpret_cast<unsigned char*>(out->data()), size, nullptr)
                          : 0;
    if (got != size) {
      throw std::runtime_error("the content of " + file_.path() + " ends before byte " +
                               std::to_string(offset + size));
    }
  }

  bool IsCompressed() const override { return true; }

 private:
  Inflater& CursorFor(std::uint64_t offset) {
    ++tick_;
    // The access point nearest before the offset, if any.
    const AccessPoint* point = nullptr;
    auto it = std::upper_bound(points_.begin(), points_.end(), offset,
                               [](std::uint64_t o, const AccessPoint& p) { return o < p.out; });
    if (it != points_.begin()) point = &*(it - 1);
    const std::uint64_t restart = point ? point->out : 0;
    // A cursor between that point and the offset goes on from where it stands.
    int best = -1;
    for (std::size_t i = 0; i < kCursors; ++i) {
      const auto& c = cursors_[i];
      if (c && c->live() && !c->ended() && c->out() <= offset && c->out() >= restart &&
          (best < 0 || c->out() > cursors_[best]->out())) {
        best = static_cast<int>(i);
      }
    }
    if (best < 0) {
      best = 0;
      for (std::size_t i = 0; i < kCursors; ++i) {
        if (!cursors_[i]) {
          best = static_cast<int>(i);
          break;
        }
        if (lastUse_[i] < lastUse_[best]) best = static_cast<int>(i);
      }
      if (!cursors_[best]) cursors_[best] = std::make_unique<Inflater>(file_);
      if (point) {
        cursors_[best]->StartAt(*point);
      } else {
        cursors_[best]->StartAtFileBegin();
      }
    }
    lastUse_[best] = tick_;
    return *cursors_[best];
  }

  File file_;
  PointRecorder recorder_;
  std::unique_ptr<Inflater> pass_;
  bool passDone_ = false;
  std::uint64_t size_ = 0;
  std::vector<AccessPoint> points_;
  std::array<std::unique_ptr<Inflater>, kCursors> cursors_;
  std::array<std::uint64_t, kCursors> lastUse_{};
  std::uint64_t tick_ = 0;
  std::vector<unsigned char> scratch_;
};

}  // namespace

std::unique_ptr<ByteSource> OpenByteSource(const std::string& path) {
  unsigned char magic[2] = {0, 0};
  {
    File f(path);
    if (f.Read(magic, 2, 0) == 2 && magic[0] == 0x1f && magic[1] == 0x8b) {
      return std::make_unique<GzipSource>(path, kSpan);
    }
  }
  return std::make_unique<PlainSource>(path);
}

std::unique_ptr<ByteSource> OpenGzipSource(const std::string& path, std::uint64_t span) {
  return std::make_unique<GzipSource>(path, span);
}

}  // namespace orvane::readers
