#include "spectrum/dta_file.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/file_path.h"
#include "spectrum/text_values.h"

namespace orvane {
namespace {
// One read delivers at most 254 characters.
constexpr unsigned kReadLimit = 255;

std::string_view TrimmedLine(const char* line, std::size_t length) {
  std::string_view s(line, length);
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == '\n' || s.back() == '\r' || s.back() == ' ' || s.back() == '\t'))
    s.remove_suffix(1);
  return s;
}

// Modern: the header line "MH+ charge" (blank lines before it passed over),
// then one "m/z intensity" line per peak. S_OK, or E_FAIL for a spectrum
// refused with its message; a read error throws, a line too long gives
// E_UNEXPECTED.
HRESULT ImportModernDta(CStdioFile& file, Dta* pDta) {
  TextLineReader lines(file);
  char* line = nullptr;
  std::size_t length = 0;
  auto tooLong = [&] {
    ShowFileError(Format("%s: line %llu: a line longer than %zu characters; the file is not read.",
                         file.GetFilePath().c_str(), static_cast<unsigned long long>(lines.Line()),
                         kMaxTextLine));
    return E_UNEXPECTED;
  };
  std::string_view header;
  TextLineReader::Result r = TextLineReader::kEnd;
  while ((r = lines.Read(&line, &length)) == TextLineReader::kLine) {
    header = TrimmedLine(line, length);
    if (!header.empty()) break;
  }
  if (r == TextLineReader::kTooLong) return tooLong();
  const std::string place = SpectrumPlace(file.GetFilePath(), r == TextLineReader::kEnd ? 1 : lines.Line(),
                                          pDta->strTitle);
  const std::string_view massText = NextValueToken(header);
  const std::string_view chargeText = NextValueToken(header);
  if (massText.empty()) {
    ShowError(place + ": no precursor mass (MH+); the spectrum is left out");
    return E_FAIL;
  }
  long charge = 0;
  char sign = '+';
  if (!chargeText.empty() && (!ParseCharge(chargeText, &charge, &sign) || charge < 0 || charge > kMaxCharge)) {
    ShowError(Format("%s: the charge %.*s is not one a spectrum can have (1 to %ld); the spectrum is left out",
                     place.c_str(), static_cast<int>(chargeText.size()), chargeText.data(), kMaxCharge));
    return E_FAIL;
  }
  // MH+ bounded as its m/z is: by kMaxUsableMz for every charge.
  double mass = 0.0;
  if (!ParseNumber(massText, &mass) ||
      !IsUsablePrecursorMz(charge > 1 ? MhToMz(mass, static_cast<int>(charge), kProtonMass) : mass) ||
      !(mass > 0.0)) {
    ShowError(Format("%s: the precursor mass (MH+) %.*s is unusable; the spectrum is left out", place.c_str(),
                     static_cast<int>(massText.size()), massText.data()));
    return E_FAIL;
  }
  pDta->dMass = mass;
  pDta->nCharge = static_cast<std::int32_t>(charge);

  unsigned unusable = 0;
  while ((r = lines.Read(&line, &length)) == TextLineReader::kLine) {
    std::string_view rest = TrimmedLine(line, length);
    if (rest.empty()) continue;
    const std::string_view mzText = NextValueToken(rest);
    const std::string_view intensityText = NextValueToken(rest);
    double mz = 0.0;
    double intensity = 0.0;
    if (intensityText.empty() || !ParseNumber(mzText, &mz) || !ParseNumber(intensityText, &intensity) ||
        !IsUsablePeak(mz, intensity)) {
      ++unusable;
      continue;
    }
    pDta->AddPeak(mz, intensity);
  }
  if (r == TextLineReader::kTooLong) return tooLong();
  WarnUnusablePeaks(place, unusable);
  SortPeaksByMz(pDta);
  return S_OK;
}

}  // namespace

HRESULT ImportDta(const char* pszPath, Dta* pDta, MgfDialect dialect) {
  pDta->Clear();
  const FilePath path(pszPath);
  pDta->strPath = path.GetFolder(true).GetString();
  pDta->strTitle = path.GetFileName();

  CStdioFile file;
  CFileException error;
  if (!file.Open(pszPath, CStdioFile::modeRead | CStdioFile::typeText, &error)) {
    error.ReportError();
    return E_UNEXPECTED;
  }
  if (dialect == MgfDialect::Modern) {
    HRESULT hr = S_OK;
    try {
      hr = ImportModernDta(file, pDta);
    } catch (const CFileException& e) {
      ShowFileError(Format("%s The reading stopped in line %llu.", e.Text().c_str(),
                           static_cast<unsigned long long>(file.LinesRead() + 1)));
      hr = E_UNEXPECTED;
    }
    file.Abort();  // read only: nothing to keep
    return hr;
  }
  char line[kReadLimit];
  try {
    if (file.ReadString(line, kReadLimit) != nullptr) {
      // The first line is the header, whatever it holds: a blank or broken
      // one leaves mass and charge at 0 and is spent all the same.
      double mass = 0.0;
      int charge = 0;
      std::sscanf(line, "%lf %d", &mass, &charge);
      if (mass != 0.0 && charge != 0) {
        pDta->dMass = mass;
        pDta->nCharge = charge;
      }
      while (file.ReadString(line, kReadLimit) != nullptr) {
        double m = 0.0, i = 0.0;
        std::sscanf(line, "%lf %lf", &m, &i);
        if (m != 0.0 && i != 0.0) pDta->AddPeak(m, i);
      }
    }
  } catch (const CFileException& e) {
    e.ReportError();
    file.Abort();
    return E_UNEXPECTED;
  }
  file.Close();
  return S_OK;
}

HRESULT ExportDta(const char* pszPath, const Dta* pDta, MgfDialect dialect) {
  CStdioFile file;
  CFileException error;
  if (!file.Open(pszPath, CStdioFile::modeWrite | CStdioFile::modeCreate | CStdioFile::typeText,
                 &error)) {
    error.ReportError();
    return E_UNEXPECTED;
  }
  std::string text;
  text.reserve(32 + 24 * static_cast<std::size_t>(pDta->GetPeakCount()));
  const unsigned n = pDta->GetPeakCount();
  if (dialect == MgfDialect::Modern) {
    AppendExactDecimal(text, pDta->dMass, kPrecursorDecimals);
    AppendFormat(text, " %d\n", pDta->nCharge);
    AppendExactPeakLines(text, *pDta);
  } else {
    AppendFormat(text, "%.6lf %d\n", pDta->dMass, pDta->nCharge);
  }
  for (unsigned i = 0; dialect == MgfDialect::Classic && i < n; ++i) {
    const double intensity = pDta->GetIntensity(i);
    if (intensity == 0.0) continue;
    // The line end depends on the index, not on what was written: a zero
    // last peak leaves the newline of the peak before it in place.
    if (i + 1 < n)
      AppendFormat(text, "%.3lf %.3lf\n", pDta->GetMass(i), intensity);
    else
      AppendFormat(text, "%.3lf %.3lf", pDta->GetMass(i), intensity);
  }
  try {
    file.WriteString(text);
    file.Close();
  } catch (const CFileException& e) {
    e.ReportError();
    file.Abort();
    return E_UNEXPECTED;
  }
  return S_OK;
}

}  // namespace orvane
