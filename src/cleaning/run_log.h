// How a cleaning run talks to its surroundings: the pieces of the run log,
// the numbered messages to the host window, and the cancel test.
//
// Every log piece is formatted completely and written by one WriteString,
// and only when bWriteLog is set. Failures of the log object are exceptions
// (CFileException); only the head of the log is guarded here.
#pragma once

#include <string_view>

#include "cleaning/clean_params.h"
#include "platform/host_window.h"

namespace orvane {

inline constexpr const char* kLogTitle = "Peltrix Log File\n";
inline constexpr const char* kLogNoiseLine = "\t-Random noise removing algorithm deleted %d peaks.\n";
inline constexpr const char* kLogTotalLine = "\t-Total peaks removed: %d\n";

// Writes text to the run log when bWriteLog is set. Throws CFileException
// when the log cannot be written (also when bWriteLog is set without a log).
void WriteLog(const CleanParams& params, std::string_view text);
// The rule that opens the log block of one unit (a DTA file, or a spectrum
// of an MGF file): a newline, 63 dashes, a newline, the name and a newline.
void WriteLogRule(const CleanParams& params, std::string_view name);
// The head of a driver run's log: the title and the parameter dump. A
// failure shows the error box "Couldn't write to the Log File" and the run
// goes on.
void WriteLogHead(const CleanParams& params);

// Sends a message to the host window (returns when the host has handled it).
void SendToHost(const CleanParams& params, unsigned message, WPARAM wParam, LPARAM lParam = 0);
// Tests the cancel event without waiting. When it is set, posts PM_CANCELLED
// (1280) and answers true: the caller closes what it holds and returns E_ABORT.
bool StopRequested(const CleanParams& params);

}  // namespace orvane
