// Options of the raw conversions, and the working record of one scan.
#pragma once

#include <cstdint>

#include "spectrum/dialect.h"

namespace orvane {

// The intensity test of a scan.
enum class ThresholdMode : std::int32_t {
  None = 0,
  Fixed = 1,     // total intensity at least nIntensityThreshold
  BasePeak = 2,  // total intensity at least the file's largest base peak
};
// What the raw driver converts raw files to before it cleans them.
enum class ConvertTarget : std::int32_t { Dta = 0, Mgf = 1 };

struct RawOptions {
  double dMinMass = 0.0;                // lower bound, included, of MH+ written
  double dMaxMass = 0.0;                // upper bound, included
  std::int32_t nIntensityThreshold = 0; // least total intensity when nThresholdMode is 1
  std::int32_t nMinPeaks = 0;           // least number of peaks of a scan
  ThresholdMode nThresholdMode = ThresholdMode::None;
  std::int32_t nExportOption = 0;       // handed on to the writers, which don't read it
  bool bSplitMsLevels = false;          // MS2 and MS3 to separate outputs
  ConvertTarget nConvertOption = ConvertTarget::Dta;
};

struct ScanInfo {
  int nScan = 0;
  double dMaxBasePeak = 0.0;
  int nMsLevel = 0;
  double dPrecursorMz = 0.0;
  int nChargeClass = 0;  // 0 not known, 1 singly charged, 2 multiply charged
};

// The number the classic raw conversions bridge MH+ and m/z with.
inline constexpr double kProton = kClassicProton;

}  // namespace orvane
