// The walk over the scans of one raw file that both raw conversions share:
// open, announce, read each scan, apply the mass window and the charge logic,
// report progress and poll the cancel event. Private to the raw conversions.
#pragma once

#include <functional>
#include <string>

#include "platform/host_window.h"
#include "platform/hresult.h"
#include "raw/raw_options.h"
#include "raw/raw_reader.h"
#include "spectrum/dta.h"

namespace orvane {

// Writes the scan in *pDta as charge nCharge. dPrecursorMz is the scan's
// precursor m/z. A failing status (after the writer's own box) ends the walk.
using ScanWriter =
    std::function<HRESULT(Dta* pDta, const ScanInfo& scan, int nCharge, double dPrecursorMz)>;

struct ScanWalk {
  IRawReader* pReader = nullptr;
  std::string strRawFile;
  const RawOptions* pOptions = nullptr;
  CEvent* pCancelEvent = nullptr;
  CWnd* pProgressWnd = nullptr;
  // A last scan number of 0 is a failure (E_UNEXPECTED) rather than an empty file.
  bool bRejectLastScanZero = false;
};

// Runs the walk. Results: S_OK when all scans are done or the file can't be
// opened (after the "Cannot open file" box); E_ABORT when the host
// cancelled; E_UNEXPECTED when a scan had a trailer of unexpected type, the
// writer failed, or the last scan number is 0 where that is rejected. The raw
// file is closed through the reader once it was opened and the walk ran to
// its end. Exceptions of the reader or the writer pass through unchanged.
HRESULT WalkRawScans(const ScanWalk& walk, const ScanWriter& write);

// Whether writing path would overwrite the raw input (same file, or the same
// normalised path when neither exists yet).
bool IsSameFile(const std::string& strPath, const std::string& strOther);

}  // namespace orvane
