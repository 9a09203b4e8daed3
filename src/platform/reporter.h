// Message boxes, as the engine shows them to a user.
//
// The engine never blocks on a box: it hands the text to the installed
// reporter and goes on. The command-line host prints one line to standard
// error; tests record the boxes and assert on them. A reporter installed for
// the current thread wins over the process-wide one, so parallel workers can
// each collect their own.
#pragma once

#include <string>
#include <string_view>

#include "platform/format.h"

namespace orvane {

enum class BoxKind {
  Error,      // MessageBoxA, MB_ICONERROR, caption "Error": pipeline, reading, closing down
  Note,       // information box: interfaces or components missing, conversion failures
  Plain,      // plain box: outputs or folders that cannot be created
  Stop,       // stop-sign box of the application: "Error cleaning %s file. ..."
  FileError,  // the report of a file exception
  Warning,    // ours: something was set right or left out, and the run goes on
};

// The box type a Windows host would have passed: 0x10, 0x40, 0 or 0x10.
unsigned BoxType(BoxKind kind);
const char* BoxKindName(BoxKind kind);

class IReporter {
 public:
  virtual ~IReporter() = default;
  virtual void Show(BoxKind kind, std::string_view text) = 0;
};

// Process-wide reporter; returns the one it replaces. nullptr restores the
// default, which writes "orvane: <kind>: <text>" lines to standard error.
IReporter* SetReporter(IReporter* reporter);

// Installs a reporter for the calling thread for the life of the object.
class ScopedThreadReporter {
 public:
  explicit ScopedThreadReporter(IReporter* reporter);
  ~ScopedThreadReporter();
  ScopedThreadReporter(const ScopedThreadReporter&) = delete;
  ScopedThreadReporter& operator=(const ScopedThreadReporter&) = delete;

 private:
  IReporter* previous_;
};

void ShowBox(BoxKind kind, std::string_view text);

// A box text as one line: its line breaks become single blanks, and blanks at
// the end go.
std::string OneLine(std::string_view text);
inline void ShowError(std::string_view text) { ShowBox(BoxKind::Error, text); }
inline void ShowNote(std::string_view text) { ShowBox(BoxKind::Note, text); }
inline void ShowPlain(std::string_view text) { ShowBox(BoxKind::Plain, text); }
inline void ShowStop(std::string_view text) { ShowBox(BoxKind::Stop, text); }
inline void ShowFileError(std::string_view text) { ShowBox(BoxKind::FileError, text); }
inline void ShowWarning(std::string_view text) { ShowBox(BoxKind::Warning, text); }


}  // namespace orvane
