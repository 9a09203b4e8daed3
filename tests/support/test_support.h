// Helpers for the tests: what the engine shows and sends, recorded; scratch
// folders; file contents; and where the real data lives.
#pragma once

#include <cstdint>
#include <functional>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/host_window.h"
#include "platform/reporter.h"

namespace orvane::test {

// Records every box shown on this thread while it lives.
class RecordingReporter final : public IReporter {
 public:
  struct Box {
    BoxKind kind;
    std::string text;
  };
  RecordingReporter();
  ~RecordingReporter() override;
  void Show(BoxKind kind, std::string_view text) override;
  std::vector<Box> boxes;
  // Texts of the boxes of one kind.
  std::vector<std::string> Texts(BoxKind kind) const;
  bool Has(BoxKind kind, const std::string& text) const;
  // Every box as "kind text", joined by "|".
  std::string Joined() const;

 private:
  ScopedThreadReporter scope_;
};

// Records every message; text payloads (the paths of 1283, 1285, 1297) are
// copied while the call lasts.
class RecordingWindow final : public CWnd {
 public:
  struct Message {
    unsigned number;
    WPARAM wParam;
    std::string text;  // lParam as text where the message carries one
    bool posted;
    friend bool operator==(const Message&, const Message&) = default;
  };
  void Send(unsigned message, WPARAM wParam, LPARAM lParam) override;
  void Post(unsigned message, WPARAM wParam, LPARAM lParam) override;
  std::vector<Message> messages;
  // The numbers alone, in order.
  std::vector<unsigned> Numbers() const;
  // Called after each message; lets a test set the cancel event at a chosen point.
  std::function<void(const Message&)> onMessage;

 private:
  void Record(unsigned message, WPARAM wParam, LPARAM lParam, bool posted);
  std::mutex mutex_;
};

// A fresh folder under the system's temporary folder, removed at the end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  // The folder as the engine takes it: with a trailing "/".
  std::string Folder() const { return path_.string() + "/"; }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
// Names of the files in a folder, sorted.
std::vector<std::string> ListFiles(const std::string& folder);

// The real-data folder when it is there (ORVANE_DATA_DIR), for tests that skip
// cleanly without it.
std::optional<std::filesystem::path> DataDir();
// Skips the current test when the data file is missing; otherwise its path.
#define ORVANE_REQUIRE_DATA(var, relative)                                    \
  auto var##_opt = ::orvane::test::DataFile(relative);                       \
  if (!var##_opt) GTEST_SKIP() << "real data not available: " << relative;   \
  const std::string var = *var##_opt
std::optional<std::string> DataFile(const std::string& relative);

}  // namespace orvane::test
