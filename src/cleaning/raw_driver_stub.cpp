#include "cleaning/drivers.h"

namespace orvane {

HRESULT CleanRawFiles(IUnknown*, RunState&, CleanParams*) { return E_NOTIMPL; }

}  // namespace orvane
