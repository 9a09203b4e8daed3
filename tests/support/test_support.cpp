#include "support/test_support.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <sstream>

namespace orvane::test {

RecordingReporter::RecordingReporter() : scope_(this) {}
RecordingReporter::~RecordingReporter() = default;

void RecordingReporter::Show(BoxKind kind, std::string_view text) {
  boxes.push_back({kind, std::string(text)});
}

std::vector<std::string> RecordingReporter::Texts(BoxKind kind) const {
  std::vector<std::string> out;
  for (const auto& b : boxes)
    if (b.kind == kind) out.push_back(b.text);
  return out;
}

std::string RecordingReporter::Joined() const {
  std::string out;
  for (const Box& b : boxes) {
    if (!out.empty()) out += '|';
    out.append(std::to_string(static_cast<int>(b.kind))).append(" ").append(b.text);
  }
  return out;
}

bool RecordingReporter::Has(BoxKind kind, const std::string& text) const {
  return std::any_of(boxes.begin(), boxes.end(),
                     [&](const Box& b) { return b.kind == kind && b.text == text; });
}

namespace {
bool CarriesText(unsigned number) {
  return number == PM_STEP_BEGIN || number == PM_RAW_SCANS || number == PM_ROW_ADDED;
}
}  // namespace

void RecordingWindow::Record(unsigned message, WPARAM wParam, LPARAM lParam, bool posted) {
  Message m{message, wParam, {}, posted};
  if (CarriesText(message) && lParam != 0) m.text = reinterpret_cast<const char*>(lParam);
  {
    std::lock_guard lock(mutex_);
    messages.push_back(m);
  }
  if (onMessage) onMessage(m);
}

void RecordingWindow::Send(unsigned message, WPARAM wParam, LPARAM lParam) {
  Record(message, wParam, lParam, false);
}

void RecordingWindow::Post(unsigned message, WPARAM wParam, LPARAM lParam) {
  Record(message, wParam, lParam, true);
}

std::vector<unsigned> RecordingWindow::Numbers() const {
  std::vector<unsigned> out;
  for (const auto& m : messages) out.push_back(m.number);
  return out;
}

TempDir::TempDir() {
  static std::atomic<unsigned> counter{0};
  path_ = std::filesystem::temp_directory_path() /
          ("orvane-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

std::vector<std::string> ListFiles(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(folder, ec))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::filesystem::path> DataDir() {
  std::filesystem::path p(ORVANE_DATA_DIR);
  if (const char* env = std::getenv("ORVANE_DATA_DIR")) p = env;
  std::error_code ec;
  if (std::filesystem::is_directory(p, ec)) return p;
  return std::nullopt;
}

std::optional<std::string> DataFile(const std::string& relative) {
  auto dir = DataDir();
  if (!dir) return std::nullopt;
  auto p = *dir / relative;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(p, ec)) return std::nullopt;
  return p.string();
}

}  // namespace orvane::test
