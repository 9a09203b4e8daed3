// Peak editing and analysis: resampling onto the 0.05 grid, closing short
// gaps, merging close peaks, the isotope cluster search and deconvolution,
// and the sequence tag check.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "analysis/clusters.h"
#include "analysis/isotope_templates.h"
#include "platform/hresult.h"
#include "spectrum/dta.h"

namespace orvane {

// Moves every peak to the grid, folds peaks sharing a position and inserts
// zero points every dStep. E_UNEXPECTED (with an error box) on unsorted input,
// an empty spectrum or a step below 0.005.
HRESULT MakeEquidistant(double dStep, Dta* pDta);
// The same, and for each input peak k the index of the grid point it went to
// in (*pPointOfPeak)[k]: peaks folded into one point share its index.
HRESULT MakeEquidistant(double dStep, Dta* pDta, std::vector<std::uint32_t>* pPointOfPeak);
// Closes short zero runs between peaks by linear ramps, up to a mass limit
// that depends on the charge under test. E_UNEXPECTED on an empty spectrum.
HRESULT DenseSpectrum(int nCharge, Dta* pDta);
// Zeroes the weaker of close peaks, strongest first (graph and topological sort).
HRESULT MergePeaks(Dta* pDta, double dSpacing);
// Zeroes the weaker of close peaks, closest pair first.
HRESULT MergeClosestPeaks(Dta* pDta, double dSpacing);

// Cluster starts of charge nCharge in pWork, correlated against pDense.
ClusterList FindChargeClusters(Dta* pWork, Dta* pDense, int nCharge,
                               const IsotopeTemplates* pTemplates, double dThreshold,
                               ClusterList* pKnown);
// Replaces each cluster by one singly charged peak and blanks it in pDense;
// its log lines go to *pLog (nullptr: none).
HRESULT Deconvolute(Dta* pDense, const ClusterList* pClusters, const IsotopeTemplates* pTemplates,
                    std::string* pLog, DeconvolutedPeakList* pPeaks);

// Whether the spectrum holds a chain of nTagLength residue steps.
HRESULT CheckSequenceTags(const Dta* pDta, int nTagLength, double dTolerance,
                          int nLadderIntensity, bool* pbHasTag);

}  // namespace orvane
