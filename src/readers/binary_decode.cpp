#include "readers/binary_decode.h"

#include <zlib.h>

#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace orvane::readers {
namespace {

constexpr unsigned char kSpace = 64;
constexpr unsigned char kPad = 65;
constexpr unsigned char kBad = 255;

constexpr std::array<unsigned char, 256> MakeTable() {
  std::array<unsigned char, 256> t{};
  for (auto& v : t) v = kBad;
  const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (unsigned char i = 0; i < 64; ++i) t[static_cast<unsigned char>(alphabet[i])] = i;
  t[' '] = t['\t'] = t['\n'] = t['\r'] = kSpace;
  t['='] = kPad;
  return t;
}
constexpr std::array<unsigned char, 256> kTable = MakeTable();

template <typename T>
T Load(const char* p, bool bigEndian) {
  T v;
  std::memcpy(&v, p, sizeof v);
  if (bigEndian) {
    if constexpr (sizeof(T) == 4) {
      std::uint32_t u;
      std::memcpy(&u, &v, 4);
      u = __builtin_bswap32(u);
      std::memcpy(&v, &u, 4);
    } else {
      std::uint64_t u;
      std::memcpy(&u, &v, 8);
      u = __builtin_bswap64(u);
      std::memcpy(&v, &u, 8);
    }
  }
  return v;
}

}  // namespace

void DecodeBase64(std::string_view text, std::string* out) {
  out->clear();
  out->reserve(text.size() / 4 * 3 + 3);
  std::uint32_t acc = 0;
  int n = 0;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    unsigned char v = kTable[static_cast<unsigned char>(text[i])];
    if (v < 64) {
      acc = (acc << 6) | v;
      if (++n == 4) {
        out->push_back(static_cast<char>(acc >> 16));
        out->push_back(static_cast<char>(acc >> 8));
        out->push_back(static_cast<char>(acc));
        acc = 0;
        n = 0;
      }
    } else if (v == kSpace) {
      continue;
    } else if (v == kPad) {
      break;
    } else {
      throw std::runtime_error("invalid character in base64 data");
    }
  }
  // What follows the padding may only be more padding and white space.
  for (; i < text.size(); ++i) {
    unsigned char v = kTable[static_cast<unsigned char>(text[i])];
    if (v != kPad && v != kSpace) throw std::runtime_error("base64 data goes on after its padding");
  }
  if (n == 1) throw std::runtime_error("base64 data ends in the middle of a byte");
  if (n == 2) {
    out->push_back(static_cast<char>(acc >> 4));
  } else if (n == 3) {
    out->push_back(static_cast<char>(acc >> 10));
    out->push_back(static_cast<char>(acc >> 2));
  }
}

namespace {

// Inflates data into out, growing it as the stream gives output. At most bound
// bytes are taken: declared says whether bound is the size the file declares
// (then the output must have it exactly) or only the most this reader takes.
void Inflate(std::string_view data, std::size_t bound, bool declared, std::string* out) {
  out->clear();
  if (data.size() > std::numeric_limits<uInt>::max()) {
    throw std::runtime_error("zlib data of " + std::to_string(data.size()) + " bytes is too long");
  }
  z_stream strm{};
  if (inflateInit(&strm) != Z_OK) throw std::runtime_error("zlib could not be started");
  strm.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  strm.avail_in = static_cast<uInt>(data.size());
  // One byte beyond the bound tells that the data goes on past it.
  const std::size_t most = bound + 1;
  out->resize(std::min(most, data.size() * 4 + 1024));
  std::size_t produced = 0;
  int ret = Z_OK;
  while (true) {
    if (produced == out->size()) {
      if (produced >= most) break;
      out->resize(std::min(most, out->size() * 2));
    }
    strm.next_out = reinterpret_cast<Bytef*>(out->data() + produced);
    strm.avail_out = static_cast<uInt>(std::min<std::size_t>(out->size() - produced,
                                                             std::numeric_limits<uInt>::max()));
    const uInt before = strm.avail_out;
    ret = inflate(&strm, Z_NO_FLUSH);
    produced += before - strm.avail_out;
    if (ret == Z_STREAM_END) break;
    if (ret == Z_BUF_ERROR && strm.avail_in == 0) {
      inflateEnd(&strm);
      throw std::runtime_error("zlib data ends too early");
    }
    if (ret != Z_OK && ret != Z_BUF_ERROR) {
      std::string msg = strm.msg ? strm.msg : "unknown error";
      inflateEnd(&strm);
      throw std::runtime_error("damaged zlib data (" + msg + ")");
    }
  }
  inflateEnd(&strm);
  if (produced > bound) {
    if (declared) {
      throw std::runtime_error("zlib data holds more than the " + std::to_string(bound) +
                               " bytes expected");
    }
    throw std::runtime_error("zlib data inflates beyond " + std::to_string(bound) +
                             " bytes, more than this reader takes for one array");
  }
  if (declared && produced != bound) {
    throw std::runtime_error("zlib data holds " + std::to_string(produced) + " bytes, expected " +
                             std::to_string(bound));
  }
  out->resize(produced);
}

}  // namespace

void InflateZlib(std::string_view data, std::size_t expected, std::string* out) {
  if (expected > kMaxArrayBytes) {
    throw std::runtime_error("zlib data declared to hold " + std::to_string(expected) +
                             " bytes, more than this reader takes for one array");
  }
  Inflate(data, expected > 0 ? expected : kMaxArrayBytes, expected > 0, out);
}

std::vector<double> DecodeNumbers(std::string_view text, const ArrayEncoding& encoding,
                                  long expected, const std::string& what, long encodedBytes) {
  std::vector<double> values;
  try {
    std::string bytes;
    const std::size_t width = NumberWidth(encoding.kind);
    const std::size_t most = kMaxArrayBytes / width;
    if (expected > 0 && static_cast<unsigned long>(expected) > most) {
      throw std::runtime_error("the file declares " + std::to_string(expected) +
                               " values, more than the " + std::to_string(most) +
                               " this reader takes in one array");
    }
    // The text holds at most 3 bytes per 4 characters, white space and padding included.
    const std::size_t room = text.size() / 4 * 3 + 2;
    if (!encoding.bZlib && expected > 0 && static_cast<unsigned long>(expected) > room / width) {
      throw std::runtime_error("the file declares " + std::to_string(expected) +
                               " values, its text holds at most " + std::to_string(room / width));
    }
    if (text.size() > kMaxArrayText) {
      throw std::runtime_error("its text of " + std::to_string(text.size()) +
                               " bytes is longer than this reader takes for one array");
    }
    DecodeBase64(text, &bytes);
    if (bytes.size() > kMaxArrayBytes) {
      throw std::runtime_error("its text holds " + std::to_string(bytes.size()) +
                               " bytes, more than this reader takes for one array");
    }
    if (encodedBytes > 0 && bytes.size() != static_cast<std::size_t>(encodedBytes)) {
      throw std::runtime_error("holds " + std::to_string(bytes.size()) +
                               " compressed bytes, the file declares " +
                               std::to_string(encodedBytes));
    }
    if (encoding.bZlib && !bytes.empty()) {
      std::string inflated;
      if (expected >= 0) {
        Inflate(bytes, static_cast<std::size_t>(expected) * width, true, &inflated);
      } else {
        Inflate(bytes, kMaxArrayBytes, false, &inflated);
      }
      bytes.swap(inflated);
    }
    if (bytes.size() % width != 0) {
      throw std::runtime_error(std::to_string(bytes.size()) + " bytes is not a whole number of " +
                               std::to_string(width * 8) + "-bit values");
    }
    const std::size_t count = bytes.size() / width;
    if (expected >= 0 && count != static_cast<std::size_t>(expected)) {
      throw std::runtime_error("holds " + std::to_string(count) + " values, the file declares " +
                               std::to_string(expected));
    }
    values.resize(count);
    const char* p = bytes.data();
    const bool big = encoding.bBigEndian;
    switch (encoding.kind) {
      case NumberKind::kFloat32:
        for (std::size_t i = 0; i < count; ++i) values[i] = Load<float>(p + 4 * i, big);
        break;
      case NumberKind::kFloat64:
        for (std::size_t i = 0; i < count; ++i) values[i] = Load<double>(p + 8 * i, big);
        break;
      case NumberKind::kInt32:
        for (std::size_t i = 0; i < count; ++i)
          values[i] = static_cast<double>(Load<std::int32_t>(p + 4 * i, big));
        break;
      case NumberKind::kInt64:
        for (std::size_t i = 0; i < count; ++i)
          values[i] = static_cast<double>(Load<std::int64_t>(p + 8 * i, big));
        break;
    }
  } catch (const std::runtime_error& e) {
    throw std::runtime_error(what + ": " + e.what());
  }
  return values;
}

}  // namespace orvane::readers
