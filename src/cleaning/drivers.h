// The cleaning runs: the dispatcher and the three file drivers.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "cleaning/clean_params.h"
#include "platform/hresult.h"
#include "spectrum/dialect.h"

namespace orvane {

// What a run has done so far, kept by the drivers as the spectra come back
// in input order, on the run's thread (a host reads it when its window gets
// a message).
struct RunCounts {
  std::uint64_t nRead = 0;         // spectra read (DTA runs: files)
  std::uint64_t nWritten = 0;      // to the clean outputs
  std::uint64_t nBad = 0;          // called bad, wherever bad spectra go
  std::uint64_t nTooFewPeaks = 0;  // passed over: two peaks or fewer
  std::uint64_t nEmptied = 0;      // no peak left after cleaning: left out
  std::uint64_t nFailed = 0;       // refused or not cleaned (each reported)
  std::uint64_t nBytesRead = 0;    // of the inputs, as far as the reading has come
  std::uint64_t nBytesTotal = 0;   // of all inputs; 0 when unknown (standard input)
};

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
  // Whether the run writes the head of the log (title and parameters); a
  // host that cleans several kinds of input into one log writes it once.
  bool bWriteLogHead = true;
  // MGF: count the spectra of each input before reading it, for the total
  // of PM_STEP_TOTAL (without: a total of 0; standard input is never counted).
  bool bCountSpectra = true;
  // MGF outputs compressed with gzip, their names ending in ".gz".
  bool bGzip = false;
  // The one clean output of the run, in place of the names made from the
  // inputs (a path, or "-" for standard output), and its bad output (needed
  // when bad spectra are separated). The host sees to it that the run has
  // one output: one input, or merged inputs of no MS level.
  std::string strSingleOutput;
  std::string strSingleBadOutput;
  // Where the run keeps its counts; nullptr: nowhere.
  RunCounts* pCounts = nullptr;

  // Adds n to one of the counts, when the run keeps them.
  void Count(std::uint64_t RunCounts::*counter, std::uint64_t n = 1) const {
    if (pCounts != nullptr) pCounts->*counter += n;
  }
};

// Picks the driver by the kind of the inputs and turns a stop into a plain
// result: S_FALSE for DTA runs, S_OK for the others; any other mode: S_OK.
HRESULT CleanFiles(CleanParams* pParams, const RunOptions& run);
HRESULT CleanDtaFiles(CleanParams* pParams, const RunOptions& run);
HRESULT CleanMgfFiles(CleanParams* pParams, const RunOptions& run);
// Converts every raw file first, then cleans what came of them.
HRESULT CleanRawFiles(CleanParams* pParams, const RunOptions& run);

}  // namespace orvane
