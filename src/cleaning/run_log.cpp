#include "cleaning/run_log.h"

#include <cerrno>
#include <string>

#include "platform/reporter.h"
#include "platform/text_file.h"

namespace orvane {

void WriteLog(const CleanParams& params, std::string_view text) {
  if (!params.bWriteLog) return;
  if (params.pLogFile == nullptr) throw CFileException("", EBADF, "no log file is open");
  params.pLogFile->WriteString(text);
}

void WriteLogRule(const CleanParams& params, std::string_view name) {
  if (!params.bWriteLog) return;
  std::string piece = "\n---------------------------------------------------------------\n";
  piece.append(name);
  piece += '\n';
  WriteLog(params, piece);
}

void WriteLogHead(const CleanParams& params) {
  if (!params.bWriteLog) return;
  try {
    WriteLog(params, kLogTitle);
    WriteLog(params, ParamsDump(params));
  } catch (...) {
    ShowError("Couldn't write to the Log File");
  }
}

void SendToHost(const CleanParams& params, unsigned message, WPARAM wParam, LPARAM lParam) {
  SendTo(params.hProgressWnd, message, wParam, lParam);
}

bool StopRequested(const CleanParams& params) { return CancelRequested(params.pCancelEvent, params.hProgressWnd); }

}  // namespace orvane
