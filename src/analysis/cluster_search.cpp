// The search for isotope clusters of twofold and threefold charged fragments.
//
// At every real peak of the working spectrum the next nT grid points of the
// dense copy are correlated with the isotope template for the peak's mass. A
// position that correlates well enough is a cluster start unless the cluster
// could just as well be twofold charged (threefold search only), or lies too
// close to a cluster already found.
#include <algorithm>
#include <cmath>

#include "analysis/analysis.h"
#include "analysis/cluster_search.h"
#include "analysis/grid_math.h"
#include "spectrum/dialect.h"

namespace orvane {
namespace cluster {

TemplateBand MakeTemplateBand(double dMass, int nCharge, const IsotopeTemplates& templates) {
  TemplateBand band;
  const std::int64_t z = nCharge;
  // Truncating after and before multiplying by the charge: the two can differ.
  band.nBase = static_cast<std::int64_t>(grid::TruncInt32(nCharge * dMass)) -
               (static_cast<std::int64_t>(grid::TruncInt32(dMass)) * z) % 100;
  band.dRowMass = static_cast<double>(band.nBase / z) + 1.0;
  band.vTemplate = templates.GetTemplate(band.dRowMass);
  band.vTemplateD.assign(band.vTemplate.begin(), band.vTemplate.end());
  for (double t : band.vTemplateD) {
    band.dSumY += t;
    band.dSumYY += t * t;
  }
  const double nT = static_cast<double>(band.vTemplateD.size());
  band.dDenominator = nT * band.dSumYY - band.dSumY * band.dSumY;
  return band;
}

bool Correlate(const double* pWindow, const TemplateBand& band, double* pR) {
  const std::size_t nT = band.vTemplateD.size();
  const double* pT = band.vTemplateD.data();
  double dSumW = 0.0;
  double dSumWW = 0.0;
  double dSumWT = 0.0;
  for (std::size_t c = 0; c < nT; ++c) {
    const double w = pWindow[c];
    dSumW += w;
    dSumWW += w * w;
    dSumWT += w * pT[c];
  }
  const double n = static_cast<double>(nT);
  const double dFactorW = n * dSumWW - dSumW * dSumW;
  // A flat window has no spread; in floating point its spread comes out as
  // rounding noise of either sign, which must not pass for a correlation.
  if (!(dFactorW > 1e-12 * n * dSumWW) || !(band.dDenominator > 0.0)) return false;
  *pR = (n * dSumWT - dSumW * band.dSumY) / std::sqrt(dFactorW * band.dDenominator);
  return !std::isnan(*pR);
}

}  // namespace cluster

ClusterList FindChargeClusters(Dta* pWork, Dta* pDense, int nCharge,
                               const IsotopeTemplates* pTemplates, double dThreshold,
                               ClusterList* pKnown) {
  ClusterList lstResult;
  if (pWork == nullptr || pDense == nullptr || pTemplates == nullptr || nCharge <= 0)
    return lstResult;
  const std::uint32_t n = pWork->GetPeakCount();
  // Both spectra share one axis; anything else cannot be walked together.
  if (n == 0 || pDense->GetPeakCount() != n) return lstResult;
  ClusterList lstLocalKnown;
  if (pKnown == nullptr) pKnown = &lstLocalKnown;

  const std::vector<double>& vMass = pWork->vMass;
  const std::vector<double>& vWork = pWork->vIntensity;
  const double* pDenseData = pDense->vIntensity.data();
  const double z = nCharge;
  const double dSpacing = 4.0 / pTemplates->GetCharge();
  const bool bThreefoldTable = pTemplates->GetCharge() == 3;

  cluster::TemplateBand band = cluster::MakeTemplateBand(vMass[0], nCharge, *pTemplates);
  const std::size_t nT = band.vTemplateD.size();
  std::vector<double> vPadded;  // the window at the end of the spectrum

  double dLastAccepted = 0.0;
  const double dLastMass = vMass[n - 1];
  const double dLimit = pWork->dMass / z + 1.0 + (1.0 / z) * 5.0;

  for (std::uint32_t p = 0;; ++p) {
    const double m = vMass[p];
    if (!(m < dLimit) || !(m < dLastMass)) break;
    if (static_cast<double>(band.nBase + 100) < z * m)
      band = cluster::MakeTemplateBand(m, nCharge, *pTemplates);
    if (!(vWork[p] > 0.0)) continue;

    // The window of nT dense points from p on; at the end of the spectrum a
    // copy padded with zeros.
    const double* pWindow = pDenseData + p;
    if (n - p < nT) {
      vPadded.assign(nT, 0.0);
      std::copy(pWindow, pDenseData + n, vPadded.begin());
      pWindow = vPadded.data();
    }
    double r = 0.0;
    if (!cluster::Correlate(pWindow, band, &r) || r < dThreshold) continue;

    // A threefold candidate that shows signal where the same cluster would
    // stand as a twofold one is left to the twofold search.
    if (bThreefoldTable && pDense->HasPeakNear(MzToMh(m, 2, kClassicChargeMass), 0.9)) continue;
    bool bNearKnown = false;
    for (const ClusterRef& known : *pKnown) {
      if (std::fabs(m - *known.itMass) < dSpacing) {
        bNearKnown = true;
        break;
      }
    }
    if (bNearKnown) continue;
    if (!lstResult.empty() && !(m - dLastAccepted > dSpacing)) continue;

    const ClusterRef ref{vMass.cbegin() + p, pDense->vIntensity.begin() + p};
    pKnown->push_back(ref);
    lstResult.push_back(ref);
    dLastAccepted = m;
  }
  return lstResult;
}

}  // namespace orvane
