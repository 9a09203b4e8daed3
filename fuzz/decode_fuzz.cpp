// The decoding of peak arrays: base64 text, zlib, numbers. The first bytes of
// the input choose the call and its options as a file's attributes would;
// the rest is the text (or, for InflateZlib, the compressed bytes).
//
//   byte 0      bits 0-1 number kind, bit 2 zlib, bit 3 big-endian,
//               bits 4-5 the call: DecodeNumbers without or with a declared
//               encoded length, DecodeBase64, InflateZlib
//   bytes 1-4   the declared count of values (signed; negative: not declared),
//               or the expected inflated size for InflateZlib
//   bytes 5-8   the declared encoded length (mzXML compressedLen)
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz_util.h"
#include "readers/binary_decode.h"

using namespace orvane;
using namespace orvane::readers;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Bytes in(data, size);
  const std::uint8_t options = in.U8();
  ArrayEncoding encoding;
  encoding.kind = static_cast<NumberKind>(options & 3);
  encoding.bZlib = in.Bit(options, 2);
  encoding.bBigEndian = in.Bit(options, 3);
  const std::uint32_t declared = in.U32();
  const std::uint32_t encodedLength = in.U32();
  const std::string_view text = in.RestText();
  try {
    switch (options >> 4 & 3) {
      case 0:
        DecodeNumbers(text, encoding, static_cast<std::int32_t>(declared), "the m/z array");
        break;
      case 1:
        DecodeNumbers(text, encoding, static_cast<std::int32_t>(declared), "the peaks",
                      static_cast<std::int32_t>(encodedLength));
        break;
      case 2: {
        std::string bytes;
        DecodeBase64(text, &bytes);
        break;
      }
      case 3: {
        std::string inflated;
        InflateZlib(text, declared, &inflated);
        break;
      }
    }
  } catch (const std::runtime_error&) {
  }
  return 0;
}
