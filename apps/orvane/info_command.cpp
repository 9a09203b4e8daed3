#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "commands.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "readers/mz_reader.h"
#include "console.h"
#include "inputs.h"
#include "presets.h"
#include "settings.h"
#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"

namespace orvane::app {
namespace {

int InfoDta(const std::string& path, MgfDialect dialect) {
  Dta dta;
  if (ImportDta(path.c_str(), &dta, dialect) != S_OK) return 1;  // it has shown why
  std::printf("%s\ttitle=%s\tmass=%.6f\tcharge=%d\tpeaks=%u\n", path.c_str(), dta.strTitle.c_str(),
              dta.dMass, dta.nCharge, dta.GetPeakCount());
  return 0;
}

// Spectra, the charges seen with how often, and the peaks of an MGF file, read
// spectrum by spectrum in the chosen dialect. A spectrum that states several
// charges counts under each. Spectra the modern dialect refuses (each has
// shown its box) are counted as refused=N, and the file fails.
int InfoMgf(const std::string& path, MgfDialect dialect) {
  CStdioFile file;
  CFileException error;
  if (!file.Open(path, CStdioFile::modeRead | CStdioFile::shareDenyWrite, &error)) {
    error.ReportError();
    return 1;
  }
  MgfReader reader(file, dialect);
  unsigned spectra = 0;
  unsigned long long peaks = 0;
  std::map<int, unsigned> charges;
  Dta dta;
  HRESULT hr = S_OK;
  for (;;) {
    dta.Clear();
    hr = reader.Next(&dta);
    if (hr != S_OK) break;
    ++spectra;
    peaks += dta.GetPeakCount();
    if (dta.vCharges.empty()) {
      ++charges[dta.nCharge];
    } else {
      for (const int z : dta.vCharges) ++charges[z];
    }
  }
  // A read error (damaged gzip data, say) has shown its box and ended the
  // reading: counts of part of the file would mislead.
  if (FAILED(hr) || file.ReadFailed()) return 1;
  const unsigned refused = reader.Refused();
  file.Close();
  std::string seen;
  for (const auto& [charge, count] : charges)
    AppendFormat(seen, "%s%d:%u", seen.empty() ? "" : ",", charge, count);
  std::printf("%s\tspectra=%u\tcharges=%s\tpeaks=%llu%s\n", path.c_str(), spectra,
              seen.empty() ? "-" : seen.c_str(), peaks,
              refused > 0 ? Format("\trefused=%u", refused).c_str() : "");
  return refused > 0 ? 1 : 0;
}

// "a,b" of the distinct names in order; "" when there are none.
std::string JoinDistinct(const std::vector<std::string>& names) {
  std::vector<std::string> seen;
  std::string text;
  for (const std::string& name : names) {
    if (name.empty() || std::find(seen.begin(), seen.end(), name) != seen.end()) continue;
    seen.push_back(name);
    std::string clean = name;  // a name never breaks the line or its fields
    for (char& c : clean)
      if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    text += (text.empty() ? "" : ",") + clean;
  }
  return text;
}

// What the scan pass of an mzML or mzXML file learns, without decoding any
// peaks: spectra per MS level, the stated precursor charges of the MS/MS
// spectra (0: none stated, counted last), the retention time range in seconds
// and the instrument where the file names it.
int InfoRaw(const std::string& path) {
  readers::MzReader reader;
  if (reader.OpenRawFile(path) != 0) return 1;  // the reader has shown why
  const readers::ScanTable& table = reader.Table();
  std::map<int, unsigned> levels;
  std::map<int, unsigned> charges;
  unsigned unstated = 0;
  double first = 0.0;
  double last = 0.0;
  bool anyTime = false;
  unsigned refused = 0;
  for (const readers::SpectrumMeta& s : table.spectra) {
    if (!s.strRefusal.empty()) {
      // Shown with its reason, and counted apart from the levels.
      ShowError(s.strRefusal);
      ++refused;
      continue;
    }
    ++levels[s.nMsLevel];
    if (s.nMsLevel >= 2) {
      if (s.nCharge > 0) {
        ++charges[s.nCharge];
      } else {
        ++unstated;
      }
    }
    if (s.retentionTime.bSet) {
      const double seconds = s.retentionTime.dValue * 60.0;
      first = anyTime ? std::min(first, seconds) : seconds;
      last = anyTime ? std::max(last, seconds) : seconds;
      anyTime = true;
    }
  }
  std::string line = path + "\tspectra=";
  std::string list;
  for (const auto& [level, count] : levels)
    AppendFormat(list, "%sms%d:%u", list.empty() ? "" : ",", level, count);
  line += list.empty() ? "0" : list;
  list.clear();
  for (const auto& [charge, count] : charges)
    AppendFormat(list, "%s%d:%u", list.empty() ? "" : ",", charge, count);
  if (unstated > 0) AppendFormat(list, "%s0:%u", list.empty() ? "" : ",", unstated);
  line += "\tcharges=" + (list.empty() ? std::string("-") : list);
  line += anyTime ? Format("\trt=%.1f-%.1f", first, last) : std::string("\trt=-");
  std::vector<std::string> models;
  std::vector<std::string> analyzers;
  for (const readers::Instrument& ins : table.instruments) {
    models.push_back(ins.strModel);
    analyzers.push_back(ins.strAnalyzer);
  }
  if (const std::string model = JoinDistinct(models); !model.empty())
    line += "\tinstrument=" + model;
  if (const std::string analyzer = JoinDistinct(analyzers); !analyzer.empty())
    line += "\tanalyzer=" + analyzer;
  if (refused > 0) line += Format("\trefused=%u", refused);
  std::printf("%s\n", line.c_str());
  return refused > 0 ? 1 : 0;
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Show what DTA, MGF, mzML and mzXML files hold");
  static std::vector<std::string> files;
  cmd->add_option("inputs", files, "DTA, MGF, mzML or mzXML files (MGF, mzML and mzXML also .gz), folders of them, "
                  "@FILE lists, or - for MGF on standard input")
      ->required();
  AddSettingOptions(cmd, &CommandSettings(), kInfo);
  AddPresetOptions(cmd, false);
  cmd->footer(
      "\nOne line per file, its fields separated by tabs:\n"
      "  DTA           PATH  title=T  mass=MH+  charge=Z  peaks=N\n"
      "  MGF           PATH  spectra=N  charges=Z:N,...  peaks=N  [refused=N]\n"
      "  mzML, mzXML   PATH  spectra=ms1:N,ms2:N,...  charges=Z:N,...,0:N  rt=FIRST-LAST\n"
      "                      instrument=MODEL  analyzer=FTMS,ITMS,...\n"
      "An MGF spectrum that states several charges counts under each; refused=N counts\n"
      "the spectra the modern dialect refused (their values are not usable), and the\n"
      "file then counts as failed.\n"
      "The lines go to standard output, messages to standard error. Exit status: 0 done, 1 some\n"
      "input failed, 2 usage error.\n"
      "For instrument files the charges are the MS/MS spectra's precursor charges as the\n"
      "file states them (0: none stated), rt is in seconds, and instrument and analyzer\n"
      "appear where the file names them.\n"
      "\nExamples:\n"
      "  orvane info run1.mgf.gz cleaned/run1_c.mgf\n"
      "  orvane info run1.mzML run2.mzXML.gz\n");
  cmd->callback([] {
    const Settings& settings = CommandSettings();
    if (const std::string problem = CheckSettings(settings, kInfo); !problem.empty()) {
      SetExitCode(UsageError(problem));
      return;
    }
    std::vector<std::string> inputs;
    if (const std::string problem = ExpandInputs(files, settings.bRecursive, inputs); !problem.empty()) {
      SetExitCode(UsageError(problem));
      return;
    }
    const Verbosity verbosity = settings.bQuiet ? Verbosity::Quiet : settings.bVerbose ? Verbosity::Verbose : Verbosity::Normal;
    ConsoleProgress console("info", verbosity, inputs, nullptr);
    ConsoleReporter reporter(console);
    IReporter* previous = SetReporter(&reporter);
    const MgfDialect chosen = DialectOf(settings);
    int status = 0;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      const std::string& f = inputs[i];
      console.SetInput(i);
      switch (*KindOfInput(f)) {
        case InputKind::Dta: status |= InfoDta(f, chosen); break;
        case InputKind::Mgf: status |= InfoMgf(f, chosen); break;
        case InputKind::Raw: status |= InfoRaw(f); break;
      }
    }
    SetReporter(previous);
    SetExitCode(status);
  });
}

}  // namespace orvane::app
