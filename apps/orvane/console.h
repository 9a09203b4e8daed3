// What the command line shows of a run on standard error: progress from the
// engine's host messages (bars redrawn in place on a terminal, plain lines
// otherwise, or nothing), and boxes as one line each, clear of the bar.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/host_window.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "spectrum/file_path.h"

namespace orvane::app {

inline std::string ShortName(const std::string& path) {
  std::string name = FilePath(path).GetFileName();
  if (name.size() > 32) name = "..." + name.substr(name.size() - 29);
  return name;
}

inline std::string Bar(double fraction, int width) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  const int full = static_cast<int>(fraction * width + 0.5);
  return std::string(static_cast<std::size_t>(full), '#') +
         std::string(static_cast<std::size_t>(width - full), '-');
}

// The host window of the command line: keeps count of the run from the
// engine's messages and shows it on standard error, as bars redrawn in place
// on a terminal, as plain lines otherwise, or not at all.
class ConsoleProgress final : public CWnd {
 public:
  enum class Style { Quiet, Lines, Bars };

  ConsoleProgress(Style style, const std::vector<std::string>& inputs)
      : style_(style), nInputs_(inputs.size()), inputs_(inputs) {}

  void Send(unsigned message, WPARAM wParam, LPARAM lParam) override {
    const char* text = reinterpret_cast<const char*>(lParam);
    switch (message) {
      case PM_ROW_BEGIN:
        row_ = static_cast<std::size_t>(wParam);
        rowOpen_ = true;
        rowHasTotal_ = false;
        fileDone_ = fileTotal_ = 0;
        announced_ = false;
        break;
      case PM_STEP_TOTAL:
        // Sent inside a row it scales the spectra of one MGF file; outside
        // one it scales the DTA files of the run.
        if (rowOpen_) {
          rowHasTotal_ = true;
          fileTotal_ = wParam;
        } else {
          runTotal_ = wParam;
        }
        break;
      case PM_STEP_BEGIN:
        if (text != nullptr) current_ = text;
        if (rowHasTotal_ && !announced_) {
          announced_ = true;
          Line(Format("%s: %zu spectra", current_.c_str(), static_cast<std::size_t>(fileTotal_)));
        }
        Draw(false);
        break;
      case PM_STEP_DONE:
        if (rowHasTotal_) {
          fileDone_ = wParam;
        } else {
          runDone_ = wParam;
          ++spectra_;
          if (runTotal_ > 0 && wParam * 10 / runTotal_ != (wParam - 1) * 10 / runTotal_)
            Line(Format("%zu/%zu DTA files", static_cast<std::size_t>(wParam),
                        static_cast<std::size_t>(runTotal_)));
        }
        Draw(false);
        break;
      case PM_ROW_DONE:
        if (rowHasTotal_) {
          spectra_ += fileDone_;
          ++filesDone_;
        }
        rowOpen_ = false;
        Draw(true);
        break;
      case PM_RAW_SCANS:
        if (text != nullptr) Line(Format("converting %s: %zu spectra", text, static_cast<std::size_t>(wParam)));
        break;
      case PM_ROW_ADDED:
        if (text != nullptr) Line(Format("made %s", text));
        break;
      default:
        break;
    }
  }

  void Post(unsigned message, WPARAM, LPARAM) override {
    if (message == PM_CANCELLED) cancelled_ = true;
  }

  bool Cancelled() const { return cancelled_; }

  // The input the engine works on, or empty before the first.
  std::string Input() const { return row_ < inputs_.size() ? inputs_[row_] : current_; }

  // An error box while the run is in hand counts against the input the
  // engine works on.
  void NoteError() {
    const std::string input = Input();
    for (auto& [name, count] : errors_)
      if (name == input) {
        ++count;
        return;
      }
    errors_.emplace_back(input, 1u);
  }
  // The inputs that had errors, in the order met, with their numbers of
  // errors.
  const std::vector<std::pair<std::string, unsigned>>& Errors() const { return errors_; }
  // Spectra worked through: every spectrum read in MGF runs, every file in
  // DTA runs (those of 2 peaks or fewer included).
  std::size_t Spectra() const { return spectra_ + (rowOpen_ && rowHasTotal_ ? fileDone_ : 0); }

  // Takes the bar off the terminal line, so a message can stand there.
  void ClearBar() {
    if (barShown_) {
      std::fputs("\r\x1b[K", stderr);
      barShown_ = false;
    }
  }
  void Finish() { ClearBar(); }

 private:
  void Line(const std::string& text) {
    if (style_ != Style::Lines) return;
    std::fprintf(stderr, "orvane clean: %s\n", text.c_str());
  }

  void Draw(bool force) {
    if (style_ != Style::Bars) return;
    const auto now = std::chrono::steady_clock::now();
    if (!force && barShown_ && now - lastDraw_ < std::chrono::milliseconds(100)) return;
    lastDraw_ = now;
    std::string line;
    if (rowHasTotal_ || (!rowOpen_ && runTotal_ == 0)) {
      const double file = fileTotal_ > 0 ? static_cast<double>(fileDone_) / fileTotal_ : 1.0;
      const double run =
          nInputs_ > 0 ? (filesDone_ + (rowOpen_ ? file : 0.0)) / static_cast<double>(nInputs_) : 1.0;
      line = Format("%-32s [%s] %3d%% %zu/%zu | run [%s] %3d%% file %zu/%zu",
                    ShortName(current_).c_str(), Bar(file, 20).c_str(),
                    static_cast<int>(file * 100.0), static_cast<std::size_t>(fileDone_),
                    static_cast<std::size_t>(fileTotal_), Bar(run, 10).c_str(),
                    static_cast<int>(run * 100.0),
                    std::min(filesDone_ + (rowOpen_ ? 1 : 0), nInputs_), nInputs_);
    } else {
      const double run = runTotal_ > 0 ? static_cast<double>(runDone_) / runTotal_ : 1.0;
      line = Format("%-32s [%s] %3d%% %zu/%zu files", ShortName(current_).c_str(),
                    Bar(run, 30).c_str(), static_cast<int>(run * 100.0),
                    static_cast<std::size_t>(runDone_), static_cast<std::size_t>(runTotal_));
    }
    std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    std::fflush(stderr);
    barShown_ = true;
  }

  Style style_;
  std::size_t nInputs_;
  std::vector<std::string> inputs_;
  std::size_t row_ = static_cast<std::size_t>(-1);
  std::vector<std::pair<std::string, unsigned>> errors_;
  bool rowOpen_ = false;
  bool rowHasTotal_ = false;
  bool announced_ = false;
  bool cancelled_ = false;
  bool barShown_ = false;
  WPARAM fileDone_ = 0, fileTotal_ = 0, runDone_ = 0, runTotal_ = 0;
  std::size_t filesDone_ = 0;
  std::size_t spectra_ = 0;
  std::string current_;
  std::chrono::steady_clock::time_point lastDraw_{};
};

// Boxes as one line each on standard error, clear of the progress bar.
class ConsoleReporter final : public IReporter {
 public:
  explicit ConsoleReporter(ConsoleProgress& progress) : progress_(progress) {}
  void Show(BoxKind kind, std::string_view text) override {
    const std::string line = OneLine(text);
    progress_.ClearBar();
    // Inside the run a box names the input in hand, as the boxes of a
    // parallel run do.
    std::string input = progress_.Input();
    if (line.compare(0, input.size(), input) == 0) input.clear();  // it names the file already
    std::fprintf(stderr, "orvane: %s: %s%s%s\n", BoxKindName(kind), input.c_str(),
                 input.empty() ? "" : ": ", line.c_str());
    if (kind == BoxKind::Error || kind == BoxKind::FileError || kind == BoxKind::Stop ||
        kind == BoxKind::Plain)
      progress_.NoteError();
  }

 private:
  ConsoleProgress& progress_;
};

}  // namespace orvane::app
