// The cleaning operations of the engine object: the dispatcher and the three
// file drivers. pSelf is the interface the call came in through; the drivers
// ask it for the interfaces they need and keep them in state for the run.
#pragma once

#include "cleaning/clean_params.h"
#include "cleaning/run_state.h"
#include "spectrum/dta.h"

namespace orvane {

HRESULT CleanFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams);
HRESULT CleanDtaFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams);
HRESULT CleanMgfFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams);
HRESULT CleanRawFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams);

// The per-spectrum pipeline: cleans a copy of dtaIn into dtaOut and gives the
// verdict (below 4 good, 4 and 5 bad, negative a reported failure).
int CleanSpectrum(RunState& state, const Dta& dtaIn, const CleanParams* pParams, Dta& dtaOut);

}  // namespace orvane
