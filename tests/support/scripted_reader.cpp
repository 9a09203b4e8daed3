#include "support/scripted_reader.h"

#include <stdexcept>

namespace orvane::test {

ScriptedScan MakeScan(const std::string& strFilter, RawPeakList peaks, RawPeakList priorPeaks) {
  ScriptedScan scan;
  scan.strFilter = strFilter;
  scan.header.nEntries = static_cast<long>(peaks.size());
  for (const RawPeak& p : peaks) {
    scan.header.dTotalIntensity += p.dIntensity;
    if (p.dIntensity > scan.header.dBasePeakIntensity) {
      scan.header.dBasePeakIntensity = p.dIntensity;
      scan.header.dBasePeakMass = p.dMass;
    }
  }
  scan.peaks = std::move(peaks);
  scan.priorPeaks = std::move(priorPeaks);
  return scan;
}

ScriptedScan MakeSurveyScan(RawPeakList peaks) {
  return MakeScan("FTMS + p NSI Full ms [300.00-2000.00]", std::move(peaks));
}

const ScriptedScan* ScriptedReader::Find(long nScan) const {
  if (open_ == nullptr) throw std::logic_error("no scripted file is open");
  const auto it = open_->scans.find(nScan);
  return it == open_->scans.end() ? nullptr : &it->second;
}

long ScriptedReader::OpenRawFile(const std::string& strPath) {
  const auto it = files_.find(strPath);
  if (it == files_.end()) return 1;
  if (it->second.nOpenResult == 0) open_ = &it->second;
  return it->second.nOpenResult;
}

void ScriptedReader::GetSpectrumCount(long* pnCount) {
  Find(0);
  *pnCount = open_->nSpectrumCount.value_or(static_cast<long>(open_->scans.size()));
}

void ScriptedReader::GetFirstScan(long* pnScan) {
  Find(0);
  *pnScan = open_->nFirstScan.value_or(open_->scans.empty() ? 0 : open_->scans.begin()->first);
}

void ScriptedReader::GetLastScan(long* pnScan) {
  Find(0);
  *pnScan = open_->nLastScan.value_or(open_->scans.empty() ? 0 : open_->scans.rbegin()->first);
}

void ScriptedReader::GetScanFilter(long nScan, std::string* pstrFilter) {
  const ScriptedScan* scan = Find(nScan);
  *pstrFilter = scan ? scan->strFilter : std::string();
}

void ScriptedReader::GetMassList(long* pnScan, const std::string&, long, long, long, long, double*,
                                 RawPeakList* pList, RawPeakList* pFlags, long* pnSize) {
  const ScriptedScan* scan = Find(*pnScan);
  *pList = scan ? scan->peaks : RawPeakList();
  pFlags->assign(pList->size(), RawPeak{});
  *pnSize = static_cast<long>(pList->size());
}

void ScriptedReader::GetPriorMassList(long* pnScan, const std::string&, long, long, long, long, double*,
                                      RawPeakList* pList, RawPeakList* pFlags, long* pnSize) {
  const ScriptedScan* scan = Find(*pnScan);
  *pList = scan ? scan->priorPeaks : RawPeakList();
  pFlags->assign(pList->size(), RawPeak{});
  *pnSize = static_cast<long>(pList->size());
  if (scan && scan->priorScan) *pnScan = *scan->priorScan;
}

void ScriptedReader::GetScanHeader(long nScan, ScanHeader* pHeader) {
  if (const ScriptedScan* scan = Find(nScan)) *pHeader = scan->header;
}

void ScriptedReader::GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) {
  const ScriptedScan* scan = Find(nScan);
  *pValue = Variant::Empty();
  if (scan && scan->trailer.count(strLabel)) *pValue = scan->trailer.at(strLabel);
}

}  // namespace orvane::test
