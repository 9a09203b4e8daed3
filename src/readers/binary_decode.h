// Decoding of the peak arrays of mzML and mzXML files: base64 text, optional
// zlib compression, then little- or big-endian numbers of 32 or 64 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::readers {

// How the numbers of one array are stored.
enum class NumberKind : std::uint8_t { kFloat32, kFloat64, kInt32, kInt64 };

inline std::size_t NumberWidth(NumberKind kind) {
  return (kind == NumberKind::kFloat32 || kind == NumberKind::kInt32) ? 4 : 8;
}

// The most one peak array may hold once decoded and inflated: 64 MiB, that is
// 8 million 64-bit or 16 million 32-bit values, far above any real spectrum.
// A file that asks for more is refused rather than trusted with the memory.
inline constexpr std::size_t kMaxArrayBytes = std::size_t{64} << 20;
// The longest base64 text of one array: that of kMaxArrayBytes, with room for
// line breaks.
inline constexpr std::uint64_t kMaxArrayText = kMaxArrayBytes / 3 * 4 + kMaxArrayBytes / 8;

struct ArrayEncoding {
  NumberKind kind = NumberKind::kFloat64;
  bool bZlib = false;
  bool bBigEndian = false;  // mzML is little-endian; mzXML says "network" (big)
};

// Base64 text to bytes. White space anywhere is skipped; "=" padding ends the
// data. Throws std::runtime_error on any other character or a dangling
// final group.
void DecodeBase64(std::string_view text, std::string* out);

// Inflates a zlib stream. expected is the size the caller knows the result
// must have, or 0 when it is unknown; the output grows as the data gives it,
// never to the expected size up front. Throws std::runtime_error on damaged
// data, a size other than the expected one, or (size unknown) more than
// kMaxArrayBytes of output.
void InflateZlib(std::string_view data, std::size_t expected, std::string* out);

// Base64 text to numbers: decodes, inflates when asked and converts. expected
// is the number of values the file declares (negative: not known); a different
// count is an error, and so is a count the text can't hold or one beyond
// kMaxArrayBytes. encodedBytes, when above 0, is the number of bytes the
// base64 text must give (mzXML's compressedLen). what names the array in
// messages.
std::vector<double> DecodeNumbers(std::string_view text, const ArrayEncoding& encoding,
                                  long expected, const std::string& what,
                                  long encodedBytes = 0);

}  // namespace orvane::readers
