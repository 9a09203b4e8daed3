// The subcommands of the orvane host.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace orvane::app {

const char* VersionText();
const char* MainExamples();

// orvane info FILE...: one line per DTA file, a summary per MGF file.
void AddInfoCommand(CLI::App& app);

// The exit status the chosen subcommand left.
int ExitCode();
void SetExitCode(int code);

}  // namespace orvane::app
