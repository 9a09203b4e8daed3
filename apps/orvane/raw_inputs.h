// Raw instrument files (mzML, mzXML, optionally gzip-compressed) as inputs of
// `orvane convert` and `orvane clean`.
#pragma once

#include <string>
#include <vector>

#include "cleaning/clean_params.h"
#include "platform/host_window.h"
#include "settings.h"
#include "spectrum/dialect.h"

namespace orvane::app {

// Where and how a conversion writes.
struct ConvertJob {
  std::string target;        // "mgf" or "dta"
  std::string outputFolder;  // exists, ends in "/"
  MgfDialect dialect = MgfDialect::Modern;
  CWnd* pWindow = nullptr;   // the host window of the run
};

// Converts one raw input by the raw settings: 0, kExitStopped after a stop,
// or 1 after a failure it has reported.
int ConvertRawInput(const ConvertJob& job, const std::string& path, const Settings& settings);

// Makes a cleaning run of raw inputs ready. Classic: the raw driver's reader
// and options go into params (mode Raw). Modern: every input is converted
// first (into a temporary folder removed at the end, or beside the cleaned
// files with --keep-converted) and the run cleans the converted files. False
// after reporting a problem; the run is then not made.
bool PrepareRawClean(const std::vector<std::string>& inputs, CleanParams& params,
                     const Settings& settings);

// Raw inputs of this run that could not be converted (each reported with its
// file and scan): the run goes on with the others and ends with status 1.
int RawInputFailures();

}  // namespace orvane::app
