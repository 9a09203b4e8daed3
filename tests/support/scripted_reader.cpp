#include "support/scripted_reader.h"

#include <algorithm>
#include <cstdio>
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

ScriptedScan MakeMs2Scan(double dPrecursorMz, RawPeakList peaks) {
  char number[64];
  std::snprintf(number, sizeof number, "%.2f", dPrecursorMz);
  ScriptedScan scan = MakeScan(std::string("FTMS + c NSI d Full ms2 ") + number +
                                   "@cid35.00 [100.00-2000.00]",
                               std::move(peaks), {{dPrecursorMz, 1000.0}});
  scan.trailer["Monoisotopic M/Z:"] = Variant::Error();
  return scan;
}

ScriptedScan MakeSurveyScan(RawPeakList peaks) {
  return MakeScan("FTMS + p NSI Full ms [300.00-2000.00]", std::move(peaks));
}

const char* ScriptedReader::OpName(Op op) {
  switch (op) {
    case Op::OpenRawFile: return "OpenRawFile";
    case Op::CloseRawFile: return "CloseRawFile";
    case Op::SelectController: return "SelectController";
    case Op::GetSpectrumCount: return "GetSpectrumCount";
    case Op::GetFirstScan: return "GetFirstScan";
    case Op::GetLastScan: return "GetLastScan";
    case Op::GetScanFilter: return "GetScanFilter";
    case Op::GetMassList: return "GetMassList";
    case Op::GetPriorMassList: return "GetPriorMassList";
    case Op::GetScanHeader: return "GetScanHeader";
    case Op::GetScanTrailer: return "GetScanTrailer";
  }
  return "?";
}

ScriptedFile& ScriptedReader::AddFile(const std::string& strPath) { return files_[strPath]; }

void ScriptedReader::ThrowOn(Op op, long nScan, int nNth) { traps_.push_back({op, nScan, nNth}); }

int ScriptedReader::Calls(Op op) const {
  return static_cast<int>(
      std::count_if(log_.begin(), log_.end(), [&](const Call& c) { return c.op == op; }));
}

int ScriptedReader::Calls(Op op, long nScan) const {
  return static_cast<int>(std::count_if(log_.begin(), log_.end(), [&](const Call& c) {
    return c.op == op && c.nScan == nScan;
  }));
}

std::vector<ScriptedReader::Call> ScriptedReader::CallsOf(Op op) const {
  std::vector<Call> out;
  for (const Call& c : log_)
    if (c.op == op) out.push_back(c);
  return out;
}

void ScriptedReader::Record(Call call) {
  log_.push_back(call);
  for (const Trap& trap : traps_) {
    if (trap.op != call.op) continue;
    if (trap.nScan != kAnyScan && trap.nScan != call.nScan) continue;
    const int seen = trap.nScan == kAnyScan ? Calls(call.op) : Calls(call.op, call.nScan);
    if (seen == trap.nNth)
      throw std::runtime_error(std::string("scripted failure of ") + OpName(call.op));
  }
  if (call.op != Op::OpenRawFile && open_ == nullptr)
    throw std::logic_error(std::string(OpName(call.op)) + " called with no file open");
}

const ScriptedScan* ScriptedReader::FindScan(long nScan) const {
  const auto it = open_->scans.find(nScan);
  return it == open_->scans.end() ? nullptr : &it->second;
}

long ScriptedReader::OpenRawFile(const std::string& strPath) {
  Record({Op::OpenRawFile, 0, strPath, {}, true, 0.0});
  const auto it = files_.find(strPath);
  if (it == files_.end()) return 1;
  if (it->second.nOpenResult != 0) return it->second.nOpenResult;
  open_ = &it->second;
  return 0;
}

void ScriptedReader::CloseRawFile() {
  Record({Op::CloseRawFile, 0, {}, {}, true, 0.0});
  open_ = nullptr;
}

void ScriptedReader::SelectController(long nControllerType, long nControllerNumber) {
  Record({Op::SelectController, 0, {}, {nControllerType, nControllerNumber}, true, 0.0});
}

void ScriptedReader::GetSpectrumCount(long* pnCount) {
  Record({Op::GetSpectrumCount, 0, {}, {}, true, 0.0});
  *pnCount = open_->nSpectrumCount.value_or(static_cast<long>(open_->scans.size()));
}

void ScriptedReader::GetFirstScan(long* pnScan) {
  Record({Op::GetFirstScan, 0, {}, {}, true, 0.0});
  *pnScan = open_->nFirstScan.value_or(open_->scans.empty() ? 0 : open_->scans.begin()->first);
}

void ScriptedReader::GetLastScan(long* pnScan) {
  Record({Op::GetLastScan, 0, {}, {}, true, 0.0});
  *pnScan = open_->nLastScan.value_or(open_->scans.empty() ? 0 : open_->scans.rbegin()->first);
}

void ScriptedReader::GetScanFilter(long nScan, std::string* pstrFilter) {
  Record({Op::GetScanFilter, nScan, {}, {}, true, 0.0});
  const ScriptedScan* scan = FindScan(nScan);
  *pstrFilter = scan ? scan->strFilter : std::string();
}

void ScriptedReader::GetMassList(long* pnScan, const std::string& strFilter,
                                 long nIntensityCutoffType, long nIntensityCutoffValue,
                                 long nMaxPeaks, long bCentroid, double* pdWidth,
                                 RawPeakList* pList, RawPeakList* pFlags, long* pnSize) {
  Record({Op::GetMassList, *pnScan, strFilter,
          {nIntensityCutoffType, nIntensityCutoffValue, nMaxPeaks, bCentroid}, pdWidth == nullptr,
          pdWidth ? *pdWidth : 0.0});
  const ScriptedScan* scan = FindScan(*pnScan);
  *pList = scan ? scan->peaks : RawPeakList();
  pFlags->assign(pList->size(), RawPeak{});
  *pnSize = static_cast<long>(pList->size());
}

void ScriptedReader::GetPriorMassList(long* pnScan, const std::string& strFilter,
                                      long nIntensityCutoffType, long nIntensityCutoffValue,
                                      long nMaxPeaks, long bCentroid, double* pdWidth,
                                      RawPeakList* pList, RawPeakList* pFlags, long* pnSize) {
  Record({Op::GetPriorMassList, *pnScan, strFilter,
          {nIntensityCutoffType, nIntensityCutoffValue, nMaxPeaks, bCentroid}, pdWidth == nullptr,
          pdWidth ? *pdWidth : 0.0});
  const ScriptedScan* scan = FindScan(*pnScan);
  *pList = scan ? scan->priorPeaks : RawPeakList();
  pFlags->assign(pList->size(), RawPeak{});
  *pnSize = static_cast<long>(pList->size());
  if (scan && scan->priorScan) *pnScan = *scan->priorScan;
}

void ScriptedReader::GetScanHeader(long nScan, ScanHeader* pHeader) {
  Record({Op::GetScanHeader, nScan, {}, {}, true, 0.0});
  const ScriptedScan* scan = FindScan(nScan);
  if (scan) *pHeader = scan->header;
}

void ScriptedReader::GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) {
  Record({Op::GetScanTrailer, nScan, strLabel, {}, true, 0.0});
  const ScriptedScan* scan = FindScan(nScan);
  *pValue = Variant::Empty();
  if (scan) {
    const auto it = scan->trailer.find(strLabel);
    if (it != scan->trailer.end()) *pValue = it->second;
  }
}

}  // namespace orvane::test
