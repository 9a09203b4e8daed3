#include "platform/text_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>
#include <utility>

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

CFileException::CFileException(std::string path, int errnoValue, std::string reason)
    : path_(std::move(path)), errno_(errnoValue), reason_(std::move(reason)) {}

std::string CFileException::Text() const {
  std::string reason = reason_.empty() ? std::string(std::strerror(errno_)) : reason_;
  return "Cannot access file " + path_ + ": " + reason + ".";
}

void CFileException::ReportError() const { ShowFileError(Text()); }

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
  path_ = path;
  writing_ = (flags & modeWrite) != 0;
  bufPos_ = bufLen_ = 0;
  bufStart_ = written_ = 0;
  tempPath_.clear();
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
  file_ = std::fopen(path.c_str(), "rb");
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
  return true;
}

bool CStdioFile::FillBuffer() {
  // Keep nothing of the old block: callers only call this when it is used up.
  bufStart_ += bufLen_;
  bufPos_ = 0;
  bufLen_ = std::fread(buf_.data(), 1, buf_.size(), file_);
  if (bufLen_ == 0 && std::ferror(file_)) throw CFileException(path_, errno ? errno : EIO);
  return bufLen_ > 0;
}

char* CStdioFile::ReadString(char* buffer, unsigned limit) {
  if (file_ == nullptr || writing_ || limit == 0) return nullptr;
  const std::size_t max = limit - 1;
  std::size_t n = 0;
  bool any = false;
  while (n < max) {
    if (bufPos_ == bufLen_ && !FillBuffer()) break;
    any = true;
    char c = buf_[bufPos_];
    if (c == '\r') {
      // CR LF reads as "\n"; look one byte ahead, across a block boundary.
      if (bufPos_ + 1 == bufLen_) {
        // Move the CR to a fresh block so the look-ahead can see the next byte.
        const std::uint64_t crOffset = bufStart_ + bufPos_;
        std::fseek(file_, static_cast<long>(crOffset), SEEK_SET);
        bufStart_ = crOffset;
        bufLen_ = 0;
        bufPos_ = 0;
        if (!FillBuffer()) break;
      }
      if (bufPos_ + 1 < bufLen_ && buf_[bufPos_ + 1] == '\n') {
        ++bufPos_;
        c = '\n';
      }
    }
    ++bufPos_;
    buffer[n++] = c;
    if (c == '\n') break;
  }
  buffer[n] = '\0';
  return any ? buffer : nullptr;
}

void CStdioFile::WriteString(std::string_view text) {
  if (file_ == nullptr || !writing_) throw CFileException(path_, EBADF);
  if (!text.empty() && std::fwrite(text.data(), 1, text.size(), file_) != text.size())
    throw CFileException(path_, errno ? errno : EIO);
  written_ += text.size();
}

std::uint64_t CStdioFile::GetPosition() const {
  if (writing_) return written_;
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
  std::FILE* f = std::exchange(file_, nullptr);
  const bool flushFailed = std::fclose(f) != 0;
  const int err = errno;
  buf_.clear();
  buf_.shrink_to_fit();
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
  if (file_ != nullptr) {
    std::fclose(file_);
    file_ = nullptr;
  }
  if (!tempPath_.empty()) {
    std::remove(tempPath_.c_str());
    tempPath_.clear();
  }
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

}  // namespace orvane
