#include "raw/scan_access.h"

#include <algorithm>
#include <cstdlib>

#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

// The number of entries a list call delivered, never more than it holds.
std::size_t UsableEntries(long nSize, const RawPeakList& list) {
  if (nSize <= 0) return 0;
  return std::min(static_cast<std::size_t>(nSize), list.size());
}

}  // namespace

int MsLevelFromFilter(const std::string& strFilter) {
  const std::size_t pos = strFilter.find("ms");
  if (pos == std::string::npos) return 0;
  const char* behind = strFilter.c_str() + pos + 2;
  if (*behind == ' ') return 1;
  return static_cast<int>(std::atol(behind));
}

double LastPrecursorFromFilter(const std::string& strFilter, bool* pFound) {
  if (pFound) *pFound = false;
  // The last "@", searched from the end down to the second character.
  std::size_t at = 0;
  for (std::size_t i = strFilter.size(); i-- > 1;) {
    if (strFilter[i] == '@') {
      at = i;
      break;
    }
  }
  if (at == 0) return 0.0;
  if (pFound) *pFound = true;
  std::size_t start = at;
  while (start > 0 && strFilter[start - 1] != ' ') --start;
  return std::atof(strFilter.substr(start, at - start).c_str());
}

std::string PathBaseName(const std::string& strPath) {
  std::size_t begin = 0;
  const std::size_t slash = strPath.find_last_of("/\\");
  if (slash != std::string::npos) {
    begin = slash + 1;
  } else if (strPath.size() >= 2 && strPath[1] == ':') {
    begin = 2;
  }
  const std::string rest = strPath.substr(begin);
  const std::size_t dot = rest.rfind('.');
  return dot == std::string::npos ? rest : rest.substr(0, dot);
}

int ReadScan(IRawReader* pReader, ScanInfo* pScan, const RawOptions* pOptions, Dta* pDta) {
  const long nScan = pScan->nScan;

  std::string strFilter;
  pReader->GetScanFilter(nScan, &strFilter);
  pScan->nMsLevel = MsLevelFromFilter(strFilter);

  ScanHeader header;  // every out zeroed before the call
  pReader->GetScanHeader(nScan, &header);

  if (pScan->nMsLevel <= 1) return kScanSurvey;

  // The precursor: from the trailer when the instrument determined it.
  pScan->dPrecursorMz = 0.0;
  Variant value;
  pReader->GetScanTrailer(nScan, kTrailerMonoisotopicMz, &value);
  switch (value.vt) {
    case Variant::VT_R4:
      pScan->dPrecursorMz = static_cast<double>(value.fltVal);
      break;
    case Variant::VT_R8:
      pScan->dPrecursorMz = value.dblVal;
      break;
    case Variant::VT_ERROR:
      break;
    default:
      ShowError(Format("Scan: %d MS level: %d unexpected type when looking for precursorMz",
                       pScan->nScan, pScan->nMsLevel));
      return kScanUnexpectedType;
  }

  // Otherwise the isolation mass the filter text names, a number of two or
  // three decimals, refined below against the prior scan.
  bool bFromFilter = false;
  if (pScan->dPrecursorMz == 0.0) {
    bFromFilter = true;
    pScan->dPrecursorMz = LastPrecursorFromFilter(strFilter);
  }

  // A stated charge only tells that the precursor is multiply charged; its
  // number is not used.
  pScan->nChargeClass = 0;
  Variant charge;
  pReader->GetScanTrailer(nScan, kTrailerChargeState, &charge);
  if (charge.vt == Variant::VT_I2) pScan->nChargeClass = 2;

  if (header.nEntries == 0) return kScanNoEntries;

  // Walk the scan the precursor was selected in. Each new maximum within the
  // tolerance takes the precursor along (only for a filter-text precursor),
  // and the walk ends at the first peak beyond the tolerance above it.
  long nPriorScan = nScan;
  double dWidth = 0.0;
  RawPeakList prior;
  RawPeakList priorFlags;
  long nPriorSize = 0;
  pReader->GetPriorMassList(&nPriorScan, "!d", 0, 0, 0, 0, &dWidth, &prior, &priorFlags,
                            &nPriorSize);
  const std::size_t nPrior = UsableEntries(nPriorSize, prior);
  double dPrecursor = pScan->dPrecursorMz;
  double dBest = 0.0;
  for (std::size_t i = 0; i < nPrior; ++i) {
    const double m = prior[i].dMass;
    const double intensity = prior[i].dIntensity;
    if (dPrecursor - m < kPrecursorWalkTolerance && dBest < intensity) {
      dBest = intensity;
      if (bFromFilter) dPrecursor = m;
    }
    if (m - dPrecursor > kPrecursorWalkTolerance) break;
  }
  pScan->dPrecursorMz = dPrecursor;

  // An MS3 scan belongs to the last precursor of its filter text, whatever
  // the trailer or the prior scan said.
  if (pScan->nMsLevel == 3) {
    bool bFound = false;
    const double dMs3 = LastPrecursorFromFilter(strFilter, &bFound);
    if (bFound) pScan->dPrecursorMz = dMs3;
  }

  const int nPeaks = ReadMassList(pReader, pScan->nScan, pOptions, pScan->dMaxBasePeak, pDta);
  const int nMinPeaks = pOptions ? pOptions->nMinPeaks : 0;
  if (nPeaks < nMinPeaks) return kScanTooFewPeaks;

  if (pScan->nChargeClass == 0) pScan->nChargeClass = EstimateChargeClass(pScan->dPrecursorMz, pDta);
  return kScanRead;
}

int ReadMassList(IRawReader* pReader, int nScan, const RawOptions* pOptions, double dMaxBasePeak,
                 Dta* pDta) {
  pDta->Clear();
  if (nScan < 1) return 0;

  ScanHeader header;
  pReader->GetScanHeader(nScan, &header);
  const ThresholdMode mode = pOptions ? pOptions->nThresholdMode : ThresholdMode::None;
  if (mode == ThresholdMode::Fixed) {
    if (static_cast<double>(pOptions->nIntensityThreshold) > header.dTotalIntensity) return 0;
  } else if (mode == ThresholdMode::BasePeak) {
    if (dMaxBasePeak > header.dTotalIntensity) return 0;
  }

  long nListScan = nScan;
  RawPeakList list;
  RawPeakList flags;
  long nSize = 0;
  pReader->GetMassList(&nListScan, "", 0, 0, 0, 0, nullptr, &list, &flags, &nSize);
  const std::size_t n = UsableEntries(nSize, list);
  for (std::size_t i = 0; i < n; ++i) pDta->AddPeak(list[i].dMass, list[i].dIntensity);
  return static_cast<int>(n);
}

int EstimateChargeClass(double dPrecursorMz, const Dta* pDta) {
  double below = 0.0;
  double above = 0.0;
  const unsigned n = pDta->GetPeakCount();
  for (unsigned i = 0; i < n; ++i) {
    if (pDta->GetMass(i) <= dPrecursorMz)
      below += pDta->GetIntensity(i);
    else
      above += pDta->GetIntensity(i);
  }
  return 0.1 * below < above ? 2 : 1;
}

double GetMaxBasePeak(IRawReader* pReader, long nFirst, long nLast) {
  double dMax = 0.0;
  for (long s = nFirst; s < nLast; s = pReader->NextScanAfter(s, nLast)) {
    ScanHeader header;
    pReader->GetScanHeader(s, &header);
    dMax = std::max(dMax, header.dBasePeakIntensity);
  }
  return dMax;
}

}  // namespace orvane
