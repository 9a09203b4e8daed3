// Realistic synthetic MS/MS spectra for tests, benchmarks and the bundled
// example: singly charged fragments with isotope envelopes, clusters of
// twofold and threefold charged fragments, and random noise peaks.
//
// Isotope heights follow a Poisson approximation of peptide isotope patterns
// (mean number of heavy isotopes = mass / 1800), which matches the averagine
// shapes closely enough for everything the engine measures.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "spectrum/dta.h"

namespace orvane::test {

inline constexpr double kIsotopeSpacing = 1.00335;  // 13C - 12C
inline constexpr double kProtonMass = 1.00794;

struct SyntheticOptions {
  std::uint32_t seed = 1;
  int nCharge = 2;                 // precursor charge
  double dPrecursorMz = 650.0;     // PEPMASS
  int nSinglyCharged = 40;         // fragments with isotope envelopes
  int nTwofoldClusters = 2;        // clusters at 1.00335 / 2 spacing
  int nThreefoldClusters = 1;      // clusters at 1.00335 / 3 spacing
  int nNoisePeaks = 60;            // random low peaks
  double dMinMass = 150.0;
  double dMaxMass = 1250.0;
  int nIsotopes = 4;               // peaks per envelope, monoisotopic included
  double dNoiseLevel = 0.03;       // noise heights relative to the strongest fragment
  bool bIsotopes = true;           // false: monoisotopic peaks only
};

// One synthetic peak with what it stands for, so tests can check verdicts.
struct SyntheticPeak {
  double dMass;
  double dIntensity;
  enum Kind { Monoisotopic, Isotope, TwofoldCluster, ThreefoldCluster, Noise } kind;
  int nIsotope;  // 0 for the first peak of an envelope or cluster
};

// Relative heights of an isotope envelope of a fragment of singly charged
// mass dMass: element 0 is 1.0.
std::vector<double> IsotopeHeights(double dMass, int nIsotopes);

// A spectrum sorted by mass, title "synthetic.<seed>.<seed>.<charge>.dta".
Dta MakeSyntheticSpectrum(const SyntheticOptions& options,
                          std::vector<SyntheticPeak>* pPeaks = nullptr);
// A spectrum of random peaks only (no isotope structure).
Dta MakeRandomSpectrum(std::uint32_t seed, int nPeaks, double dMinMass, double dMaxMass);

// A spectrum on a regular grid with the given intensities.
inline Dta GridSpectrum(const std::vector<double>& vIntensity, double dStart = 100.0, double dStep = 0.05) {
  Dta dta;
  for (std::size_t i = 0; i < vIntensity.size(); ++i) dta.AddPeak(dStart + dStep * static_cast<double>(i), vIntensity[i]);
  dta.strPath = "/data/run.mgf";
  return dta;
}

// An MGF text of n spectra in the classic layout (TITLE, CHARGE, PEPMASS,
// peaks) with RTINSECONDS lines when withRetentionTime is set.
std::string MakeSyntheticMgf(int nSpectra, std::uint32_t seed, bool withRetentionTime = false);

}  // namespace orvane::test
