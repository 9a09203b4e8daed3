#include "raw/scan_walk.h"

#include <filesystem>
#include <system_error>

#include "platform/format.h"
#include "platform/reporter.h"
#include "raw/scan_access.h"

namespace orvane {
namespace {

bool InWindow(double dMass, const RawOptions* pOptions) {
  return dMass >= pOptions->dMinMass && dMass <= pOptions->dMaxMass;
}

// The charges a scan is written with: class 1 once as charge 1 if its m/z
// fits the window; any other class as charge 2 if its MH+ for charge 2 fits,
// and only then as charge 3 if that MH+ fits too.
HRESULT WriteCharges(Dta* pDta, const ScanInfo& scan, const RawOptions* pOptions,
                     const ScanWriter& write) {
  const double m = scan.dPrecursorMz;
  pDta->dMass = m;
  if (scan.nChargeClass == 1) {
    if (InWindow(m, pOptions)) return write(pDta, scan, 1, m);
    return S_OK;
  }
  if (!InWindow(MzToMh(m, 2, kProton), pOptions)) return S_OK;
  const HRESULT hr = write(pDta, scan, 2, m);
  if (FAILED(hr)) return hr;
  if (InWindow(MzToMh(m, 3, kProton), pOptions)) return write(pDta, scan, 3, m);
  return S_OK;
}

}  // namespace

HRESULT WalkRawScans(const ScanWalk& walk, const ScanWriter& write) {
  IRawReader* pReader = walk.pReader;
  if (pReader == nullptr || pReader->OpenRawFile(walk.strRawFile) != 0) {
    ShowError(Format("Cannot open file %s", walk.strRawFile.c_str()));
    return S_OK;
  }
  pReader->SelectController(0, 1);
  long nCount = 0;
  pReader->GetSpectrumCount(&nCount);
  SendTo(walk.pProgressWnd, PM_RAW_SCANS, static_cast<WPARAM>(nCount),
       TextParam(walk.strRawFile.c_str()));

  long nFirst = 0;
  long nLast = 0;
  pReader->GetFirstScan(&nFirst);
  pReader->GetLastScan(&nLast);
  const double dMaxBasePeak =
      GetMaxBasePeak(pReader, nFirst, nLast);

  HRESULT hr = S_OK;
  if (walk.bRejectLastScanZero && nLast == 0) {
    hr = E_UNEXPECTED;
  } else {
    Dta dta;
    unsigned long n = 0;
    // Numbers no spectrum carries are empty survey scans: the reader lets the
    // walk skip them, so a file numbered 1 and 9,000,000,000 is two steps.
    for (long s = nFirst; s <= nLast; s = pReader->NextScanAfter(s, nLast)) {
      dta.Clear();
      ScanInfo scan;
      scan.nScan = static_cast<int>(s);
      scan.dMaxBasePeak = dMaxBasePeak;
      ++n;

      const int status = ReadScan(pReader, &scan, walk.pOptions, &dta);
      if (status == kScanUnexpectedType) {
        hr = E_UNEXPECTED;
        break;
      }
      if (status != kScanTooFewPeaks && scan.nMsLevel > 1) {
        hr = WriteCharges(&dta, scan, walk.pOptions, write);
        if (FAILED(hr)) {
          hr = E_UNEXPECTED;
          break;
        }
      }
      if (CancelRequested(walk.pCancelEvent, walk.pProgressWnd)) {
        hr = E_ABORT;
        break;
      }
      SendTo(walk.pProgressWnd, PM_RAW_SCAN, static_cast<WPARAM>(n), 0);
    }
  }
  pReader->CloseRawFile();
  return hr;
}

bool IsSameFile(const std::string& strPath, const std::string& strOther) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::exists(strPath, ec) && fs::exists(strOther, ec)) return fs::equivalent(strPath, strOther, ec);
  const fs::path a = fs::absolute(strPath, ec).lexically_normal();
  const fs::path b = fs::absolute(strOther, ec).lexically_normal();
  return a == b;
}

}  // namespace orvane
