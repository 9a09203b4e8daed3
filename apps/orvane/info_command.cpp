#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "platform/format.h"
#include "platform/reporter.h"
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

}  // namespace

const char* VersionText() { return "1.0.0.1 (engine version 2411)"; }

const char* MainExamples() {
  return "\nExamples:\n"
         "  orvane info examples/sample.dta        show title, parent mass, charge and peaks\n";
}

int ExitCode() { return g_exitCode; }
void SetExitCode(int code) { g_exitCode = code; }

void AddInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Show what DTA and MGF files hold");
  static std::vector<std::string> files;
  cmd->add_option("files", files, "DTA or MGF files")->required();
  cmd->callback([] {
    int status = 0;
    for (const auto& f : files) {
      if (HasExtension(f, "dta")) {
        status |= InfoDta(f);
      } else {
        ShowError("not a DTA or MGF file: " + f);
        status = 1;
      }
    }
    SetExitCode(status);
  });
}

}  // namespace orvane::app
