#include "platform/text_file.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

constexpr std::size_t kReadBlock = 1 << 16;

struct FileId {
  dev_t dev;
  ino_t ino;
  friend bool operator<(const FileId& a, const FileId& b) {
    return a.dev != b.dev ? a.dev < b.dev : a.ino < b.ino;
  }
};

struct Protected {
  std::mutex mutex;
  std::set<FileId> ids;
  std::set<std::string> names;
};

Protected& protectedInputs() {
  static Protected* p = new Protected;
  return *p;
}

std::string Normalise(const std::string& path) {
  char* resolved = ::realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return path;
  std::string r(resolved);
  std::free(resolved);
  return r;
}

std::string TempNameFor(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  const auto slash = path.find_last_of('/');
  const std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return folder + "." + name + ".part-" + std::to_string(::getpid()) + "-" +
         std::to_string(counter.fetch_add(1));
}

}  // namespace

// The decompressor of a gzip file being read, and what it has used of the file.
struct CStdioFile::Gzip {
  z_stream stream{};
  std::vector<unsigned char> input = std::vector<unsigned char>(kReadBlock);
  std::uint64_t fileRead = 0;   // compressed bytes read from the file
  std::uint64_t produced = 0;   // content bytes made
  bool inMember = true;         // inside a member, where the file must not end
  bool ended = false;           // the last member is done
  std::uint64_t blockFrom = 0;  // compressed bytes used before the content in buf_
  std::uint64_t blockTo = 0;    // and after it
  // A read error met after some content was made: that content is delivered
  // first, and the error is thrown by the next read.
  std::optional<CFileException> pending;

  Gzip() = default;
  Gzip(const Gzip&) = delete;
  Gzip& operator=(const Gzip&) = delete;
  ~Gzip() { inflateEnd(&stream); }

  std::uint64_t Consumed() const { return fileRead - stream.avail_in; }

  // Reads more of the file behind the bytes not yet used; false at its end.
  bool Refill(std::FILE* file, const std::string& path) {
    if (stream.avail_in > 0) std::memmove(input.data(), stream.next_in, stream.avail_in);
    const std::size_t n = std::fread(input.data() + stream.avail_in, 1,
                                     input.size() - stream.avail_in, file);
    if (n == 0 && std::ferror(file)) throw CFileException(path, errno ? errno : EIO);
    stream.next_in = input.data();
    stream.avail_in += static_cast<uInt>(n);
    fileRead += n;
    return n > 0;
  }
};

// The compressor of a gzip file being written.
struct CStdioFile::GzipOut {
  z_stream stream{};
  std::vector<unsigned char> output = std::vector<unsigned char>(kReadBlock);

  GzipOut() = default;
  GzipOut(const GzipOut&) = delete;
  GzipOut& operator=(const GzipOut&) = delete;
  ~GzipOut() { deflateEnd(&stream); }
};

std::string ShownPath(const std::string& path, bool writing) {
  if (path != "-") return path;
  return writing ? "standard output" : "standard input";
}

CFileException::CFileException(std::string path, int errnoValue, std::string reason)
    : path_(std::move(path)), errno_(errnoValue), reason_(std::move(reason)) {}

std::string CFileException::Text() const {
  std::string reason = reason_.empty() ? std::string(std::strerror(errno_)) : reason_;
  return "Cannot access file " + path_ + ": " + reason + ".";
}

void CFileException::ReportError() const { ShowFileError(Text()); }

CStdioFile::CStdioFile() = default;

CStdioFile::~CStdioFile() {
  if (file_ == nullptr) return;
  try {
    Close();
  } catch (...) {
    // A destructor cannot report; the temporary file is gone with Abort.
    Abort();
  }
}

bool CStdioFile::Open(const std::string& path, unsigned flags, CFileException* pError) {
  if (file_ != nullptr) Close();
  writing_ = (flags & modeWrite) != 0;
  standard_ = path == "-";
  path_ = ShownPath(path, writing_);
  bufPos_ = bufLen_ = 0;
  bufStart_ = written_ = 0;
  tempPath_.clear();
  readFailed_ = false;
  linesRead_ = 0;
  readerState_.reset();
  gzip_.reset();
  gzipOut_.reset();
  if (writing_ && (flags & modeGzip) != 0) {
    auto gzip = std::make_unique<GzipOut>();
    if (deflateInit2(&gzip->stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
      if (pError) *pError = CFileException(path_, ENOMEM, "zlib could not be started");
      return false;
    }
    gzipOut_ = std::move(gzip);
  }
  if (writing_ && standard_) {
    file_ = stdout;
    return true;
  }
  if (writing_) {
    if (IsProtectedInput(path)) {
      if (pError) *pError = CFileException(path, EPERM, "it is an input of this run and is never written");
      return false;
    }
    const bool create = (flags & modeCreate) != 0;
    if (create && (flags & modeDirect) == 0) {
      tempPath_ = TempNameFor(path);
      file_ = std::fopen(tempPath_.c_str(), "wb");
      if (file_ == nullptr) {
        const int err = errno;
        tempPath_.clear();
        if (pError) *pError = CFileException(path, err);
        return false;
      }
    } else {
      file_ = std::fopen(path.c_str(), create ? "wb" : "r+b");
      if (file_ == nullptr) {
        if (pError) *pError = CFileException(path, errno);
        return false;
      }
      if (!create) std::fseek(file_, 0, SEEK_END);
      written_ = static_cast<std::uint64_t>(std::ftell(file_));
    }
    static constexpr std::size_t kWriteBuffer = 1 << 16;
    std::setvbuf(file_, nullptr, _IOFBF, kWriteBuffer);
    return true;
  }
  file_ = standard_ ? stdin : std::fopen(path.c_str(), "rb");
  if (file_ == nullptr) {
    if (pError) *pError = CFileException(path, errno);
    return false;
  }
  struct stat st {};
  if (::fstat(::fileno(file_), &st) == 0 && S_ISDIR(st.st_mode)) {
    std::fclose(file_);
    file_ = nullptr;
    if (pError) *pError = CFileException(path, EISDIR);
    return false;
  }
  buf_.resize(kReadBlock);
  // The first two bytes tell a gzip file; a plain file keeps them as the
  // start of its first block.
  unsigned char magic[2];
  const std::size_t n = std::fread(magic, 1, 2, file_);
  if (n == 2 && magic[0] == 0x1f && magic[1] == 0x8b) {
    auto gzip = std::make_unique<Gzip>();
    if (inflateInit2(&gzip->stream, 15 + 16) != Z_OK) {
      std::fclose(file_);
      file_ = nullptr;
      if (pError) *pError = CFileException(path, ENOMEM, "zlib could not be started");
      return false;
    }
    std::memcpy(gzip->input.data(), magic, 2);
    gzip->stream.next_in = gzip->input.data();
    gzip->stream.avail_in = 2;
    gzip->fileRead = 2;
    gzip_ = std::move(gzip);
  } else {
    std::memcpy(buf_.data(), magic, n);
    bufLen_ = n;
  }
  return true;
}

std::size_t CStdioFile::ReadContent(char* buffer, std::size_t size) {
  if (gzip_ != nullptr) {
    if (gzip_->pending) {
      const CFileException error = *gzip_->pending;
      gzip_->pending.reset();
      throw error;
    }
    gzip_->blockFrom = gzip_->Consumed();
    const std::size_t n = Inflate(buffer, size);
    gzip_->blockTo = gzip_->Consumed();
    return n;
  }
  const std::size_t n = std::fread(buffer, 1, size, file_);
  if (n == 0 && std::ferror(file_)) throw CFileException(path_, errno ? errno : EIO);
  return n;
}

std::size_t CStdioFile::Inflate(char* buffer, std::size_t size) {
  Gzip& gz = *gzip_;
  z_stream& z = gz.stream;
  z.next_out = reinterpret_cast<Bytef*>(buffer);
  z.avail_out = static_cast<uInt>(size);
  // Where the content stands: the place a damaged file names.
  auto made = [&] { return static_cast<unsigned long long>(gz.produced + (size - z.avail_out)); };
  // The content made before an error is delivered, so a reader sees every
  // line up to the damage and names the right place; the next read throws.
  auto fail = [&](CFileException error) {
    if (z.avail_out == size) throw error;
    gz.pending = std::move(error);
  };
  while (z.avail_out > 0 && !gz.ended && !gz.pending) {
    if (!gz.inMember) {
      // Another member follows, or bytes that are no gzip data (padding, say)
      // and end the content, as gzip itself takes them.
      if (z.avail_in < 2) gz.Refill(file_, path_);
      if (z.avail_in < 2 || z.next_in[0] != 0x1f || z.next_in[1] != 0x8b) {
        gz.ended = true;
        break;
      }
      inflateReset(&z);
      gz.inMember = true;
    }
    if (z.avail_in == 0 && !gz.Refill(file_, path_)) {
      fail(CFileException(
          path_, EIO,
          Format("its gzip data ends early, after %llu bytes of content (the file is cut short)",
                 made())));
      break;
    }
    const int rc = inflate(&z, Z_NO_FLUSH);
    if (rc == Z_STREAM_END) {
      gz.inMember = false;
    } else if (rc != Z_OK && rc != Z_BUF_ERROR) {
      fail(CFileException(path_, EIO,
                          Format("its gzip data is damaged after %llu bytes of content (%s)",
                                 made(), z.msg != nullptr ? z.msg : "zlib error")));
      break;
    }
  }
  const std::size_t n = size - z.avail_out;
  gz.produced += n;
  return n;
}

bool CStdioFile::FillBuffer() {
  // Keep nothing of the old block: callers only call this when it is used up.
  bufStart_ += bufLen_;
  bufPos_ = 0;
  bufLen_ = 0;
  bufLen_ = ReadContent(buf_.data(), buf_.size());
  return bufLen_ > 0;
}

char* CStdioFile::ReadString(char* buffer, unsigned limit) {
  if (file_ == nullptr || writing_ || limit == 0) return nullptr;
  const std::size_t max = limit - 1;
  std::size_t n = 0;
  bool any = false;
  buffer[0] = '\0';
  if (readFailed_) return nullptr;
  try {
    while (n < max) {
      if (bufPos_ == bufLen_ && !FillBuffer()) break;
      any = true;
      char c = buf_[bufPos_];
      if (c == '\r') {
        // CR LF reads as "\n"; look one byte ahead, across a block boundary.
        if (bufPos_ + 1 == bufLen_) {
          // Carry the CR to the front of a fresh block so the look-ahead can
          // see the byte after it.
          bufStart_ += bufPos_;
          buf_[0] = '\r';
          bufPos_ = 0;
          bufLen_ = 1;
          bufLen_ += ReadContent(buf_.data() + 1, buf_.size() - 1);
        }
        if (bufPos_ + 1 < bufLen_ && buf_[bufPos_ + 1] == '\n') {
          ++bufPos_;
          c = '\n';
        }
      }
      ++bufPos_;
      buffer[n++] = c;
      if (c == '\n') {
        ++linesRead_;
        break;
      }
    }
  } catch (const CFileException&) {
    readFailed_ = true;
    throw;
  }
  buffer[n] = '\0';
  return any ? buffer : nullptr;
}

void CStdioFile::Put(const char* data, std::size_t size) {
  if (size > 0 && std::fwrite(data, 1, size, file_) != size) {
    writeErrno_ = errno ? errno : EIO;
    throw CFileException(path_, writeErrno_);
  }
}

void CStdioFile::WriteString(std::string_view text) {
  if (file_ == nullptr || !writing_) throw CFileException(path_, EBADF);
  if (gzipOut_ == nullptr) {
    Put(text.data(), text.size());
  } else {
    z_stream& z = gzipOut_->stream;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    z.avail_in = static_cast<uInt>(text.size());
    while (z.avail_in > 0) {
      z.next_out = gzipOut_->output.data();
      z.avail_out = static_cast<uInt>(gzipOut_->output.size());
      deflate(&z, Z_NO_FLUSH);
      Put(reinterpret_cast<const char*>(gzipOut_->output.data()), gzipOut_->output.size() - z.avail_out);
    }
  }
  written_ += text.size();
}

std::uint64_t CStdioFile::GetPosition() const {
  if (writing_) return written_;
  if (gzip_ != nullptr) {
    const Gzip& gz = *gzip_;
    if (gz.ended && bufPos_ == bufLen_) return GetLength();  // all read; padding too
    if (bufLen_ == 0) return gz.blockTo;
    return gz.blockFrom + (gz.blockTo - gz.blockFrom) * bufPos_ / bufLen_;
  }
  return bufStart_ + bufPos_;
}

std::uint64_t CStdioFile::GetLength() const {
  if (file_ == nullptr) return 0;
  if (writing_) return written_;
  struct stat st {};
  if (::fstat(::fileno(file_), &st) != 0) return 0;
  return static_cast<std::uint64_t>(st.st_size);
}

void CStdioFile::Close() {
  if (file_ == nullptr) return;
  if (gzipOut_ != nullptr && writeErrno_ == 0) {
    // The end of the compressed stream; a failure here is a failed write.
    z_stream& z = gzipOut_->stream;
    int rc = Z_OK;
    try {
      do {
        z.next_out = gzipOut_->output.data();
        z.avail_out = static_cast<uInt>(gzipOut_->output.size());
        rc = deflate(&z, Z_FINISH);
        Put(reinterpret_cast<const char*>(gzipOut_->output.data()), gzipOut_->output.size() - z.avail_out);
      } while (rc == Z_OK);
    } catch (const CFileException&) {
    }
  }
  gzipOut_.reset();
  std::FILE* f = std::exchange(file_, nullptr);
  readerState_.reset();
  const bool flushFailed = standard_ ? std::fflush(f) != 0 : std::fclose(f) != 0;
  const int err = errno;
  gzip_.reset();
  buf_.clear();
  buf_.shrink_to_fit();
  if (const int writeErr = std::exchange(writeErrno_, 0); writeErr != 0) {
    // Part of what was to be written is missing: nothing of it stays.
    if (!tempPath_.empty()) std::remove(std::exchange(tempPath_, std::string()).c_str());
    throw CFileException(path_, writeErr);
  }
  if (!tempPath_.empty()) {
    const std::string temp = std::exchange(tempPath_, std::string());
    if (flushFailed) {
      std::remove(temp.c_str());
      throw CFileException(path_, err);
    }
    if (std::rename(temp.c_str(), path_.c_str()) != 0) {
      const int renameErr = errno;
      std::remove(temp.c_str());
      throw CFileException(path_, renameErr);
    }
  } else if (flushFailed && writing_) {
    throw CFileException(path_, err);
  }
}

void CStdioFile::Abort() {
  readerState_.reset();
  writeErrno_ = 0;
  gzipOut_.reset();
  if (file_ != nullptr) {
    if (standard_) std::fflush(file_);
    else std::fclose(file_);
    file_ = nullptr;
  }
  if (!tempPath_.empty()) {
    std::remove(tempPath_.c_str());
    tempPath_.clear();
  }
  gzip_.reset();
  buf_.clear();
}

void ProtectInput(const std::string& path) {
  auto& p = protectedInputs();
  std::lock_guard lock(p.mutex);
  struct stat st {};
  if (::stat(path.c_str(), &st) == 0) p.ids.insert({st.st_dev, st.st_ino});
  p.names.insert(Normalise(path));
}

void ClearProtectedInputs() {
  auto& p = protectedInputs();
  std::lock_guard lock(p.mutex);
  p.ids.clear();
  p.names.clear();
}

bool IsProtectedInput(const std::string& path) {
  auto& p = protectedInputs();
  std::lock_guard lock(p.mutex);
  if (p.ids.empty() && p.names.empty()) return false;
  struct stat st {};
  if (::stat(path.c_str(), &st) == 0 && p.ids.count({st.st_dev, st.st_ino})) return true;
  return p.names.count(Normalise(path)) != 0;
}

std::uint64_t FileBytes(const std::string& path) {
  struct stat st {};
  if (path == "-" || ::stat(path.c_str(), &st) != 0) return 0;
  return static_cast<std::uint64_t>(st.st_size);
}

std::string WithoutGzipSuffix(const std::string& path) {
  const std::size_t n = path.size();
  if (n > 3 && path[n - 3] == '.' && (path[n - 2] == 'g' || path[n - 2] == 'G') &&
      (path[n - 1] == 'z' || path[n - 1] == 'Z'))
    return path.substr(0, n - 3);
  return path;
}

}  // namespace orvane
