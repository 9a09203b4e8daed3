// Reading single scans through a raw-file reader: the routines the two raw
// conversions loop with. Private to the raw conversions (and their tests).
#pragma once

#include <string>

#include "raw/raw_options.h"
#include "raw/raw_reader.h"
#include "spectrum/dta.h"

namespace orvane {

// What ReadScan reports about a scan.
enum ReadScanStatus : int {
  kScanUnexpectedType = 0,  // trailer value of a type that can't be a mass; box shown
  kScanRead = 1,            // read in full
  kScanNoEntries = 2,       // MS/MS scan whose header has no entries; pDta untouched
  kScanTooFewPeaks = -7,    // below nMinPeaks, or rejected by the intensity threshold
  kScanSurvey = -8,         // MS level 1 or less
};

// Trailer labels the precursor and its charge are read under.
inline constexpr const char* kTrailerMonoisotopicMz = "Monoisotopic M/Z:";
inline constexpr const char* kTrailerChargeState = "Charge State:";
// Half-width of the window in which the prior scan's strongest peak refines
// a precursor taken from the filter text.
inline constexpr double kPrecursorWalkTolerance = 0.05;

// Reads scan pScan->nScan: MS level, precursor m/z and charge class into
// *pScan and the peaks into *pDta. Returns a ReadScanStatus. Reader failures
// propagate as exceptions.
int ReadScan(IRawReader* pReader, ScanInfo* pScan, const RawOptions* pOptions, Dta* pDta);

// Clears *pDta and fills it with the mass list of nScan unless the intensity
// threshold of pOptions rejects the scan. Returns the number of peaks taken.
int ReadMassList(IRawReader* pReader, int nScan, const RawOptions* pOptions, double dMaxBasePeak,
                 Dta* pDta);

// 1 when the signal above dPrecursorMz is at most a tenth of that at or below
// it (singly charged), else 2.
int EstimateChargeClass(double dPrecursorMz, const Dta* pDta);

// The largest base peak intensity of the scans nFirst .. nLast-1; 0.0 when
// there are none.
double GetMaxBasePeak(IRawReader* pReader, long nFirst, long nLast);

// The MS level the filter text names: the number right behind the first
// "ms", 1 for "ms " (a survey scan), 0 when there is no "ms" at all.
int MsLevelFromFilter(const std::string& strFilter);

// The number written right before the last "@" of the filter text (from the
// blank before it). found is false when the text has no "@" after its first
// character; the value is then 0.0.
double LastPrecursorFromFilter(const std::string& strFilter, bool* pFound = nullptr);

// The file name of a path without folder and extension, by the rules of
// _splitpath: folders end at the last "/" or "\", the extension starts at the
// last "." after that, and a leading drive "X:" is not part of the name.
std::string PathBaseName(const std::string& strPath);

}  // namespace orvane
