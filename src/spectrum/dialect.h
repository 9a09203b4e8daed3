// The two dialects of the engine's outputs, and the masses that bridge a
// singly charged mass (MH+, as DTA headers hold it) and an m/z (as MGF
// PEPMASS lines hold it).
//
// Classic writes what the original engine wrote, byte for byte: three-tag
// MGF, peaks at the grid masses of the cleaning, three decimals, and 1.00794
// for the proton. Modern keeps what the instrument measured: whole titles and
// header lines, each surviving peak at its own m/z and intensity, numbers
// without loss of precision, peak lists in ascending m/z, and the mass of a
// proton.
#pragma once

#include <cstdint>

namespace orvane {

enum class MgfDialect : std::int32_t { Classic = 0, Modern = 1 };

// The classic bridge: the average mass of a hydrogen atom.
inline constexpr double kClassicProton = 1.00794;
// The mass of a proton.
inline constexpr double kProtonMass = 1.007276;
// The classic deconvolution and cluster search count every charge as one
// mass unit: z * (m - 1) + 1.
inline constexpr double kClassicChargeMass = 1.0;

inline double ProtonOf(MgfDialect dialect) {
  return dialect == MgfDialect::Modern ? kProtonMass : kClassicProton;
}

// MH+ of an ion of m/z dMz and charge z: z * (m - p) + p.
inline double MzToMh(double dMz, int z, double dProton) { return z * (dMz - dProton) + dProton; }
// m/z of an ion of singly charged mass dMh and charge z: ((z - 1) * p + MH+) / z.
inline double MhToMz(double dMh, int z, double dProton) { return ((z - 1) * dProton + dMh) / z; }

// Significant digits of the masses the modern dialect computes (MH+ from
// m/z and back, deconvoluted masses): 1e-8 at 1,000, far below any
// instrument's error, and clear of the rounding noise of the arithmetic.
inline constexpr int kComputedMassDigits = 12;

// Decimals the modern writers give at least: m/z of peaks, precursor masses.
inline constexpr int kPeakMzDecimals = 5;
inline constexpr int kPrecursorDecimals = 6;

// The largest m/z the modern readers take and the modern cleaning works on:
// above what any instrument measures, and it bounds the 0.05 grid of one
// spectrum at two million points.
inline constexpr double kMaxUsableMz = 100000.0;

}  // namespace orvane
