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
// today's converters write: whole lines, whole titles, KEY=VALUE header lines
// kept with the spectrum, charge lists, the precursor intensity, and the
// CHARGE (and TOL, TOLU, INSTRUMENT, IT_MODS) of the file's header for every
// block that does not state its own. A block without END IONS ends where the
// next BEGIN IONS starts or at the end of the file, with a warning. It checks
// the values at the door: peaks that are no numbers or not usable are left
// out with one warning per spectrum, peaks out of order are sorted, and a
// spectrum without a usable precursor m/z or with an impossible charge is
// refused with an error and the reading goes on.

#include "spectrum/mgf_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/format.h"
#include "platform/reporter.h"
#include "spectrum/text_values.h"

namespace orvane {
namespace {

// One read delivers at most 254 characters.
constexpr unsigned kReadLimit = 255;

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

// Whether a token can be one of the three tags: a quick test that spares
// the peak lines three comparisons.
bool MayBeTag(const char* token) { return token[0] == 'T' || token[0] == 'C' || token[0] == 'P'; }

bool StartsWith(const char* text, const char* prefix, std::size_t prefixLength) {
  return std::strncmp(text, prefix, prefixLength) == 0;
}

// ---------------------------------------------------------------- classic

HRESULT ImportClassic(CStdioFile* pFile, Dta* pDta, std::uint64_t* pBlockLine) {
  char line[kReadLimit];
  for (;;) {
    const std::uint64_t lineNumber = pFile->LinesRead() + 1;
    if (pFile->ReadString(line, kReadLimit) == nullptr) return S_FALSE;
    if (StartsWith(line, "BEGIN IONS", 10)) {
      *pBlockLine = lineNumber;
      break;
    }
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

// Blanks and tabs at the front and white space (a CR a foreign line end left
// among it) at the back cut off; the text stays zero-terminated.
std::string_view Trimmed(char* line, std::size_t length) {
  char* s = line;
  char* end = line + length;
  while (s < end && (*s == ' ' || *s == '\t')) ++s;
  while (end > s && IsSpace(end[-1])) --end;
  *end = '\0';
  return {s, static_cast<std::size_t>(end - s)};
}

// Parameters of the file's header that a block may also state, so that each
// block that does not state its own takes the file's (CHARGE aside, which is
// read into the record).
bool IsBlockParameter(std::string_view key) {
  return key == "TOL" || key == "TOLU" || key == "INSTRUMENT" || key == "IT_MODS";
}

// What a block states about its precursor, kept as text until the block is
// whole, and the peak lines it had to leave out.
struct BlockValues {
  bool bCharge = false;
  std::string strCharge;
  bool bPepmass = false;
  std::string strPepmass;
  unsigned nUnusable = 0;
};

// Whether a line that is no KEY=VALUE line is a peak line: it starts like a
// number, or its first token is one ("nan 5").
bool LooksLikePeak(std::string_view line) {
  const char c = line[0];
  if ((c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+') return true;
  double value = 0.0;
  return ParseNumber(NextValueToken(line), &value);
}

// "m/z intensity", anything behind them ignored. A peak whose values are no
// numbers or not usable is counted and left out; the text of a peak of
// non-zero intensity is kept for a spectrum written unchanged.
void ReadPeakLine(std::string_view line, Dta* pDta, BlockValues& block) {
  std::string_view rest = line;
  const std::string_view mzText = NextValueToken(rest);
  const std::string_view intensityText = NextValueToken(rest);
  double mz = 0.0;
  double intensity = 0.0;
  if (intensityText.empty() || !ParseNumber(mzText, &mz) || !ParseNumber(intensityText, &intensity) ||
      !IsUsablePeak(mz, intensity)) {
    ++block.nUnusable;
    return;
  }
  // The writers leave out peaks of intensity 0; so does the kept text.
  if (intensity != 0.0) {
    pDta->strPeakLines += line;
    pDta->strPeakLines += '\n';
  }
  pDta->AddPeak(mz, intensity);
}

void ReadTag(std::string_view key, std::string_view value, Dta* pDta, BlockValues& block) {
  if (key == "TITLE") {
    pDta->strTitle.assign(value);
  } else if (key == "CHARGE") {
    block.bCharge = true;
    block.strCharge.assign(value);
  } else {
    block.bPepmass = true;
    block.strPepmass.assign(value);
  }
}

bool IsTag(std::string_view key) { return key == "TITLE" || key == "CHARGE" || key == "PEPMASS"; }

// One line of a block other than its BEGIN IONS and END IONS.
void ReadBlockLine(char* raw, std::size_t rawLength, Dta* pDta, BlockValues& block) {
  const std::string_view line = Trimmed(raw, rawLength);
  if (line.empty()) return;
  const char c = line[0];
  if (c >= '0' && c <= '9') {  // the common case: a peak
    ReadPeakLine(line, pDta, block);
    return;
  }
  if (c == '#' || c == ';' || c == '!' || c == '/') return;  // comment lines
  if (const std::size_t keyLength = KeyLength(line.data()); keyLength > 0) {
    const std::string_view key = line.substr(0, keyLength);
    if (IsTag(key)) ReadTag(key, line.substr(keyLength + 1), pDta, block);
    else pDta->vHeaderLines.emplace_back(line);
    return;
  }
  // The three tags written with a blank ("CHARGE 2+"), as classic reads them.
  std::string_view rest = line;
  if (const std::string_view first = NextValueToken(rest); IsTag(first)) {
    while (!rest.empty() && (rest[0] == ' ' || rest[0] == '\t')) rest.remove_prefix(1);
    ReadTag(first, rest, pDta, block);
    return;
  }
  // Words are neither peaks nor parameters.
  if (LooksLikePeak(line)) ReadPeakLine(line, pDta, block);
}

// The charges of a CHARGE value ("2+", "2+ and 3+", "2+,3+", "2,3"): the
// sign of the first in *pSign, those above 0 in *pCharges. A charge no
// spectrum can have ends the reading with its text in *pBad.
void ReadCharges(std::string_view value, std::vector<std::int32_t>* pCharges, char* pSign,
                 std::string* pBad) {
  bool first = true;
  for (std::string_view t = NextValueToken(value); !t.empty(); t = NextValueToken(value)) {
    long charge = 0;
    char sign = '+';
    if (!ParseCharge(t, &charge, &sign)) continue;  // "and", and words no charge is read from
    if (first) *pSign = sign;
    first = false;
    if (charge < 0 || charge > kMaxCharge) {
      pBad->assign(t);
      return;
    }
    if (charge > 0) pCharges->push_back(static_cast<std::int32_t>(charge));
  }
}

}  // namespace

// What an MGF file's reading keeps from one spectrum to the next. It lives
// with the open file (CStdioFile::ReaderState), so that every MgfReader and
// every ImportMgf call on that file goes on where the last one stopped.
struct MgfReader::State {
  State(CStdioFile& f, MgfDialect d) : file(f), dialect(d), lines(f) {}

  HRESULT NextModern(Dta* pDta);
  HRESULT TooLong();
  HRESULT ReadFailure(const CFileException& e);
  void ReadFileParameter(char* raw, std::size_t rawLength);
  bool Accept(Dta* pDta, const BlockValues& block);

  CStdioFile& file;
  MgfDialect dialect;
  unsigned refused = 0;
  std::uint64_t blockLine = 0;
  // Modern only.
  TextLineReader lines;
  bool inFileHeader = true;        // no BEGIN IONS read yet
  std::uint64_t pendingBegin = 0;  // the line of a BEGIN IONS that ended the block before
  bool hasDefaultCharge = false;
  std::string defaultCharge;
  std::vector<std::string> defaultParameters;
  HRESULT failure = S_OK;  // once a read has failed, every later call fails too
};

HRESULT MgfReader::State::TooLong() {
  ShowFileError(Format("%s: line %llu: a line longer than %zu characters; the rest of the file is not read.",
                       file.GetFilePath().c_str(), static_cast<unsigned long long>(lines.Line()),
                       kMaxTextLine));
  failure = E_FAIL;
  return failure;
}

HRESULT MgfReader::State::ReadFailure(const CFileException& e) {
  ShowFileError(Format("%s The reading stopped in line %llu; the rest of the file is not read.",
                       e.Text().c_str(), static_cast<unsigned long long>(lines.Line())));
  failure = E_FAIL;
  return failure;
}

void MgfReader::State::ReadFileParameter(char* raw, std::size_t rawLength) {
  const std::string_view line = Trimmed(raw, rawLength);
  const std::size_t keyLength = line.empty() ? 0 : KeyLength(line.data());
  if (keyLength == 0) return;
  const std::string_view key = line.substr(0, keyLength);
  if (key == "CHARGE") {
    hasDefaultCharge = true;
    defaultCharge.assign(line.substr(keyLength + 1));
  } else if (IsBlockParameter(key)) {
    defaultParameters.emplace_back(line);
  }
}

bool MgfReader::State::Accept(Dta* pDta, const BlockValues& block) {
  const std::string place = SpectrumPlace(file.GetFilePath(), blockLine, pDta->strTitle);
  std::vector<std::int32_t> charges;
  char sign = '+';
  std::string bad;
  if (block.bCharge) ReadCharges(block.strCharge, &charges, &sign, &bad);
  // A block without a charge, or with a charge of 0 only, takes the file's.
  if (bad.empty() && charges.empty() && hasDefaultCharge) ReadCharges(defaultCharge, &charges, &sign, &bad);
  if (!bad.empty()) {
    ShowError(Format("%s: the charge %s is not one a spectrum can have (1 to %ld); the spectrum is left out",
                     place.c_str(), bad.c_str(), kMaxCharge));
    return false;
  }
  std::string_view pepmass = block.strPepmass;
  const std::string_view mzText = NextValueToken(pepmass);
  const std::string_view intensityText = NextValueToken(pepmass);
  if (mzText.empty()) {
    ShowError(place + ": no precursor m/z (PEPMASS); the spectrum is left out");
    return false;
  }
  double mz = 0.0;
  if (!ParseNumber(mzText, &mz) || !IsUsablePrecursorMz(mz)) {
    ShowError(Format("%s: the precursor m/z %.*s is unusable; the spectrum is left out", place.c_str(),
                     static_cast<int>(mzText.size()), mzText.data()));
    return false;
  }
  pDta->dMass = mz;
  if (!intensityText.empty()) {
    double intensity = 0.0;
    if (ParseNumber(intensityText, &intensity) && std::isfinite(intensity) && intensity >= 0.0) {
      pDta->dPrecursorIntensity = intensity;
    } else {
      ShowWarning(Format("%s: the precursor intensity %.*s is unusable and left out", place.c_str(),
                         static_cast<int>(intensityText.size()), intensityText.data()));
    }
  }
  pDta->cChargeSign = sign;
  if (!charges.empty()) pDta->nCharge = charges.front();
  if (charges.size() > 1) pDta->vCharges = std::move(charges);
  if (!defaultParameters.empty()) {
    // The file's parameters first, as they stood before the block.
    std::vector<std::string> headers;
    for (const std::string& parameter : defaultParameters) {
      const std::string_view key = std::string_view(parameter).substr(0, parameter.find('=') + 1);
      const bool stated = std::any_of(pDta->vHeaderLines.begin(), pDta->vHeaderLines.end(),
                                      [key](const std::string& h) { return h.starts_with(key); });
      if (!stated) headers.push_back(parameter);
    }
    headers.insert(headers.end(), pDta->vHeaderLines.begin(), pDta->vHeaderLines.end());
    pDta->vHeaderLines = std::move(headers);
  }
  WarnUnusablePeaks(place, block.nUnusable);
  SortPeaksByMz(pDta);
  return true;
}

HRESULT MgfReader::State::NextModern(Dta* pDta) {
  if (FAILED(failure)) return failure;
  const std::string folder = pDta->strPath;
  try {
    for (;;) {
      pDta->Clear();
      pDta->strPath = folder;
      pDta->cChargeSign = '+';
      char* line = nullptr;
      std::size_t length = 0;
      if (pendingBegin != 0) {
        blockLine = std::exchange(pendingBegin, 0);
      } else {
        for (;;) {
          const auto r = lines.Read(&line, &length);
          if (r == TextLineReader::kEnd) return S_FALSE;
          if (r == TextLineReader::kTooLong)
            return TooLong();
          if (StartsWith(line, "BEGIN IONS", 10)) break;
          if (StartsWith(line, "END IONS", 8)) {
            // A block whose BEGIN IONS is missing or misspelt: say so rather
            // than lose it unseen.
            ShowWarning(Format("%s: line %llu: END IONS without a BEGIN IONS; the lines before it are not "
                               "read as a spectrum",
                               file.GetFilePath().c_str(), static_cast<unsigned long long>(lines.Line())));
            continue;
          }
          if (inFileHeader) ReadFileParameter(line, length);
        }
        blockLine = lines.Line();
      }
      inFileHeader = false;

      BlockValues block;
      bool terminated = false;
      std::uint64_t lastLine = blockLine;
      for (;;) {
        const auto r = lines.Read(&line, &length);
        if (r == TextLineReader::kEnd) break;
        if (r == TextLineReader::kTooLong)
          return TooLong();
        if (StartsWith(line, "END IONS", 8)) {
          terminated = true;
          break;
        }
        if (StartsWith(line, "BEGIN IONS", 10)) {  // it starts the next block
          pendingBegin = lines.Line();
          break;
        }
        lastLine = lines.Line();
        ReadBlockLine(line, length, pDta, block);
      }
      if (!terminated) {
        ShowWarning(Format("%s has no END IONS; the block ends at line %llu",
                           SpectrumPlace(file.GetFilePath(), blockLine, pDta->strTitle).c_str(),
                           static_cast<unsigned long long>(lastLine)));
      }
      if (Accept(pDta, block)) return S_OK;
      ++refused;
    }
  } catch (const CFileException& e) {
    return ReadFailure(e);
  }
}

namespace {

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
  return MgfReader(*pFile, dialect).Next(pDta);
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

MgfReader::MgfReader(CStdioFile& file, MgfDialect dialect) {
  std::shared_ptr<void>& slot = file.ReaderState();
  state_ = std::static_pointer_cast<State>(slot);
  if (state_ == nullptr || state_->dialect != dialect) {
    state_ = std::make_shared<State>(file, dialect);
    slot = state_;
  }
}

MgfReader::~MgfReader() = default;

HRESULT MgfReader::Next(Dta* pDta) {
  if (state_->dialect == MgfDialect::Modern) return state_->NextModern(pDta);
  try {
    return ImportClassic(&state_->file, pDta, &state_->blockLine);
  } catch (const CFileException& e) {
    // A read error ends the file as its end would: callers stop on S_FALSE
    // and ask CStdioFile::ReadFailed().
    e.ReportError();
    return S_FALSE;
  }
}

unsigned MgfReader::Refused() const { return state_->refused; }
std::uint64_t MgfReader::BlockLine() const { return state_->blockLine; }

}  // namespace orvane
