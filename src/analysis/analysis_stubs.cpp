#include "analysis/analysis.h"

namespace orvane {

HRESULT MakeEquidistant(double, Dta*) { return E_NOTIMPL; }
HRESULT DenseSpectrum(int, Dta*) { return E_NOTIMPL; }
HRESULT MergePeaks(Dta*, double) { return E_NOTIMPL; }
HRESULT MergeClosestPeaks(Dta*, double) { return E_NOTIMPL; }
ClusterList FindChargeClusters(Dta*, Dta*, int, const IsotopeTemplates*, double, ClusterList*) {
  return {};
}
HRESULT Deconvolute(Dta*, const ClusterList*, const IsotopeTemplates*, bool, CStdioFile*,
                    DeconvolutedPeakList*) {
  return E_NOTIMPL;
}
HRESULT CheckSequenceTags(const Dta*, int, double, int, bool*) { return E_NOTIMPL; }

IsotopeTemplates::IsotopeTemplates(int charge) : nCharge(charge) {}
IsotopeTemplates::IsotopeTemplates(const IsotopeTemplates& other) = default;
IsotopeTemplates& IsotopeTemplates::operator=(const IsotopeTemplates& other) = default;
std::vector<std::int32_t> IsotopeTemplates::GetTemplate(double) const { return {}; }
const std::int32_t* IsotopeTemplates::Row(int) const { return nullptr; }

}  // namespace orvane
