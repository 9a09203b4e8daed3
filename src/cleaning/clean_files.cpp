// The cleaning dispatcher: picks the driver by the kind of the inputs and
// turns a stop into a plain result.
#include "cleaning/drivers.h"

namespace orvane {

HRESULT CleanFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  switch (pParams->pFileList->nMode) {
    case 0: {
      // A stopped DTA run answers S_FALSE, so a host can tell it from a
      // finished one by the status alone.
      const HRESULT hr = CleanDtaFiles(pSelf, state, pParams);
      return hr == E_ABORT ? S_FALSE : hr;
    }
    case 1: {
      const HRESULT hr = CleanMgfFiles(pSelf, state, pParams);
      return hr == E_ABORT ? S_OK : hr;
    }
    case 2: {
      const HRESULT hr = CleanRawFiles(pSelf, state, pParams);
      return hr == E_ABORT ? S_OK : hr;
    }
    default:
      return S_OK;
  }
}

}  // namespace orvane
