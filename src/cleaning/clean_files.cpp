// The cleaning dispatcher: picks the driver by the kind of the inputs and
// turns a stop into a plain result.
#include "cleaning/drivers.h"

namespace orvane {

HRESULT CleanFiles(CleanParams* pParams, const RunOptions& run) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  switch (pParams->pFileList->nMode) {
    case InputKind::Dta: {
      // A stopped DTA run answers S_FALSE, so a host can tell it from a
      // finished one by the status alone.
      const HRESULT hr = CleanDtaFiles(pParams, run);
      return hr == E_ABORT ? S_FALSE : hr;
    }
    case InputKind::Mgf: {
      const HRESULT hr = CleanMgfFiles(pParams, run);
      return hr == E_ABORT ? S_OK : hr;
    }
    case InputKind::Raw: {
      const HRESULT hr = CleanRawFiles(pParams, run);
      return hr == E_ABORT ? S_OK : hr;
    }
  }
  return S_OK;
}

}  // namespace orvane
