// Every setting a user gives orvane, in one table: the command-line options,
// the keys of a presets file, the range checks with their messages and the
// help texts are all made from its rows, so adding a setting is adding a row
// (settings.cpp).
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "cleaning/clean_params.h"
#include "raw/raw_options.h"
#include "spectrum/dialect.h"

namespace orvane::app {

// The commands a setting belongs to.
enum Command : unsigned { kClean = 1u, kConvert = 2u, kInfo = 4u, kParams = 8u };

struct Settings {
  // [clean] De-isotoping, which is also the good/bad test of a spectrum.
  bool bDeisotope = true;
  double dDeisotopThreshold = 55.0;
  double dDeisotopFilterWidth = 0.5;
  int nMaxPeriodicity = 25;  // grid steps; 20 is the 1.00335 spacing at 0.05
  int nMedianFilter = 3;
  bool bSoftBadSpectra = false;
  // Multiply charged clusters to single peaks: right for 3 clusters in 82 on
  // real runs, so off.
  bool bDeconvolute = false;
  double dDeconvThreshold = 90.0;
  // Random noise by a band-stop filter.
  bool bRemoveNoise = false;
  double dNoiseThreshold = 80.0;
  int nBandStopFrequency = 2;
  // Sequence tag test.
  bool bCheckSeqTags = false;
  int nSeqTagLength = 3;
  double dMassTolerance = 0.5;
  int nSeqLadderIntensity = 50;
  // Peak merging and the grid.
  bool bMergePeaks = true;
  double dMergeSpacing = 0.3;
  double dEquidistantStep = 0.05;
  double dProtectBelowMz = 0.0;
  // Outputs.
  std::string badSpectra = "separate";
  bool bExportBad = true;
  bool bMergeOutput = false;
  bool bSkipCleaning = false;
  std::string mgfDialect = "modern";
  // [raw] Which scans of an instrument file become spectra. The defaults give
  // what msconvert --mgf gives: every MS/MS scan, in one output.
  double dMinMass = 0.0;
  double dMaxMass = 100000.0;
  int nMinPeaks = -1;  // -1: 0, or 1 with a threshold mode
  std::string thresholdMode = "none";
  int nIntensityThreshold = 0;
  bool bSplitMsLevels = false;
  std::string convertTo = "mgf";
  // The command line only.
  bool bKeepConverted = false;
  bool bGzip = false;
  std::string logFile;
  bool bQuiet = false;
  bool bVerbose = false;
  bool bRecursive = false;
  int nJobs = 0;  // 0: one per core
};

// The values the commands are bound to: one process runs one command, and a
// presets file fills them before the command line is read.
Settings& CommandSettings();

// Declares the options of command on cmd, bound to *pSettings, whose values
// are the defaults the help shows.
void AddSettingOptions(CLI::App* cmd, Settings* pSettings, unsigned command);

// The first problem with the values of command's options, as a message that
// names the option ("--deisotope-threshold must lie between 0 and 100, not
// 150"), or "".
std::string CheckSettings(const Settings& settings, unsigned command);

// What a run of the engine is given.
void ApplyCleanSettings(const Settings& settings, CleanParams& params);
RawOptions ToRawOptions(const Settings& settings);
// "dta" or "mgf", as --to and --convert-to take them.
ConvertTarget ConvertTargetOf(const std::string& text);
MgfDialect DialectOf(const Settings& settings);

// A presets file: every setting of the [clean] and [raw] sections, each key
// with its meaning, unit and allowed values in comments above it.
std::string RenderPresets(const Settings& settings);
// Reads a presets file into settings (keys it doesn't name keep their
// values). "" on success, else one message that names the file, the line and
// the key: "run.toml:12: deisotope-threshold: must lie between 0 and 100, not
// 150"; settings are then left as they were.
std::string LoadPresets(const std::string& path, Settings& settings);
// The built-in preset of that name (hires, lowres, tmt) over settings; "" or
// a message that lists the names.
std::string ApplyNamedPreset(const std::string& name, Settings& settings);
// The built-in presets: name and summary of each.
std::vector<std::pair<std::string, std::string>> BuiltInPresets();

}  // namespace orvane::app
