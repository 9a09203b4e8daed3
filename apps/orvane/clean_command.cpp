// orvane clean [options] -o OUT INPUT...: the host of a cleaning run. It
// checks the options, inputs and outputs before any work, makes the output
// folders, opens the log, runs the engine on each kind of input, shows
// progress from the engine's messages and counts, and turns SIGINT/SIGTERM
// into the run's cancel event.
#include <malloc.h>

#include <algorithm>
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
#include "inputs.h"
#include "output_safety.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "presets.h"
#include "raw/scan_conversion.h"
#include "raw_inputs.h"
#include "settings.h"
#include "spectrum/file_path.h"
#include "stop_signals.h"

namespace orvane::app {
namespace {

namespace fs = std::filesystem;

CEvent& g_cancel = HostCancelEvent();

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

// The cleaned output of one input in the output folder, and its bad one:
// "run.mgf.gz" and "run.mzML" give run_c.mgf, "-" stdin_c.mgf.
std::pair<std::string, std::string> OutputsOf(const std::string& input, const std::string& folder, bool gzip) {
  const std::optional<InputKind> kind = KindOfInput(input);
  std::string title = input == "-" ? "stdin" : FilePath(WithoutGzipSuffix(input)).GetFileTitle();
  std::string ext = input == "-" ? "mgf" : FilePath(WithoutGzipSuffix(input)).GetExtension();
  if (kind == InputKind::Raw) {
    title = RunNameOf(input);
    ext = "mgf";
  }
  const std::string gz = gzip && kind != InputKind::Dta ? ".gz" : "";
  return {folder + title + "_c." + ext + gz, folder + "badspectra/" + title + "_bad_c." + ext + gz};
}

// Everything a run may write, checked before any work starts: each input's
// outputs (or the merged ones, or the one file -o names), none of them
// written by two inputs or over an input. "" or the problem.
std::string CheckOutputs(const std::vector<std::string>& inputs, const OutputTarget& target, const Settings& o,
                         bool separate, std::string* pSingleBad) {
  const bool modern = DialectOf(o) == MgfDialect::Modern;
  OutputPlan plan("clean");
  if (target.kind != OutputTarget::Folder) {
    // One output: one input, or merged inputs of no MS level (those write
    // SpectraMerged_ms2/_ms3 files of their own).
    std::size_t nMgf = 0;
    bool levels = false;
    for (const std::string& input : inputs) {
      if (KindOfInput(input) != InputKind::Dta) ++nMgf;
      const std::string title = input == "-" ? "" : FilePath(FilePath(WithoutGzipSuffix(input)).GetFileTitle()).GetFileTitle();
      levels = levels || (title.size() >= 3 && (title.ends_with("ms2") || title.ends_with("ms3")));
    }
    const bool oneDta = inputs.size() == 1 && KindOfInput(inputs[0]) == InputKind::Dta;
    const bool raw = std::any_of(inputs.begin(), inputs.end(), [](const std::string& i) { return KindOfInput(i) == InputKind::Raw; });
    if (!oneDta && (nMgf != inputs.size() || (nMgf > 1 && (!o.bMergeOutput || levels))))
      return "-o " + target.path + " names one output, but these inputs make " +
             (inputs.size() == 1 ? std::string("more than one") : Format("%zu", inputs.size())) +
             "; give a folder" + (nMgf > 1 && !o.bMergeOutput ? ", or --merge-output" : "");
    if (raw && (!modern || o.bSplitMsLevels || ConvertTargetOf(o.convertTo) != ConvertTarget::Mgf))
      return "-o " + target.path + " names one MGF output: raw inputs make one only in the modern dialect, converted "
             "to MGF, without --split-ms-levels";
    if (const std::string problem = CheckGzipName(target, o.bGzip); !problem.empty()) return problem;
    if (target.kind == OutputTarget::File) {
      plan.Add(target.path);
      if (separate) {
        const FilePath file(WithoutGzipSuffix(target.path));
        *pSingleBad = file.GetFolder(true).GetString() + file.GetFileTitle() + "_bad." + file.GetExtension() +
                      (IsGzipName(target.path) ? ".gz" : "");
        plan.Add(*pSingleBad);
      }
    }
  } else if (o.bMergeOutput && std::any_of(inputs.begin(), inputs.end(), [](const std::string& i) {
               return KindOfInput(i) != InputKind::Dta;
             })) {
    const std::string gz = o.bGzip ? ".gz" : "";
    for (const char* name : {"SpectraMerged_c.mgf", "SpectraMerged_ms2_c.mgf", "SpectraMerged_ms3_c.mgf",
                             "badspectra/SpectraMerged_b.mgf", "badspectra/SpectraMerged_ms2_b.mgf",
                             "badspectra/SpectraMerged_ms3_b.mgf"})
      plan.Add(target.path + name + gz);
  }
  // Per input, in the folder: two inputs of one name would write one file.
  for (const std::string& input : inputs) {
    const bool merged = o.bMergeOutput && KindOfInput(input) != InputKind::Dta;
    if (target.kind != OutputTarget::Folder || merged) continue;
    const auto [clean, bad] = OutputsOf(input, target.path, o.bGzip);
    std::string problem = plan.Claim(clean, input);
    if (problem.empty() && separate) problem = plan.Claim(bad, input);
    if (!problem.empty()) return problem;
  }
  if (!o.logFile.empty()) plan.Add(o.logFile);
  return plan.CheckOverInputs(inputs);
}

// A folder the run made and left without a file goes again.
void RemoveIfEmpty(const std::string& folder) {
  std::error_code ec;
  if (fs::is_directory(folder, ec) && fs::is_empty(folder, ec)) fs::remove(folder, ec);
}

int RunClean(const std::vector<std::string>& args, const std::string& output) {
  const Settings& o = CommandSettings();
  if (const std::string problem = CheckSettings(o, kClean); !problem.empty()) return UsageError(problem);
  std::vector<std::string> inputs;
  if (const std::string problem = ExpandInputs(args, o.bRecursive, inputs); !problem.empty())
    return UsageError(problem);
  const OutputTarget target = ParseOutput(output);
  if (target.path.empty()) return UsageError("the output (-o) is empty");
  CleanParams params;
  ApplyCleanSettings(o, params);
  const Verbosity verbosity = o.bQuiet ? Verbosity::Quiet : o.bVerbose ? Verbosity::Verbose : Verbosity::Normal;
  RunCounts counts;
  ConsoleProgress progress("clean", verbosity, inputs, &counts);
  if (target.kind == OutputTarget::Standard && SeparatesBad(params)) {
    // Standard output holds one stream of clean spectra: bad spectra have
    // nowhere to go but into it (--bad-spectra leave), or nowhere.
    params.nBadSpectraAction = BadSpectraAction::Delete;
    progress.Say("bad spectra are left out of standard output (--bad-spectra leave keeps them in it)");
  }
  const bool separate = SeparatesBad(params);
  std::string singleBad;
  if (const std::string problem = CheckOutputs(inputs, target, o, separate, &singleBad); !problem.empty())
    return UsageError(problem);
  const bool modern = DialectOf(o) == MgfDialect::Modern;
  const bool anyDta = std::any_of(inputs.begin(), inputs.end(), [](const std::string& i) { return KindOfInput(i) == InputKind::Dta; });
  if (anyDta && (o.bMergeOutput || o.bSkipCleaning))
    progress.Say("--merge-output and --skip-cleaning apply to MGF inputs only; DTA files are cleaned one by one");

  // From here on the run does its work; a stop is a stop, with no gap
  // between the conversion of raw inputs and the cleaning.
  StopSignals signals;
  g_cancel.Reset();
  for (const std::string& input : inputs) ProtectInput(input);
  // The output folder (of a file, the file's), and badspectra/ where a
  // driver will write into it: the engine makes no folders.
  // Standard output has no folder: raw inputs are converted in the system's
  // temporary one.
  std::string folder = target.path;
  if (target.kind == OutputTarget::File) folder = FilePath(target.path).GetFolder(true).GetString();
  if (target.kind == OutputTarget::Standard) folder = fs::temp_directory_path().string() + "/";
  if (folder.empty()) folder = "./";
  std::error_code ec;
  const bool madeFolder = !fs::exists(folder, ec);
  fs::create_directories(folder, ec);
  if (ec || !fs::is_directory(folder)) return Fail("can't make the output folder " + folder + ": " + ec.message());
  const bool madeBad = target.kind == OutputTarget::Folder && (separate || o.bMergeOutput) &&
                       !fs::exists(folder + "badspectra", ec);
  if (madeBad) {
    fs::create_directories(folder + "badspectra", ec);
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
  ConsoleReporter reporter(progress);
  IReporter* previous = SetReporter(&reporter);
  params.bWriteLog = log.IsOpen();
  params.pLogFile = log.IsOpen() ? &log : nullptr;
  params.hProgressWnd = &progress;
  params.pCancelEvent = &g_cancel;
  params.strOutputFolder = folder;

  // The inputs by the driver that takes them, in the order given: MGF files
  // and the modern conversions of raw ones, DTA files, and raw files on the
  // classic road. A raw input's conversion keeps its row.
  CleanFileList mgf, dta, raw;
  mgf.nMode = InputKind::Mgf;
  dta.nMode = InputKind::Dta;
  raw.nMode = InputKind::Raw;
  int rawFailures = 0;
  for (std::size_t i = 0; i < inputs.size() && !g_cancel.IsSignalled(); ++i) {
    const std::string& input = inputs[i];
    const auto row = static_cast<std::int32_t>(i);
    const InputKind kind = *KindOfInput(input);
    CleanFileList& list = kind == InputKind::Mgf ? mgf : kind == InputKind::Dta ? dta : raw;
    if (kind == InputKind::Raw && modern) {
      if (!ConvertForCleaning(input, row, o, folder, progress, ConvertTargetOf(o.convertTo) == ConvertTarget::Mgf ? mgf : dta) &&
          !g_cancel.IsSignalled())
        ++rawFailures;
      continue;
    }
    list.lstFiles.push_back(input);
    list.lstRows.push_back(row);
  }
  if (!raw.lstFiles.empty()) PrepareClassicRaw(raw.lstFiles.front(), params, o);

  RunOptions run;
  run.dialect = DialectOf(o);
  run.nJobs = o.nJobs > 0 ? static_cast<unsigned>(o.nJobs) : std::max(1u, std::thread::hardware_concurrency());
  run.bCountSpectra = false;  // the bar goes by bytes
  run.bGzip = target.kind == OutputTarget::File ? IsGzipName(target.path) : o.bGzip;
  run.pCounts = &counts;
  if (target.kind != OutputTarget::Folder) {
    run.strSingleOutput = target.path;
    run.strSingleBadOutput = singleBad;
  }
  KeepFreedMemory();
  const auto start = std::chrono::steady_clock::now();
  HRESULT hr = S_OK;
  for (CleanFileList* list : {&mgf, &dta, &raw}) {
    if (list->lstFiles.empty() || g_cancel.IsSignalled()) continue;
    params.pFileList = list;
    const HRESULT listResult = CleanFiles(&params, run);
    if (FAILED(listResult)) hr = listResult;
    run.bWriteLogHead = false;  // one head for the whole log
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  progress.ClearBar();
  SetReporter(previous);
  if (log.IsOpen()) {
    try {
      log.Close();
    } catch (const CFileException& e) {
      return Fail(e.Text());
    }
  }
  if (madeBad) RemoveIfEmpty(folder + "badspectra");
  if (madeFolder) RemoveIfEmpty(folder);

  const bool dtaRun = dta.lstFiles.size() == inputs.size();
  if (progress.Cancelled() || g_cancel.IsSignalled()) {
    progress.Say("stopped after " + CountsText(counts, dtaRun) + "; " +
                 (modern ? "the outputs of the inputs finished stay, those of the inputs in hand were discarded"
                         : "the outputs in " + folder + " hold what was cleaned so far"));
    return kExitStopped;
  }
  if (modern && target.kind == OutputTarget::Folder && !o.bMergeOutput) {
    for (const std::string& input : inputs) {
      if (KindOfInput(input) == InputKind::Dta) continue;
      const bool failed = std::any_of(progress.Errors().begin(), progress.Errors().end(),
                                      [&](const auto& entry) { return entry.first == input; });
      if (!failed && !fs::exists(OutputsOf(input, folder, o.bGzip).first, ec))
        progress.Say(ShownPath(input) + ": no spectrum left to write; no output made");
    }
  }
  const std::string jobs = run.nJobs > 1 ? Format(", %u jobs", run.nJobs) : std::string();
  const std::string rate =
      Format("in %.3f s (%.1f %s/s%s)", seconds, seconds > 0 ? static_cast<double>(counts.nRead) / seconds : 0.0,
             dtaRun ? "files" : "spectra", jobs.c_str());
  const std::string where = target.kind == OutputTarget::Standard ? "standard output" : ShownPath(target.path, true);
  if (!progress.Errors().empty() || FAILED(hr) || rawFailures > 0) {
    std::string list;
    for (const auto& [input, count] : progress.Errors())
      list += Format("%s%s (%s)", list.empty() ? "" : ", ", ShownPath(input).c_str(),
                     Counted(count, "error", "errors").c_str());
    if (list.empty()) list = Format("the run (HRESULT 0x%x)", static_cast<unsigned>(hr));
    progress.Say("finished with errors in " + list + "; " + CountsText(counts, dtaRun) + " " + rate + "; outputs in " +
                 where);
    return kExitFailed;
  }
  progress.Say("finished: " + CountsText(counts, dtaRun) + " " + rate + "; outputs in " + where);
  return 0;
}

const char* kCleanSummary = "Clean DTA, MGF, mzML and mzXML files: bad spectra, isotope peaks, charge clusters, noise";

const char* kCleanFooter =
    "\nTells good spectra from bad ones, removes isotope peaks and, if asked, turns 2- and 3-fold\n"
    "charged clusters into single peaks and removes random noise. Inputs are DTA, MGF (also .gz),\n"
    "mzML and mzXML files (also .gz), folders of them (-r: with their subfolders), @FILE for the\n"
    "inputs FILE lists one a line, and - for MGF on standard input; any mix of them in one run.\n"
    "Each input gives OUT/<name>_c.<ext> (raw inputs _c.mgf); bad spectra go to\n"
    "OUT/badspectra/<name>_bad_c.<ext>. With one output, -o may name a file (its bad spectra\n"
    "beside it as <name>_bad.<ext>), or - for standard output. Outputs that two inputs would\n"
    "write are refused before any work. Ctrl-C stops after the spectrum in hand; outputs not\n"
    "finished are discarded. Exit status: 0 done, 1 some input failed, 2 usage error, 130 stopped.\n"
    "\nExamples:\n"
    "  orvane clean -o cleaned/ run1.mgf                  cleaned/run1_c.mgf\n"
    "  orvane clean -o cleaned/ -r runs/                  every input under runs/\n"
    "  orvane clean -o cleaned/ @today.txt run3.mzML.gz   the inputs a list names, and one more\n"
    "  orvane clean -o run1_c.mgf.gz run1.mgf             one output, compressed\n"
    "  orvane clean -o - run1.mgf | comet ...             onto standard output\n"
    "  zcat run1.mgf.gz | orvane clean -o out.mgf -       from standard input\n"
    "  orvane clean -o cleaned/ --log run.log --jobs 4 *.mgf\n"
    "  orvane clean -o cleaned/ --params lab.toml *.mgf   settings from a presets file\n"
    "  orvane clean -o merged/ --skip-cleaning --merge-output a.mgf b.mgf\n"
    "                                                     concatenate MGF files\n"
    "  orvane clean -o cleaned/ --convert-to dta --min-mass 600 run1.mzXML\n";

}  // namespace

void AddCleanCommand(CLI::App& app) {
  static std::vector<std::string> inputs;
  static std::string output;
  auto* cmd = app.add_subcommand("clean", kCleanSummary);
  cmd->add_option("inputs", inputs, "DTA, MGF, mzML or mzXML files, folders of them, @FILE lists, or -")->required();
  cmd->add_option("-o,--output", output, "Output folder (made when missing), or with one output its file, or -")
      ->required()
      ->group("Outputs");
  AddSettingOptions(cmd, &CommandSettings(), kClean);
  AddPresetOptions(cmd, true);
  cmd->footer(kCleanFooter);
  cmd->callback([] { SetExitCode(RunClean(inputs, output)); });
}

}  // namespace orvane::app
