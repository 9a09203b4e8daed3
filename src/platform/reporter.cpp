#include "platform/reporter.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace orvane {
namespace {

class StderrReporter final : public IReporter {
 public:
  void Show(BoxKind kind, std::string_view text) override {
    // Texts carry "\n" where a box would break its line.
    const std::string line = OneLine(text);
    std::lock_guard lock(mutex_);
    std::fprintf(stderr, "orvane: %s: %s\n", BoxKindName(kind), line.c_str());
  }

 private:
  std::mutex mutex_;
};

StderrReporter& defaultReporter() {
  static StderrReporter* r = new StderrReporter;
  return *r;
}

std::atomic<IReporter*> g_reporter{nullptr};
thread_local IReporter* t_reporter = nullptr;

}  // namespace

unsigned BoxType(BoxKind kind) {
  switch (kind) {
    case BoxKind::Error: return 0x10;
    case BoxKind::Note: return 0x40;
    case BoxKind::Plain: return 0;
    case BoxKind::Stop: return 0x10;
    case BoxKind::FileError: return 0;
    case BoxKind::Warning: return 0x30;
  }
  return 0;
}

const char* BoxKindName(BoxKind kind) {
  switch (kind) {
    case BoxKind::Error: return "error";
    case BoxKind::Note: return "note";
    case BoxKind::Plain: return "message";
    case BoxKind::Stop: return "stop";
    case BoxKind::FileError: return "file error";
    case BoxKind::Warning: return "warning";
  }
  return "message";
}

IReporter* SetReporter(IReporter* reporter) { return g_reporter.exchange(reporter); }

ScopedThreadReporter::ScopedThreadReporter(IReporter* reporter) : previous_(t_reporter) {
  t_reporter = reporter;
}

ScopedThreadReporter::~ScopedThreadReporter() { t_reporter = previous_; }

std::string OneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (char c : text) {
    if (c == '\n') {
      if (!line.empty() && line.back() != ' ') line += ' ';
    } else {
      line += c;
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

void ShowBox(BoxKind kind, std::string_view text) {
  IReporter* r = t_reporter;
  if (r == nullptr) r = g_reporter.load();
  if (r == nullptr) r = &defaultReporter();
  r->Show(kind, text);
}

}  // namespace orvane
