#include "spectrum/dta_file.h"

#include <cstdio>
#include <string>

#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/file_path.h"

namespace orvane {
namespace {
// One read delivers at most 254 characters.
constexpr unsigned kReadLimit = 255;
}  // namespace

HRESULT ImportDta(const char* pszPath, Dta* pDta) {
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
  text.reserve(32 + 24 * static_cast<std::size_t>(pDta->nPeaks));
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
