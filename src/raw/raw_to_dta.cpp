// Raw file to DTA files: the walk of the MGF conversion, with one DTA file
// per spectrum and charge in a folder of its own, and the paths handed back.
#include <string>
#include <vector>

#include "platform/format.h"
#include "platform/reporter.h"
#include "raw/conversions.h"
#include "raw/scan_access.h"
#include "raw/scan_walk.h"
#include "spectrum/disk_object.h"
#include "spectrum/dta_file.h"

namespace orvane {

HRESULT RawToDta(const std::string& strRawFile, const std::string& strOutputFolder,
                 IRawReader* pReader, RawOptions* pOptions, StringList* pAllFiles,
                 StringList* pMs2Files, StringList* pMs3Files, CEvent* pCancelEvent,
                 CWnd* pProgressWnd, MgfDialect dialect) {
  for (StringList* pList : {pAllFiles, pMs2Files, pMs3Files})
    if (pList != nullptr) pList->clear();

  if (pOptions == nullptr) {
    ShowError(Format("Raw2Mgf Params not present. \nHRESULT = 0x%x", 0u));
    return E_UNEXPECTED;
  }
  const bool bSplit = pOptions->bSplitMsLevels;
  const std::string strAllFolder = Format("%sdta_converted/", strOutputFolder.c_str());
  const std::string strMs2Folder = Format("%sdta_converted_ms2/", strOutputFolder.c_str());
  const std::string strMs3Folder = Format("%sdta_converted_ms3/", strOutputFolder.c_str());
  CDiskObject disk;
  const std::vector<std::string> folders =
      bSplit ? std::vector<std::string>{strMs2Folder, strMs3Folder}
             : std::vector<std::string>{strAllFolder};
  for (const std::string& strFolder : folders) {
    if (!disk.CreateDirectory(strFolder)) {
      ShowPlain(Format("Error!\nCouldn't create directory %s.", strFolder.c_str()));
      return E_UNEXPECTED;
    }
  }

  // File names carry the raw file's name.
  const std::string strBase = PathBaseName(strRawFile);
  const ScanWriter write = [&](Dta* pDta, const ScanInfo& scan, int nCharge,
                               double dPrecursorMz) -> HRESULT {
    const char* pszNameFormat = "%s.%d.%d.%d.dta";
    const char* pszPathFormat = "%sdta_converted/%s";
    StringList* pList = pAllFiles;
    if (bSplit) {
      if (scan.nMsLevel == 2) {
        pszNameFormat = "%s_ms2.%d.%d.%d.dta";
        pszPathFormat = "%sdta_converted_ms2/%s";
        pList = pMs2Files;
      } else if (scan.nMsLevel == 3) {
        pszNameFormat = "%s_ms3.%d.%d.%d.dta";
        pszPathFormat = "%sdta_converted_ms3/%s";
        pList = pMs3Files;
      } else {
        return S_OK;
      }
    }
    // A DTA header holds MH+ for the charge of its file.
    pDta->nCharge = nCharge;
    pDta->dMass = nCharge == 1 ? dPrecursorMz : MzToMh(dPrecursorMz, nCharge, kProton);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const std::string strName =
        Format(pszNameFormat, strBase.c_str(), scan.nScan, scan.nScan, nCharge);
    const std::string strPath = Format(pszPathFormat, strOutputFolder.c_str(), strName.c_str());
#pragma GCC diagnostic pop
    pDta->strTitle = strName;
    const HRESULT hr = ExportDta(strPath.c_str(), pDta, dialect);
    if (pList != nullptr) pList->push_back(strPath);
    if (FAILED(hr)) {
      ShowNote(Format("Error exporting %s file. \nHRESULT = 0x%x", strName.c_str(),
                      static_cast<unsigned>(hr)));
      return E_UNEXPECTED;
    }
    return S_OK;
  };

  HRESULT hr = S_OK;
  try {
    hr = WalkRawScans({pReader, strRawFile, pOptions, pCancelEvent, pProgressWnd}, write);
    // The host learns of a stop by PM_CANCELLED alone.
    if (hr == E_ABORT) hr = S_OK;
  } catch (...) {
    // A failed reader call ends the reader work; the files written stay listed.
    hr = S_OK;
  }
  return hr;
}

}  // namespace orvane
