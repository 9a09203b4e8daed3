#include "raw_inputs.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "commands.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "raw/conversions.h"
#include "raw/scan_conversion.h"
#include "readers/mz_reader.h"
#include "stop_signals.h"

namespace orvane::app {

namespace {

CEvent& g_cancel = HostCancelEvent();

bool CheckRawInput(const std::string& path) {
  if (IsRawInput(path)) return true;
  ShowError(Format("Can't read %s as a raw file: only mzML and mzXML files (.mzML, .mzXML, "
                   "optionally .gz) are read.",
                   path.c_str()));
  return false;
}

int g_rawFailures = 0;

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

int ConvertRawClassic(const ConvertJob& job, const std::string& path, RawOptions options) {
  readers::MzReader reader;
  ErrorCountingReporter errors;
  StopSignals signals;
  const std::string title = RunNameOf(path);
  HRESULT hr = S_OK;
  if (job.target == "mgf") {
    const std::string mgf = job.outputFolder + title + ".mgf";
    hr = RawToMgf(path, mgf, &reader, &options, &g_cancel, job.pWindow, job.dialect);
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
    hr = RawToDta(path, job.outputFolder, &reader, &options, &all, &ms2, &ms3, &g_cancel, job.pWindow,
                  job.dialect);
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

}  // namespace

int ConvertRawInput(const ConvertJob& job, const std::string& path, const Settings& settings) {
  if (!CheckRawInput(path)) return 1;
  const RawOptions options = ToRawOptions(settings);
  if (job.dialect == MgfDialect::Modern) return ConvertRawModern(job, path, options);
  return ConvertRawClassic(job, path, options);
}

namespace {

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
                           const RawOptions& options, const Settings& settings) {
  static ConvertedFolder work;
  const std::string target = settings.convertTo;
  const std::string folder =
      settings.bKeepConverted ? params.strOutputFolder : work.Make(params.strOutputFolder);
  CleanFileList& files = *params.pFileList;
  files.lstFiles.clear();
  files.lstRows.clear();
  files.nMode = target == "mgf" ? InputKind::Mgf : InputKind::Dta;
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

}  // namespace

bool PrepareRawClean(const std::vector<std::string>& inputs, CleanParams& params, const Settings& settings) {
  // One reader serves the whole run: it reads mzML and mzXML alike.
  static std::unique_ptr<IRawReader> reader;
  static RawOptions options;
  for (const auto& input : inputs) {
    if (!CheckRawInput(input)) return false;
  }
  options = ToRawOptions(settings);
  if (DialectOf(settings) == MgfDialect::Modern) return PrepareModernCleanRun(inputs, params, options, settings);
  reader = MakeRawReader(inputs.front());
  params.pRawReader = reader.get();
  params.pRawOptions = &options;
  return true;
}

int RawInputFailures() { return g_rawFailures; }

}  // namespace orvane::app
