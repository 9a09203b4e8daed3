// orvane: cleans and converts MS/MS peak lists from the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "presets.h"

int main(int argc, char** argv) {
  CLI::App app{
      "orvane cleans tandem mass spectrometry peak lists: it tells good spectra from bad ones,\n"
      "removes isotope peaks and noise, turns multiply charged clusters into single peaks,\n"
      "and converts between DTA, MGF and instrument files (mzML, mzXML).",
      "orvane"};
  app.set_version_flag("--version", std::string("orvane ") + orvane::app::VersionText());
  app.require_subcommand(1);
  app.footer(orvane::app::MainExamples());

  orvane::app::AddInfoCommand(app);
  orvane::app::AddCleanCommand(app);
  orvane::app::AddConvertCommand(app);
  orvane::app::AddParamsCommand(app);

  // A presets file fills the option values before the command line is read,
  // so that options given there win.
  if (const std::string problem = orvane::app::ApplyPresetsFromArguments(argc, argv);
      !problem.empty()) {
    std::fprintf(stderr, "orvane: error: %s\n", problem.c_str());
    return 1;
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  return orvane::app::ExitCode();
}
