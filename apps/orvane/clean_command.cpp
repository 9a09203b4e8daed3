// orvane clean [options] -o DIR INPUT...: the host of a cleaning run. It
// checks the options and inputs, makes the output folders, opens the log,
// creates the engine, shows progress from the engine's host messages and
// turns SIGINT/SIGTERM into the run's cancel event.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "clean_options.h"
#include "commands.h"
#include "output_safety.h"
#include "parallel_run.h"
#include "raw_options_cli.h"
#include "stop_signals.h"
#include "frame/interfaces.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "platform/host_window.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/file_path.h"

namespace orvane::app {
namespace {

CEvent& g_cancel = HostCancelEvent();

std::string ShortName(const std::string& path) {
  std::string name = FilePath(path).GetFileName();
  if (name.size() > 32) name = "..." + name.substr(name.size() - 29);
  return name;
}

std::string Bar(double fraction, int width) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  const int full = static_cast<int>(fraction * width + 0.5);
  return std::string(static_cast<std::size_t>(full), '#') +
         std::string(static_cast<std::size_t>(width - full), '-');
}

// The host window of the command line: keeps count of the run from the
// engine's messages and shows it on standard error, as bars redrawn in place
// on a terminal, as plain lines otherwise, or not at all.
class ConsoleProgress final : public CWnd {
 public:
  enum class Style { Quiet, Lines, Bars };

  ConsoleProgress(Style style, const std::vector<std::string>& inputs)
      : style_(style), nInputs_(inputs.size()), inputs_(inputs) {}

  void Send(unsigned message, WPARAM wParam, LPARAM lParam) override {
    const char* text = reinterpret_cast<const char*>(lParam);
    switch (message) {
      case PM_ROW_BEGIN:
        row_ = static_cast<std::size_t>(wParam);
        rowOpen_ = true;
        rowHasTotal_ = false;
        fileDone_ = fileTotal_ = 0;
        announced_ = false;
        break;
      case PM_STEP_TOTAL:
        // Sent inside a row it scales the spectra of one MGF file; outside
        // one it scales the DTA files of the run.
        if (rowOpen_) {
          rowHasTotal_ = true;
          fileTotal_ = wParam;
        } else {
          runTotal_ = wParam;
        }
        break;
      case PM_STEP_BEGIN:
        if (text != nullptr) current_ = text;
        if (rowHasTotal_ && !announced_) {
          announced_ = true;
          Line(Format("%s: %zu spectra", current_.c_str(), static_cast<std::size_t>(fileTotal_)));
        }
        Draw(false);
        break;
      case PM_STEP_DONE:
        if (rowHasTotal_) {
          fileDone_ = wParam;
        } else {
          runDone_ = wParam;
          ++spectra_;
          if (runTotal_ > 0 && wParam * 10 / runTotal_ != (wParam - 1) * 10 / runTotal_)
            Line(Format("%zu/%zu DTA files", static_cast<std::size_t>(wParam),
                        static_cast<std::size_t>(runTotal_)));
        }
        Draw(false);
        break;
      case PM_ROW_DONE:
        if (rowHasTotal_) {
          spectra_ += fileDone_;
          ++filesDone_;
        }
        rowOpen_ = false;
        Draw(true);
        break;
      case PM_RAW_SCANS:
        if (text != nullptr) Line(Format("converting %s: %zu spectra", text, static_cast<std::size_t>(wParam)));
        break;
      case PM_ROW_ADDED:
        if (text != nullptr) Line(Format("made %s", text));
        break;
      default:
        break;
    }
  }

  void Post(unsigned message, WPARAM, LPARAM) override {
    if (message == PM_CANCELLED) cancelled_ = true;
  }

  bool Cancelled() const { return cancelled_; }

  // The input the engine works on, or empty before the first.
  std::string Input() const { return row_ < inputs_.size() ? inputs_[row_] : current_; }

  // An error box while the run is in hand counts against the input the
  // engine works on.
  void NoteError() {
    const std::string input = Input();
    for (auto& [name, count] : errors_)
      if (name == input) {
        ++count;
        return;
      }
    errors_.emplace_back(input, 1u);
  }
  // The inputs that had errors, in the order met, with their numbers of
  // errors.
  const std::vector<std::pair<std::string, unsigned>>& Errors() const { return errors_; }
  // Spectra worked through: every spectrum read in MGF runs, every file in
  // DTA runs (those of 2 peaks or fewer included).
  std::size_t Spectra() const { return spectra_ + (rowOpen_ && rowHasTotal_ ? fileDone_ : 0); }

  // Takes the bar off the terminal line, so a message can stand there.
  void ClearBar() {
    if (barShown_) {
      std::fputs("\r\x1b[K", stderr);
      barShown_ = false;
    }
  }
  void Finish() { ClearBar(); }

 private:
  void Line(const std::string& text) {
    if (style_ != Style::Lines) return;
    std::fprintf(stderr, "orvane clean: %s\n", text.c_str());
  }

  void Draw(bool force) {
    if (style_ != Style::Bars) return;
    const auto now = std::chrono::steady_clock::now();
    if (!force && barShown_ && now - lastDraw_ < std::chrono::milliseconds(100)) return;
    lastDraw_ = now;
    std::string line;
    if (rowHasTotal_ || (!rowOpen_ && runTotal_ == 0)) {
      const double file = fileTotal_ > 0 ? static_cast<double>(fileDone_) / fileTotal_ : 1.0;
      const double run =
          nInputs_ > 0 ? (filesDone_ + (rowOpen_ ? file : 0.0)) / static_cast<double>(nInputs_) : 1.0;
      line = Format("%-32s [%s] %3d%% %zu/%zu | run [%s] %3d%% file %zu/%zu",
                    ShortName(current_).c_str(), Bar(file, 20).c_str(),
                    static_cast<int>(file * 100.0), static_cast<std::size_t>(fileDone_),
                    static_cast<std::size_t>(fileTotal_), Bar(run, 10).c_str(),
                    static_cast<int>(run * 100.0),
                    std::min(filesDone_ + (rowOpen_ ? 1 : 0), nInputs_), nInputs_);
    } else {
      const double run = runTotal_ > 0 ? static_cast<double>(runDone_) / runTotal_ : 1.0;
      line = Format("%-32s [%s] %3d%% %zu/%zu files", ShortName(current_).c_str(),
                    Bar(run, 30).c_str(), static_cast<int>(run * 100.0),
                    static_cast<std::size_t>(runDone_), static_cast<std::size_t>(runTotal_));
    }
    std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    std::fflush(stderr);
    barShown_ = true;
  }

  Style style_;
  std::size_t nInputs_;
  std::vector<std::string> inputs_;
  std::size_t row_ = static_cast<std::size_t>(-1);
  std::vector<std::pair<std::string, unsigned>> errors_;
  bool rowOpen_ = false;
  bool rowHasTotal_ = false;
  bool announced_ = false;
  bool cancelled_ = false;
  bool barShown_ = false;
  WPARAM fileDone_ = 0, fileTotal_ = 0, runDone_ = 0, runTotal_ = 0;
  std::size_t filesDone_ = 0;
  std::size_t spectra_ = 0;
  std::string current_;
  std::chrono::steady_clock::time_point lastDraw_{};
};

// Boxes as one line each on standard error, clear of the progress bar.
class ConsoleReporter final : public IReporter {
 public:
  explicit ConsoleReporter(ConsoleProgress& progress) : progress_(progress) {}
  void Show(BoxKind kind, std::string_view text) override {
    const std::string line = OneLine(text);
    progress_.ClearBar();
    // Inside the run a box names the input in hand, as the boxes of a
    // parallel run do.
    std::string input = progress_.Input();
    if (line.compare(0, input.size(), input) == 0) input.clear();  // it names the file already
    std::fprintf(stderr, "orvane: %s: %s%s%s\n", BoxKindName(kind), input.c_str(),
                 input.empty() ? "" : ": ", line.c_str());
    if (kind == BoxKind::Error || kind == BoxKind::FileError || kind == BoxKind::Stop ||
        kind == BoxKind::Plain)
      progress_.NoteError();
  }

 private:
  ConsoleProgress& progress_;
};

std::map<std::string, CleanRawInputHandler>& RawHandlers() {
  static std::map<std::string, CleanRawInputHandler> handlers;
  return handlers;
}

// The input's kind by its extension; "run.mgf.gz" is "mgf" (the MGF reader
// takes gzip files as they are), while "run.mzML.gz" stays "gz" for the raw
// handler.
std::string LowerExtension(const std::string& path) {
  std::string ext = FilePath(path).GetExtension();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (ext == "gz") {
    std::string inner = FilePath(WithoutGzipSuffix(path)).GetExtension();
    for (char& c : inner) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (inner == "mgf") return inner;
  }
  return ext;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "orvane clean: %s\n", message.c_str());
  return 1;
}

// The kind of the run from the inputs' extensions: 0 DTA, 1 MGF, 2 raw.
int InputMode(const std::vector<std::string>& inputs, std::string* pProblem,
              CleanRawInputHandler* pRawHandler) {
  int mode = -1;
  std::string first;
  for (const std::string& input : inputs) {
    const std::string ext = LowerExtension(input);
    int kind = -1;
    if (ext == "dta") {
      kind = 0;
    } else if (ext == "mgf") {
      kind = 1;
    } else if (auto it = RawHandlers().find(ext); it != RawHandlers().end()) {
      kind = 2;
      if (*pRawHandler != nullptr && *pRawHandler != it->second) {
        *pProblem = "raw inputs of different kinds can't be cleaned in one run: " + first +
                    " and " + input;
        return -1;
      }
      *pRawHandler = it->second;
    } else {
      *pProblem = input + ": not a DTA or MGF file";
      if (!RawHandlers().empty()) {
        std::string known;
        for (const auto& entry : RawHandlers()) known += " ." + entry.first;
        *pProblem += " (raw inputs:" + known + ")";
      }
      return -1;
    }
    if (mode >= 0 && kind != mode) {
      *pProblem = "inputs of different kinds can't be cleaned in one run: " + first + " and " +
                  input + "; clean one kind per run";
      return -1;
    }
    if (mode < 0) first = input;
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
int FinishRun(const CleanOptions& o, int mode, const std::string& folder, const ErrorList& errors,
              std::size_t spectra, double seconds, const std::string& jobs) {
  const bool modern = o.mgfDialect != "classic";
  if (modern && mode == 1 && !o.bMergeOutput && !o.bQuiet) {
    for (const std::string& input : o.inputs) {
      const std::string output = CleanOutputPaths(mode, {input}, folder, false, false).front();
      bool failed = false;
      for (const auto& entry : errors)
        failed = failed || entry.first == input;
      std::error_code ec;
      if (!failed && !std::filesystem::exists(output, ec))
        std::fprintf(stderr, "orvane clean: %s: no spectrum left to write; no output made\n",
                     input.c_str());
    }
  }
  const char* unit = mode == 0 ? (spectra == 1 ? "DTA file" : "DTA files")
                               : (spectra == 1 ? "spectrum" : "spectra");
  if (!errors.empty()) {
    std::string list;
    for (const auto& [input, count] : errors)
      list += Format("%s%s (%u error%s)", list.empty() ? "" : ", ", input.c_str(), count,
                     count == 1 ? "" : "s");
    return Fail(Format("finished with errors: %zu %s in %.3f s%s; errors in %s; outputs in %s",
                       spectra, unit, seconds, jobs.c_str(), list.c_str(), folder.c_str()));
  }
  if (!o.bQuiet)
    std::fprintf(stderr, "orvane clean: finished: %zu %s from %zu input%s in %.3f s (%.1f %s/s%s); "
                         "outputs in %s\n", spectra, unit, o.inputs.size(),
                 o.inputs.size() == 1 ? "" : "s", seconds, seconds > 0 ? spectra / seconds : 0.0,
                 mode == 0 ? "files" : "spectra", jobs.c_str(), folder.c_str());
  return 0;
}

std::string StoppedText(const CleanOptions& o, const std::string& folder) {
  if (o.mgfDialect == "classic") return "the outputs in " + folder + " hold what was cleaned so far";
  return "the outputs of the inputs finished stay, those of the inputs in hand were discarded";
}

// Several engines at once (parallel_run.h); the same outputs and log as one.
int RunCleanParallel(const CleanOptions& o, ParallelCleanJob& job) {
  if (!job.logFile.empty()) {
    // The log is written when the run is joined; find out now if it can be.
    CStdioFile probe;
    CFileException error;
    if (!probe.Open(job.logFile, CStdioFile::modeCreate | CStdioFile::modeWrite, &error))
      return Fail(error.Text());
    probe.Abort();
  }
  ApplyCleanOptions(o, job.params);
  KeepFreedMemory();
  const auto start = std::chrono::steady_clock::now();
  ParallelCleanResult result;
  {
    StopSignals signals;
    result = RunParallelClean(job);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const std::size_t spectra = result.nSpectra;
  const char* unit = job.nMode == 0 ? "DTA files" : "spectra";
  if (result.bStopped || g_cancel.IsSignalled()) {
    if (!o.bQuiet)
      std::fprintf(stderr, "orvane clean: stopped after %zu %s; %s\n", spectra, unit,
                   StoppedText(o, job.folder).c_str());
    return kExitStopped;
  }
  if (result.bJoinFailed) return Fail("the outputs of the workers could not all be joined");
  if (FAILED(result.hr) && result.errors.empty())
    return Fail(Format("the run failed (HRESULT 0x%x)", static_cast<unsigned>(result.hr)));
  return FinishRun(o, job.nMode, job.folder, result.errors, spectra, seconds,
                   Format(", %u jobs", job.nJobs));
}

int RunClean(CleanOptions& o) {
  if (const std::string problem = ValidateCleanOptions(o); !problem.empty()) return Fail(problem);
  // From here to the end a stop is a stop: no gap between the conversion of
  // raw inputs and the cleaning where a signal would end the process.
  StopSignals signals;
  g_cancel.Reset();

  std::string problem;
  CleanRawInputHandler rawHandler = nullptr;
  const int mode = InputMode(o.inputs, &problem, &rawHandler);
  if (mode < 0) return Fail(problem);
  for (const std::string& input : o.inputs) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(input, ec)) return Fail("no such input file: " + input);
  }
  // Inputs are never written, whatever the outputs are called.
  for (const std::string& input : o.inputs) ProtectInput(input);
  if (mode == 0 && (o.bMergeOutput || o.bSkipCleaning))
    std::fprintf(stderr, "orvane clean: --merge-output and --skip-cleaning apply to MGF inputs only; "
                         "ignored for DTA files\n");

  // The output folder, and badspectra/ where a driver will write into it:
  // the engine makes no folders.
  std::string folder = o.outputFolder;
  for (char& c : folder)
    if (c == '\\') c = '/';
  if (folder.empty()) return Fail("the output folder (-o) is empty");
  if (folder.back() != '/') folder += '/';
  const bool separate = o.bExportBad && BadSpectraAction(o.badSpectra) == 1;
  {
    // Refused before anything is written: an output (existing or not) that is
    // an input.
    std::vector<std::string> outputs =
        CleanOutputPaths(mode, o.inputs, folder, separate, o.bMergeOutput);
    if (!o.logFile.empty()) outputs.push_back(o.logFile);
    if (const std::string clash = FindOutputOverInput(outputs, o.inputs); !clash.empty())
      return Fail("refused: the output " + clash + "; choose another output folder or rename "
                  "the input");
  }
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec || !std::filesystem::is_directory(folder))
    return Fail("can't make the output folder " + folder + ": " + ec.message());
  if (separate || (mode != 0 && o.bMergeOutput)) {
    std::filesystem::create_directories(folder + "badspectra", ec);
    if (ec) return Fail("can't make the folder " + folder + "badspectra/: " + ec.message());
  }
  // Temporary files and staging folders of runs that were killed.
  RemoveStaleTemporaries(folder);
  RemoveStaleTemporaries(folder + "badspectra/");

  const unsigned jobs =
      o.nJobs > 0 ? o.nJobs : std::max(1u, std::thread::hardware_concurrency());
  if (jobs > 1 && (mode == 0 || mode == 1)) {
    ParallelCleanJob job;
    job.nMode = mode;
    job.inputs = o.inputs;
    job.folder = folder;
    job.logFile = o.logFile;
    job.mgfDialect = o.mgfDialect;
    job.nJobs = jobs;
    job.pCancel = &g_cancel;
    job.nProgressStyle = o.bQuiet ? 0 : (::isatty(STDERR_FILENO) ? 2 : 1);
    // Tests cut small files into parts.
    if (const char* minPart = std::getenv("ORVANE_MIN_PART_BYTES"))
      job.minPartBytes = std::strtoull(minPart, nullptr, 10);
    if (PlanUnits(mode, job.inputs, jobs, job.minPartBytes).size() > 1)
      return RunCleanParallel(o, job);
  }

  CStdioFile log;
  if (!o.logFile.empty()) {
    CFileException error;
    // Written straight to its name, so it holds what was done if the
    // process is killed.
    if (!log.Open(o.logFile,
                  CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect, &error))
      return Fail(error.Text());
  }

  ComPtr<ICleanMSMS_Files> pClean;
  HRESULT hr = CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_ICleanMSMS_Files,
                                pClean.Out());
  if (FAILED(hr))
    return Fail(Format("can't create the engine object (HRESULT 0x%x)", static_cast<unsigned>(hr)));
  {
    ComPtr<IMgfDialect> pDialect;
    hr = pClean->QueryInterface(IID_IMgfDialect, pDialect.Out());
    if (SUCCEEDED(hr))
      hr = pDialect->SetMgfDialect(o.mgfDialect == "classic" ? MgfDialect::Classic
                                                             : MgfDialect::Modern);
    if (FAILED(hr))
      return Fail(Format("can't set the MGF dialect (HRESULT 0x%x)", static_cast<unsigned>(hr)));
  }

  CleanFileList files;
  files.nMode = mode;
  std::int32_t row = 0;
  for (const std::string& input : o.inputs) {
    files.lstFiles.push_back(input);
    files.lstRows.push_back(row++);
    ProtectInput(input);
  }

  const ConsoleProgress::Style style =
      o.bQuiet ? ConsoleProgress::Style::Quiet
               : (::isatty(STDERR_FILENO) ? ConsoleProgress::Style::Bars
                                          : ConsoleProgress::Style::Lines);
  ConsoleProgress progress(style, o.inputs);
  ConsoleReporter reporter(progress);
  IReporter* previous = SetReporter(&reporter);

  CleanParams params;
  ApplyCleanOptions(o, params);
  params.bWriteLog = log.IsOpen();
  params.pLogFile = log.IsOpen() ? &log : nullptr;
  params.pFileList = &files;
  params.hProgressWnd = &progress;
  params.pCancelEvent = &g_cancel;
  params.strOutputFolder = folder;

  if (rawHandler != nullptr && !rawHandler(o.inputs, params)) {
    SetReporter(previous);
    // A stop while raw inputs were converted is a stop, not a failure.
    return g_cancel.IsSignalled() ? kExitStopped : 1;
  }

  KeepFreedMemory();
  const auto start = std::chrono::steady_clock::now();
  {
    StopSignals signals;
    hr = pClean->CleanFiles(&params);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
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
  const char* unit = mode == 0 ? "DTA files" : "spectra";
  if (progress.Cancelled() || g_cancel.IsSignalled()) {
    if (!o.bQuiet)
      std::fprintf(stderr, "orvane clean: stopped after %zu %s; %s\n", spectra, unit,
                   StoppedText(o, folder).c_str());
    return kExitStopped;
  }
  if (FAILED(hr) && progress.Errors().empty())
    return Fail(Format("the run failed (HRESULT 0x%x)", static_cast<unsigned>(hr)));
  // Raw inputs that could not be converted were reported; the others were cleaned.
  if (const int failed = RawInputFailures(); failed > 0) {
    if (!o.bQuiet)
      std::fprintf(stderr, "orvane clean: %d raw input%s could not be read; the others were cleaned\n",
                   failed, failed == 1 ? "" : "s");
    return 1;
  }
  return FinishRun(o, mode, folder, progress.Errors(), spectra, seconds, "");
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
    "  orvane clean -o cleaned/ --remove-noise --check-seq-tags run1.mgf\n";

}  // namespace

void RegisterCleanRawInput(const std::string& extension, CleanRawInputHandler handler) {
  std::string ext = extension;
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  RawHandlers()[ext] = handler;
}

CleanOptions& CleanCommandOptions() {
  static CleanOptions options;
  return options;
}

void AddCleanCommand(CLI::App& app) {
  CleanOptions& options = CleanCommandOptions();
  auto* cmd = app.add_subcommand("clean", kCleanSummary);
  cmd->add_option("inputs", options.inputs, "DTA or MGF files")->required();
  AddCleanOptions(cmd, &options);
  cmd->footer(kCleanFooter);
  cmd->callback([&options] { SetExitCode(RunClean(options)); });
}

}  // namespace orvane::app
