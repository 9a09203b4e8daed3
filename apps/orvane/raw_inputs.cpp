#include "raw_inputs.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "commands.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/conversions.h"
#include "raw/scan_conversion.h"
#include "readers/mz_reader.h"
#include "stop_signals.h"

namespace orvane::app {
namespace {

CEvent& g_cancel = HostCancelEvent();

// The modern road: typed scan records, one spectrum per MS/MS scan with the
// charges the file states. Answers the summary, or false after the error
// (which names the file and the scan) with nothing left under a final name.
bool ConvertScans(const std::string& path, const RawOptions& options, ConvertTarget target,
                  const std::string& folder, const std::string& mgfFile, bool bGzip, CWnd* pWindow,
                  ScanConversionSummary* pSummary) {
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
  job.bGzip = bGzip;
  const std::string mgf = mgfFile.empty() ? folder + RunNameOf(path) + ".mgf" : mgfFile;
  const HRESULT hr =
      target == ConvertTarget::Mgf ? ScansToMgf(reader, job, mgf, pSummary) : ScansToDta(reader, job, folder, pSummary);
  return hr == S_OK;
}

int ConvertRawModern(const ConvertJob& job, const std::string& path, const RawOptions& options) {
  ScanConversionSummary summary;
  if (!ConvertScans(path, options, job.target, job.outputFolder, job.outputFile, job.bGzip, job.pConsole, &summary))
    return g_cancel.IsSignalled() ? kExitStopped : 1;
  if (summary.outputs.empty()) {
    job.pConsole->Say(Format("%s: none of its %s passed the options; nothing written", path.c_str(),
                             Counted(summary.nMsMs, "MS/MS scan", "MS/MS scans").c_str()));
    return 0;
  }
  std::string made;
  if (job.target == ConvertTarget::Mgf) {
    for (const std::string& out : summary.outputs) made += (made.empty() ? "" : ", ") + ShownPath(out, true);
  } else {
    made = job.outputFolder + (options.bSplitMsLevels ? "dta_converted_ms2/, dta_converted_ms3/" : "dta_converted/");
  }
  job.pConsole->Say(Format("%s -> %s (%s from %s)", path.c_str(), made.c_str(),
                           Counted(summary.nWritten, job.target == ConvertTarget::Mgf ? "spectrum" : "file",
                                   job.target == ConvertTarget::Mgf ? "spectra" : "files").c_str(),
                           Counted(summary.nMsMs, "MS/MS scan", "MS/MS scans").c_str()));
  return 0;
}

int ConvertRawClassic(const ConvertJob& job, const std::string& path, RawOptions options) {
  readers::MzReader reader;
  ErrorCountingReporter errors;
  const std::string title = RunNameOf(path);
  HRESULT hr = S_OK;
  std::string made;
  if (job.target == ConvertTarget::Mgf) {
    const std::string mgf = job.outputFolder + title + ".mgf";
    hr = RawToMgf(path, mgf, &reader, &options, &g_cancel, job.pConsole, job.dialect);
    made = options.bSplitMsLevels ? job.outputFolder + title + "_ms2.mgf, " + job.outputFolder + title + "_ms3.mgf"
                                  : mgf;
  } else {
    StringList all, ms2, ms3;
    hr = RawToDta(path, job.outputFolder, &reader, &options, &all, &ms2, &ms3, &g_cancel, job.pConsole,
                  job.dialect);
    made = options.bSplitMsLevels
               ? Format("%sdta_converted_ms2/ (%s), %sdta_converted_ms3/ (%s)", job.outputFolder.c_str(),
                        Counted(ms2.size(), "file", "files").c_str(), job.outputFolder.c_str(),
                        Counted(ms3.size(), "file", "files").c_str())
               : Format("%sdta_converted/ (%s)", job.outputFolder.c_str(), Counted(all.size(), "file", "files").c_str());
  }
  const bool stopped = g_cancel.IsSignalled();
  // Refused spectra (each shown) leave the rest of the output whole; any
  // other error means the walk ended early.
  const bool failed = FAILED(hr) || !reader.LastError().empty() ||
                      errors.failures > static_cast<int>(reader.RefusedCount());
  if ((stopped || failed) && job.target == ConvertTarget::Mgf) {
    // What stands under a final name is complete: the blocks a stopped or
    // failed conversion wrote go with it.
    const std::string stem = job.outputFolder + title;
    for (const std::string& name : options.bSplitMsLevels
                                       ? std::vector<std::string>{stem + "_ms2.mgf", stem + "_ms3.mgf"}
                                       : std::vector<std::string>{stem + ".mgf"})
      std::remove(name.c_str());
  }
  if (stopped) return kExitStopped;
  if (!failed && errors.failures == 0) job.pConsole->Say(path + " -> " + made);
  return failed || errors.failures > 0 ? 1 : 0;
}

// The folder the conversions of a clean run are made in, removed with
// everything in it when the process ends. A killed run leaves it behind under
// a name the next run in that folder recognises and removes.
class ConvertedFolder {
 public:
  const std::string& Make(const std::string& outputFolder) {
    if (!path_.empty()) return path_;
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

}  // namespace

int ConvertRawInput(const ConvertJob& job, const std::string& path, const Settings& settings) {
  const RawOptions options = ToRawOptions(settings);
  if (job.dialect == MgfDialect::Modern) return ConvertRawModern(job, path, options);
  return ConvertRawClassic(job, path, options);
}

bool ConvertForCleaning(const std::string& input, std::int32_t row, const Settings& settings,
                        const std::string& outputFolder, ConsoleProgress& console, CleanFileList& files) {
  static ConvertedFolder work;
  const std::string folder = settings.bKeepConverted ? outputFolder : work.Make(outputFolder);
  ScanConversionSummary summary;
  console.SetInput(static_cast<std::size_t>(row));
  const RawOptions options = ToRawOptions(settings);
  if (!ConvertScans(input, options, options.nConvertOption, folder, std::string(), false, &console, &summary))
    return false;
  if (summary.outputs.empty())
    console.Say(Format("%s: none of its %s passed the options; nothing to clean", input.c_str(),
                       Counted(summary.nMsMs, "MS/MS scan", "MS/MS scans").c_str()));
  for (const std::string& out : summary.outputs) {
    files.lstFiles.push_back(out);
    files.lstRows.push_back(row);
  }
  return true;
}

void PrepareClassicRaw(const std::string& firstInput, CleanParams& params, const Settings& settings) {
  // One reader serves the whole run: it reads mzML and mzXML alike.
  static std::unique_ptr<IRawReader> reader;
  static RawOptions options;
  options = ToRawOptions(settings);
  reader = MakeRawReader(firstInput);
  params.pRawReader = reader.get();
  params.pRawOptions = &options;
}

}  // namespace orvane::app
