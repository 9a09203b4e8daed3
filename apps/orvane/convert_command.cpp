// orvane convert: between DTA and MGF files through the engine's conversions.
//
//   orvane convert --to mgf -o DIR A.dta B.dta ...  one MGF file named after the
//                                                   first input's title up to its
//                                                   first dot (DtaFolderToMgf)
//   orvane convert --to dta -o DIR X.mgf ...        one DTA file per spectrum of
//                                                   each input (MgfToDta)
//   orvane convert --to mgf -o DIR X.mgf            X.mgf read and written again in
//                                                   the chosen MGF dialect
//
//   orvane convert --to mgf|dta -o DIR run.mzML       instrument files (raw_inputs.h)

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "commands.h"
#include "output_safety.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "presets.h"
#include "raw/conversions.h"
#include "raw_inputs.h"
#include "readers/mz_reader.h"
#include "settings.h"
#include "spectrum/disk_object.h"
#include "spectrum/dta.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"
#include "stop_signals.h"

namespace orvane::app {
namespace {

// The input's kind by its extension; "run.mgf.gz" is "mgf" (the MGF reader
// takes gzip files as they are), while "run.mzML.gz" stays "gz" for the raw
// handler.
std::string LowerExtension(const std::string& path) {
  std::string e = FilePath(path).GetExtension();
  for (auto& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (e == "gz") {
    std::string inner = FilePath(WithoutGzipSuffix(path)).GetExtension();
    for (auto& c : inner) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (inner == "mgf") return inner;
  }
  return e;
}

// The host window of a conversion: a stop (Ctrl-C, SIGTERM) seen between two
// steps ends the process there. The conversions write each output under a
// temporary name until it is complete, so what stands under a final name
// stays, and the outputs in progress go.
class StopWindow final : public CWnd {
 public:
  explicit StopWindow(std::string folder) : folder_(std::move(folder)) {}
  void Send(unsigned, WPARAM, LPARAM) override { StopIfAsked(); }
  void Post(unsigned, WPARAM, LPARAM) override { StopIfAsked(); }
  void StopIfAsked() const {
    if (!HostCancelEvent().IsSignalled()) return;
    RemoveOwnTemporaries(folder_);
    std::fflush(stdout);
    std::fprintf(stderr, "orvane convert: stopped; the outputs finished stay, the ones in progress "
                         "were discarded\n");
    std::_Exit(kExitStopped);
  }

 private:
  std::string folder_;
};

// An input that can't be read is named here, before the engine sees it.
bool Readable(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0 || ::access(path.c_str(), R_OK) != 0) {
    ShowError(Format("Can't read the input %s: %s.", path.c_str(), std::strerror(errno)));
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    ShowError(Format("Can't read the input %s: it is a folder.", path.c_str()));
    return false;
  }
  return true;
}

// An MGF file read and written again, block by block, in the engine's dialect.
int RewriteMgf(const ConvertJob& job, const std::string& input) {
  // run.mgf.gz is written as run.mgf.
  const std::string output = job.outputFolder + FilePath(WithoutGzipSuffix(input)).GetFileName();
  CStdioFile in;
  CStdioFile out;
  CFileException error;
  if (!in.Open(input, CStdioFile::modeRead | CStdioFile::shareDenyWrite, &error) ||
      !out.Open(output, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText,
                &error)) {
    error.ReportError();
    return 1;
  }
  unsigned spectra = 0;
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
      return 1;
    }
    out.Close();
  } catch (const CFileException& e) {
    e.ReportError();
    out.Abort();
    return 1;
  }
  std::printf("%s -> %s (%u spectra)\n", input.c_str(), output.c_str(), spectra);
  return 0;
}

int DtaFilesToMgf(const ConvertJob& job, const std::vector<std::string>& inputs) {
  StringList files(inputs.begin(), inputs.end());
  const HRESULT hr = DtaFolderToMgf(&files, job.outputFolder, job.pWindow, job.dialect);
  if (FAILED(hr)) return 1;
  std::printf("%zu DTA files -> %s\n", inputs.size(), job.outputFolder.c_str());
  return 0;
}

int MgfFileToDta(const ConvertJob& job, const std::string& input) {
  const HRESULT hr = MgfToDta(input, job.outputFolder, job.pWindow, job.dialect);
  if (FAILED(hr)) return 1;
  std::printf("%s -> %s\n", input.c_str(), job.outputFolder.c_str());
  return 0;
}

struct ConvertOptions {
  std::string target;
  std::string output;
  std::vector<std::string> inputs;
};

int RunConvert(const ConvertOptions& options) {
  const Settings& settings = CommandSettings();
  ErrorCountingReporter reporter;
  if (const std::string problem = CheckSettings(settings, kConvert); !problem.empty()) {
    ShowError(problem);
    return 1;
  }
  int status = 0;
  StopSignals signals;
  HostCancelEvent().Reset();
  const MgfDialect dialect = DialectOf(settings);

  std::string folder = options.output;
  if (folder.empty() || folder.back() != '/') folder += '/';
  CDiskObject disk;
  if (!disk.CreateDirectory(folder)) {
    ShowPlain(Format("Can't create the output folder %s: %s", folder.c_str(),
                     disk.strErrorMessage.c_str()));
    return 1;
  }

  // Refused before anything is written: an output that is an input (MGF
  // files rewritten into their own folder, say).
  std::vector<std::string> outputs;
  std::string firstDta;
  for (const std::string& input : options.inputs) {
    const std::string ext = LowerExtension(input);
    if (ext == "mgf" && options.target == "mgf")
      outputs.push_back(folder + FilePath(WithoutGzipSuffix(input)).GetFileName());
    if (ext == "dta" && firstDta.empty()) firstDta = input;
  }
  if (!firstDta.empty() && options.target == "mgf") {
    // The collected MGF file is named after the first DTA file's title up to
    // its first dot (the whole title in the modern dialect when it has none).
    const std::string title = FilePath(firstDta).GetFileTitle();
    const std::size_t dot = title.find('.');
    std::string name = dot == std::string::npos ? std::string() : title.substr(0, dot);
    if (dot == std::string::npos && dialect == MgfDialect::Modern) name = title;
    outputs.push_back(folder + name + ".mgf");
  }
  if (const std::string clash = FindOutputOverInput(outputs, options.inputs); !clash.empty()) {
    ShowPlain("Refused: the output " + clash + ".");
    return 1;
  }
  RemoveStaleTemporaries(folder);

  StopWindow window(folder);
  const ConvertJob job{options.target, folder, dialect, &window};
  std::vector<std::string> dtaInputs;
  for (const std::string& input : options.inputs) ProtectInput(input);
  // Each input's result: 0, 1 (reported), or a stop. An input counts as
  // failed when it says so or when an error was shown while it was in hand.
  std::vector<std::string> failed;
  std::string current;
  int failuresBefore = 0;
  auto add = [&](int result) {
    if (result == kExitStopped) return true;
    if (result != 0 || reporter.failures > failuresBefore) failed.push_back(current);
    status |= result != 0 ? 1 : 0;
    return false;
  };
  for (const std::string& input : options.inputs) {
    window.StopIfAsked();
    current = input;
    failuresBefore = reporter.failures;
    if (!Readable(input)) {
      add(1);
      continue;
    }
    const std::string ext = LowerExtension(input);
    if (ext == "dta") {
      if (options.target == "mgf") {
        dtaInputs.push_back(input);
      } else {
        ShowError(Format("%s is a DTA file already: nothing to convert.", input.c_str()));
        add(1);
      }
    } else if (ext == "mgf") {
      if (add(options.target == "dta" ? MgfFileToDta(job, input) : RewriteMgf(job, input)))
        window.StopIfAsked();
    } else if (IsRawInput(input)) {
      if (add(ConvertRawInput(job, input, settings))) window.StopIfAsked();
    } else {
      ShowError(Format("Can't convert %s: not a DTA or MGF file.", input.c_str()));
      add(1);
    }
  }
  if (!dtaInputs.empty()) {
    current = dtaInputs.size() == 1 ? dtaInputs.front() : Format("the %zu DTA files", dtaInputs.size());
    failuresBefore = reporter.failures;
    add(DtaFilesToMgf(job, dtaInputs));
  }
  window.StopIfAsked();
  if (reporter.failures > 0) status = 1;
  if (status != 0) {
    std::string list;
    for (const std::string& name : failed) list += (list.empty() ? "" : ", ") + name;
    std::fprintf(stderr, "orvane convert: finished with errors%s%s\n", list.empty() ? "" : " in ",
                 list.c_str());
  }
  return status;
}

}  // namespace

void AddConvertCommand(CLI::App& app) {
  static ConvertOptions options;
  auto* cmd = app.add_subcommand("convert", "Convert between DTA and MGF files, and mzML/mzXML files to MGF or DTA");
  cmd->add_option("--to", options.target, "Format to make: mgf (DTA files collected into one MGF "
                                          "file) or dta (one DTA file per MGF spectrum)")
      ->required()
      ->check(CLI::IsMember({"mgf", "dta"}));
  cmd->add_option("-o,--output", options.output, "Output folder; made if missing")->required();
  cmd->add_option("files", options.inputs, "Input files")->required();
  AddSettingOptions(cmd, &CommandSettings(), kConvert);
  AddPresetOptions(cmd, false);
  cmd->footer(
      "\nExamples:\n"
      "  orvane convert --to dta -o spectra/ run1.mgf\n"
      "  orvane convert --to mgf -o out/ spectra/*.dta\n"
      "  orvane convert --to mgf --mgf-dialect classic -o out/ run1.mgf\n"
      "  orvane convert --to mgf -o out/ run1.mzML run2.mzXML.gz\n"
      "  orvane convert --to dta --split-ms-levels -o out/ run1.mzML\n");
  cmd->callback([] { SetExitCode(RunConvert(options)); });
}

}  // namespace orvane::app
