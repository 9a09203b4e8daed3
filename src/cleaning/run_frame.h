// The frame of a spectrum driver's run: the interfaces of the engine object
// and a new signal-processing component, taken at the start and given back
// on every way out.
#pragma once

#include "cleaning/clean_params.h"
#include "cleaning/run_state.h"

namespace orvane {

inline constexpr const char* kNoTonalithComponent =
    "Couldn't create the Tonalith component. \nHRESULT = 0x%x";
inline constexpr const char* kNoTonalithInterface =
    "Couldn't obtain ITonalith interface. \nHRESULT = 0x%x";

class RunFrame {
 public:
  RunFrame(IUnknown* pSelf, RunState& state) : pSelf_(pSelf), state_(state) {}
  // Closes the run if it is still open.
  ~RunFrame();
  RunFrame(const RunFrame&) = delete;
  RunFrame& operator=(const RunFrame&) = delete;

  // Takes IImportMSMS, IEditMSMS, IAnalyzeMSMS and IExportMSMS of the object
  // and creates "Tonalith.TonalithObj", in this order, then writes the head
  // of the log. A failed step shows its note box, gives back what the earlier
  // steps took and answers E_NOINTERFACE, or E_UNEXPECTED when the component
  // cannot be created. S_OK: the run is open.
  HRESULT Open(const CleanParams& params);
  // Releases the five references in the order import, edit, analyze, export,
  // component. A release that throws shows "Couldn't release interfaces".
  void Close();
  bool IsOpen() const { return open_; }

 private:
  void ReleaseAll();

  IUnknown* pSelf_;
  RunState& state_;
  bool open_ = false;
};

}  // namespace orvane
