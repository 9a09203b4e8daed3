// Deconvolution of found isotope clusters: each cluster becomes one peak at
// the mass its fragment has with a single charge, and its grid points are
// blanked in the dense copy so that the folding of the pipeline drops them.
#include <functional>
#include <memory>

#include "analysis/analysis.h"
#include "platform/format.h"
#include "spectrum/dialect.h"

namespace orvane {
namespace {

// Points per mass unit of the grid the templates are sampled on.
constexpr int kGridPointsPerUnit = 20;

// Whether the cluster's intensity position lies in the dense spectrum.
bool PointsInto(const Dta& dense, const std::vector<double>::iterator& it) {
  const double* p = std::to_address(it);
  const double* begin = dense.vIntensity.data();
  const double* end = begin + dense.vIntensity.size();
  return !std::less<const double*>()(p, begin) && std::less<const double*>()(p, end);
}

}  // namespace

HRESULT Deconvolute(Dta* pDense, const ClusterList* pClusters, const IsotopeTemplates* pTemplates,
                    std::string* pLog, DeconvolutedPeakList* pPeaks) {
  if (pDense == nullptr || pClusters == nullptr || pTemplates == nullptr || pPeaks == nullptr)
    return E_POINTER;
  const int z = pTemplates->GetCharge();
  if (pLog != nullptr && !pClusters->empty())
    AppendFormat(*pLog, "\t-Deconvolution algorithm detected %d-fold charged peaks:\n", z);

  for (const ClusterRef& ref : *pClusters) {
    if (!PointsInto(*pDense, ref.itIntensity)) continue;
    const double m = *ref.itMass;
    // Each of the z charges counts as one mass unit; one is put back.
    const double dNewMass = MzToMh(m, z, kClassicChargeMass);
    // The intensity of the cluster's first point, read before blanking.
    const auto nPoint = static_cast<std::uint32_t>(std::to_address(ref.itIntensity) -
                                                   pDense->vIntensity.data());
    pPeaks->push_back(DeconvolutedPeak{dNewMass, *ref.itIntensity, nPoint, z});
    pDense->BlankCluster(m, pTemplates->GetColumns(), kGridPointsPerUnit);
    if (pLog != nullptr)
      AppendFormat(*pLog, "\t\t%d-fold charged peak cluster deconvoluted: %8.2f Da --> %8.2f\n", z,
                   m, dNewMass);
  }
  return S_OK;
}

}  // namespace orvane
