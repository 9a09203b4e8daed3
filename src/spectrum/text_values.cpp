#include "spectrum/text_values.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {

TextLineReader::Result TextLineReader::Read(char** ppLine, std::size_t* pLength) {
  const std::uint64_t before = file_.LinesRead();
  const std::uint64_t last = line_;
  line_ = before + 1;  // where a read error would stand
  char* piece = file_.ReadString(buffer_, sizeof buffer_ - 1);
  if (piece == nullptr) {
    line_ = last;
    return kEnd;
  }
  if (file_.LinesRead() != before) {  // the common case: a whole line in one piece
    *ppLine = piece;
    *pLength = std::strlen(piece);
    return kLine;
  }
  joined_.assign(piece);
  for (;;) {
    piece = file_.ReadString(buffer_, sizeof buffer_ - 1);
    if (piece == nullptr) break;  // the last line, without a line end
    joined_.append(piece);
    if (joined_.size() > kMaxTextLine) return kTooLong;
    if (file_.LinesRead() != before) break;
  }
  *ppLine = joined_.data();
  *pLength = joined_.size();
  return kLine;
}

std::string_view NextValueToken(std::string_view& rest) {
  auto isDelimiter = [](char c) { return c == ' ' || c == '\t' || c == ','; };
  std::size_t i = 0;
  while (i < rest.size() && isDelimiter(rest[i])) ++i;
  std::size_t j = i;
  while (j < rest.size() && !isDelimiter(rest[j])) ++j;
  const std::string_view token = rest.substr(i, j - i);
  rest.remove_prefix(j);
  return token;
}

bool ParseNumber(std::string_view token, double* pValue) {
  if (!token.empty() && token[0] == '+') {  // from_chars takes no "+"
    token.remove_prefix(1);
    if (!token.empty() && (token[0] == '+' || token[0] == '-')) return false;
  }
  if (token.empty()) return false;
  const char* first = token.data();
  const char* last = first + token.size();
  double value = 0.0;
  const auto [end, ec] = std::from_chars(first, last, value);
  if (end != last) return false;
  if (ec == std::errc::result_out_of_range) {
    // Beyond the range of a double: strtod gives the infinity or the zero
    // it stands for, as every C reader would.
    const std::string text(token);
    value = std::strtod(text.c_str(), nullptr);
  } else if (ec != std::errc()) {
    return false;
  }
  *pValue = value;
  return true;
}

bool ParseCharge(std::string_view token, long* pValue, char* pSign) {
  std::size_t i = 0;
  bool negative = false;
  if (i < token.size() && (token[i] == '-' || token[i] == '+')) negative = token[i++] == '-';
  const std::size_t digits = i;
  long value = 0;
  for (; i < token.size() && token[i] >= '0' && token[i] <= '9'; ++i)
    value = std::min(value * 10 + (token[i] - '0'), kMaxCharge + 1);
  if (i == digits) return false;
  char sign = '+';
  if (i < token.size() && (token[i] == '+' || token[i] == '-')) sign = token[i++];
  if (i != token.size()) return false;
  *pValue = negative ? -value : value;
  *pSign = sign;
  return true;
}

std::string SpectrumPlace(const std::string& path, std::uint64_t line, const std::string& title) {
  return Format("%s: line %llu: spectrum \"%s\"", path.c_str(), static_cast<unsigned long long>(line),
                title.c_str());
}

void WarnUnusablePeaks(const std::string& place, unsigned count) {
  if (count == 0) return;
  ShowWarning(Format("%s: %u peak%s with an unusable m/z or intensity left out", place.c_str(), count,
                     count == 1 ? "" : "s"));
}

}  // namespace orvane
