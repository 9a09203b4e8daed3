// The cleaning runs: the dispatcher and the three file drivers.
#pragma once

#include <functional>

#include "cleaning/clean_params.h"
#include "platform/hresult.h"
#include "spectrum/dialect.h"

namespace orvane {

// How a run goes about its work, beside what the parameter block says.
struct RunOptions {
  // What the outputs are written as.
  MgfDialect dialect = MgfDialect::Classic;
  // Spectra cleaned at once, each on a thread of its own. Whatever the
  // number, the outputs, the log, the host's messages and the boxes are
  // those of a run on one: everything but the cleaning happens on the
  // calling thread, in input order. 1: the whole run on the calling thread.
  unsigned nJobs = 1;
  // Called as a spectrum driver opens its run, before the head of its log;
  // a failure status ends the run with it.
  std::function<HRESULT()> openRun;
};

// Picks the driver by the kind of the inputs and turns a stop into a plain
// result: S_FALSE for DTA runs, S_OK for the others; any other mode: S_OK.
HRESULT CleanFiles(CleanParams* pParams, const RunOptions& run);
HRESULT CleanDtaFiles(CleanParams* pParams, const RunOptions& run);
HRESULT CleanMgfFiles(CleanParams* pParams, const RunOptions& run);
// Converts every raw file first, then cleans what came of them.
HRESULT CleanRawFiles(CleanParams* pParams, const RunOptions& run);

}  // namespace orvane
