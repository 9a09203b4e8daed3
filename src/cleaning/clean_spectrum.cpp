// The per-spectrum pipeline. It owns the order of the stages and the rule by
// which their separate votes are folded into one peak list; what each stage
// computes is the stage's own business.
#include <algorithm>
#include <cmath>
#include <exception>
#include <string>
#include <vector>

#include "cleaning/clean_spectrum.h"

#include "analysis/analysis.h"
#include "analysis/clusters.h"
#include "analysis/isotope_templates.h"
#include "cleaning/run_log.h"
#include "filtering/deisotope.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "spectrum/dialect.h"
#include "tonalith/dsp.h"

namespace orvane {
namespace {

DeisotopeSettings MakeDeisotopeSettings(const CleanParams& params, std::string* pLog) {
  DeisotopeSettings settings;
  settings.nMaxPeriodicity = params.nMaxPeriodicity;
  settings.nMedianFilter = params.nMedianFilter;
  settings.dDeisotopFilterWidth = params.dDeisotopFilterWidth;
  settings.dDeisotopThreshold = params.dDeisotopThreshold;
  settings.pLog = pLog;
  return settings;
}

// Value i of a vector, or 0 where the vector is too short: a stage that
// answers fewer values than grid points votes against the missing ones.
double At(const std::vector<double>& v, std::size_t i) { return i < v.size() ? v[i] : 0.0; }

// The modern output: the stages decide on the grid which points stay, and
// what comes out is what the instrument measured. Every input peak whose grid
// point stays is written with its own m/z and intensity (peaks folded onto
// one point all come back); a deconvoluted cluster becomes one peak at the
// singly charged mass of the cluster's first input peak; the list is in
// ascending m/z.
struct ModernFold {
  std::vector<double> vMergedIntensity;     // input intensities after merging
  std::vector<std::uint32_t> vPointOfPeak;  // grid point of each input peak

  // Whether input peak k takes part: present and not merged away.
  bool Live(const Dta& dtaIn, std::uint32_t k) const {
    return k < vPointOfPeak.size() && k < vMergedIntensity.size() && vMergedIntensity[k] > 0.0 &&
           dtaIn.vIntensity[k] > 0.0;
  }

  // Fills dtaOut; answers the number of input peaks written.
  std::uint32_t Write(const Dta& dtaIn, const std::vector<bool>& vKeep,
                      const DeconvolutedPeakList& vAdded, double dProtectBelowMz,
                      Dta& dtaOut) const {
    const std::uint32_t n = dtaIn.GetPeakCount();
    std::vector<std::pair<double, double>> peaks;
    peaks.reserve(n + vAdded.size());
    for (std::uint32_t k = 0; k < n; ++k) {
      const double mz = dtaIn.vMass[k];
      const double intensity = dtaIn.vIntensity[k];
      const bool bProtected = mz < dProtectBelowMz && intensity > 0.0;
      if (bProtected || (Live(dtaIn, k) && vPointOfPeak[k] < vKeep.size() && vKeep[vPointOfPeak[k]]))
        peaks.emplace_back(mz, intensity);
    }
    const auto nKept = static_cast<std::uint32_t>(peaks.size());
    for (const DeconvolutedPeak& added : vAdded) {
      // The strongest input peak of the cluster's first point is its first
      // peak as measured.
      // The points of sorted peaks never go down, so the peaks of one point
      // stand together.
      const auto [lo, hi] = std::equal_range(vPointOfPeak.begin(), vPointOfPeak.end(), added.nPoint);
      std::int64_t first = -1;
      for (auto it = lo; it != hi; ++it) {
        const auto k = static_cast<std::uint32_t>(it - vPointOfPeak.begin());
        if (k >= n || !Live(dtaIn, k)) continue;
        if (first < 0 || dtaIn.vIntensity[k] > dtaIn.vIntensity[static_cast<std::size_t>(first)])
          first = k;
      }
      if (first < 0) continue;
      const double mz = dtaIn.vMass[static_cast<std::size_t>(first)];
      if (mz < dProtectBelowMz) continue;
      peaks.emplace_back(RoundToSignificant(MzToMh(mz, added.nCharge, kProtonMass), kComputedMassDigits),
                         dtaIn.vIntensity[static_cast<std::size_t>(first)]);
    }
    std::stable_sort(peaks.begin(), peaks.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [mz, intensity] : peaks) dtaOut.AddPeak(mz, intensity);
    return nKept;
  }
};

// One deconvolution stage of charge 3 or 2 on its own dense copy. Answers
// false after its error box.
bool DeconvoluteCharge(const CleanParams& params, int nCharge, Dta& dtaWork, Dta& dtaDense,
                       ClusterList& lstKnownClusters, DeconvolutedPeakList& vAdded, std::string* pLog) {
  // The table lives for this stage of this spectrum only.
  IsotopeTemplates templates(nCharge);
  if (FAILED(DenseSpectrum(nCharge, &dtaDense))) {
    ShowError("dense spectrum failed");
    return false;
  }
  ClusterList clusters = FindChargeClusters(&dtaWork, &dtaDense, nCharge, &templates,
                                            params.dDeconvThreshold / 100.0, &lstKnownClusters);
  if (FAILED(Deconvolute(&dtaDense, &clusters, &templates, pLog, &vAdded))) {
    ShowError(nCharge == 3 ? "3-fold deconvolution failed" : "2-fold deconvolution failed");
    return false;
  }
  return true;
}

// The most grid points the modern pipeline works on for one spectrum: an
// m/z range of 100,000 at the 0.05 step. Every stage's work grows with it.
constexpr double kMaxModernGridPoints = 2'000'000.0;

// Why the modern pipeline can't take a spectrum, or empty: peaks must be
// finite, in ascending m/z, of positive m/z up to kMaxUsableMz and of
// intensity 0 or more, and their grid must stay within
// kMaxModernGridPoints. The readers see to the peaks for files; this guards
// what a host hands in, and the grid of a fine step.
std::string UnusablePeaks(const Dta& dta, double dStep) {
  const std::size_t n = dta.GetPeakCount();
  for (std::size_t k = 0; k < n; ++k) {
    const double mz = dta.vMass[k];
    const double intensity = dta.vIntensity[k];
    if (!(mz > 0.0 && mz <= kMaxUsableMz))
      return Format("peak %zu has the m/z %g, outside 0 to %g", k + 1, mz, kMaxUsableMz);
    if (!(intensity >= 0.0 && intensity < HUGE_VAL))
      return Format("peak %zu has the intensity %g", k + 1, intensity);
    if (k > 0 && mz < dta.vMass[k - 1])
      return Format("its peaks are not in ascending m/z (%g after %g)", mz, dta.vMass[k - 1]);
  }
  if (n > 0 && dStep > 0.0 && dta.vMass[n - 1] / dStep > kMaxModernGridPoints)
    return Format("its peaks reach m/z %g, more than %.0f points of the %g grid", dta.vMass[n - 1],
                  kMaxModernGridPoints, dStep);
  return {};
}

Verdict RunPipeline(const Dta& dtaIn, const CleanParams& params, MgfDialect dialect, Dta& dtaOut,
                    std::string* pLog) {
  const bool bModern = dialect == MgfDialect::Modern;
  if (bModern) {
    if (const std::string why = UnusablePeaks(dtaIn, params.dEquidistantStep); !why.empty()) {
      ShowError(Format("The spectrum \"%s\" can't be cleaned: %s", dtaIn.strTitle.c_str(),
                       why.c_str()));
      return Verdict::Failed;
    }
  }
  Dta dtaWork(dtaIn);
  dtaWork.strPeakLines.clear();
  const std::uint32_t nPeaksIn = dtaIn.GetPeakCount();

  if (params.bCheckSeqTags) {
    bool bHasTag = false;
    // The test reads the spectrum as it came.
    CheckSequenceTags(&dtaIn, params.nSeqTagLength, params.dMassTolerance,
                      params.nSeqLadderIntensity, &bHasTag);
    if (!bHasTag) return Verdict::NoTag;
  }

  if (params.bMergePeaks) MergePeaks(&dtaWork, params.dMergeSpacing);

  // The modern output writes the input peaks of the grid points that stay,
  // so it needs to know which point each peak went to, and which peaks the
  // merging took out.
  ModernFold modern;
  if (bModern) {
    modern.vMergedIntensity.assign(dtaWork.IntensitiesBegin(),
                                   dtaWork.IntensitiesBegin() + dtaWork.GetPeakCount());
    if (FAILED(MakeEquidistant(params.dEquidistantStep, &dtaWork, &modern.vPointOfPeak)))
      return Verdict::Failed;
  } else if (FAILED(MakeEquidistant(params.dEquidistantStep, &dtaWork))) {
    return Verdict::Failed;
  }

  const std::uint32_t nPoints = dtaWork.GetPeakCount();
  std::vector<double> vBefore(dtaWork.IntensitiesBegin(), dtaWork.IntensitiesBegin() + nPoints);

  Verdict verdict = Verdict::Cleaned;
  std::vector<double> vOutIntensity;
  if (params.bDeisotope) {
    const DeisotopeSettings settings = MakeDeisotopeSettings(params, pLog);
    verdict = params.bSoftBadSpectra ? DeisotopeSoft(settings, dtaWork, vOutIntensity)
                                     : DeisotopeStrict(settings, dtaWork, vOutIntensity);
    if (static_cast<int>(verdict) < 0) {
      ShowError("Error deisotoping spectra");
      return Verdict::Failed;
    }
  }

  Dta dtaDense3(dtaWork);
  Dta dtaDense2(dtaWork);
  DeconvolutedPeakList vAdded;
  if (params.bDeconvolute) {
    // The clusters found so far, over both charges: a cluster claimed by the
    // threefold stage is not claimed again by the twofold one.
    ClusterList lstKnownClusters;
    if (dtaWork.nCharge > 2 &&
        !DeconvoluteCharge(params, 3, dtaWork, dtaDense3, lstKnownClusters, vAdded, pLog))
      return Verdict::Failed;
    if (dtaWork.nCharge > 1 &&
        !DeconvoluteCharge(params, 2, dtaWork, dtaDense2, lstKnownClusters, vAdded, pLog))
      return Verdict::Failed;
  }

  std::vector<double> vNoiseFree;
  if (params.bRemoveNoise) {
    const HRESULT hr = tonalith::BandStopFilter(params.nBandStopFrequency, dtaWork.vIntensity, vNoiseFree);
    if (FAILED(hr) || vNoiseFree.size() < nPoints) {
      ShowError("Random noise removal failed");
      return Verdict::NoiseFailed;
    }
    int nDeleted = 0;
    for (std::uint32_t i = 0; i < nPoints; ++i) {
      const double before = vBefore[i];
      if (before <= 0.0) continue;
      // A point the filter drives below zero has lost all of its intensity.
      const double after = vNoiseFree[i] > 0.0 ? vNoiseFree[i] : 0.0;
      if ((before - after) * 100.0 / before > params.dNoiseThreshold) {
        vNoiseFree[i] = 0.0;
        ++nDeleted;
      }
    }
    if (pLog != nullptr) AppendFormat(*pLog, kLogNoiseLine, nDeleted);
  }
  if (vNoiseFree.empty())
    vNoiseFree.assign(dtaWork.IntensitiesBegin(), dtaWork.IntensitiesBegin() + nPoints);

  dtaOut.ClearPeaks();
  dtaOut.nCharge = dtaIn.nCharge;
  dtaOut.dMass = dtaIn.dMass;

  // Every stage votes on which grid points stay.
  const std::uint32_t nFold = dtaDense2.GetPeakCount();
  std::vector<bool> vKeep(nFold);
  for (std::uint32_t i = 0; i < nFold; ++i) {
    vKeep[i] = At(vBefore, i) > 0.0 && (vOutIntensity.empty() || At(vOutIntensity, i) > 0.0) &&
               dtaDense2.GetIntensity(i) > 0.0 && dtaDense3.GetIntensity(i) > 0.0 &&
               At(vNoiseFree, i) > 0.0;
  }

  if (bModern) {
    const std::uint32_t nKept = modern.Write(dtaIn, vKeep, vAdded, params.dProtectBelowMz, dtaOut);
    if (pLog != nullptr)
      AppendFormat(*pLog, kLogTotalLine, static_cast<int>(nPeaksIn) - static_cast<int>(nKept));
    return verdict;
  }

  // A point that stays keeps the mass and intensity it had right after
  // resampling.
  for (std::uint32_t i = 0; i < nFold; ++i)
    if (vKeep[i]) dtaOut.AddPeak(dtaWork.GetMass(i), dtaWork.GetIntensity(i));

  if (pLog != nullptr)
    AppendFormat(*pLog, kLogTotalLine,
                 static_cast<int>(nPeaksIn) - static_cast<int>(dtaOut.GetPeakCount()));

  // The deconvoluted peaks stand behind the kept points, in the order they
  // were made, whatever their mass.
  for (const DeconvolutedPeak& peak : vAdded) dtaOut.AddPeak(peak.dMass, peak.dIntensity);

  return verdict;
}

}  // namespace

Verdict CleanSpectrum(const Dta& dtaIn, const CleanParams* pParams, MgfDialect dialect, Dta& dtaOut,
                      std::string* pLog) {
  if (pParams == nullptr) {
    ShowError("No run parameters were given.");
    return Verdict::NoParams;
  }
  // A stage that breaks down (out of memory, an index its own code got
  // wrong) costs this spectrum only.
  try {
    return RunPipeline(dtaIn, *pParams, dialect, dtaOut, pLog);
  } catch (const std::exception& e) {
    ShowError(std::string("Error cleaning spectrum ") + dtaIn.strTitle + ": " + e.what());
    return Verdict::Failed;
  }
}

}  // namespace orvane
