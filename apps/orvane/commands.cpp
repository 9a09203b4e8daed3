// What every command shares: exit statuses and messages, the help command,
// the help layout and the version.
#include "commands.h"

#include <cstdio>
#include <memory>

#include "tonalith/dsp.h"

namespace orvane::app {
namespace {

int g_exitCode = 0;

// Help without CLI11's "{false}" behind the negated form of a switch: the
// text says what the default is.
class SwitchHelpFormatter final : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* opt, bool positional) const override {
    std::string name = CLI::Formatter::make_option_name(opt, positional);
    for (auto open = name.find('{'); open != std::string::npos; open = name.find('{')) {
      const auto close = name.find('}', open);
      if (close == std::string::npos) break;
      name.erase(open, close - open + 1);
    }
    return name;
  }
};

std::string Compiler() {
#if defined(__clang__)
  return std::string("clang ") + __clang_version__;
#elif defined(__GNUC__)
  return std::string("GCC ") + __VERSION__;
#else
  return "an unknown compiler";
#endif
}

}  // namespace

int ExitCode() { return g_exitCode; }
void SetExitCode(int code) { g_exitCode = code; }

int UsageError(const std::string& text) {
  std::fprintf(stderr, "orvane: error: %s\n", text.c_str());
  return kExitUsage;
}

int Fail(const std::string& text) {
  std::fprintf(stderr, "orvane: error: %s\n", text.c_str());
  return kExitFailed;
}

std::shared_ptr<CLI::Formatter> HelpFormatter() {
  auto formatter = std::make_shared<SwitchHelpFormatter>();
  formatter->column_width(36);
  return formatter;
}

std::string VersionText() {
  return std::string("orvane ") + ORVANE_VERSION + " (engine version 2411)\nFFT backend: " +
         tonalith::FftBackendInfo() + "\nbuilt with " + Compiler() + ", " + ORVANE_BUILD_TYPE + " build";
}

const char* MainExamples() {
  return "\nExamples:\n"
         "  orvane clean -o cleaned/ run1.mgf            clean an MGF file (cleaned/run1_c.mgf,\n"
         "                                               bad spectra in cleaned/badspectra/)\n"
         "  orvane clean -o cleaned/ -r spectra/         every DTA, MGF, mzML and mzXML file below\n"
         "  orvane clean -o cleaned/ run1.mzML           an instrument file, converted and cleaned\n"
         "  orvane convert --to mgf -o out/ run1.mzML    convert an instrument file to MGF\n"
         "  orvane info cleaned/run1_c.mgf               count spectra, charges and peaks\n"
         "  orvane params > lab.toml                     the settings as a presets file,\n"
         "  orvane clean --params lab.toml -o cleaned/ run1.mgf   to edit and reuse\n"
         "\nEach command has its own help: orvane help clean, orvane convert --help.\n"
         "Exit status: 0 done, 1 some input failed, 2 usage error (nothing done), 130 stopped.\n";
}

void AddHelpCommand(CLI::App& app) {
  // Listed in the help; main() answers it before the command line is parsed
  // (HelpCommand), since the command it names would be parsed as a command.
  app.add_subcommand("help", "Show the help of orvane, or of a command: orvane help [COMMAND]");
}

int HelpCommand(CLI::App& app, int argc, char** argv) {
  if (argc > 3) return UsageError("help takes one command at the most: orvane help [COMMAND]");
  const std::string name = argc == 3 ? argv[2] : "";
  if (name.empty()) {
    std::fputs(app.help().c_str(), stdout);
    return 0;
  }
  for (const CLI::App* sub : app.get_subcommands({})) {
    if (sub->get_name() == name && name != "help") {
      std::fputs(sub->help("orvane").c_str(), stdout);
      return 0;
    }
  }
  return UsageError("\"" + name + "\" is no command; the commands are clean, convert, info and params");
}

}  // namespace orvane::app
