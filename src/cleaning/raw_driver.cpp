// The raw file driver: converts every raw file first, announcing each file
// made to the host, and then cleans the converted files with the MGF or DTA
// driver. The converted files stay; the cleaned ones are written beside them.
#include <string>

#include "cleaning/drivers.h"
#include "platform/format.h"
#include "platform/host_window.h"
#include "platform/reporter.h"
#include "raw/conversions.h"
#include "raw/raw_options.h"
#include "raw/scan_access.h"
#include "spectrum/disk_object.h"
#include "spectrum/file_path.h"

namespace orvane {
namespace {

// Enters a converted file in the host's table (row n) and in list.
void Announce(CWnd* pWnd, const std::string& strPath, CleanFileList& list, std::int32_t& n) {
  SendTo(pWnd, PM_ROW_ADDED, static_cast<WPARAM>(n), TextParam(strPath.c_str()));
  list.lstFiles.push_back(strPath);
  list.lstRows.push_back(n);
  ++n;
}

}  // namespace

HRESULT CleanRawFiles(CleanParams* pParams, const RunOptions& run) {
  if (pParams == nullptr || pParams->pFileList == nullptr || pParams->pFileList->lstFiles.empty())
    return S_OK;

  RawOptions* pOptions = pParams->pRawOptions;
  if (pOptions == nullptr) {
    ShowError(Format("Raw2Mgf Params not present. \nHRESULT = 0x%x", 0u));
    return E_UNEXPECTED;
  }
  const bool bSplit = pOptions->bSplitMsLevels;

  CleanParams cpLocal = *pParams;
  CleanFileList flAll;
  CleanFileList flMs2;
  CleanFileList flMs3;
  flAll.nMode = flMs2.nMode = flMs3.nMode = InputKind::Mgf;
  CWnd* pWnd = pParams->hProgressWnd;
  std::int32_t n = 0;
  std::string strMgf;

  // First phase: convert every raw file.
  for (const std::string& strRaw : pParams->pFileList->lstFiles) {
    strMgf = pParams->strOutputFolder + PathBaseName(strRaw) + ".mgf";
    SendTo(pWnd, PM_RAW_BEGIN, static_cast<WPARAM>(n), 0);

    const ConvertTarget nOption = pOptions->nConvertOption;
    StringList lstAll;
    StringList lstMs2;
    StringList lstMs3;
    HRESULT hr = S_OK;
    if (nOption == ConvertTarget::Mgf) {
      hr = RawToMgf(strRaw, strMgf, pParams->pRawReader, pOptions, pParams->pCancelEvent, pWnd,
                    run.dialect);
    } else if (nOption == ConvertTarget::Dta) {
      hr = RawToDta(strRaw, pParams->strOutputFolder, pParams->pRawReader, pOptions, &lstAll,
                    &lstMs2, &lstMs3, pParams->pCancelEvent, pWnd, run.dialect);
    } else {
      ShowNote("Error! Bad convert option.");
      return E_UNEXPECTED;
    }
    SendTo(pWnd, PM_RAW_DONE, static_cast<WPARAM>(n), 0);

    // A stop during conversion ends the run before anything is cleaned.
    if (hr == E_ABORT) return S_OK;
    if (FAILED(hr)) {
      ShowNote(Format("Couldn't extract data from %s file. \nHRESULT = 0x%x", strRaw.c_str(),
                      static_cast<unsigned>(hr)));
      return E_UNEXPECTED;
    }
    ++n;

    if (nOption == ConvertTarget::Mgf) {
      if (!bSplit) {
        Announce(pWnd, strMgf, flAll, n);
      } else {
        // The two names the conversion wrote; strMgf ends on the MS3 one.
        const FilePath mgfPath(strMgf);
        const std::string strStem = mgfPath.GetFolder(true).GetString() + mgfPath.GetFileTitle();
        strMgf = strStem + "_ms2.mgf";
        Announce(pWnd, strMgf, flMs2, n);
        strMgf = strStem + "_ms3.mgf";
        Announce(pWnd, strMgf, flMs3, n);
      }
    } else if (!bSplit) {
      for (const std::string& strPath : lstAll) Announce(pWnd, strPath, flAll, n);
    } else {
      for (const std::string& strPath : lstMs2) Announce(pWnd, strPath, flMs2, n);
      for (const std::string& strPath : lstMs3) Announce(pWnd, strPath, flMs3, n);
    }
  }

  // Second phase: clean what the first one made. Each driver call is a run
  // of its own; only the status of the last one counts.
  HRESULT hrCounts = S_OK;
  if (pOptions->nConvertOption == ConvertTarget::Dta) {
    flAll.nMode = InputKind::Dta;
    cpLocal.pFileList = &flAll;
    hrCounts = CleanDtaFiles(&cpLocal, run);
    if (bSplit) {
      const std::string strFolder = pParams->strOutputFolder;
      CDiskObject disk;
      const char* const pszCleaned[] = {"dta_ms2_cleaned/", "dta_ms3_cleaned/"};
      CleanFileList* const pLists[] = {&flMs2, &flMs3};
      for (int i = 0; i < 2; ++i) {
        cpLocal.strOutputFolder = strFolder + pszCleaned[i];
        if (!disk.CreateDirectory(cpLocal.strOutputFolder)) {
          ShowPlain(Format("Error!\nCouldn't create directory %s.", strFolder.c_str()));
          return E_UNEXPECTED;
        }
        pLists[i]->nMode = InputKind::Dta;
        cpLocal.pFileList = pLists[i];
        hrCounts = CleanDtaFiles(&cpLocal, run);
      }
    }
  } else {
    for (CleanFileList* pList : {&flAll, &flMs2, &flMs3}) {
      cpLocal.pFileList = pList;
      hrCounts = CleanMgfFiles(&cpLocal, run);
    }
  }

  if (FAILED(hrCounts) && hrCounts != E_ABORT) {
    ShowStop(Format("Error cleaning %s file. \nHRESULT = 0x%x", strMgf.c_str(),
                    static_cast<unsigned>(hrCounts)));
    return E_UNEXPECTED;
  }
  return S_OK;
}

}  // namespace orvane
