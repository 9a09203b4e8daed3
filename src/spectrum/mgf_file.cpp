// MGF reading and writing.
//
// Reading is line by line through CStdioFile::ReadString with a limit of 255,
// so one read delivers at most 254 characters; in the classic dialect the rest
// of a longer line is read as a line of its own. Tokens are cut at any of
// " ,+=\n\t" by a scanner that keeps its position in the caller's frame, so
// several files may be read at once on several threads.
//
// The classic dialect knows the three tags TITLE, CHARGE and PEPMASS and takes
// every other line of a block for a peak. The modern dialect reads what
// today's converters write: whole titles, KEY=VALUE header lines kept with the
// spectrum, the first charge of a charge list and the precursor intensity.

#include "spectrum/mgf_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

// One read delivers at most 254 characters.
constexpr unsigned kReadLimit = 255;
// A modern logical line longer than this keeps only its first part: it bounds
// the memory a broken file without line ends can take.
constexpr std::size_t kMaxModernLine = 1 << 16;

// A set of delimiter characters as a lookup table.
class Delimiters {
 public:
  constexpr explicit Delimiters(std::string_view chars) {
    for (char c : chars) table_[static_cast<unsigned char>(c)] = true;
  }
  constexpr bool operator()(char c) const { return table_[static_cast<unsigned char>(c)]; }

 private:
  std::array<bool, 256> table_{};
};

constexpr Delimiters kTokenDelims(" ,+=\n\t");
constexpr Delimiters kFileNameDelims(".,");

// Cuts a zero-terminated, writable text into tokens the way strtok does
// (a run of delimiters counts as one, leading delimiters are skipped, the
// delimiter behind a token is overwritten with '\0'), but with its position
// held here rather than in a static.
class Tokenizer {
 public:
  explicit Tokenizer(char* text) : next_(text) {}

  // The next token, or nullptr when only delimiters are left.
  char* Next(const Delimiters& delims) {
    if (next_ == nullptr) return nullptr;
    char* s = next_;
    while (*s != '\0' && delims(*s)) ++s;
    if (*s == '\0') {
      next_ = nullptr;
      return nullptr;
    }
    char* e = s;
    while (*e != '\0' && !delims(*e)) ++e;
    if (*e == '\0') {
      next_ = nullptr;
    } else {
      *e = '\0';
      next_ = e + 1;
    }
    return s;
  }

 private:
  char* next_;
};

// Powers of ten that a double holds exactly.
constexpr double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// A plain decimal "[-]digits[.digits]" of at most 15 significant digits
// whose digits fill the whole token: its digits as an integer and the power
// of ten below them are both exact doubles, so one division gives the
// correctly rounded value, the one strtod gives. False for anything else.
bool ParseSimpleDecimal(const char* token, double* pValue) {
  const char* p = token;
  const bool negative = *p == '-';
  if (negative) ++p;
  std::uint64_t digits = 0;
  int significant = 0;
  int fraction = 0;
  bool any = false;
  bool point = false;
  for (;; ++p) {
    const char c = *p;
    if (c >= '0' && c <= '9') {
      any = true;
      if (digits != 0 || c != '0') ++significant;
      if (significant > 15) return false;
      digits = digits * 10 + static_cast<unsigned>(c - '0');
      if (point) ++fraction;
    } else if (c == '.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  if (!any || *p != '\0' || fraction > 22) return false;
  const double value = static_cast<double>(digits) / kExactPowersOfTen[fraction];
  *pValue = negative ? -value : value;
  return true;
}

// atof of a zero-terminated token. Plain decimals take the exact short way;
// other numbers go through from_chars (correctly rounded, like strtod) when
// they fill the whole token; everything else (hexadecimal, leading white
// space, trailing text, out of range) goes to strtod itself. So the value is
// always atof's.
double ParseDouble(const char* token) {
  double value = 0.0;
  if (ParseSimpleDecimal(token, &value)) return value;
  const std::size_t length = std::strlen(token);
  const auto [end, ec] = std::from_chars(token, token + length, value);
  if (ec == std::errc() && end == token + length) return value;
  return std::strtod(token, nullptr);
}

// Whether atof would read a number from the start of the token rather than
// give 0.0 for a word.
bool StartsWithNumber(const char* token) {
  if (*token >= '0' && *token <= '9') return true;
  char* end = nullptr;
  std::strtod(token, &end);
  return end != token;
}

// Whether a token can be one of the three tags: a quick test that spares
// the peak lines three comparisons.
bool MayBeTag(const char* token) { return token[0] == 'T' || token[0] == 'C' || token[0] == 'P'; }

bool StartsWith(const char* text, const char* prefix, std::size_t prefixLength) {
  return std::strncmp(text, prefix, prefixLength) == 0;
}

// ---------------------------------------------------------------- classic

HRESULT ImportClassic(CStdioFile* pFile, Dta* pDta) {
  char line[kReadLimit];
  for (;;) {
    if (pFile->ReadString(line, kReadLimit) == nullptr) return S_FALSE;
    if (StartsWith(line, "BEGIN IONS", 10)) break;
  }
  for (;;) {
    if (pFile->ReadString(line, kReadLimit) == nullptr) return S_FALSE;
    if (StartsWith(line, "END IONS", 8)) return S_OK;
    if (line[0] == '\0' || line[0] == '\n') continue;

    Tokenizer tokens(line);
    const char* t = tokens.Next(kTokenDelims);
    if (t == nullptr) continue;  // only delimiters
    const bool tag = MayBeTag(t);
    if (tag && std::strcmp(t, "TITLE") == 0) {
      const char* u = tokens.Next(kTokenDelims);
      if (u == nullptr) continue;
      if (std::strcmp(u, "File:") == 0) {
        // "File: run17.raw, scan 12": the name up to the first dot or comma,
        // with the mass and charge the record holds at this moment.
        const char* v = tokens.Next(kFileNameDelims);
        if (v == nullptr) continue;
        pDta->strTitle = Format("%s.%6.6f.%d.dta", v, pDta->dMass, pDta->nCharge);
      } else {
        pDta->strTitle = u;
      }
    } else if (tag && std::strcmp(t, "CHARGE") == 0) {
      // "+" is a delimiter and atoi stops at "-": "2+" and "2-" both give 2.
      const char* u = tokens.Next(kTokenDelims);
      if (u == nullptr) continue;
      pDta->nCharge = std::atoi(u);
    } else if (tag && std::strcmp(t, "PEPMASS") == 0) {
      // Only the first number; a precursor intensity behind it is not read.
      const char* u = tokens.Next(kTokenDelims);
      if (u == nullptr) continue;
      pDta->dMass = ParseDouble(u);
    } else {
      // Any other line is a peak; a word reads as 0.0 and is stored as such.
      const char* u = tokens.Next(kTokenDelims);
      if (u == nullptr) continue;  // one token: no intensity to pair it with
      pDta->AddPeak(ParseDouble(t), ParseDouble(u));
    }
  }
}

// ---------------------------------------------------------------- modern

// Reads one whole line: the pieces of an over-long line are joined again (up
// to kMaxModernLine characters). *ppLine points into buffer or into joined and
// stays valid until the next call. False at the end of the file.
bool ReadLogicalLine(CStdioFile* pFile, char (&buffer)[kReadLimit], std::string& joined,
                     char** ppLine, std::size_t* pLength) {
  char* piece = pFile->ReadString(buffer, kReadLimit);
  if (piece == nullptr) return false;
  std::size_t n = std::strlen(piece);
  auto complete = [](const char* p, std::size_t len) {
    return len < kReadLimit - 1 || p[len - 1] == '\n';
  };
  if (complete(piece, n)) {
    *ppLine = piece;
    *pLength = n;
    return true;
  }
  joined.assign(piece, n);
  for (;;) {
    piece = pFile->ReadString(buffer, kReadLimit);
    if (piece == nullptr) break;
    n = std::strlen(piece);
    if (joined.size() < kMaxModernLine)
      joined.append(piece, std::min(n, kMaxModernLine - joined.size()));
    if (complete(piece, n)) break;
  }
  *ppLine = joined.data();
  *pLength = joined.size();
  return true;
}

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool IsKeyStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsKeyChar(char c) { return IsKeyStart(c) || (c >= '0' && c <= '9') || c == '_'; }

// Length of the KEY of a "KEY=VALUE" line (letters, digits and underscores,
// starting with a letter, directly followed by "="); 0 for any other line.
std::size_t KeyLength(const char* line) {
  if (!IsKeyStart(line[0])) return 0;
  std::size_t n = 1;
  while (IsKeyChar(line[n])) ++n;
  return line[n] == '=' ? n : 0;
}

// "2+", "2+ and 3+", "2+,3+", "3-": the first charge of the list, with its
// sign, in nCharge; all of them in vCharges when there are several.
void ReadModernCharge(char* value, Dta* pDta) {
  Tokenizer tokens(value);
  const char* t = tokens.Next(kTokenDelims);
  if (t == nullptr) return;
  pDta->nCharge = std::atoi(t);
  const char* p = t;
  if (*p == '-') ++p;
  while (*p >= '0' && *p <= '9') ++p;
  pDta->cChargeSign = *p == '-' ? '-' : '+';
  pDta->vCharges.clear();
  pDta->vCharges.push_back(pDta->nCharge);
  for (const char* u = tokens.Next(kTokenDelims); u != nullptr; u = tokens.Next(kTokenDelims))
    if (*u >= '0' && *u <= '9') pDta->vCharges.push_back(std::atoi(u));
  if (pDta->vCharges.size() < 2) pDta->vCharges.clear();
}

// "PEPMASS=mz" or "PEPMASS=mz intensity".
void ReadModernPepmass(char* value, Dta* pDta) {
  Tokenizer tokens(value);
  const char* mz = tokens.Next(kTokenDelims);
  if (mz == nullptr) return;
  pDta->dMass = ParseDouble(mz);
  if (const char* intensity = tokens.Next(kTokenDelims)) pDta->dPrecursorIntensity = ParseDouble(intensity);
}

// A line of a block that is no KEY=VALUE line: the classic tags written with
// blanks ("CHARGE 2+"), or a peak. Words are not peaks here.
void ReadModernOtherLine(char* line, Dta* pDta) {
  Tokenizer tokens(line);
  const char* t = tokens.Next(kTokenDelims);
  if (t == nullptr) return;
  if (MayBeTag(t) && (std::strcmp(t, "TITLE") == 0 || std::strcmp(t, "CHARGE") == 0 ||
                      std::strcmp(t, "PEPMASS") == 0)) {
    const char* u = tokens.Next(kTokenDelims);
    if (u == nullptr) return;
    if (t[0] == 'T') pDta->strTitle = u;
    else if (t[0] == 'C') pDta->nCharge = std::atoi(u);
    else pDta->dMass = ParseDouble(u);
    return;
  }
  if (!StartsWithNumber(t)) return;
  const char* u = tokens.Next(kTokenDelims);
  if (u == nullptr) return;
  pDta->AddPeak(ParseDouble(t), ParseDouble(u));
}

// A line that starts with a digit: mass and intensity, a third token ignored.
void ReadModernPeak(char* line, Dta* pDta) {
  Tokenizer tokens(line);
  const char* t = tokens.Next(kTokenDelims);
  const char* u = tokens.Next(kTokenDelims);
  if (u == nullptr) return;
  pDta->AddPeak(ParseDouble(t), ParseDouble(u));
}

// Keeps the text of a line that gave a peak, for a spectrum written unchanged.
void KeepPeakLine(Dta* pDta, std::uint32_t nPeaksBefore, const char* line, std::size_t length) {
  if (pDta->nPeaks == nPeaksBefore || pDta->vIntensity.back() == 0.0) return;
  pDta->strPeakLines.append(line, length);
  pDta->strPeakLines += '\n';
}

HRESULT ImportModern(CStdioFile* pFile, Dta* pDta) {
  char buffer[kReadLimit];
  std::string joined;
  char* line = nullptr;
  std::size_t lineLength = 0;
  for (;;) {
    if (!ReadLogicalLine(pFile, buffer, joined, &line, &lineLength)) return S_FALSE;
    if (StartsWith(line, "BEGIN IONS", 10)) break;
  }
  for (;;) {
    if (!ReadLogicalLine(pFile, buffer, joined, &line, &lineLength)) return S_FALSE;
    if (StartsWith(line, "END IONS", 8)) return S_OK;

    // Trim white space (and a CR a foreign line end left) at both ends.
    char* s = line;
    char* end = line + lineLength;
    while (s < end && (*s == ' ' || *s == '\t')) ++s;
    while (end > s && IsSpace(end[-1])) --end;
    *end = '\0';
    const auto length = static_cast<std::size_t>(end - s);
    if (length == 0) continue;
    const std::uint32_t nPeaksBefore = pDta->nPeaks;
    if (s[0] >= '0' && s[0] <= '9') {  // the common case: a peak
      // The tokenizer cuts the line: keep its text first.
      pDta->strPeakLines.append(s, length);
      pDta->strPeakLines += '\n';
      ReadModernPeak(s, pDta);
      // The writers leave out peaks of intensity 0; so does the kept text.
      if (pDta->nPeaks == nPeaksBefore || pDta->vIntensity.back() == 0.0)
        pDta->strPeakLines.resize(pDta->strPeakLines.size() - length - 1);
      continue;
    }
    if (std::strchr("#;!/", s[0]) != nullptr) continue;  // comment lines

    const std::size_t keyLength = KeyLength(s);
    if (keyLength == 0) {
      const std::string text(s, length);
      ReadModernOtherLine(s, pDta);
      KeepPeakLine(pDta, nPeaksBefore, text.data(), text.size());
      continue;
    }
    const std::string_view key(s, keyLength);
    char* value = s + keyLength + 1;
    if (key == "TITLE") {
      pDta->strTitle.assign(value, length - keyLength - 1);
    } else if (key == "CHARGE") {
      ReadModernCharge(value, pDta);
    } else if (key == "PEPMASS") {
      ReadModernPepmass(value, pDta);
    } else {
      pDta->vHeaderLines.emplace_back(s, length);
    }
  }
}

// ---------------------------------------------------------------- writing

// The thousandths of |value|, rounded as printf rounds: the exact binary
// value to the nearest, a tie to even. False for values of 2^52 and above,
// infinities and NaN.
bool RoundToThousandths(double value, std::uint64_t* pThousandths) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const int exponent = static_cast<int>((bits >> 52) & 0x7FF);
  const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
  if (exponent == 0x7FF) return false;
  if (exponent == 0) {  // zero or subnormal: far below half a thousandth
    *pThousandths = 0;
    return true;
  }
  // |value| = mantissa / 2^shift exactly.
  const std::uint64_t mantissa = fraction | (std::uint64_t{1} << 52);
  const int shift = 1075 - exponent;
  if (shift <= 0) return false;  // 2^52 and above: whole numbers, rare in peak lists
  // mantissa * 1000 < 2^63: no overflow, and for a shift of 64 or more it
  // stays below half of 2^shift, so it rounds to 0.
  const std::uint64_t scaled = mantissa * 1000;
  if (shift >= 64) {
    *pThousandths = 0;
    return true;
  }
  std::uint64_t q = scaled >> shift;
  const std::uint64_t rest = scaled & ((std::uint64_t{1} << shift) - 1);
  const std::uint64_t half = std::uint64_t{1} << (shift - 1);
  if (rest > half || (rest == half && (q & 1) != 0)) ++q;
  *pThousandths = q;
  return true;
}

// The widest double in fixed notation with 3 decimals takes 314 characters.
constexpr std::size_t kFixed3Max = 320;

// printf's "%W.3f" at p (which has room for width + kFixed3Max characters),
// without going through printf: the common magnitudes are rounded in
// integers above, the rest goes to to_chars, which is defined to give
// printf's digits. Returns the end of the text.
char* PutFixed3(char* p, double value, std::size_t width) {
  char digits[kFixed3Max];
  char* d = digits;
  std::uint64_t thousandths = 0;
  if (RoundToThousandths(value, &thousandths)) {
    if (std::signbit(value)) *d++ = '-';  // printf writes "-0.000" too
    d = std::to_chars(d, digits + sizeof digits, thousandths / 1000).ptr;
    const auto rest = static_cast<unsigned>(thousandths % 1000);
    d[0] = '.';
    d[1] = static_cast<char>('0' + rest / 100);
    d[2] = static_cast<char>('0' + rest / 10 % 10);
    d[3] = static_cast<char>('0' + rest % 10);
    d += 4;
  } else {
    d = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 3).ptr;
  }
  const auto n = static_cast<std::size_t>(d - digits);
  for (std::size_t pad = n; pad < width; ++pad) *p++ = ' ';
  std::memcpy(p, digits, n);
  return p + n;
}

// One peak line, "%7.3lf %9.3lf\n".
void AppendPeakLine(std::string& out, double mass, double intensity) {
  char line[2 * kFixed3Max + 16];
  char* p = PutFixed3(line, mass, 7);
  *p++ = ' ';
  p = PutFixed3(p, intensity, 9);
  *p++ = '\n';
  out.append(line, static_cast<std::size_t>(p - line));
}

}  // namespace

HRESULT ImportMgf(CStdioFile* pFile, Dta* pDta, MgfDialect dialect) {
  try {
    return dialect == MgfDialect::Modern ? ImportModern(pFile, pDta) : ImportClassic(pFile, pDta);
  } catch (const CFileException& e) {
    // A read error ends the file as its end would: callers stop on S_FALSE.
    e.ReportError();
    return S_FALSE;
  }
}

HRESULT ExportMgf(CStdioFile* pFile, const Dta* pDta, const std::string& strComment,
                  MgfDialect dialect) {
  const unsigned nPeaks = pDta->GetPeakCount();
  std::string block;
  block.reserve(96 + strComment.size() + pDta->strTitle.size() + 20 * std::size_t{nPeaks});
  if (!strComment.empty()) AppendFormat(block, "\n# %s \n", strComment.c_str());
  block += "\nBEGIN IONS\n";
  block += "TITLE=";
  block += pDta->strTitle;
  block += '\n';
  if (dialect == MgfDialect::Modern) {
    // A charge of 0 means "not known": no CHARGE line says that to a reader.
    if (pDta->vCharges.size() > 1) {
      block += "CHARGE=";
      for (std::size_t k = 0; k < pDta->vCharges.size(); ++k)
        AppendFormat(block, "%s%d%c", k == 0 ? "" : " and ", pDta->vCharges[k], pDta->GetChargeSign());
      block += '\n';
    } else if (pDta->nCharge != 0) {
      AppendFormat(block, "CHARGE=%d%c\n", pDta->nCharge, pDta->GetChargeSign());
    }
    block += "PEPMASS=";
    AppendExactDecimal(block, pDta->dMass, kPrecursorDecimals);
    if (pDta->dPrecursorIntensity != 0.0) {
      block += ' ';
      AppendExactDecimal(block, pDta->dPrecursorIntensity, 0);
    }
    block += '\n';
    for (const std::string& header : pDta->vHeaderLines) {
      block += header;
      block += '\n';
    }
    if (!pDta->strPeakLines.empty()) {
      // Peaks passed on unchanged keep the text they were read with.
      block += pDta->strPeakLines;
    } else {
      AppendExactPeakLines(block, *pDta);
    }
  } else {
    AppendFormat(block, "CHARGE=%d%c\n", pDta->nCharge, pDta->GetChargeSign());
    AppendFormat(block, "PEPMASS=%.6f\n", pDta->dMass);
    for (unsigned i = 0; i < nPeaks; ++i) {
      const double intensity = pDta->GetIntensity(i);
      if (intensity == 0.0) continue;
      AppendPeakLine(block, pDta->GetMass(i), intensity);
    }
  }
  block += "END IONS\n";
  pFile->WriteString(block);
  return S_OK;
}

unsigned CountMgfSpectra(const char* pszPath) {
  CStdioFile file;
  CFileException error;
  if (!file.Open(pszPath, CStdioFile::modeRead | CStdioFile::shareDenyWrite, &error)) {
    error.ReportError();
    return 0;
  }
  unsigned count = 0;
  char line[kReadLimit];
  try {
    while (file.ReadString(line, kReadLimit) != nullptr)
      if (std::strcmp(line, "BEGIN IONS\n") == 0) ++count;
  } catch (const CFileException& e) {
    e.ReportError();
  }
  file.Close();
  return count;
}

}  // namespace orvane

namespace orvane {

struct MgfReader::State {
  CStdioFile& file;
  MgfDialect dialect;
  unsigned refused = 0;
  std::uint64_t blockLine = 0;
};

MgfReader::MgfReader(CStdioFile& file, MgfDialect dialect) : state_(new State{file, dialect}) {}
MgfReader::~MgfReader() { delete state_; }

HRESULT MgfReader::Next(Dta* pDta) {
  if (state_->dialect == MgfDialect::Modern) {
    const std::string path = pDta->strPath;
    pDta->Clear();
    pDta->strPath = path;
  }
  return ImportMgf(&state_->file, pDta, state_->dialect);
}

unsigned MgfReader::Refused() const { return state_->refused; }
std::uint64_t MgfReader::BlockLine() const { return state_->blockLine; }

}  // namespace orvane
