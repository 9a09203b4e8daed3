// orvane clean [options] -o DIR INPUT...: the host of a cleaning run. It
// checks the options and inputs, makes the output folders, opens the log,
// runs the engine, shows progress from the engine's host messages and turns
// SIGINT/SIGTERM into the run's cancel event.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cleaning/drivers.h"
#include "commands.h"
#include "console.h"
#include "output_safety.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "presets.h"
#include "raw_inputs.h"
#include "readers/mz_reader.h"
#include "settings.h"
#include "spectrum/file_path.h"
#include "stop_signals.h"

namespace orvane::app {
namespace {

CEvent& g_cancel = HostCancelEvent();

// The input's kind by its extension; "run.mgf.gz" is MGF (the MGF reader
// takes gzip files as they are), while "run.mzML.gz" is a raw file.
std::string LowerExtension(const std::string& path) {
  std::string ext = FilePath(WithoutGzipSuffix(path)).GetExtension();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "orvane clean: %s\n", message.c_str());
  return 1;
}

// The kind of the run from the inputs' extensions; nothing after setting
// *pProblem.
std::optional<InputKind> KindOfInputs(const std::vector<std::string>& inputs, std::string* pProblem) {
  std::optional<InputKind> mode;
  std::string first;
  for (const std::string& input : inputs) {
    const std::string ext = LowerExtension(input);
    InputKind kind = InputKind::Raw;
    if (ext == "dta") {
      kind = InputKind::Dta;
    } else if (ext == "mgf") {
      kind = InputKind::Mgf;
    } else if (!IsRawInput(input)) {
      *pProblem = input + ": not a DTA or MGF file (raw inputs: .gz .mzml .mzxml)";
      return std::nullopt;
    }
    if (mode && kind != *mode) {
      *pProblem = "inputs of different kinds can't be cleaned in one run: " + first + " and " + input +
                  "; clean one kind per run";
      return std::nullopt;
    }
    if (!mode) first = input;
    mode = kind;
  }
  return mode;
}


// Every spectrum goes through working copies of a few hundred kilobytes
// each (the 0.05 grid of a 2000 Da spectrum is 40,000 points). By default
// glibc hands such blocks back to the system at each free, and every new
// spectrum pays for faulting them in again - in a virtual machine more than
// all the arithmetic. Keeping freed memory in the heap makes the run an
// order of magnitude cheaper; the heap stays at the size of one spectrum's
// working set.
void KeepFreedMemory() {
  mallopt(M_MMAP_THRESHOLD, 256 * 1024 * 1024);
  mallopt(M_TRIM_THRESHOLD, 512 * 1024 * 1024);
}


using ErrorList = std::vector<std::pair<std::string, unsigned>>;

// The end of a run that went through all of its inputs: the inputs that
// left no output (every spectrum dropped: no empty file is made), then the
// summary, with the inputs that had errors (exit status 1).
int FinishRun(const Settings& o, const std::vector<std::string>& inputs, InputKind mode,
              const std::string& folder, const ErrorList& errors, std::size_t spectra, double seconds,
              const std::string& jobs) {
  if (DialectOf(o) == MgfDialect::Modern && mode == InputKind::Mgf && !o.bMergeOutput && !o.bQuiet) {
    for (const std::string& input : inputs) {
      const std::string output = CleanOutputPaths(mode, {input}, folder, false, false).front();
      bool failed = false;
      for (const auto& entry : errors) failed = failed || entry.first == input;
      std::error_code ec;
      if (!failed && !std::filesystem::exists(output, ec))
        std::fprintf(stderr, "orvane clean: %s: no spectrum left to write; no output made\n", input.c_str());
    }
  }
  const bool dta = mode == InputKind::Dta;
  const char* unit = dta ? (spectra == 1 ? "DTA file" : "DTA files") : (spectra == 1 ? "spectrum" : "spectra");
  if (!errors.empty()) {
    std::string list;
    for (const auto& [input, count] : errors)
      list += Format("%s%s (%u error%s)", list.empty() ? "" : ", ", input.c_str(), count, count == 1 ? "" : "s");
    return Fail(Format("finished with errors: %zu %s in %.3f s%s; errors in %s; outputs in %s", spectra, unit,
                       seconds, jobs.c_str(), list.c_str(), folder.c_str()));
  }
  if (!o.bQuiet)
    std::fprintf(stderr, "orvane clean: finished: %zu %s from %zu input%s in %.3f s (%.1f %s/s%s); outputs in %s\n",
                 spectra, unit, inputs.size(), inputs.size() == 1 ? "" : "s", seconds,
                 seconds > 0 ? spectra / seconds : 0.0, dta ? "files" : "spectra", jobs.c_str(), folder.c_str());
  return 0;
}

std::string StoppedText(const Settings& o, const std::string& folder) {
  if (DialectOf(o) == MgfDialect::Classic) return "the outputs in " + folder + " hold what was cleaned so far";
  return "the outputs of the inputs finished stay, those of the inputs in hand were discarded";
}

int RunClean(const std::vector<std::string>& inputs, const std::string& outputFolder) {
  const Settings& o = CommandSettings();
  if (const std::string problem = CheckSettings(o, kClean); !problem.empty()) return Fail(problem);
  // From here to the end a stop is a stop: no gap between the conversion of
  // raw inputs and the cleaning where a signal would end the process.
  StopSignals signals;
  g_cancel.Reset();

  std::string problem;
  const std::optional<InputKind> kind = KindOfInputs(inputs, &problem);
  if (!kind) return Fail(problem);
  const InputKind mode = *kind;
  for (const std::string& input : inputs) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(input, ec)) return Fail("no such input file: " + input);
  }
  // Inputs are never written, whatever the outputs are called.
  for (const std::string& input : inputs) ProtectInput(input);
  if (mode == InputKind::Dta && (o.bMergeOutput || o.bSkipCleaning))
    std::fprintf(stderr, "orvane clean: --merge-output and --skip-cleaning apply to MGF inputs only; "
                         "ignored for DTA files\n");

  // The output folder, and badspectra/ where a driver will write into it:
  // the engine makes no folders.
  std::string folder = outputFolder;
  std::replace(folder.begin(), folder.end(), '\\', '/');
  if (folder.empty()) return Fail("the output folder (-o) is empty");
  if (folder.back() != '/') folder += '/';
  CleanParams params;
  ApplyCleanSettings(o, params);
  const bool separate = SeparatesBad(params);
  {
    // Refused before anything is written: an output (existing or not) that is
    // an input.
    std::vector<std::string> outputs = CleanOutputPaths(mode, inputs, folder, separate, o.bMergeOutput);
    if (!o.logFile.empty()) outputs.push_back(o.logFile);
    if (const std::string clash = FindOutputOverInput(outputs, inputs); !clash.empty())
      return Fail("refused: the output " + clash + "; choose another output folder or rename the input");
  }
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec || !std::filesystem::is_directory(folder))
    return Fail("can't make the output folder " + folder + ": " + ec.message());
  if (separate || (mode != InputKind::Dta && o.bMergeOutput)) {
    std::filesystem::create_directories(folder + "badspectra", ec);
    if (ec) return Fail("can't make the folder " + folder + "badspectra/: " + ec.message());
  }
  // Temporary files and folders of runs that were killed.
  RemoveStaleTemporaries(folder);
  RemoveStaleTemporaries(folder + "badspectra/");

  CStdioFile log;
  if (!o.logFile.empty()) {
    CFileException error;
    // Written straight to its name, so it holds what was done if the
    // process is killed.
    if (!log.Open(o.logFile, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect, &error))
      return Fail(error.Text());
  }

  CleanFileList files;
  files.nMode = mode;
  std::int32_t row = 0;
  for (const std::string& input : inputs) {
    files.lstFiles.push_back(input);
    files.lstRows.push_back(row++);
  }

  const ConsoleProgress::Style style =
      o.bQuiet ? ConsoleProgress::Style::Quiet
               : (::isatty(STDERR_FILENO) ? ConsoleProgress::Style::Bars : ConsoleProgress::Style::Lines);
  ConsoleProgress progress(style, inputs);
  ConsoleReporter reporter(progress);
  IReporter* previous = SetReporter(&reporter);

  params.bWriteLog = log.IsOpen();
  params.pLogFile = log.IsOpen() ? &log : nullptr;
  params.pFileList = &files;
  params.hProgressWnd = &progress;
  params.pCancelEvent = &g_cancel;
  params.strOutputFolder = folder;

  if (mode == InputKind::Raw && !PrepareRawClean(inputs, params, o)) {
    SetReporter(previous);
    // A stop while raw inputs were converted is a stop, not a failure.
    return g_cancel.IsSignalled() ? kExitStopped : 1;
  }

  RunOptions run;
  run.dialect = DialectOf(o);
  run.nJobs = o.nJobs > 0 ? static_cast<unsigned>(o.nJobs) : std::max(1u, std::thread::hardware_concurrency());
  KeepFreedMemory();
  const auto start = std::chrono::steady_clock::now();
  const HRESULT hr = CleanFiles(&params, run);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  progress.Finish();
  SetReporter(previous);

  if (log.IsOpen()) {
    try {
      log.Close();
    } catch (const CFileException& e) {
      std::fprintf(stderr, "orvane clean: %s\n", e.Text().c_str());
    }
  }

  const std::size_t spectra = progress.Spectra();
  if (progress.Cancelled() || g_cancel.IsSignalled()) {
    if (!o.bQuiet)
      std::fprintf(stderr, "orvane clean: stopped after %zu %s; %s\n", spectra,
                   mode == InputKind::Dta ? "DTA files" : "spectra", StoppedText(o, folder).c_str());
    return kExitStopped;
  }
  if (FAILED(hr) && progress.Errors().empty())
    return Fail(Format("the run failed (HRESULT 0x%x)", static_cast<unsigned>(hr)));
  // Raw inputs that could not be converted were reported; the others were cleaned.
  if (const int failed = RawInputFailures(); failed > 0) {
    if (!o.bQuiet)
      std::fprintf(stderr, "orvane clean: %d raw input%s could not be read; the others were cleaned\n", failed,
                   failed == 1 ? "" : "s");
    return 1;
  }
  // The summary names the jobs the user asked for.
  return FinishRun(o, inputs, mode, folder, progress.Errors(), spectra, seconds,
                   o.nJobs > 1 ? Format(", %d jobs", o.nJobs) : std::string());
}

const char* kCleanSummary =
    "Clean DTA or MGF files: bad spectra, isotope peaks, charge clusters, noise";

const char* kCleanFooter =
    "\nTells good spectra from bad ones, removes isotope peaks, turns 2- and 3-fold charged\n"
    "clusters into single peaks and, if asked, removes random noise. Inputs are DTA files or\n"
    "MGF files, one kind per run. Each input gives DIR/<name>_c.<ext>; bad spectra go to\n"
    "DIR/badspectra/<name>_bad_c.<ext>. Ctrl-C stops after the spectrum in hand, with the\n"
    "outputs closed. Exit status: 0 finished, 130 stopped, 1 failed.\n"
    "\nExamples:\n"
    "  orvane clean -o cleaned/ run1.mgf                defaults: de-isotoping and deconvolution\n"
    "  orvane clean -o cleaned/ spectra/*.dta           a folder of DTA files, one _c.dta each\n"
    "  orvane clean -o cleaned/ --log run.log *.mgf     with a run log\n"
    "  orvane clean -o cleaned/ --jobs 4 big.mgf        four engines; the same bytes as one\n"
    "  orvane clean -o cleaned/ --params lab.toml *.mgf settings from a presets file\n"
    "  orvane clean -o merged/ --skip-cleaning --merge-output a.mgf b.mgf\n"
    "                                                   concatenate MGF files\n"
    "  orvane clean -o cleaned/ --remove-noise --check-seq-tags run1.mgf\n"
    "  orvane clean -o cleaned/ run1.mzML run2.mzML     converted to MGF, then cleaned\n"
    "  orvane clean -o cleaned/ --convert-to dta --min-mass 600 run1.mzXML\n";


}  // namespace

void AddCleanCommand(CLI::App& app) {
  static std::vector<std::string> inputs;
  static std::string output;
  auto* cmd = app.add_subcommand("clean", kCleanSummary);
  cmd->add_option("inputs", inputs, "DTA, MGF, mzML or mzXML files")->required();
  cmd->add_option("-o,--output", output, "Output folder; made with its badspectra/ subfolder when needed")
      ->required()
      ->group("Outputs");
  AddSettingOptions(cmd, &CommandSettings(), kClean);
  AddPresetOptions(cmd, true);
  cmd->footer(kCleanFooter);
  cmd->callback([] { SetExitCode(RunClean(inputs, output)); });
}

}  // namespace orvane::app
