// An in-memory raw-file reader for tests: files and scans are scripted with
// filter texts, header values, typed trailer values and mass lists.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "raw/raw_reader.h"

namespace orvane::test {

struct ScriptedScan {
  std::string strFilter;
  ScanHeader header;
  std::map<std::string, Variant> trailer;  // by label; a label not here answers an empty Variant
  RawPeakList peaks;                       // GetMassList
  RawPeakList priorPeaks;                  // GetPriorMassList
  std::optional<long> priorScan;           // where GetPriorMassList moves the scan number to
};

struct ScriptedFile {
  long nOpenResult = 0;  // 0 opens
  // First and last scan numbers and the count; by default those of the scripted scans.
  std::optional<long> nFirstScan, nLastScan, nSpectrumCount;
  std::map<long, ScriptedScan> scans;
};

// A scan whose header (entries, total and base peak) agrees with its peaks.
ScriptedScan MakeScan(const std::string& strFilter, RawPeakList peaks, RawPeakList priorPeaks = {});
// The survey scan "FTMS + p NSI Full ms [300.00-2000.00]".
ScriptedScan MakeSurveyScan(RawPeakList peaks = {{500.0, 100.0}});

class ScriptedReader final : public IRawReader {
 public:
  // Scripts a file; paths not scripted fail to open (result 1).
  ScriptedFile& AddFile(const std::string& strPath) { return files_[strPath]; }

  long OpenRawFile(const std::string& strPath) override;
  void CloseRawFile() override { open_ = nullptr; }
  void SelectController(long, long) override {}
  void GetSpectrumCount(long* pnCount) override;
  void GetFirstScan(long* pnScan) override;
  void GetLastScan(long* pnScan) override;
  void GetScanFilter(long nScan, std::string* pstrFilter) override;
  void GetMassList(long* pnScan, const std::string&, long, long, long, long, double*, RawPeakList* pList,
                   RawPeakList* pFlags, long* pnSize) override;
  void GetPriorMassList(long* pnScan, const std::string&, long, long, long, long, double*, RawPeakList* pList,
                        RawPeakList* pFlags, long* pnSize) override;
  void GetScanHeader(long nScan, ScanHeader* pHeader) override;
  void GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) override;

 private:
  const ScriptedScan* Find(long nScan) const;
  std::map<std::string, ScriptedFile> files_;
  const ScriptedFile* open_ = nullptr;
};

}  // namespace orvane::test
