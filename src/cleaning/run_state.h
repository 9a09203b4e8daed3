// What a cleaning run holds in the engine object while it runs: the
// interfaces of the object it works through, the signal-processing component
// made for the run, and whether the spectrum in hand is long enough to clean.
#pragma once

#include "frame/interfaces.h"
#include "tonalith/itonalith.h"

namespace orvane {

struct RunState {
  bool bEnoughPeaks = false;
  // What the outputs of a run are written as; set by the object's dialect.
  MgfDialect dialect = MgfDialect::Classic;
  IImportMSMS* pImportMSMS = nullptr;
  IExportMSMS* pExportMSMS = nullptr;
  IEditMSMS* pEditMSMS = nullptr;
  ITonalith* pTonalith = nullptr;
  IAnalyzeMSMS* pAnalyzeMSMS = nullptr;
};

}  // namespace orvane
