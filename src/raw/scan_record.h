// Scans as instrument files state them, for the modern conversions: a plain
// record per scan and a source that hands them out in file order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orvane {

// The precursor of an MS/MS scan as the file states it.
struct PrecursorRecord {
  double dMz = 0.0;                // the selected ion's m/z (else the isolation target)
  double dMonoisotopicMz = 0.0;    // the instrument's monoisotopic m/z; 0: not given
  double dIntensity = 0.0;         // 0: not given
  std::vector<int> vCharges;       // the stated charge, or the possible charges; empty: none
  double dIsolationLower = 0.0;    // offsets of the isolation window from its target;
  double dIsolationUpper = 0.0;    // 0: not given
  std::string strActivation;       // "cid", "hcd", "etd", ...; "" when not named
  double dEnergy = 0.0;            // collision energy; 0: not given
};

struct ScanRecord {
  std::size_t nIndex = 0;          // position in the file, from 0
  int nMsLevel = 0;
  std::string strNativeId;         // "controllerType=0 controllerNumber=1 scan=2", "2442"
  long nScan = 0;                  // scan number
  double dRetentionSeconds = 0.0;
  bool bRetentionTime = false;
  double dTotalIntensity = 0.0;    // as the file states it, else the sum of the peaks
  double dBasePeakIntensity = 0.0; // likewise
  PrecursorRecord precursor;       // MS level 2 and above
  std::vector<double> vMz;         // ascending
  std::vector<double> vIntensity;
  // Not empty: the spectrum is refused (an MS level, charge or precursor m/z
  // no spectrum can have), and this is the whole error message, naming the
  // file, the spectrum and the reason. Its peaks are not handed out.
  std::string strRefusal;
};

// An open instrument file. Header() is cheap; Peaks() decodes. Both throw
// std::runtime_error with a message that names the file and the scan when
// the data can't be read (a damaged array, say).
class IScanSource {
 public:
  virtual ~IScanSource() = default;
  virtual std::size_t Count() const = 0;
  // Everything but the peaks of spectrum i (file order, from 0).
  virtual void Header(std::size_t i, ScanRecord* pRecord) = 0;
  // The peaks of spectrum i into pRecord->vMz and vIntensity.
  virtual void Peaks(std::size_t i, ScanRecord* pRecord) = 0;
  // The file's instrument and analyzer names where it gives them, for reports.
  virtual std::string Describe() const { return {}; }
};

}  // namespace orvane
