#include "platform/format.h"

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace orvane {

std::string Format(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const int needed = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string out;
  if (needed > 0) {
    out.resize(static_cast<std::size_t>(needed));
    std::vsnprintf(out.data(), out.size() + 1, format, args);
  }
  va_end(args);
  return out;
}

std::string& AppendFormat(std::string& out, const char* format, ...) {
  char small[256];
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed > 0) {
    if (static_cast<std::size_t>(needed) < sizeof small) {
      out.append(small, static_cast<std::size_t>(needed));
    } else {
      const std::size_t old = out.size();
      out.resize(old + static_cast<std::size_t>(needed));
      std::vsnprintf(out.data() + old, static_cast<std::size_t>(needed) + 1, format, args);
    }
  }
  va_end(args);
  return out;
}

std::string& AppendExactDecimal(std::string& out, double value, int minDecimals) {
  if (!std::isfinite(value)) {
    out += std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
    return out;
  }
  // The widest double in fixed notation takes about 330 characters.
  char digits[400];
  char* end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed).ptr;
  out.append(digits, static_cast<std::size_t>(end - digits));
  const char* point = static_cast<const char*>(std::memchr(digits, '.', static_cast<std::size_t>(end - digits)));
  const long decimals = point == nullptr ? 0 : static_cast<long>(end - point - 1);
  if (decimals < minDecimals) {
    if (point == nullptr) out += '.';
    out.append(static_cast<std::size_t>(minDecimals - decimals), '0');
  }
  return out;
}

double RoundToSignificant(double value, int digits) {
  if (!std::isfinite(value) || value == 0.0) return value;
  char text[64];
  std::snprintf(text, sizeof text, "%.*g", digits, value);
  double rounded = value;
  std::from_chars(text, text + std::strlen(text), rounded);
  return rounded;
}

std::string ExactDecimal(double value, int minDecimals) {
  std::string out;
  AppendExactDecimal(out, value, minDecimals);
  return out;
}

}  // namespace orvane
