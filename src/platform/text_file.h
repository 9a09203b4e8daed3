// Text files as the engine reads and writes them.
//
// Reading follows the line rule the file formats rely on: one ReadString call
// delivers at most limit-1 characters and stops after the first "\n", so the
// rest of a longer line comes in the next call as if it were a line of its
// own. A CR LF pair reads as a single "\n". GetPosition counts bytes of the
// file, so a CR LF counts two.
//
// A file opened for reading that begins with the gzip magic bytes (1f 8b) is
// read decompressed, whatever its name, one gzip member after the other:
// ReadString delivers the lines of the content by the same rule. GetLength is
// then the size of the compressed file and GetPosition the compressed bytes
// the content read so far came from (to the nearest 64 KiB block of
// content), so their ratio stays the share of the file read; both serve
// progress only. Damaged or cut-off compressed data is a read error, thrown
// by the read after the last content that could be made before it.
//
// Files opened for writing with modeCreate are written under a temporary name
// in the same folder and renamed into place by Close(), so no half-written
// file ever stands under its final name. Open refuses to write a path that has
// been declared an input (see ProtectInput). With modeGzip what is written is
// compressed (gzip); GetLength and GetPosition count the text written.
//
// The path "-" stands for standard input when read and standard output when
// written; such a file is not closed by Close (which flushes a written one),
// and messages name it "standard input" or "standard output".
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

// Why a file operation failed: the path and the system's reason.
class CFileException {
 public:
  CFileException() = default;
  CFileException(std::string path, int errnoValue, std::string reason = {});

  const std::string& Path() const { return path_; }
  int Errno() const { return errno_; }
  // "Cannot open file <path>: <reason>." style text.
  std::string Text() const;
  // Shows Text() through the installed reporter as a file-error box.
  void ReportError() const;

 private:
  std::string path_;
  int errno_ = 0;
  std::string reason_;
};

class CStdioFile {
 public:
  // Open flags of the framework's file class.
  static constexpr unsigned modeRead = 0x0000;
  static constexpr unsigned modeWrite = 0x0001;
  static constexpr unsigned shareDenyWrite = 0x0020;
  static constexpr unsigned modeCreate = 0x1000;
  static constexpr unsigned typeText = 0x4000;
  // Our own: write straight to the final name (for logs that should survive
  // a kill as far as they got).
  static constexpr unsigned modeDirect = 0x00010000;
  // Our own: write gzip-compressed.
  static constexpr unsigned modeGzip = 0x00020000;

  CStdioFile();
  ~CStdioFile();
  CStdioFile(const CStdioFile&) = delete;
  CStdioFile& operator=(const CStdioFile&) = delete;

  // Opens for reading (no modeWrite) or for writing (modeWrite; with
  // modeCreate the file is created or emptied). On failure fills *pError when
  // given and returns false.
  bool Open(const std::string& path, unsigned flags, CFileException* pError = nullptr);
  bool IsOpen() const { return file_ != nullptr; }
  const std::string& GetFilePath() const { return path_; }

  // Reads one piece of a line into buffer (at most limit-1 characters,
  // zero-terminated). Returns buffer, or nullptr at the end of the file when
  // nothing was read. Throws CFileException on a read error; after one the
  // file reads as ended.
  char* ReadString(char* buffer, unsigned limit);
  // True once a read has failed: a caller that stopped at what looked like
  // the end can tell a file cut short by a read error.
  bool ReadFailed() const { return readFailed_; }
  // Lines ReadString has finished so far (the "\n" it has delivered), so
  // the line a read starts on is LinesRead() + 1.
  std::uint64_t LinesRead() const { return linesRead_; }
  // What a reader keeps with the open file between calls that each read a
  // part of it (the MGF reader's place and the file's parameters); empty
  // after Open, dropped by Close and Abort.
  std::shared_ptr<void>& ReaderState() { return readerState_; }

  // Writes text as it stands. Throws CFileException on a write error.
  void WriteString(std::string_view text);

  // Byte offset of the next read or write (compressed files: see above).
  std::uint64_t GetPosition() const;
  // Size of the file in bytes (for a file being written: what has been
  // written so far).
  std::uint64_t GetLength() const;

  // Closes; a file written under a temporary name is renamed into place.
  // Throws CFileException if the final flush or the rename fails; a file a
  // write failed on is thrown away and the failure thrown again.
  void Close();
  // Closes and throws away what was written under a temporary name.
  void Abort();

 private:
  struct Gzip;
  struct GzipOut;
  bool FillBuffer();
  void Put(const char* data, std::size_t size);
  // Up to size bytes of content: the file's own bytes, or decompressed ones.
  std::size_t ReadContent(char* buffer, std::size_t size);
  std::size_t Inflate(char* buffer, std::size_t size);

  std::FILE* file_ = nullptr;
  std::string path_;
  std::string tempPath_;  // non-empty while writing under a temporary name
  bool writing_ = false;
  std::vector<char> buf_;
  std::size_t bufPos_ = 0;
  std::size_t bufLen_ = 0;
  std::uint64_t bufStart_ = 0;  // content offset of buf_[0]
  std::uint64_t written_ = 0;
  bool readFailed_ = false;
  int writeErrno_ = 0;  // a file cut short by a write error is never renamed into place
  std::uint64_t linesRead_ = 0;
  std::shared_ptr<void> readerState_;
  std::unique_ptr<Gzip> gzip_;  // set while a compressed file is read
  std::unique_ptr<GzipOut> gzipOut_;  // set while a compressed file is written
  bool standard_ = false;  // standard input or output, which Close leaves open
};

// The name a path has in messages: "standard input" or "standard output" for
// "-", the path itself otherwise.
std::string ShownPath(const std::string& path, bool writing = false);

// Declares a path as an input of the run: no CStdioFile opens it for writing
// while it is protected. Identity is by device and inode where the file
// exists, by normalised path otherwise. Thread-safe.
void ProtectInput(const std::string& path);
void ClearProtectedInputs();
// True if writing to path would write to a protected input.
bool IsProtectedInput(const std::string& path);

// The size of the file at path in bytes; 0 for "-" (a stream) and for a file
// that can't be seen.
std::uint64_t FileBytes(const std::string& path);

// The path without a final ".gz" (any case): "run.mgf.gz" gives "run.mgf", so
// that a compressed input names its outputs as the plain one would.
std::string WithoutGzipSuffix(const std::string& path);

}  // namespace orvane
