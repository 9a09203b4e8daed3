#include "platform/format.h"

#include <cstdarg>
#include <cstdio>

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

}  // namespace orvane
