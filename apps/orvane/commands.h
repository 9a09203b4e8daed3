// The subcommands of the orvane host.
#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <string_view>

#include "platform/host_window.h"
#include "platform/reporter.h"

namespace orvane::app {

// "orvane 1.0.0.1 ...": the version, the FFT backend and its licence, the
// compiler and the build type.
std::string VersionText();
const char* MainExamples();
// The layout of every help text.
std::shared_ptr<CLI::Formatter> HelpFormatter();
// orvane help [COMMAND]: listed by AddHelpCommand, answered by HelpCommand
// (argv[1] is "help") before the command line is parsed.
void AddHelpCommand(CLI::App& app);
int HelpCommand(CLI::App& app, int argc, char** argv);

// orvane info FILE...: one line per DTA file, a summary per MGF file.
void AddInfoCommand(CLI::App& app);
// orvane clean [options] -o DIR INPUT...: cleans DTA, MGF or raw files.
void AddCleanCommand(CLI::App& app);
// orvane convert --to mgf|dta -o DIR FILE...: DTA files into one MGF file,
// MGF files into DTA files (or rewritten in the chosen MGF dialect), raw
// files into either.
void AddConvertCommand(CLI::App& app);

// While it lives, passes every box of this thread on to the reporter that was
// there before, and counts those that tell of a failure.
class ErrorCountingReporter final : public IReporter {
 public:
  ErrorCountingReporter() : scope_(this) {}
  void Show(BoxKind kind, std::string_view text) override {
    if (kind == BoxKind::FileError || kind == BoxKind::Error || kind == BoxKind::Stop) ++failures;
    ScopedThreadReporter outer(nullptr);
    ShowBox(kind, text);
  }
  int failures = 0;

 private:
  ScopedThreadReporter scope_;
};

// Exit statuses: done, some input failed, a usage error (nothing done), and
// a run stopped by Ctrl-C or SIGTERM.
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitStopped = 130;

// "orvane: error: TEXT" on standard error; answers kExitUsage.
int UsageError(const std::string& text);
// The same for a failure of the run; answers kExitFailed.
int Fail(const std::string& text);

// The exit status the chosen subcommand left.
int ExitCode();
void SetExitCode(int code);

}  // namespace orvane::app
