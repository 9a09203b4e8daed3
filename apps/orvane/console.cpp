#include "console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "platform/format.h"
#include "platform/text_file.h"
#include "spectrum/file_path.h"

namespace orvane::app {
namespace {

std::string ShortName(const std::string& path) {
  std::string name = path == "-" ? "standard input" : FilePath(path).GetFileName();
  if (name.size() > 32) name = "..." + name.substr(name.size() - 29);
  return name;
}

std::string Bar(double fraction, int width) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  const int full = static_cast<int>(fraction * width + 0.5);
  return std::string(static_cast<std::size_t>(full), '#') + std::string(static_cast<std::size_t>(width - full), '-');
}

std::string Megabytes(std::uint64_t bytes) { return Format("%.1f", static_cast<double>(bytes) / 1e6); }

}  // namespace

std::string Counted(std::uint64_t n, const char* one, const char* many) {
  return Format("%llu %s", static_cast<unsigned long long>(n), n == 1 ? one : many);
}

std::string CountsText(const RunCounts& now, bool dtaFiles, const RunCounts& then) {
  const auto more = [&](std::uint64_t RunCounts::*count) {
    return static_cast<unsigned long long>(now.*count - then.*count);
  };
  std::string text = dtaFiles && more(&RunCounts::nRead) > 0 ? Counted(more(&RunCounts::nRead), "DTA file", "DTA files")
                                                            : Counted(more(&RunCounts::nRead), "spectrum", "spectra");
  text += Format(" read, %llu written, %llu bad", more(&RunCounts::nWritten), more(&RunCounts::nBad));
  if (more(&RunCounts::nTooFewPeaks) > 0) text += Format(", %llu with too few peaks", more(&RunCounts::nTooFewPeaks));
  if (more(&RunCounts::nEmptied) > 0) text += Format(", %llu left empty", more(&RunCounts::nEmptied));
  if (more(&RunCounts::nFailed) > 0) text += Format(", %llu failed", more(&RunCounts::nFailed));
  return text;
}

const char* ConsoleKind(BoxKind kind) { return kind == BoxKind::Warning ? "warning" : "error"; }

ConsoleProgress::ConsoleProgress(const char* command, Verbosity verbosity, const std::vector<std::string>& inputs,
                                 const RunCounts* counts)
    : command_(command), verbosity_(verbosity), inputs_(inputs), counts_(counts),
      bar_(verbosity != Verbosity::Quiet && ::isatty(STDERR_FILENO)) {}

void ConsoleProgress::Send(unsigned message, WPARAM wParam, LPARAM lParam) {
  const char* text = reinterpret_cast<const char*>(lParam);
  switch (message) {
    case PM_ROW_BEGIN:
      phase_.clear();  // a conversion before it is over
      SetInput(static_cast<std::size_t>(wParam));
      if (counts_ != nullptr) atRowBegin_ = *counts_;
      stepDone_ = stepTotal_ = 0;
      break;
    case PM_STEP_TOTAL:
      stepTotal_ = wParam;
      break;
    case PM_STEP_DONE:
      stepDone_ = wParam;
      Draw(false);
      break;
    case PM_ROW_DONE:
      ++rowsDone_;
      if (counts_ != nullptr && row_ < inputs_.size())
        Detail(inputs_[row_] + ": " + CountsText(*counts_, false, atRowBegin_));
      Draw(true);
      break;
    case PM_RAW_SCANS:
      if (text != nullptr) {
        phase_ = "converting " + ShortName(text);
        stepDone_ = 0;
        stepTotal_ = wParam;
        Detail(Format("%s: converting, %s", text, Counted(wParam, "scan", "scans").c_str()));
      }
      break;
    case PM_RAW_SCAN:
      stepDone_ = wParam;
      Draw(false);
      break;
    case PM_RAW_DONE:
      phase_.clear();
      break;
    case PM_ROW_ADDED:
      if (text != nullptr) Detail(Format("made %s", text));
      break;
    default:
      break;
  }
}

void ConsoleProgress::Post(unsigned message, WPARAM, LPARAM) {
  if (message == PM_CANCELLED) cancelled_ = true;
}

std::string ConsoleProgress::Input() const { return row_ < inputs_.size() ? inputs_[row_] : std::string(); }

void ConsoleProgress::SetInput(std::size_t index) {
  row_ = index;
  phase_.clear();
}

void ConsoleProgress::NoteError() {
  const std::string input = Input();
  for (auto& [name, count] : errors_)
    if (name == input) {
      ++count;
      return;
    }
  errors_.emplace_back(input, 1u);
}

void ConsoleProgress::Say(const std::string& text) {
  if (verbosity_ == Verbosity::Quiet) return;
  ClearBar();
  std::fprintf(stderr, "orvane %s: %s\n", command_, text.c_str());
}

void ConsoleProgress::Detail(const std::string& text) {
  if (verbosity_ == Verbosity::Verbose) Say(text);
}

void ConsoleProgress::ClearBar() {
  if (!barShown_) return;
  std::fputs("\r\x1b[K", stderr);
  barShown_ = false;
}

void ConsoleProgress::Draw(bool force) {
  const auto now = std::chrono::steady_clock::now();
  if (!bar_) {
    // Where no bar can be drawn (a log of a batch job), a line now and then
    // on a long run.
    if (verbosity_ == Verbosity::Quiet || counts_ == nullptr || now - lastLine_ < std::chrono::seconds(30)) return;
    lastLine_ = now;
    std::string line = Counted(counts_->nRead, "spectrum", "spectra") + " read";
    if (counts_->nBytesTotal > 0)
      line = Format("%d%% of %s MB, ", static_cast<int>(100.0 * static_cast<double>(counts_->nBytesRead) /
                                                         static_cast<double>(counts_->nBytesTotal)),
                    Megabytes(counts_->nBytesTotal).c_str()) + line;
    Say(line);
    return;
  }
  if (!force && barShown_ && now - lastDraw_ < std::chrono::milliseconds(100)) return;
  lastDraw_ = now;
  std::string line;
  if (!phase_.empty()) {
    const double share = stepTotal_ > 0 ? static_cast<double>(stepDone_) / static_cast<double>(stepTotal_) : 0.0;
    line = Format("%-32s [%s] %3d%% %zu/%zu scans", phase_.c_str(), Bar(share, 30).c_str(),
                  static_cast<int>(share * 100.0), static_cast<std::size_t>(stepDone_),
                  static_cast<std::size_t>(stepTotal_));
  } else if (counts_ != nullptr && counts_->nBytesTotal > 0) {
    // By bytes read: one large input moves the bar as much as many small ones.
    const double share = static_cast<double>(counts_->nBytesRead) / static_cast<double>(counts_->nBytesTotal);
    line = Format("[%s] %3d%% %s/%s MB  %s  %s", Bar(share, 30).c_str(), static_cast<int>(share * 100.0),
                  Megabytes(counts_->nBytesRead).c_str(), Megabytes(counts_->nBytesTotal).c_str(),
                  Counted(counts_->nRead, "spectrum", "spectra").c_str(), ShortName(Input()).c_str());
    if (inputs_.size() > 1) line += Format(" (%zu of %zu)", std::min(rowsDone_ + 1, inputs_.size()), inputs_.size());
  } else if (counts_ == nullptr && stepTotal_ > 0) {
    // A conversion's own steps (MGF to DTA: bytes of the input).
    const double share = static_cast<double>(stepDone_) / static_cast<double>(stepTotal_);
    line = Format("[%s] %3d%%  %s", Bar(share, 30).c_str(), static_cast<int>(share * 100.0), ShortName(Input()).c_str());
  } else if (counts_ != nullptr) {
    line = Format("%s  %s", Counted(counts_->nRead, "spectrum", "spectra").c_str(), ShortName(Input()).c_str());
  } else {
    return;
  }
  std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
  std::fflush(stderr);
  barShown_ = true;
}

void ConsoleReporter::Show(BoxKind kind, std::string_view text) {
  const std::string line = OneLine(text);
  progress_.ClearBar();
  // Inside the run a box names the input in hand, unless it names it itself.
  std::string input = ShownPath(progress_.Input());
  if (line.find(input) != std::string::npos) input.clear();
  std::fprintf(stderr, "orvane: %s: %s%s%s\n", ConsoleKind(kind), input.c_str(), input.empty() ? "" : ": ",
               line.c_str());
  if (kind != BoxKind::Warning) progress_.NoteError();
}

}  // namespace orvane::app
