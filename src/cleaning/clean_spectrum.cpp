// The per-spectrum pipeline. It owns the order of the stages and the rule by
// which their separate votes are folded into one peak list; what each stage
// computes is the stage's own business.
#include <algorithm>
#include <exception>
#include <string>
#include <vector>

#include "analysis/clusters.h"
#include "analysis/isotope_templates.h"
#include "cleaning/drivers.h"
#include "cleaning/run_log.h"
#include "filtering/deisotope.h"
#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

// Whether the log may be handed to the stages that write their own lines.
bool StagesMayLog(const CleanParams& params) {
  return params.bWriteLog && params.pLogFile != nullptr;
}

DeisotopeSettings MakeDeisotopeSettings(const CleanParams& params) {
  DeisotopeSettings settings;
  settings.nMaxPeriodicity = params.nMaxPeriodicity;
  settings.nMedianFilter = params.nMedianFilter;
  settings.dDeisotopFilterWidth = params.dDeisotopFilterWidth;
  settings.dDeisotopThreshold = params.dDeisotopThreshold;
  settings.bWriteLog = StagesMayLog(params);
  settings.pLogFile = params.pLogFile;
  return settings;
}

// Value i of a vector, or 0 where the vector is too short: a stage that
// answers fewer values than grid points votes against the missing ones.
double At(const std::vector<double>& v, std::size_t i) { return i < v.size() ? v[i] : 0.0; }

// One deconvolution stage of charge 3 or 2 on its own dense copy. Answers
// false after its error box.
bool DeconvoluteCharge(RunState& state, const CleanParams& params, int nCharge, Dta& dtaWork,
                       Dta& dtaDense, ClusterList& lstKnownClusters, DeconvolutedPeakList& vAdded) {
  // The table lives for this stage of this spectrum only.
  IsotopeTemplates templates(nCharge);
  if (FAILED(state.pEditMSMS->DenseSpectrum(nCharge, &dtaDense))) {
    ShowError("dense spectrum failed");
    return false;
  }
  ClusterList clusters = state.pAnalyzeMSMS->FindChargeClusters(
      &dtaWork, &dtaDense, nCharge, &templates, params.dDeconvThreshold / 100.0, &lstKnownClusters);
  if (FAILED(state.pEditMSMS->Deconvolute(&dtaDense, &clusters, &templates, StagesMayLog(params),
                                          params.pLogFile, &vAdded))) {
    ShowError(nCharge == 3 ? "3-fold deconvolution failed" : "2-fold deconvolution failed");
    return false;
  }
  return true;
}

int RunPipeline(RunState& state, const Dta& dtaIn, const CleanParams& params, Dta& dtaOut) {
  if (state.pEditMSMS == nullptr || state.pTonalith == nullptr || state.pAnalyzeMSMS == nullptr ||
      state.pExportMSMS == nullptr) {
    ShowError("Interfaces are not referenced.");
    return -2;
  }

  Dta dtaWork(dtaIn);
  const std::uint32_t nPeaksIn = dtaIn.GetPeakCount();

  if (params.bCheckSeqTags) {
    bool bHasTag = false;
    // The test reads the spectrum as it came; the interface takes a plain
    // pointer but does not write through it.
    state.pAnalyzeMSMS->CheckSequenceTags(const_cast<Dta*>(&dtaIn), params.nSeqTagLength,
                                          params.dMassTolerance, params.nSeqLadderIntensity,
                                          &bHasTag);
    if (!bHasTag) return 5;
  }

  if (params.bMergePeaks) state.pEditMSMS->MergePeaks(&dtaWork, params.dMergeSpacing);

  if (FAILED(state.pEditMSMS->MakeEquidistant(params.dEquidistantStep, &dtaWork))) return -1;

  const std::uint32_t nPoints = static_cast<std::uint32_t>(
      std::min<std::size_t>({dtaWork.GetPeakCount(), dtaWork.vMass.size(), dtaWork.vIntensity.size()}));
  std::vector<double> vBefore(dtaWork.IntensitiesBegin(), dtaWork.IntensitiesBegin() + nPoints);

  int nResult = 1;
  std::vector<double> vOutIntensity;
  if (params.bDeisotope) {
    const DeisotopeSettings settings = MakeDeisotopeSettings(params);
    nResult = params.bSoftBadSpectra
                  ? DeisotopeSoft(state.pTonalith, state.pAnalyzeMSMS, settings, dtaWork, vOutIntensity)
                  : DeisotopeStrict(state.pTonalith, state.pAnalyzeMSMS, settings, dtaWork,
                                    vOutIntensity);
    if (nResult < 0) {
      ShowError("Error deisotoping spectra");
      return -1;
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
        !DeconvoluteCharge(state, params, 3, dtaWork, dtaDense3, lstKnownClusters, vAdded))
      return -1;
    if (dtaWork.nCharge > 1 &&
        !DeconvoluteCharge(state, params, 2, dtaWork, dtaDense2, lstKnownClusters, vAdded))
      return -1;
  }

  std::vector<double> vNoiseFree;
  if (params.bRemoveNoise) {
    const HRESULT hr =
        state.pTonalith->BandStop(params.nBandStopFrequency, dtaWork.vIntensity, vNoiseFree);
    if (FAILED(hr) || vNoiseFree.size() < nPoints) {
      ShowError("Random noise removal failed");
      return 0;
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
    WriteLog(params, Format(kLogNoiseLine, nDeleted));
  }
  if (vNoiseFree.empty())
    vNoiseFree.assign(dtaWork.IntensitiesBegin(), dtaWork.IntensitiesBegin() + nPoints);

  dtaOut.ClearPeaks();
  dtaOut.nCharge = dtaIn.nCharge;
  dtaOut.dMass = dtaIn.dMass;

  // Every stage votes on which grid points stay; a point that stays keeps
  // the mass and intensity it had right after resampling.
  const std::uint32_t nFold = dtaDense2.GetPeakCount();
  for (std::uint32_t i = 0; i < nFold; ++i) {
    if (At(vBefore, i) > 0.0 && (vOutIntensity.empty() || At(vOutIntensity, i) > 0.0) &&
        dtaDense2.GetIntensity(i) > 0.0 && dtaDense3.GetIntensity(i) > 0.0 &&
        At(vNoiseFree, i) > 0.0) {
      dtaOut.AddPeak(dtaWork.GetMass(i), dtaWork.GetIntensity(i));
    }
  }

  WriteLog(params, Format(kLogTotalLine, static_cast<int>(nPeaksIn) -
                                             static_cast<int>(dtaOut.GetPeakCount())));

  // The deconvoluted peaks stand behind the kept points, in the order they
  // were made, whatever their mass.
  for (const DeconvolutedPeak& peak : vAdded) dtaOut.AddPeak(peak.dMass, peak.dIntensity);

  return nResult;
}

}  // namespace

int CleanSpectrum(RunState& state, const Dta& dtaIn, const CleanParams* pParams, Dta& dtaOut) {
  if (pParams == nullptr) {
    ShowError("No run parameters were given.");
    return -2;
  }
  // A stage that breaks down (out of memory, an index its own code got
  // wrong) costs this spectrum only. Log failures are not caught here: they
  // end the run.
  try {
    return RunPipeline(state, dtaIn, *pParams, dtaOut);
  } catch (const std::exception& e) {
    ShowError(std::string("Error cleaning spectrum ") + dtaIn.strTitle + ": " + e.what());
    return -1;
  }
}

}  // namespace orvane
