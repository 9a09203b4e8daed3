// Everything a user may set for `orvane clean`, with its defaults in one
// place, so that other ways of filling a run (a presets file, say) start from
// the same values and pass the same checks.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cleaning/clean_params.h"

namespace orvane::app {

struct CleanOptions {
  // De-isotoping, which is also the good/bad test of a spectrum.
  bool bDeisotope = true;
  double dDeisotopThreshold = 55.0;    // percent of its intensity a point must lose
  double dDeisotopFilterWidth = 0.5;   // notch width, share of the isotope period
  int nMaxPeriodicity = 25;            // grid steps; 20 is the 1.00335 spacing at 0.05
  int nMedianFilter = 3;               // points
  bool bSoftBadSpectra = false;        // strict test by default
  // Multiply charged clusters to single peaks.
  bool bDeconvolute = false;          // right for 3 clusters in 82 on real runs
  double dDeconvThreshold = 90.0;      // percent correlation with the template
  // Random noise by a band-stop filter.
  bool bRemoveNoise = false;
  double dNoiseThreshold = 80.0;       // percent of its intensity a point must lose
  int nBandStopFrequency = 2;          // selector 0..4: 0.5 .. 0.9 of Nyquist
  // Sequence tag test.
  bool bCheckSeqTags = false;
  int nSeqTagLength = 3;               // residue steps
  double dMassTolerance = 0.5;         // mass units
  int nSeqLadderIntensity = 50;        // rank of the intensity threshold, percent
  // Peak merging before resampling.
  bool bMergePeaks = true;
  double dMergeSpacing = 0.3;          // mass units
  // The regular grid every stage works on.
  double dEquidistantStep = 0.05;
  // Modern dialect: peaks below this m/z pass unchanged (0: none).
  double dProtectBelowMz = 0.0;
  // Outputs.
  std::string badSpectra = "separate"; // leave | separate | delete
  bool bExportBad = true;
  bool bMergeOutput = false;
  bool bSkipCleaning = false;
  std::string mgfDialect = "modern";   // classic | modern
  // Host.
  std::string logFile;                 // empty: no log
  bool bQuiet = false;
  unsigned nJobs = 0;                  // engines at work at once; 0: one per core
  std::string outputFolder;
  std::vector<std::string> inputs;
};

// The values the clean command is bound to (a presets file fills them before
// the command line is read).
CleanOptions& CleanCommandOptions();

// The number nBadSpectraAction takes for a --bad-spectra name; -1 if unknown.
int BadSpectraAction(const std::string& name);

// Checks every value; answers the first problem as a message that names the
// option ("--deisotope-threshold must lie between 0 and 100, not 150"), or ""
// when the options can be run.
std::string ValidateCleanOptions(const CleanOptions& options);

// Copies the settings into a run's parameter block. Paths, pointers, the log
// switch and the file list are the caller's to fill.
void ApplyCleanOptions(const CleanOptions& options, CleanParams& params);

// Declares every option of `orvane clean` on cmd, bound to *pOptions, which
// holds the defaults shown in the help.
void AddCleanOptions(CLI::App* cmd, CleanOptions* pOptions);

// Hook for raw inputs of `orvane clean` (mzML, mzXML and the like), kept in
// files of their own: register a handler for an extension (without the dot,
// any case) before the command line is parsed, e.g. from main(). A run whose
// inputs all have that extension is a raw run (nMode 2); the handler is
// called once before it with all inputs and the filled parameter block, and
// sets pRawReader and pRawOptions (objects it keeps alive until the process
// ends). It answers false after reporting a problem; the run is then not made.
using CleanRawInputHandler = bool (*)(const std::vector<std::string>& inputs, CleanParams& params);
void RegisterCleanRawInput(const std::string& extension, CleanRawInputHandler handler);

}  // namespace orvane::app
