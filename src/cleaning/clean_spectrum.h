// The per-spectrum pipeline: the stages in their order, and the folding of
// their votes into one peak list.
#pragma once

#include <string>

#include "cleaning/clean_params.h"
#include "filtering/verdict.h"
#include "spectrum/dialect.h"
#include "spectrum/dta.h"

namespace orvane {

// Cleans a copy of dtaIn into dtaOut and gives the verdict. Its log lines
// are appended to *pLog (nullptr: no log). Boxes go to the reporter of the
// calling thread. Holds nothing from one call to the next, so calls may run
// on several threads at once.
Verdict CleanSpectrum(const Dta& dtaIn, const CleanParams* pParams, MgfDialect dialect, Dta& dtaOut,
                      std::string* pLog);

}  // namespace orvane
