#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "commands.h"
#include "frame/interfaces.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "spectrum/file_path.h"

namespace orvane::app {
namespace {

int g_exitCode = 0;

bool HasExtension(const std::string& path, const char* ext) {
  std::string e = FilePath(path).GetExtension();
  for (auto& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return e == ext;
}

int InfoDta(const std::string& path) {
  Dta dta;
  if (ImportDta(path.c_str(), &dta) != S_OK) return 1;
  std::printf("%s\ttitle=%s\tmass=%.6f\tcharge=%d\tpeaks=%u\n", path.c_str(), dta.strTitle.c_str(),
              dta.dMass, dta.nCharge, dta.GetPeakCount());
  return 0;
}

// Spectra, the charges seen with how often, and the peaks of an MGF file, read
// block by block through the engine's ImportMgf in the chosen dialect.
int InfoMgf(IImportMSMS* pImport, const std::string& path) {
  CStdioFile file;
  CFileException error;
  if (!file.Open(path, CStdioFile::modeRead | CStdioFile::shareDenyWrite, &error)) {
    error.ReportError();
    return 1;
  }
  unsigned spectra = 0;
  unsigned long long peaks = 0;
  std::map<int, unsigned> charges;
  Dta dta;
  for (;;) {
    dta.Clear();
    if (pImport->ImportMgf(&file, &dta) != S_OK) break;
    ++spectra;
    peaks += dta.GetPeakCount();
    ++charges[dta.nCharge];
  }
  file.Close();
  std::string seen;
  for (const auto& [charge, count] : charges)
    AppendFormat(seen, "%s%d:%u", seen.empty() ? "" : ",", charge, count);
  std::printf("%s\tspectra=%u\tcharges=%s\tpeaks=%llu\n", path.c_str(), spectra,
              seen.empty() ? "-" : seen.c_str(), peaks);
  return 0;
}

}  // namespace

const char* VersionText() { return "1.0.0.1 (engine version 2411)"; }

const char* MainExamples() {
  return "\nExamples:\n"
         "  orvane clean -o cleaned/ run1.mgf            clean an MGF file (DIR/run1_c.mgf,\n"
         "                                               bad spectra in DIR/badspectra/)\n"
         "  orvane clean -o cleaned/ spectra/*.dta       clean a folder of DTA files\n"
         "  orvane convert --to mgf -o out/ run1.mzML    convert an instrument file to MGF...\n"
         "  orvane clean -o cleaned/ out/run1.mgf        ...and clean it\n"
         "  orvane clean -o cleaned/ run1.mzML           or both in one go\n"
         "  orvane clean -o all/ --skip-cleaning --merge-output a.mgf b.mgf\n"
         "                                               concatenate MGF files (all/SpectraMerged_c.mgf)\n"
         "  orvane info cleaned/run1_c.mgf               count spectra, charges and peaks\n"
         "  orvane params > lab.toml                     the settings as a presets file,\n"
         "  orvane clean --params lab.toml -o cleaned/ run1.mgf   to edit and reuse\n"
         "\nEach command has its own help: orvane clean --help, orvane convert --help.\n";
}

int ExitCode() { return g_exitCode; }
void SetExitCode(int code) { g_exitCode = code; }

void AddInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Show what DTA and MGF files hold");
  static std::vector<std::string> files;
  static std::string dialect = "modern";
  cmd->add_option("files", files, "DTA or MGF files")->required();
  AddMgfDialectOption(cmd, &dialect);
  cmd->callback([] {
    int status = 0;
    ComPtr<IImportMSMS> pImport;
    for (const auto& f : files) {
      if (HasExtension(f, "dta")) {
        status |= InfoDta(f);
      } else if (HasExtension(f, "mgf")) {
        if (!pImport) {
          const HRESULT hr = CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER,
                                              IID_IImportMSMS, pImport.Out());
          if (FAILED(hr)) {
            ShowError(Format("Can't create the engine object. \nHRESULT = 0x%x", static_cast<unsigned>(hr)));
            SetExitCode(1);
            return;
          }
          if (!ApplyMgfDialect(pImport.Get(), dialect)) {
            SetExitCode(1);
            return;
          }
        }
        status |= InfoMgf(pImport.Get(), f);
      } else {
        ShowError("not a DTA or MGF file: " + f);
        status = 1;
      }
    }
    SetExitCode(status);
  });
}

}  // namespace orvane::app
