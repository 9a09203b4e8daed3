#include "stop_signals.h"

namespace orvane::app {
namespace {

CEvent g_cancel;

extern "C" void OnStopSignal(int sig) {
  g_cancel.Set();
  std::signal(sig, SIG_DFL);
}

}  // namespace

CEvent& HostCancelEvent() { return g_cancel; }

StopSignals::StopSignals() {
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &oldInt_);
  sigaction(SIGTERM, &action, &oldTerm_);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &oldInt_, nullptr);
  sigaction(SIGTERM, &oldTerm_, nullptr);
}

}  // namespace orvane::app
