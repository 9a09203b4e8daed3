// orvane convert --to mgf|dta -o OUT INPUT...: the engine's conversions.
//
//   DTA files   --to mgf   one MGF file, named after the first one's title up
//                          to its first dot (DtaFolderToMgf), or as -o names it
//   MGF files   --to dta   one DTA file per spectrum (MgfToDta)
//               --to mgf   read and written again in the chosen MGF dialect
//   mzML/mzXML  either     every MS/MS scan (raw_inputs.h)
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "commands.h"
#include "console.h"
#include "inputs.h"
#include "output_safety.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "presets.h"
#include "raw/conversions.h"
#include "raw/scan_conversion.h"
#include "raw_inputs.h"
#include "settings.h"
#include "spectrum/dta.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"
#include "stop_signals.h"

namespace orvane::app {
namespace {

namespace fs = std::filesystem;

// The host window of a conversion: the console's, and a stop (Ctrl-C,
// SIGTERM) seen between two steps ends the process there. The conversions
// write each output under a temporary name until it is complete, so what
// stands under a final name stays, and the outputs in progress go.
class StopWindow final : public CWnd {
 public:
  StopWindow(ConsoleProgress& console, std::string folder) : console_(console), folder_(std::move(folder)) {}
  void Send(unsigned message, WPARAM wParam, LPARAM lParam) override {
    StopIfAsked();
    console_.Send(message, wParam, lParam);
  }
  void Post(unsigned message, WPARAM wParam, LPARAM lParam) override {
    StopIfAsked();
    console_.Post(message, wParam, lParam);
  }
  void StopIfAsked() {
    if (!HostCancelEvent().IsSignalled()) return;
    RemoveOwnTemporaries(folder_);
    std::fflush(stdout);
    console_.Say("stopped; the outputs finished stay, the ones in progress were discarded");
    std::_Exit(kExitStopped);
  }

 private:
  ConsoleProgress& console_;
  std::string folder_;
};

// The one MGF output of a conversion: where -o named it, else in the folder.
std::string MgfOutput(const ConvertJob& job, const std::string& name) {
  return job.outputFile.empty() ? job.outputFolder + name + (job.bGzip ? ".gz" : "") : job.outputFile;
}

// An MGF file read and written again, block by block, in the chosen dialect.
int RewriteMgf(const ConvertJob& job, const std::string& input) {
  // run.mgf.gz is written as run.mgf (run.mgf.gz with --gzip).
  const std::string name = input == "-" ? "stdin.mgf" : FilePath(WithoutGzipSuffix(input)).GetFileName();
  const std::string output = MgfOutput(job, name);
  CStdioFile in;
  CStdioFile out;
  CFileException error;
  const unsigned gzip = job.bGzip ? CStdioFile::modeGzip : 0u;
  if (!in.Open(input, CStdioFile::modeRead | CStdioFile::shareDenyWrite, &error) ||
      !out.Open(output, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText | gzip, &error)) {
    error.ReportError();
    return kExitFailed;
  }
  std::uint64_t spectra = 0;
  Dta dta;
  try {
    for (;;) {
      if (HostCancelEvent().IsSignalled()) {
        out.Abort();
        return kExitStopped;
      }
      dta.Clear();
      if (ImportMgf(&in, &dta, job.dialect) != S_OK) break;
      ExportMgf(&out, &dta, std::string(), job.dialect);
      ++spectra;
    }
    if (in.ReadFailed()) {  // the box is shown; part of a file is no output
      out.Abort();
      return kExitFailed;
    }
    out.Close();
  } catch (const CFileException& e) {
    e.ReportError();
    out.Abort();
    return kExitFailed;
  }
  job.pConsole->Say(ShownPath(input) + " -> " + ShownPath(output, true) + " (" +
                    Counted(spectra, "spectrum", "spectra") + ")");
  return 0;
}

int DtaFilesToMgf(const ConvertJob& job, CWnd* pWindow, const std::vector<std::string>& inputs) {
  StringList files(inputs.begin(), inputs.end());
  const std::string output = MgfOutput(job, CollectedMgfName(inputs.front(), job.dialect));
  if (FAILED(DtaFilesToMgf(&files, output, pWindow, job.dialect, job.bGzip))) return kExitFailed;
  job.pConsole->Say(Counted(inputs.size(), "DTA file", "DTA files") + " -> " + ShownPath(output, true));
  return 0;
}

int MgfFileToDta(const ConvertJob& job, CWnd* pWindow, const std::string& input) {
  if (FAILED(MgfToDta(input, job.outputFolder, pWindow, job.dialect))) return kExitFailed;
  job.pConsole->Say(ShownPath(input) + " -> " + job.outputFolder);
  return 0;
}

struct ConvertOptions {
  std::string target;
  std::string output;
  std::vector<std::string> inputs;
};

// What -o asks against what the inputs make, and outputs that two inputs
// would write or that are inputs: "" or the problem.
std::string CheckOutputs(const ConvertOptions& options, const std::vector<std::string>& inputs,
                         const OutputTarget& target, const Settings& settings) {
  const MgfDialect dialect = DialectOf(settings);
  const bool toMgf = ConvertTargetOf(options.target) == ConvertTarget::Mgf;
  std::vector<std::string> dtaInputs;
  std::size_t others = 0;
  for (const std::string& input : inputs) {
    const InputKind kind = *KindOfInput(input);
    if (kind == InputKind::Dta && !toMgf) return input + " is a DTA file already: nothing to convert";
    if (kind == InputKind::Dta) dtaInputs.push_back(input);
    else ++others;
    if (kind == InputKind::Raw && target.kind != OutputTarget::Folder &&
        (dialect == MgfDialect::Classic || settings.bSplitMsLevels))
      return "-o " + target.path + " names one MGF output: raw inputs make one only in the modern dialect, "
             "without --split-ms-levels";
  }
  if (target.kind != OutputTarget::Folder) {
    if (!toMgf) return "DTA outputs are one file a spectrum: -o names a folder for --to dta";
    if (others + (dtaInputs.empty() ? 0 : 1) != 1)
      return "-o " + target.path + " names one output, but these inputs make more than one; give a folder";
    if (const std::string problem = CheckGzipName(target, settings.bGzip); !problem.empty()) return problem;
  }
  OutputPlan plan("convert");
  const std::string gz = settings.bGzip ? ".gz" : "";
  for (const std::string& input : inputs) {
    std::string problem;
    const InputKind kind = *KindOfInput(input);
    if (kind == InputKind::Dta) continue;  // the DTA files make one output together, below
    if (target.kind != OutputTarget::Folder) problem = plan.Claim(target.path, input);
    else if (kind == InputKind::Mgf && toMgf)
      problem = plan.Claim(target.path + (input == "-" ? "stdin.mgf" : FilePath(WithoutGzipSuffix(input)).GetFileName()) + gz, input);
    else if (kind == InputKind::Raw && toMgf)
      problem = plan.Claim(target.path + RunNameOf(input) + ".mgf" + gz, input);
    if (!problem.empty()) return problem;
  }
  if (!dtaInputs.empty()) {
    const std::string output = target.kind == OutputTarget::Folder
                                   ? target.path + CollectedMgfName(dtaInputs.front(), dialect) + gz
                                   : target.path;
    if (std::string problem = plan.Claim(output, dtaInputs.front()); !problem.empty()) return problem;
  }
  return plan.CheckOverInputs(inputs);
}

int RunConvert(const ConvertOptions& options) {
  const Settings& settings = CommandSettings();
  if (const std::string problem = CheckSettings(settings, kConvert); !problem.empty()) return UsageError(problem);
  std::vector<std::string> inputs;
  if (const std::string problem = ExpandInputs(options.inputs, settings.bRecursive, inputs); !problem.empty())
    return UsageError(problem);
  const OutputTarget target = ParseOutput(options.output);
  if (target.path.empty()) return UsageError("the output (-o) is empty");
  if (const std::string problem = CheckOutputs(options, inputs, target, settings); !problem.empty())
    return UsageError(problem);

  StopSignals signals;
  HostCancelEvent().Reset();
  for (const std::string& input : inputs) ProtectInput(input);
  std::string folder = target.kind == OutputTarget::Folder ? target.path
                       : target.kind == OutputTarget::File ? FilePath(target.path).GetFolder(true).GetString()
                                                           : fs::temp_directory_path().string() + "/";
  if (folder.empty()) folder = "./";
  std::error_code ec;
  fs::create_directories(folder, ec);
  if (ec || !fs::is_directory(folder)) return Fail("can't make the output folder " + folder + ": " + ec.message());
  RemoveStaleTemporaries(folder);

  const Verbosity verbosity = settings.bQuiet ? Verbosity::Quiet : settings.bVerbose ? Verbosity::Verbose : Verbosity::Normal;
  ConsoleProgress console("convert", verbosity, inputs, nullptr);
  ConsoleReporter reporter(console);
  IReporter* previous = SetReporter(&reporter);
  StopWindow window(console, folder);
  ConvertJob job;
  job.target = ConvertTargetOf(options.target);
  job.outputFolder = folder;
  job.outputFile = target.kind == OutputTarget::Folder ? std::string() : target.path;
  job.dialect = DialectOf(settings);
  job.bGzip = target.kind == OutputTarget::File ? IsGzipName(target.path) : settings.bGzip;
  job.pConsole = &console;

  // Each input's result: 0, 1 (reported), or a stop. An input counts as
  // failed when it says so or when an error was shown while it was in hand.
  bool failed = false;
  std::vector<std::string> dtaInputs;
  std::size_t firstDta = 0;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    window.StopIfAsked();
    const std::string& input = inputs[i];
    console.SetInput(i);
    const InputKind kind = *KindOfInput(input);
    int result = 0;
    if (kind == InputKind::Dta) {
      if (dtaInputs.empty()) firstDta = i;
      dtaInputs.push_back(input);
    } else if (kind == InputKind::Mgf) {
      result = job.target == ConvertTarget::Dta ? MgfFileToDta(job, &window, input) : RewriteMgf(job, input);
    } else {
      result = ConvertRawInput(job, input, settings);
    }
    if (result == kExitStopped) window.StopIfAsked();
    failed = failed || result != 0;
  }
  if (!dtaInputs.empty()) {
    console.SetInput(firstDta);
    failed = DtaFilesToMgf(job, &window, dtaInputs) != 0 || failed;
  }
  window.StopIfAsked();
  SetReporter(previous);
  if (failed || !console.Errors().empty()) {
    std::string list;
    for (const auto& [input, count] : console.Errors())
      list += Format("%s%s (%s)", list.empty() ? "" : ", ", ShownPath(input).c_str(), Counted(count, "error", "errors").c_str());
    console.Say("finished with errors" + (list.empty() ? std::string() : " in " + list));
    return kExitFailed;
  }
  return 0;
}

}  // namespace

void AddConvertCommand(CLI::App& app) {
  static ConvertOptions options;
  auto* cmd = app.add_subcommand("convert", "Convert between DTA and MGF files, and mzML/mzXML files to MGF or DTA");
  cmd->add_option("--to", options.target,
                  "Format to make: mgf (DTA files collected into one MGF file; MGF files written again; raw "
                  "files) or dta (one DTA file per spectrum)")
      ->required()
      ->check(CLI::IsMember({"mgf", "dta"}));
  cmd->add_option("-o,--output", options.output, "Output folder (made when missing), or with one MGF output its file, or -")
      ->required();
  cmd->add_option("inputs", options.inputs, "DTA, MGF, mzML or mzXML files, folders of them, @FILE lists, or -")
      ->required();
  AddSettingOptions(cmd, &CommandSettings(), kConvert);
  AddPresetOptions(cmd, false);
  cmd->footer(
      "\nMessages go to standard error, one line per input made (none with -q). Exit status: 0 done,\n"
      "1 some input failed, 2 usage error (nothing done), 130 stopped.\n"
      "\nExamples:\n"
      "  orvane convert --to dta -o spectra/ run1.mgf\n"
      "  orvane convert --to mgf -o out/ spectra/        the DTA files of a folder, as one MGF file\n"
      "  orvane convert --to mgf --mgf-dialect classic -o out/ run1.mgf\n"
      "  orvane convert --to mgf -o out/ run1.mzML run2.mzXML.gz\n"
      "  orvane convert --to mgf -o run1.mgf.gz run1.mzML\n"
      "  orvane convert --to mgf -o - run1.mzML | head\n"
      "  orvane convert --to dta --split-ms-levels -o out/ run1.mzML\n");
  cmd->callback([] { SetExitCode(RunConvert(options)); });
}

}  // namespace orvane::app
