#include "cleaning/drivers.h"

namespace orvane {

HRESULT CleanFiles(IUnknown*, RunState&, CleanParams*) { return E_NOTIMPL; }
HRESULT CleanDtaFiles(IUnknown*, RunState&, CleanParams*) { return E_NOTIMPL; }
HRESULT CleanMgfFiles(IUnknown*, RunState&, CleanParams*) { return E_NOTIMPL; }
int CleanSpectrum(RunState&, const Dta&, const CleanParams*, Dta&) { return -1; }
void DumpCleanParams(const CleanParams&) {}

}  // namespace orvane
