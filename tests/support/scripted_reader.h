// An in-memory raw-file reader for tests: files and scans are scripted with
// filter texts, header values, typed trailer values and mass lists; every
// call is counted and logged with its arguments, and any operation can be
// made to throw, as a failed dispatch call does.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "raw/raw_reader.h"

namespace orvane::test {

struct ScriptedScan {
  std::string strFilter;
  ScanHeader header;
  // Trailer values by label; a label not here answers an empty Variant.
  std::map<std::string, Variant> trailer;
  RawPeakList peaks;       // GetMassList
  RawPeakList priorPeaks;  // GetPriorMassList
  // Where GetPriorMassList moves the scan number to (unchanged when empty).
  std::optional<long> priorScan;
};

struct ScriptedFile {
  long nOpenResult = 0;  // 0 opens
  // First and last scan numbers; by default the smallest and largest scripted.
  std::optional<long> nFirstScan;
  std::optional<long> nLastScan;
  // Reported spectrum count; by default the number of scripted scans.
  std::optional<long> nSpectrumCount;
  std::map<long, ScriptedScan> scans;
};

// A scan whose header agrees with its peaks: nEntries, total intensity and
// base peak intensity are taken from them.
ScriptedScan MakeScan(const std::string& strFilter, RawPeakList peaks,
                      RawPeakList priorPeaks = {});
// An MS2 scan "FTMS + c NSI d Full ms2 <mz>@cid35.00 [100.00-2000.00]" with
// the given peaks, the trailer precursor of type VT_ERROR (so the filter's
// number counts) and no charge state; the prior list holds the precursor.
ScriptedScan MakeMs2Scan(double dPrecursorMz, RawPeakList peaks);
// The survey scan "FTMS + p NSI Full ms [300.00-2000.00]".
ScriptedScan MakeSurveyScan(RawPeakList peaks = {{500.0, 100.0}});

class ScriptedReader final : public IRawReader {
 public:
  enum class Op {
    OpenRawFile,
    CloseRawFile,
    SelectController,
    GetSpectrumCount,
    GetFirstScan,
    GetLastScan,
    GetScanFilter,
    GetMassList,
    GetPriorMassList,
    GetScanHeader,
    GetScanTrailer,
  };
  static const char* OpName(Op op);

  // One call as the reader saw it.
  struct Call {
    Op op;
    long nScan = 0;          // scan argument, where the operation has one
    std::string text;        // path, filter text or trailer label
    std::vector<long> ints;  // the integer arguments (controller, cutoffs)
    bool bWidthNull = true;  // mass lists: whether the width pointer was null
    double dWidth = 0.0;     // mass lists: the width it pointed at
  };

  static constexpr long kAnyScan = -2147483647L - 1;

  // Scripts a file; paths not scripted fail to open (result 1).
  ScriptedFile& AddFile(const std::string& strPath);
  ScriptedFile& File(const std::string& strPath) { return files_.at(strPath); }

  // Makes the n-th call (counted from 1, over the whole life of the reader)
  // of op for nScan throw std::runtime_error.
  void ThrowOn(Op op, long nScan = kAnyScan, int nNth = 1);

  int Calls(Op op) const;
  int Calls(Op op, long nScan) const;
  const std::vector<Call>& Log() const { return log_; }
  // Calls of one operation, in order.
  std::vector<Call> CallsOf(Op op) const;

  // IRawReader
  long OpenRawFile(const std::string& strPath) override;
  void CloseRawFile() override;
  void SelectController(long nControllerType, long nControllerNumber) override;
  void GetSpectrumCount(long* pnCount) override;
  void GetFirstScan(long* pnScan) override;
  void GetLastScan(long* pnScan) override;
  void GetScanFilter(long nScan, std::string* pstrFilter) override;
  void GetMassList(long* pnScan, const std::string& strFilter, long nIntensityCutoffType,
                   long nIntensityCutoffValue, long nMaxPeaks, long bCentroid, double* pdWidth,
                   RawPeakList* pList, RawPeakList* pFlags, long* pnSize) override;
  void GetPriorMassList(long* pnScan, const std::string& strFilter, long nIntensityCutoffType,
                        long nIntensityCutoffValue, long nMaxPeaks, long bCentroid,
                        double* pdWidth, RawPeakList* pList, RawPeakList* pFlags,
                        long* pnSize) override;
  void GetScanHeader(long nScan, ScanHeader* pHeader) override;
  void GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) override;

 private:
  struct Trap {
    Op op;
    long nScan;
    int nNth;
  };
  void Record(Call call);
  const ScriptedScan* FindScan(long nScan) const;

  std::map<std::string, ScriptedFile> files_;
  const ScriptedFile* open_ = nullptr;
  std::vector<Call> log_;
  std::vector<Trap> traps_;
};

}  // namespace orvane::test
