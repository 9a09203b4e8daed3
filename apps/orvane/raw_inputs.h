// Raw instrument files (mzML, mzXML, optionally gzip-compressed) as inputs of
// `orvane convert` and `orvane clean`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cleaning/clean_params.h"
#include "console.h"
#include "settings.h"
#include "spectrum/dialect.h"

namespace orvane::app {

// Where and how a conversion writes, and what shows its progress.
struct ConvertJob {
  ConvertTarget target = ConvertTarget::Mgf;
  std::string outputFolder;  // exists, ends in "/"
  std::string outputFile;    // the one MGF output where -o named a file ("-": standard output)
  MgfDialect dialect = MgfDialect::Modern;
  bool bGzip = false;        // MGF outputs compressed
  ConsoleProgress* pConsole = nullptr;
};

// Converts one raw input by the raw settings: 0, kExitStopped after a stop,
// or 1 after a failure it has reported.
int ConvertRawInput(const ConvertJob& job, const std::string& path, const Settings& settings);

// The modern road of `orvane clean`: converts a raw input (into a temporary
// folder removed at the end, or beside the cleaned files with
// --keep-converted) and enters what it made in files, as rows of the raw
// input. False after a failure it has reported, or a stop.
bool ConvertForCleaning(const std::string& input, std::int32_t row, const Settings& settings,
                        const std::string& outputFolder, ConsoleProgress& console, CleanFileList& files);

// The classic road: the raw driver's reader and options go into params.
void PrepareClassicRaw(const std::string& firstInput, CleanParams& params, const Settings& settings);

}  // namespace orvane::app
