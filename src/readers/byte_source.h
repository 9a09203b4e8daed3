// The content of an instrument file, plain or gzip-compressed: read once from
// front to back (the scan pass), then at any offset (the peaks of one scan).
//
// Offsets are those of the uncompressed content in both cases. A plain file
// is read with pread. A gzip file keeps a bounded set of access points, each
// the state of the decompressor at a deflate block boundary (the compressed
// position, the bits of its first byte, and the last 32 KiB of output) taken
// about every `span` bytes of output during the front-to-back pass; at most
// kMaxAccessPoints are kept, so their memory is bounded by 4 MiB whatever the
// file size (the span doubles when the set is full). A random read resumes
// decompression at the nearest access point before the offset. On top of
// that a few open decompression cursors are kept: a read at or after the
// position of a cursor continues it instead of starting again, so reads that
// move forward through the file (as a conversion does, even when survey and
// MS/MS scans lie in two separate regions) decompress each byte about once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace orvane::readers {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // The next bytes of the front-to-back pass; 0 at the end of the content.
  virtual std::size_t ReadNext(char* buffer, std::size_t size) = 0;
  // size bytes of the content from offset on. Throws std::runtime_error when
  // the content ends before.
  virtual void ReadAt(std::uint64_t offset, std::size_t size, std::string* out) = 0;
  virtual bool IsCompressed() const = 0;
};

inline constexpr std::size_t kMaxAccessPoints = 128;

// Opens the file; a gzip file is known by its first two bytes, whatever its
// name. Throws std::runtime_error with the system's reason when it can't be
// opened.
std::unique_ptr<ByteSource> OpenByteSource(const std::string& path);

// The gzip source with a chosen initial access point span, for tests.
std::unique_ptr<ByteSource> OpenGzipSource(const std::string& path, std::uint64_t span);

}  // namespace orvane::readers
