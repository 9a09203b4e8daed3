// The host window that receives the numbered progress messages of a run, and
// the cancel event by which the host asks a run to stop.
#pragma once

#include <atomic>
#include <cstdint>

namespace orvane {

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

// Message numbers and what they carry. A text payload is a `const char*`
// valid for the length of the call only.
enum : unsigned {
  PM_CANCELLED = 1280,   // posted: the run has seen the cancel event and stops
  PM_STEP_DONE = 1281,   // wParam steps done so far
  PM_STEP_BEGIN = 1283,  // wParam steps done so far, lParam the input path
  PM_STEP_TOTAL = 1284,  // wParam number of steps to come
  PM_RAW_SCANS = 1285,   // wParam spectra the reader reports, lParam the raw path
  PM_RAW_DONE = 1286,    // wParam row of the raw file
  PM_RAW_SCAN = 1287,    // wParam scans passed so far
  PM_ROW_BEGIN = 1288,   // wParam the file's row
  PM_ROW_DONE = 1289,    // wParam the file's row
  PM_RAW_BEGIN = 1296,   // wParam row of the raw file
  PM_ROW_ADDED = 1297,   // wParam row of the new file, lParam its path
};

// Stands for the host's window. Send returns when the host has handled the
// message; Post returns at once.
class CWnd {
 public:
  virtual ~CWnd() = default;
  virtual void Send(unsigned message, WPARAM wParam, LPARAM lParam) = 0;
  virtual void Post(unsigned message, WPARAM wParam, LPARAM lParam) = 0;
};

// A window that drops every message.
class NullWindow final : public CWnd {
 public:
  void Send(unsigned, WPARAM, LPARAM) override {}
  void Post(unsigned, WPARAM, LPARAM) override {}
};

inline LPARAM TextParam(const char* text) { return reinterpret_cast<LPARAM>(text); }
inline WPARAM TextWParam(const char* text) { return reinterpret_cast<WPARAM>(text); }

// The host's cancel event. The engine only polls it; nothing in the engine
// resets it. Safe to set from a signal handler or another thread.
class CEvent {
 public:
  void Set() { flag_.store(true, std::memory_order_release); }
  void Reset() { flag_.store(false, std::memory_order_release); }
  bool IsSignalled() const { return flag_.load(std::memory_order_acquire); }

 private:
  std::atomic<bool> flag_{false};
};

// A message to the host window, when there is one.
inline void SendTo(CWnd* pWnd, unsigned message, WPARAM wParam, LPARAM lParam = 0) {
  if (pWnd != nullptr) pWnd->Send(message, wParam, lParam);
}

// The cancel test between two steps: when the event is set, posts
// PM_CANCELLED (1280) and answers true; the caller closes what it holds and
// returns E_ABORT.
inline bool CancelRequested(const CEvent* pEvent, CWnd* pWnd) {
  if (pEvent == nullptr || !pEvent->IsSignalled()) return false;
  if (pWnd != nullptr) pWnd->Post(PM_CANCELLED, 0, 0);
  return true;
}

}  // namespace orvane
