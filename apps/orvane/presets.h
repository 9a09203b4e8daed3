// Presets: the settings as a TOML file (settings.h). `orvane params` prints
// one; `--params FILE` and `--preset NAME` read one before the command line,
// whose options then win.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace orvane::app {

// Looks for --preset NAME and --params FILE (or --params=FILE) among the
// arguments and loads them, the preset first, into CommandSettings() before
// the command line is parsed. Returns "" or the message of the load.
std::string ApplyPresetsFromArguments(int argc, char** argv);

// `orvane params [--params FILE] [--preset NAME]`: prints the settings as TOML.
void AddParamsCommand(CLI::App& app);
// Declares --params and --preset on a subcommand (read before parsing).
void AddPresetOptions(CLI::App* cmd, bool withPreset);

}  // namespace orvane::app
