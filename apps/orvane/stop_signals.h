// Ctrl-C for the host: SIGINT and SIGTERM set the cancel event of the command
// in hand, so a run stops cleanly after the spectrum it is working on; a
// second signal ends the process at once.
#pragma once

#include <csignal>

#include "platform/host_window.h"

namespace orvane::app {

// The cancel event the commands hand to the engine. Setting it is safe in a
// signal handler.
CEvent& HostCancelEvent();

// While it lives, SIGINT and SIGTERM set HostCancelEvent().
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  struct sigaction oldInt_ {};
  struct sigaction oldTerm_ {};
};

}  // namespace orvane::app
