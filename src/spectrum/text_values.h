// What the modern dialect's MGF and DTA readers share: whole lines, numbers
// that must fill their token, charges as the files write them, and the
// places and texts of their messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/text_file.h"

namespace orvane {

// A line longer than this is a read error: it bounds the memory a broken file
// without line ends can take.
inline constexpr std::size_t kMaxTextLine = 1 << 16;
// The highest charge a spectrum can have; 0 means "not known".
inline constexpr long kMaxCharge = 100;

// Reads whole lines: the pieces of ReadString's 254-character rule are
// joined again. CFileException passes through.
class TextLineReader {
 public:
  explicit TextLineReader(CStdioFile& file) : file_(file) {}
  TextLineReader(const TextLineReader&) = delete;
  TextLineReader& operator=(const TextLineReader&) = delete;

  enum Result { kLine, kEnd, kTooLong };
  // kLine: *ppLine (writable, zero-terminated, with its "\n" if it had one)
  // holds the line until the next call, *pLength its length. kEnd: the file
  // has no more. kTooLong: the line passed kMaxTextLine; the rest of the file
  // must not be read as lines.
  Result Read(char** ppLine, std::size_t* pLength);
  // The number (from 1) of the line the last Read delivered or stopped in.
  std::uint64_t Line() const { return line_; }
  CStdioFile& File() const { return file_; }

 private:
  CStdioFile& file_;
  std::uint64_t line_ = 0;
  char buffer_[256];
  std::string joined_;
};

// The next token of rest, cut at blanks, tabs and commas (not at "+" or "=",
// so "1.5e+03" stays one number); rest moves behind it. Empty at the end.
std::string_view NextValueToken(std::string_view& rest);

// The whole token as a number: "500.25", "-1", "+2", "1.5e+03", "nan",
// "inf". False when the token is empty or anything of it is left over.
bool ParseNumber(std::string_view token, double* pValue);

// One charge as the files write it: "2", "2+", "3-" (the sign of the ions in
// *pSign), "-2" (a negative number, which no charge is), "+2". False for
// anything else. Numbers far too large read as kMaxCharge + 1.
bool ParseCharge(std::string_view token, long* pValue, char* pSign);

// `<path>: line <L>: spectrum "<title>"`: where a spectrum stands, for the
// messages of the readers.
std::string SpectrumPlace(const std::string& path, std::uint64_t line, const std::string& title);

// The one warning of a spectrum whose unusable peaks were left out:
// `<place>: N peaks with an unusable m/z or intensity left out`. Nothing for 0.
void WarnUnusablePeaks(const std::string& place, unsigned count);

}  // namespace orvane
