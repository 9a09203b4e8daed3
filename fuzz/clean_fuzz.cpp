// One spectrum through the per-spectrum pipeline with every stage switched
// on, in both dialects, the way the MGF and DTA drivers call it. The first
// bytes give the settings (each within the range the command line accepts),
// the precursor and the charge; the rest are the peaks, as pairs of floats or
// doubles. The classic run takes the peaks as a DTA file gives them (any
// order, any finite intensity); the modern run takes them as the modern
// readers hand them out (usable values only, in ascending m/z).
//
//   byte 0       flags: bit 0 float pairs (else double), bit 1 soft test,
//                bit 2 no merging, bit 3 no de-isotoping, bit 4 no
//                deconvolution, bit 5 no noise removal, bit 6 no tag check,
//                bit 7 run log
//   byte 1       charge 0..9 (bits 0-6, modulo 10); bit 7 spreads the peaks
//                up to kMaxUsableMz (as far as kMaxGridPoints allow), else
//                they stay below kNarrowMz
//   bytes 2-3    precursor m/z, 0..kMaxUsableMz
//   byte 4       grid step, one of kSteps
//   bytes 5-19   the other settings, in the order of CleanOptions; a last
//                byte below 32 protects the peaks below an m/z of 0..10000
//                given by two more
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <string>

#include "cleaning/clean_spectrum.h"
#include "fuzz_util.h"
#include "spectrum/dialect.h"
#include "spectrum/dta.h"

using namespace orvane;

namespace {

// The m/z range of the generated peaks: most inputs stay below kNarrowMz,
// where a spectrum is cleaned in milliseconds; the others go up to the
// largest m/z the modern readers take (kMaxUsableMz), but no wider than
// kMaxGridPoints steps of the grid. The engine takes spectra of up to 20
// million grid points; one of those costs seconds and more than a GB, which
// is a matter of limits rather than of faults, and would only make every
// run end in a timeout.
constexpr double kNarrowMz = 5000.0;
constexpr double kMaxGridPoints = 2'000'000.0;

constexpr double kSteps[] = {0.05, 0.1, 0.02, 0.01, 0.2, 0.5, 1.0, 0.005};

template <class T>
void ReadPeaks(fuzz::Bytes& in, double dMaxMz, Dta& dta) {
  T pair[2];
  while (in.Take(&pair)) {
    const double mz = static_cast<double>(pair[0]);
    const double intensity = static_cast<double>(pair[1]);
    if (!std::isfinite(mz) || !std::isfinite(intensity)) continue;
    dta.AddPeak(std::fmod(std::fabs(mz), dMaxMz), intensity);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::KeepBoxesQuiet();

  fuzz::Bytes in(data, size);
  const std::uint8_t flags = in.U8();
  Dta dtaIn;
  dtaIn.strTitle = "fuzz.2.2.2";
  const std::uint8_t charge = in.U8();
  dtaIn.nCharge = (charge & 0x7f) % 10;
  const bool bWide = in.Bit(charge, 7);
  dtaIn.dMass = in.U16() * kMaxUsableMz / 65535.0;

  CleanParams params;
  params.dEquidistantStep = kSteps[in.U8() % 8];
  const double dMaxMz =
      bWide ? std::min(kMaxUsableMz, kMaxGridPoints * params.dEquidistantStep) : kNarrowMz;
  params.bSoftBadSpectra = in.Bit(flags, 1);
  params.bMergePeaks = !in.Bit(flags, 2);
  params.bDeisotope = !in.Bit(flags, 3);
  params.bDeconvolute = !in.Bit(flags, 4);
  params.bRemoveNoise = !in.Bit(flags, 5);
  params.bCheckSeqTags = !in.Bit(flags, 6);
  params.bWriteLog = in.Bit(flags, 7);
  params.dDeisotopThreshold = in.Between(0.0, 100.0);
  params.dDeisotopFilterWidth = in.Between(0.1, 1.9);
  params.nMaxPeriodicity = in.IntBetween(14, 400);
  params.nMedianFilter = in.IntBetween(1, 99);
  params.dDeconvThreshold = in.Between(0.0, 100.0);
  params.dNoiseThreshold = in.Between(0.0, 100.0);
  params.nBandStopFrequency = in.U8() % 5;
  params.nSeqTagLength = in.IntBetween(1, 50);
  params.dMassTolerance = in.Between(0.01, 10.0);
  params.nSeqLadderIntensity = in.U8() % 101;
  params.dMergeSpacing = in.Between(0.01, 100.0);
  params.dProtectBelowMz = in.U8() < 32 ? in.U16() * 10000.0 / 65535.0 : 0.0;

  if (in.Bit(flags, 0)) ReadPeaks<float>(in, dMaxMz, dtaIn);
  else ReadPeaks<double>(in, dMaxMz, dtaIn);
  // The drivers clean only spectra of more than two peaks.
  if (dtaIn.GetPeakCount() <= 2) return 0;

  std::string log;
  if (params.bWriteLog) log = ParamsDump(params);
  std::string* pLog = params.bWriteLog ? &log : nullptr;
  Dta dtaOut;
  CleanSpectrum(dtaIn, &params, MgfDialect::Classic, dtaOut, pLog);

  Dta modernIn(dtaIn);
  modernIn.ClearPeaks();
  for (std::uint32_t k = 0; k < dtaIn.GetPeakCount(); ++k)
    if (IsUsablePeak(dtaIn.vMass[k], dtaIn.vIntensity[k])) modernIn.AddPeak(dtaIn.vMass[k], dtaIn.vIntensity[k]);
  SortPeaksByMz(&modernIn);
  if (modernIn.GetPeakCount() > 2) {
    dtaOut = Dta();
    CleanSpectrum(modernIn, &params, MgfDialect::Modern, dtaOut, pLog);
  }
  return 0;
}
