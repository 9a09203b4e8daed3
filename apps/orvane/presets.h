// Presets: every setting a user gives `orvane clean` and the raw conversions,
// as a commented TOML file. `orvane params` prints one; `--params FILE` reads
// one, and options on the command line override what it says.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "clean_options.h"
#include "raw_options_cli.h"

namespace orvane::app {

// The TOML text of these settings, every key with its meaning, unit and
// allowed values in comments above it.
std::string RenderPresets(const CleanOptions& clean, const RawOptionsCli& raw);

// Reads a presets file into clean and raw (keys it doesn't name keep their
// values). Returns "" on success, otherwise one message that names the file,
// the line and the key: "run.toml:12: deisotope-threshold: must lie between
// 0 and 100, not 150". On failure clean and raw are left as they were.
std::string LoadPresets(const std::string& path, CleanOptions& clean, RawOptionsCli& raw);

// Applies the built-in preset of that name (hires, lowres, tmt) over clean
// and raw; "" or a message that lists the names.
std::string ApplyNamedPreset(const std::string& name, CleanOptions& clean, RawOptionsCli& raw);
// The presets, one "  name  summary" line each, for help texts.
std::string PresetList();

// Looks for --preset NAME and --params FILE (or --params=FILE) among the arguments and loads it
// into the values the clean and convert commands are bound to, before the
// command line is parsed, so that the options given there win. Returns "" or
// the message of LoadPresets.
std::string ApplyPresetsFromArguments(int argc, char** argv);

// `orvane params [--params FILE]`: prints the parameters as TOML.
void AddParamsCommand(CLI::App& app);
// Declares --params on a subcommand (the value is read before parsing).
void AddParamsOption(CLI::App* cmd);
// Declares --preset on a subcommand (the value is read before parsing).
void AddPresetOption(CLI::App* cmd);

}  // namespace orvane::app
