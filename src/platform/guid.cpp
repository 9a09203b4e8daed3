#include "platform/guid.h"

#include <cstdio>
#include <stdexcept>

namespace orvane {
namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `digits` hex digits from text at pos; false if any is not hex.
bool ReadHex(std::string_view text, std::size_t pos, int digits, std::uint64_t& out) {
  out = 0;
  for (int i = 0; i < digits; ++i) {
    const int v = HexValue(text[pos + static_cast<std::size_t>(i)]);
    if (v < 0) return false;
    out = (out << 4) | static_cast<std::uint64_t>(v);
  }
  return true;
}

}  // namespace

std::optional<GUID> GUID::Parse(std::string_view text) {
  if (text.size() == 38) {
    if (text.front() != '{' || text.back() != '}') return std::nullopt;
    text = text.substr(1, 36);
  }
  if (text.size() != 36) return std::nullopt;
  if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') return std::nullopt;
  GUID g;
  std::uint64_t v = 0;
  if (!ReadHex(text, 0, 8, v)) return std::nullopt;
  g.Data1 = static_cast<std::uint32_t>(v);
  if (!ReadHex(text, 9, 4, v)) return std::nullopt;
  g.Data2 = static_cast<std::uint16_t>(v);
  if (!ReadHex(text, 14, 4, v)) return std::nullopt;
  g.Data3 = static_cast<std::uint16_t>(v);
  const std::size_t bytePos[8] = {19, 21, 24, 26, 28, 30, 32, 34};
  for (int i = 0; i < 8; ++i) {
    if (!ReadHex(text, bytePos[i], 2, v)) return std::nullopt;
    g.Data4[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(v);
  }
  return g;
}

GUID GUID::FromString(std::string_view text) {
  auto g = Parse(text);
  if (!g) throw std::invalid_argument("malformed GUID: " + std::string(text));
  return *g;
}

std::string GUID::ToString() const {
  char buf[40];
  std::snprintf(buf, sizeof buf, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(Data1), static_cast<unsigned>(Data2),
                static_cast<unsigned>(Data3), Data4[0], Data4[1], Data4[2], Data4[3], Data4[4],
                Data4[5], Data4[6], Data4[7]);
  return buf;
}

std::size_t GuidHash::operator()(const GUID& g) const noexcept {
  std::size_t h = g.Data1;
  h = h * 1000003u ^ g.Data2;
  h = h * 1000003u ^ g.Data3;
  for (auto b : g.Data4) h = h * 131u ^ b;
  return h;
}

}  // namespace orvane
