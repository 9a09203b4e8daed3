// What the command line shows of a run on standard error: progress from the
// engine's host messages and its counts, and boxes as one line each, clear
// of the progress bar. Data goes to standard output, never through here.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cleaning/drivers.h"
#include "platform/host_window.h"
#include "platform/reporter.h"

namespace orvane::app {

// How much a command says: errors only; progress and a closing summary; and
// a line for each input as well.
enum class Verbosity { Quiet, Normal, Verbose };

// "1 spectrum", "2 spectra": a count with the right form of its noun.
std::string Counted(std::uint64_t n, const char* one, const char* many);

// "1120 spectra read, 1105 written, 15 bad, 3 with too few peaks" of a run
// (of a run of DTA files: "DTA files read"), or of a part of one: the counts
// of now since then.
std::string CountsText(const RunCounts& now, bool dtaFiles = false, const RunCounts& then = {});

using ErrorList = std::vector<std::pair<std::string, unsigned>>;

// The host window of a command: keeps track of the run from the engine's
// messages and counts, and shows it as a bar redrawn in place on a terminal
// (nothing elsewhere but the lines of -v, so logs of batch runs stay short).
class ConsoleProgress final : public CWnd {
 public:
  // command: "clean" or "convert"; counts may be null (conversions).
  ConsoleProgress(const char* command, Verbosity verbosity, const std::vector<std::string>& inputs,
                  const RunCounts* counts);

  void Send(unsigned message, WPARAM wParam, LPARAM lParam) override;
  void Post(unsigned message, WPARAM wParam, LPARAM lParam) override;

  bool Cancelled() const { return cancelled_; }
  // The input in hand, or empty before the first.
  std::string Input() const;
  // The input in hand is another one (for commands that walk inputs
  // themselves).
  void SetInput(std::size_t index);
  // An error box while the run is in hand counts against the input in hand.
  void NoteError();
  // The inputs that had errors, in the order met, with their numbers.
  const ErrorList& Errors() const { return errors_; }
  // "orvane COMMAND: TEXT" on standard error, clear of the bar; not when quiet.
  void Say(const std::string& text);
  // "orvane COMMAND: TEXT" with -v only.
  void Detail(const std::string& text);
  // Takes the bar off the terminal line, so a message can stand there.
  void ClearBar();

 private:
  void Draw(bool force);

  const char* command_;
  Verbosity verbosity_;
  std::vector<std::string> inputs_;
  const RunCounts* counts_;
  RunCounts atRowBegin_{};
  bool bar_;  // standard error is a terminal
  std::size_t row_ = static_cast<std::size_t>(-1);
  std::size_t rowsDone_ = 0;
  ErrorList errors_;
  bool cancelled_ = false;
  bool barShown_ = false;
  // Steps of the phase in hand: spectra of an MGF file, DTA files, scans.
  WPARAM stepDone_ = 0, stepTotal_ = 0;
  std::string phase_;  // "converting X" while a raw file is converted
  std::chrono::steady_clock::time_point lastDraw_{};
  std::chrono::steady_clock::time_point lastLine_ = std::chrono::steady_clock::now();
};

// Boxes as one line each on standard error, clear of the bar, with one
// prefix for errors ("orvane: error: "); a box of the run names the input in
// hand unless it names a file already.
class ConsoleReporter final : public IReporter {
 public:
  explicit ConsoleReporter(ConsoleProgress& progress) : progress_(progress) {}
  void Show(BoxKind kind, std::string_view text) override;

 private:
  ConsoleProgress& progress_;
};

// The prefix word of a box kind on the command line: error, warning or note.
const char* ConsoleKind(BoxKind kind);

}  // namespace orvane::app
