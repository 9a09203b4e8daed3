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
// must have, or 0 when it is unknown. Throws std::runtime_error on damaged
// data or a size other than the expected one.
void InflateZlib(std::string_view data, std::size_t expected, std::string* out);

// Base64 text to numbers: decodes, inflates when asked and converts. expected
// is the number of values the file declares (negative: not known); a different
// count is an error. encodedBytes, when above 0, is the number of bytes the
// base64 text must give (mzXML's compressedLen). what names the array in
// messages.
std::vector<double> DecodeNumbers(std::string_view text, const ArrayEncoding& encoding,
                                  long expected, const std::string& what,
                                  long encodedBytes = 0);

}  // namespace orvane::readers
