// The in-memory form of one tandem mass spectrum.
//
// A plain holder of two parallel peak vectors and a few header values. It
// does not sort, de-duplicate or check masses; the order of the peaks is the
// order of insertion. The vectors are the peak list: its count is theirs (the
// shorter one's, should a host have filled them unevenly), so no separate
// number can disagree with them. Assignment and Clear() deliberately leave the grid
// fields (bEquidistant, nSampling) and the charge sign alone, so a driver that
// reuses one record keeps them from one resampling to the next.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvane {

class Dta {
 public:
  Dta() = default;
  Dta(const Dta& other) = default;  // copies every field
  // Copies mass, charge, peaks, path, title and the MGF header extras; keeps
  // bEquidistant, nSampling and cChargeSign of the target.
  Dta& operator=(const Dta& other);

  // Empties the record apart from bEquidistant, nSampling and cChargeSign.
  void Clear();
  // Empties the two peak vectors; everything else stays.
  void ClearPeaks();
  void AddPeak(double dMass, double dIntensity);

  std::uint32_t GetPeakCount() const {
    return static_cast<std::uint32_t>(vMass.size() < vIntensity.size() ? vMass.size() : vIntensity.size());
  }
  // -1.0 for an index at or past the peak count.
  double GetMass(unsigned i) const { return i < GetPeakCount() ? vMass[i] : -1.0; }
  double GetIntensity(unsigned i) const { return i < GetPeakCount() ? vIntensity[i] : -1.0; }
  // The index is the caller's to respect; out of range throws std::out_of_range.
  void SetIntensity(unsigned i, double dValue) { vIntensity.at(i) = dValue; }

  std::vector<double>* GetMasses() { return &vMass; }
  std::vector<double>* GetIntensities() { return &vIntensity; }
  const std::vector<double>* GetMasses() const { return &vMass; }
  const std::vector<double>* GetIntensities() const { return &vIntensity; }
  std::vector<double>::iterator IntensitiesBegin() { return vIntensity.begin(); }
  std::vector<double>::iterator IntensitiesEnd() { return vIntensity.end(); }
  std::vector<double>::iterator MassesBegin() { return vMass.begin(); }
  std::vector<double>::const_iterator IntensitiesBegin() const { return vIntensity.begin(); }
  std::vector<double>::const_iterator IntensitiesEnd() const { return vIntensity.end(); }
  std::vector<double>::const_iterator MassesBegin() const { return vMass.begin(); }

  // bEquidistant = bFlag; nSampling = 1.0 / dStep truncated toward zero.
  void SetEquidistant(bool bFlag, double dStep);
  bool IsEquidistant() const { return bEquidistant; }
  int GetSampling() const { return nSampling; }

  char GetChargeSign() const { return cChargeSign; }
  std::string GetTitle() const { return strTitle; }
  void SetTitle(std::string title) { strTitle = std::move(title); }
  std::string GetPath() const { return strPath; }
  void SetPath(std::string path) { strPath = std::move(path); }

  // Whether the spectrum has signal within dTolerance of dMass (used by the
  // cluster search).
  bool HasPeakNear(double dMass, double dTolerance) const;
  // Zeroes the grid points of one cluster starting at dMass; returns how many
  // of them were above 0 (used by the deconvolution).
  int BlankCluster(double dMass, int nColumns, int nSampling);

  // Fields, in this order.
  std::string strTitle;
  double dMass = 0.0;
  std::int32_t nCharge = 0;
  std::string strPath;
  std::vector<double> vMass;
  std::vector<double> vIntensity;
  bool bEquidistant = false;
  std::int32_t nSampling = 0;
  char cChargeSign = '+';
  // Extension for the modern MGF dialect: header lines of the block other than
  // TITLE, CHARGE and PEPMASS ("RTINSECONDS=..."), in order, and the precursor
  // intensity of PEPMASS (0.0 when none was given). They travel with the title:
  // copied by assignment, emptied by Clear(), kept by ClearPeaks().
  std::vector<std::string> vHeaderLines;
  double dPrecursorIntensity = 0.0;
  // A block that states more than one charge ("CHARGE=2+ and 3+") has them
  // all here, in order, and the first in nCharge; empty otherwise.
  std::vector<std::int32_t> vCharges;
  // The peak lines of a modern MGF block as they were read, each ending in
  // "\n", so a spectrum that is passed on unchanged is written with its own
  // text. Copied with the peaks; ClearPeaks() and Clear() empty it, so peaks
  // that were rebuilt are never written from it.
  std::string strPeakLines;
};

// Appends "m/z intensity\n" for every peak of non-zero intensity, each number
// written without loss (m/z with at least kPeakMzDecimals decimals): the peak
// lines of the modern DTA and MGF writers.
void AppendExactPeakLines(std::string& out, const Dta& dta);

// The values the modern readers take (every reader the same): a peak of
// finite m/z above 0 and up to kMaxUsableMz and of finite intensity of 0 or
// more; a precursor m/z within the same bounds.
bool IsUsablePeak(double dMz, double dIntensity);
bool IsUsablePrecursorMz(double dMz);
// Puts the peaks in ascending m/z by a stable sort; strPeakLines, which holds
// one line for each peak of non-zero intensity, follows its peaks. False (and
// nothing changed) when they were in order already.
bool SortPeaksByMz(Dta* pDta);

}  // namespace orvane
