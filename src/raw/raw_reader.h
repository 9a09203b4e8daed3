// What the engine asks of an instrument-file reader: eleven operations, with
// the arguments and outs a vendor's reader object takes. A failing call
// throws (any exception type); the conversions catch everything around their
// reader work.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvane {

// A small tagged value in place of a VARIANT: the types the engine tells apart.
struct Variant {
  enum Type : std::uint16_t { VT_EMPTY = 0, VT_I2 = 2, VT_R4 = 4, VT_R8 = 5, VT_ERROR = 10 };
  Type vt = VT_EMPTY;
  std::int16_t iVal = 0;
  float fltVal = 0.0f;
  double dblVal = 0.0;
  std::int32_t scode = 0;

  static Variant Empty() { return {}; }
  static Variant I2(std::int16_t v) { Variant x; x.vt = VT_I2; x.iVal = v; return x; }
  static Variant R4(float v) { Variant x; x.vt = VT_R4; x.fltVal = v; return x; }
  static Variant R8(double v) { Variant x; x.vt = VT_R8; x.dblVal = v; return x; }
  static Variant Error(std::int32_t code = 0x80020004) { Variant x; x.vt = VT_ERROR; x.scode = code; return x; }
};

// One entry of a mass list: mass, then intensity.
struct RawPeak {
  double dMass = 0.0;
  double dIntensity = 0.0;
};
using RawPeakList = std::vector<RawPeak>;

// The ten outs of GetScanHeader, in order. The engine reads nEntries,
// dTotalIntensity and dBasePeakIntensity.
struct ScanHeader {
  long nEntries = 0;
  double dLowMass = 0.0;
  double dHighMass = 0.0;
  double dStartTime = 0.0;
  double dTotalIntensity = 0.0;
  double dLowestIntensity = 0.0;
  double dBasePeakIntensity = 0.0;
  long nScanType = 0;
  long nPolarity = 0;
  double dBasePeakMass = 0.0;
};

class IRawReader {
 public:
  virtual ~IRawReader() = default;

  // 1: 0 when the file is open.
  virtual long OpenRawFile(const std::string& strPath) = 0;
  // 2
  virtual void CloseRawFile() = 0;
  // 34: always called with (0, 1) after opening.
  virtual void SelectController(long nControllerType, long nControllerNumber) = 0;
  // 36
  virtual void GetSpectrumCount(long* pnCount) = 0;
  // 49, 50
  virtual void GetFirstScan(long* pnScan) = 0;
  virtual void GetLastScan(long* pnScan) = 0;
  // 71: the filter text of a scan ("FTMS + p NSI d Full ms2 500.25@cid35.00 [...]").
  virtual void GetScanFilter(long nScan, std::string* pstrFilter) = 0;
  // 73: the peaks of a scan. pnScan points at the scan number; the filter is
  // "" and the four ints 0, pdWidth null. pList receives (mass, intensity)
  // pairs, pnSize their number.
  virtual void GetMassList(long* pnScan, const std::string& strFilter, long nIntensityCutoffType,
                           long nIntensityCutoffValue, long nMaxPeaks, long bCentroid,
                           double* pdWidth, RawPeakList* pList, RawPeakList* pFlags,
                           long* pnSize) = 0;
  // 76: the peaks of the scan in which the precursor of scan *pnScan was
  // selected; the reader may move *pnScan there. Filter "!d", width 0.0.
  virtual void GetPriorMassList(long* pnScan, const std::string& strFilter,
                                long nIntensityCutoffType, long nIntensityCutoffValue,
                                long nMaxPeaks, long bCentroid, double* pdWidth,
                                RawPeakList* pList, RawPeakList* pFlags, long* pnSize) = 0;
  // 79
  virtual void GetScanHeader(long nScan, ScanHeader* pHeader) = 0;
  // 90: a trailer value by label ("Monoisotopic M/Z:", "Charge State:").
  virtual void GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) = 0;

  // Ours: the next scan number after nScan that a spectrum of the file
  // carries, or nLast + 1 past the last one (never more than the last + 1, so
  // a walk ends even at the largest numbers). A reader whose numbers have no
  // gaps keeps the default. Numbers between are empty survey scans, so a
  // walk that skips them writes the same as one that visits them.
  virtual long NextScanAfter(long nScan, long nLast) { return nScan < nLast ? nScan + 1 : nLast + 1; }
};

}  // namespace orvane
