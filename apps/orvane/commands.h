// The subcommands of the orvane host.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>

#include "frame/interfaces.h"
#include "platform/host_window.h"
#include "platform/reporter.h"

namespace orvane::app {

const char* VersionText();
const char* MainExamples();

// orvane info FILE...: one line per DTA file, a summary per MGF file.
void AddInfoCommand(CLI::App& app);

// orvane clean [options] -o DIR INPUT...: cleans DTA or MGF files
// (clean_command.cpp; its options and the raw-input hook: clean_options.h).
void AddCleanCommand(CLI::App& app);

// orvane convert --to mgf|dta -o DIR FILE...: DTA files into one MGF file,
// MGF files into DTA files (or rewritten in the chosen MGF dialect).
void AddConvertCommand(CLI::App& app);

// "--mgf-dialect classic|modern" (default modern), for every command that reads
// or writes MGF; the chosen name lands in *pValue.
CLI::Option* AddMgfDialectOption(CLI::App* cmd, std::string* pValue);
// Sets the dialect named "classic" or "modern" on the engine object through
// IMgfDialect. False (after an error box) if the object refuses.
bool ApplyMgfDialect(IUnknown* pEngine, const std::string& dialect);

// Hook for more input kinds of `orvane convert` (raw files such as mzML and
// mzXML), kept in files of their own: register a handler for an extension
// (lower case, without the dot) before the command line is parsed, e.g. from
// main(). The convert command calls it once per input of that kind.
struct ConvertJob {
  std::string target;        // "mgf" or "dta"
  std::string outputFolder;  // exists, ends in "/"
  IUnknown* pEngine;         // the engine object, its MGF dialect set
  CWnd* pWindow;             // the host window of the run
};
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

// The exit status of a run stopped by Ctrl-C or SIGTERM.
inline constexpr int kExitStopped = 130;

// Returns 0 on success, kExitStopped after a stop, 1 after a failure it has
// reported.
using ConvertInputHandler = int (*)(const ConvertJob& job, const std::string& path);
void RegisterConvertInput(const std::string& extension, ConvertInputHandler handler);

// The exit status the chosen subcommand left.
int ExitCode();
void SetExitCode(int code);

}  // namespace orvane::app
