// Raw instrument files (mzML, mzXML, optionally gzip-compressed) as inputs of
// `orvane convert` and `orvane clean`: the options of the raw conversions,
// shared by both commands, and the input handlers that run them.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "raw/raw_options.h"

namespace orvane::app {

// What a user sets on the command line, before it becomes a RawOptions.
// The defaults give what msconvert --mgf gives: every MS/MS scan, whatever
// its mass, peak count or intensity, in one output file.
struct RawOptionsCli {
  // Window of the singly charged precursor mass (MH+), both ends included.
  // 0 to 100000 lets every precursor through: even m/z 6000 at charge 3 is
  // an MH+ of about 18000, so no spectrum is lost to the window.
  double dMinMass = 0.0;
  double dMaxMass = 100000.0;
  // Least number of peaks; -1: automatic, which is 0 (scans without peaks are
  // written too, as msconvert writes them) unless a threshold mode is chosen,
  // and then 1: a scan the threshold rejects is left without peaks, and only a
  // least number of 1 or more keeps it out.
  int nMinPeaks = -1;
  // none | fixed (total intensity against --intensity-threshold) |
  // base-peak (against the file's largest base peak).
  std::string thresholdMode = "none";
  int nIntensityThreshold = 0;
  // MS2 and MS3 spectra to separate outputs.
  bool bSplitMsLevels = false;
  // `orvane clean` only: what the raw files become before cleaning, and
  // whether that conversion stays in the output folder beside the cleaned
  // files (modern dialect; it is made in a temporary place otherwise).
  std::string convertTo = "mgf";
  bool bKeepConverted = false;
};

// The values the convert and the clean command are bound to (a presets file
// fills them before the command line is read).
RawOptionsCli& ConvertRawOptions();
RawOptionsCli& CleanRawOptions();

// Declares the raw options on cmd, bound to *pOptions; --convert-to too when
// withConvertTo is set (the clean command).
void AddRawOptions(CLI::App* cmd, RawOptionsCli* pOptions, bool withConvertTo);

// The first problem with the values as a message naming the option, or "".
std::string ValidateRawOptions(const RawOptionsCli& options);

// The engine's options record for these values.
RawOptions ToRawOptions(const RawOptionsCli& options);

// Raw inputs of this run that could not be converted (each reported with
// its file and scan): the run goes on with the others and ends with status 1.
int RawInputFailures();

// Adds the raw options to the convert and clean subcommands of app and
// registers the mzML/mzXML input handlers of both. Call after both commands
// are added and before parsing.
void AddRawInputs(CLI::App& app);

}  // namespace orvane::app
