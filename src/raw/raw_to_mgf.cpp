// Raw file to MGF: every MS/MS scan that passes the options becomes one MGF
// block, or two (charges 2 and 3) when the scan isn't clearly singly charged.
#include <string>

#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/conversions.h"
#include "raw/scan_access.h"
#include "raw/scan_walk.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"

namespace orvane {
namespace {

// Create or empty, write, text mode.
constexpr unsigned kOutputFlags = CStdioFile::modeCreate | CStdioFile::modeWrite;

bool OpenOutput(CStdioFile& file, const std::string& strPath, const std::string& strRawFile) {
  if (IsSameFile(strPath, strRawFile)) {
    ShowPlain(Format("Error!\nThe output %s is the raw file itself; it is not overwritten.",
                     strPath.c_str()));
    return false;
  }
  CFileException error;
  if (!file.Open(strPath, kOutputFlags, &error)) {
    error.ReportError();
    return false;
  }
  return true;
}

}  // namespace

HRESULT RawToMgf(const std::string& strRawFile, const std::string& strMgfFile, IRawReader* pReader,
                 RawOptions* pOptions, CEvent* pCancelEvent, CWnd* pProgressWnd, MgfDialect dialect) {
  if (pOptions == nullptr) {
    ShowError(Format("Raw2Mgf Params not present. \nHRESULT = 0x%x", 0u));
    return E_UNEXPECTED;
  }
  const bool bSplit = pOptions->bSplitMsLevels;
  CStdioFile fileAll;
  CStdioFile fileMs2;
  CStdioFile fileMs3;
  if (bSplit) {
    const FilePath mgfPath(strMgfFile);
    const std::string strStem = mgfPath.GetFolder(true).GetString() + mgfPath.GetFileTitle();
    if (!OpenOutput(fileMs3, strStem + "_ms3.mgf", strRawFile)) return E_UNEXPECTED;
    if (!OpenOutput(fileMs2, strStem + "_ms2.mgf", strRawFile)) {
      fileMs3.Abort();
      return E_UNEXPECTED;
    }
  } else if (!OpenOutput(fileAll, strMgfFile, strRawFile)) {
    return E_UNEXPECTED;
  }

  // Titles carry the output's name, not the raw file's.
  const std::string strBase = PathBaseName(strMgfFile);
  const ScanWriter write = [&](Dta* pDta, const ScanInfo& scan, int nCharge,
                               double) -> HRESULT {
    pDta->nCharge = nCharge;
    pDta->strTitle = Format("%s.%d.%d.dta", strBase.c_str(), scan.nScan, nCharge);
    CStdioFile* pFile = &fileAll;
    if (bSplit) {
      if (scan.nMsLevel == 2)
        pFile = &fileMs2;
      else if (scan.nMsLevel == 3)
        pFile = &fileMs3;
      else
        return S_OK;
    }
    ExportMgf(pFile, pDta, std::string(), dialect);
    return S_OK;
  };

  HRESULT hr = S_OK;
  try {
    hr = WalkRawScans({pReader, strRawFile, pOptions, pCancelEvent, pProgressWnd, true}, write);
  } catch (...) {
    // A failed reader call ends the reader work; what was written stays.
  }

  // Blocks written so far stay, whatever ended the walk.
  for (CStdioFile* pFile : {&fileAll, &fileMs2, &fileMs3}) {
    try {
      pFile->Close();
    } catch (const CFileException& e) {
      e.ReportError();
      if (hr == S_OK) hr = E_UNEXPECTED;
    }
  }
  return hr;
}

}  // namespace orvane
