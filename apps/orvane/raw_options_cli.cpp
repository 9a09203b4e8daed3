#include "raw_options_cli.h"

#include "stop_signals.h"
#include <signal.h>

#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "clean_options.h"
#include "commands.h"
#include "frame/interfaces.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "raw/conversions.h"
#include "raw/scan_conversion.h"
#include "readers/mz_reader.h"
#include "spectrum/file_path.h"
#include "stop_signals.h"

namespace orvane::app {

RawOptionsCli& ConvertRawOptions() {
  static RawOptionsCli options;
  return options;
}

RawOptionsCli& CleanRawOptions() {
  static RawOptionsCli options;
  return options;
}

namespace {

RawOptionsCli& g_convertOptions = ConvertRawOptions();
RawOptionsCli& g_cleanOptions = CleanRawOptions();

CEvent& g_cancel = HostCancelEvent();

bool CheckRawInput(const std::string& path) {
  if (IsRawInput(path)) return true;
  ShowError(Format("Can't read %s as a raw file: only mzML and mzXML files (.mzML, .mzXML, "
                   "optionally .gz) are read.",
                   path.c_str()));
  return false;
}

int g_rawFailures = 0;

bool IsModern(IUnknown* pEngine) {
  MgfDialect dialect = MgfDialect::Classic;
  ComPtr<IMgfDialect> pDialect;
  if (SUCCEEDED(pEngine->QueryInterface(IID_IMgfDialect, pDialect.Out())))
    pDialect->GetMgfDialect(&dialect);
  return dialect == MgfDialect::Modern;
}

// The modern road: typed scan records, one spectrum per MS/MS scan with the
// charges the file states. Answers the summary, or false after the error
// (which names the file and the scan) with nothing left under a final name.
bool ConvertScans(const std::string& path, const RawOptions& options, const std::string& target,
                  const std::string& folder, CWnd* pWindow, ScanConversionSummary* pSummary) {
  readers::MzReader reader;
  try {
    reader.Open(path);
  } catch (const std::exception& e) {
    ShowError(e.what());
    return false;
  }
  ScanConversion job;
  job.strInput = path;
  job.pOptions = &options;
  job.pCancelEvent = &g_cancel;
  job.pProgressWnd = pWindow;
  const HRESULT hr = target == "mgf"
                         ? ScansToMgf(reader, job, folder + RunNameOf(path) + ".mgf", pSummary)
                         : ScansToDta(reader, job, folder, pSummary);
  if (hr == E_ABORT) ShowError(Format("Conversion of %s stopped; nothing of it was kept.", path.c_str()));
  return hr == S_OK;
}

int ConvertRawModern(const ConvertJob& job, const std::string& path, const RawOptions& options) {
  StopSignals signals;
  ScanConversionSummary summary;
  if (!ConvertScans(path, options, job.target, job.outputFolder, job.pWindow, &summary))
    return g_cancel.IsSignalled() ? kExitStopped : 1;
  if (summary.outputs.empty()) {
    std::fprintf(stderr, "orvane convert: %s: none of its %zu MS/MS scans passed the options; nothing "
                         "written\n", path.c_str(), summary.nMsMs);
    return 0;
  }
  std::string made;
  if (job.target == "mgf") {
    for (const std::string& out : summary.outputs) made += (made.empty() ? "" : ", ") + out;
  } else {
    made = job.outputFolder + (options.bSplitMsLevels ? "dta_converted_ms2/, dta_converted_ms3/"
                                                      : "dta_converted/");
  }
  std::printf("%s -> %s (%zu %s from %zu MS/MS scans)\n", path.c_str(), made.c_str(), summary.nWritten,
              job.target == "mgf" ? (summary.nWritten == 1 ? "spectrum" : "spectra")
                                  : (summary.nWritten == 1 ? "file" : "files"),
              summary.nMsMs);
  return 0;
}

int ConvertRaw(const ConvertJob& job, const std::string& path) {
  if (!CheckRawInput(path)) return 1;
  const std::string problem = ValidateRawOptions(g_convertOptions);
  if (!problem.empty()) {
    ShowError(problem);
    return 1;
  }
  if (IsModern(job.pEngine)) return ConvertRawModern(job, path, ToRawOptions(g_convertOptions));
  ComPtr<IConvertMSMS> pConvert;
  if (FAILED(QueryOrNote(job.pEngine, IID_IConvertMSMS, kNoConvertInterface,
                         pConvert))) {
    return 1;
  }
  RawOptions options = ToRawOptions(g_convertOptions);
  readers::MzReader reader;
  ErrorCountingReporter errors;
  StopSignals signals;
  const std::string title = RunNameOf(path);
  HRESULT hr = S_OK;
  if (job.target == "mgf") {
    const std::string mgf = job.outputFolder + title + ".mgf";
    hr = pConvert->RawToMgf(path, mgf, &reader, &options, &g_cancel, job.pWindow);
    if (hr == S_OK && reader.LastError().empty() && errors.failures == 0) {
      if (options.bSplitMsLevels) {
        std::printf("%s -> %s%s_ms2.mgf, %s%s_ms3.mgf\n", path.c_str(), job.outputFolder.c_str(),
                    title.c_str(), job.outputFolder.c_str(), title.c_str());
      } else {
        std::printf("%s -> %s\n", path.c_str(), mgf.c_str());
      }
    }
  } else {
    StringList all, ms2, ms3;
    hr = pConvert->RawToDta(path, job.outputFolder, &reader, &options, &all, &ms2, &ms3,
                            &g_cancel, job.pWindow);
    if (hr == S_OK && reader.LastError().empty() && errors.failures == 0) {
      if (options.bSplitMsLevels) {
        std::printf("%s -> %sdta_converted_ms2/ (%zu files), %sdta_converted_ms3/ (%zu files)\n",
                    path.c_str(), job.outputFolder.c_str(), ms2.size(), job.outputFolder.c_str(),
                    ms3.size());
      } else {
        std::printf("%s -> %sdta_converted/ (%zu files)\n", path.c_str(), job.outputFolder.c_str(),
                    all.size());
      }
    }
  }
  const bool stopped = g_cancel.IsSignalled();
  // Refused spectra (each shown) leave the rest of the output whole; any
  // other error means the walk ended early.
  const bool failed = FAILED(hr) || !reader.LastError().empty() ||
                      errors.failures > static_cast<int>(reader.RefusedCount());
  if ((stopped || failed) && job.target == "mgf") {
    // What stands under a final name is complete: the blocks a stopped or
    // failed conversion wrote go with it.
    const std::string stem = job.outputFolder + title;
    for (const std::string& name : options.bSplitMsLevels
                                       ? std::vector<std::string>{stem + "_ms2.mgf", stem + "_ms3.mgf"}
                                       : std::vector<std::string>{stem + ".mgf"})
      std::remove(name.c_str());
  }
  if (stopped) {
    ShowNote(Format("Conversion of %s stopped; its MGF output was not kept.", path.c_str()));
    return kExitStopped;
  }
  return failed || errors.failures > 0 ? 1 : 0;
}

// The folder the conversions of a clean run are made in, removed with
// everything in it when the process ends. A killed run leaves it behind under
// a name the next run in that folder recognises and removes.
class ConvertedFolder {
 public:
  std::string Make(const std::string& outputFolder) {
    path_ = outputFolder + Format(".orvane-work-%d/", static_cast<int>(::getpid()));
    std::error_code ec;
    std::filesystem::create_directories(path_, ec);
    return path_;
  }
  ~ConvertedFolder() {
    if (path_.empty()) return;
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }

 private:
  std::string path_;
};

// Modern dialect: every raw input converted by the modern road, then the run
// cleans the converted files as MGF (or DTA) inputs. Only the cleaned outputs
// (and bad spectra) stay in the output folder, unless --keep-converted.
bool PrepareModernCleanRun(const std::vector<std::string>& inputs, CleanParams& params,
                           const RawOptions& options) {
  static ConvertedFolder work;
  const std::string target = g_cleanOptions.convertTo;
  const std::string folder =
      g_cleanOptions.bKeepConverted ? params.strOutputFolder : work.Make(params.strOutputFolder);
  CleanFileList& files = *params.pFileList;
  files.lstFiles.clear();
  files.lstRows.clear();
  files.nMode = target == "mgf" ? 1 : 0;
  StopSignals signals;
  for (const std::string& input : inputs) {
    ScanConversionSummary summary;
    if (!ConvertScans(input, options, target, folder, params.hProgressWnd, &summary)) {
      ++g_rawFailures;
      if (g_cancel.IsSignalled()) return false;
      continue;
    }
    for (const std::string& out : summary.outputs) {
      files.lstFiles.push_back(out);
      files.lstRows.push_back(static_cast<std::int32_t>(files.lstRows.size()));
    }
  }
  if (files.lstFiles.empty()) {
    if (g_rawFailures == 0) ShowError("No MS/MS spectrum of the raw inputs passed the options.");
    return false;
  }
  return true;
}

// One reader serves the whole run: it reads mzML and mzXML alike.
bool PrepareCleanRun(const std::vector<std::string>& inputs, CleanParams& params) {
  static std::unique_ptr<IRawReader> reader;
  static RawOptions options;
  for (const auto& input : inputs) {
    if (!CheckRawInput(input)) return false;
  }
  const std::string problem = ValidateRawOptions(g_cleanOptions);
  if (!problem.empty()) {
    ShowError(problem);
    return false;
  }
  options = ToRawOptions(g_cleanOptions);
  if (CleanCommandOptions().mgfDialect != "classic") return PrepareModernCleanRun(inputs, params, options);
  reader = MakeRawReader(inputs.front());
  params.pRawReader = reader.get();
  params.pRawOptions = &options;
  return true;
}

}  // namespace

void AddRawOptions(CLI::App* cmd, RawOptionsCli* pOptions, bool withConvertTo) {
  const char* group = "Raw files (mzML, mzXML, optionally .gz)";
  cmd->add_option("--min-mass", pOptions->dMinMass,
                  "Least singly charged precursor mass (MH+) of a spectrum written from a raw file")
      ->group(group)
      ->capture_default_str();
  cmd->add_option("--max-mass", pOptions->dMaxMass,
                  "Largest singly charged precursor mass (MH+) of a spectrum written from a raw file")
      ->group(group)
      ->capture_default_str();
  cmd->add_option("--min-peaks", pOptions->nMinPeaks,
                  "Least number of peaks of a raw scan (default: 0, or 1 with a --threshold-mode, "
                  "since a scan the threshold rejects is left without peaks)")
      ->group(group)
      ->check(CLI::NonNegativeNumber);
  cmd->add_option("--threshold-mode", pOptions->thresholdMode,
                  "Intensity test of a raw scan: none; fixed (total intensity at least "
                  "--intensity-threshold); base-peak (total intensity at least the largest base "
                  "peak of the file)")
      ->group(group)
      ->check(CLI::IsMember({"none", "fixed", "base-peak"}))
      ->capture_default_str();
  cmd->add_option("--intensity-threshold", pOptions->nIntensityThreshold,
                  "Least total intensity of a raw scan with --threshold-mode fixed")
      ->group(group)
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  cmd->add_flag("--split-ms-levels,!--no-split-ms-levels", pOptions->bSplitMsLevels,
                "Write MS2 and MS3 spectra of a raw file to separate outputs (default: one output)")
      ->group(group);
  if (withConvertTo) {
    cmd->add_option("--convert-to", pOptions->convertTo,
                    "What raw files become before they are cleaned: mgf or dta")
        ->group(group)
        ->check(CLI::IsMember({"mgf", "dta"}))
        ->capture_default_str();
    cmd->add_flag("--keep-converted,!--no-keep-converted", pOptions->bKeepConverted,
                  "Keep the plain conversion of raw inputs in the output folder beside the cleaned "
                  "files (default: it is made in a temporary place and removed)")
        ->group(group);
  }
}

int RawInputFailures() { return g_rawFailures; }

std::string ValidateRawOptions(const RawOptionsCli& o) {
  if (!(o.dMinMass >= 0.0)) return Format("--min-mass must not be negative, not %g", o.dMinMass);
  if (!(o.dMaxMass >= o.dMinMass)) {
    return Format("--max-mass (%g) must not lie below --min-mass (%g)", o.dMaxMass, o.dMinMass);
  }
  if (o.nMinPeaks < -1) return Format("--min-peaks must not be negative, not %d", o.nMinPeaks);
  if (o.nIntensityThreshold < 0) {
    return Format("--intensity-threshold must not be negative, not %d", o.nIntensityThreshold);
  }
  if (o.thresholdMode != "none" && o.thresholdMode != "fixed" && o.thresholdMode != "base-peak") {
    return "--threshold-mode must be none, fixed or base-peak, not " + o.thresholdMode;
  }
  if (o.convertTo != "mgf" && o.convertTo != "dta") {
    return "--convert-to must be mgf or dta, not " + o.convertTo;
  }
  return "";
}

RawOptions ToRawOptions(const RawOptionsCli& o) {
  RawOptions r;
  r.dMinMass = o.dMinMass;
  r.dMaxMass = o.dMaxMass;
  r.nIntensityThreshold = o.nIntensityThreshold;
  r.nThresholdMode = o.thresholdMode == "fixed" ? 1 : o.thresholdMode == "base-peak" ? 2 : 0;
  r.nMinPeaks = o.nMinPeaks >= 0 ? o.nMinPeaks : r.nThresholdMode != 0 ? 1 : 0;
  r.nExportOption = 0;
  r.bSplitMsLevels = o.bSplitMsLevels;
  r.nConvertOption = o.convertTo == "dta" ? 0 : 1;
  return r;
}

void AddRawInputs(CLI::App& app) {
  for (const char* ext : {"mzml", "mzxml", "gz"}) {
    RegisterConvertInput(ext, &ConvertRaw);
    RegisterCleanRawInput(ext, &PrepareCleanRun);
  }
  for (CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; })) {
    if (sub->get_name() == "convert") {
      AddRawOptions(sub, &g_convertOptions, false);
      sub->description(sub->get_description() + ", and mzML/mzXML files to MGF or DTA");
      sub->footer(sub->get_footer() +
                  "  orvane convert --to mgf -o out/ run1.mzML run2.mzXML.gz\n"
                  "  orvane convert --to dta --split-ms-levels -o out/ run1.mzML\n");
    } else if (sub->get_name() == "clean") {
      AddRawOptions(sub, &g_cleanOptions, true);
      sub->footer(sub->get_footer() +
                  "  orvane clean -o cleaned/ run1.mzML run2.mzML   converted to MGF, then cleaned\n"
                  "  orvane clean -o cleaned/ --convert-to dta --min-mass 600 run1.mzXML\n");
    }
  }
}

}  // namespace orvane::app
