// orvane: cleans and converts MS/MS peak lists from the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "presets.h"

namespace {

const char* kCommands = "clean, convert, info, params and help";

// The command the arguments name: the first that isn't an option; "" when
// there is none. Options that take a value are not told apart here, so this
// is only for the messages of a command line that doesn't parse.
std::string FirstWord(int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    if (argv[i][0] != '-') return argv[i];
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orvane::app;
  CLI::App app{
      "orvane cleans tandem mass spectrometry peak lists: it tells good spectra from bad ones,\n"
      "removes isotope peaks and noise, turns multiply charged clusters into single peaks,\n"
      "and converts between DTA, MGF and instrument files (mzML, mzXML).",
      "orvane"};
  app.formatter(HelpFormatter());
  app.set_version_flag("-V,--version", VersionText(), "Show the version, the FFT backend and its licence, the build");
  app.footer(MainExamples());
  AddInfoCommand(app);
  AddCleanCommand(app);
  AddConvertCommand(app);
  AddParamsCommand(app);
  AddHelpCommand(app);

  if (argc >= 2 && std::string(argv[1]) == "help") return HelpCommand(app, argc, argv);
  // A presets file fills the settings before the command line is read, so
  // that options given there win.
  if (const std::string problem = ApplyPresetsFromArguments(argc, argv); !problem.empty())
    return UsageError(problem);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ExtrasError& e) {
    const std::string word = FirstWord(argc, argv);
    if (!word.empty() && app.get_subcommands().empty())
      return UsageError("\"" + word + "\" is no command; the commands are " + kCommands);
    const CLI::App* sub = app.get_subcommands().empty() ? nullptr : app.get_subcommands().front();
    return UsageError(std::string(e.what()) + "; see orvane help" + (sub ? " " + sub->get_name() : ""));
  } catch (const CLI::ParseError& e) {
    const CLI::App* sub = app.get_subcommands().empty() ? nullptr : app.get_subcommands().front();
    return UsageError(std::string(e.what()) + "; see orvane help" + (sub ? " " + sub->get_name() : ""));
  }
  if (app.get_subcommands().empty()) {
    std::fputs(app.help().c_str(), stderr);
    return UsageError(std::string("a command is needed: ") + kCommands);
  }
  return ExitCode();
}
