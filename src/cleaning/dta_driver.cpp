// The driver for DTA inputs: one spectrum to a file, each file one step.
#include <exception>
#include <list>
#include <string>

#include "cleaning/drivers.h"
#include "cleaning/run_frame.h"
#include "cleaning/run_log.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/file_path.h"

namespace orvane {
namespace {

class DtaDriver {
 public:
  DtaDriver(IUnknown* pSelf, RunState& state, CleanParams& params)
      : state_(state), params_(params), frame_(pSelf, state) {}

  HRESULT Run() {
    if (params_.pFileList->lstFiles.empty()) return S_OK;
    HRESULT hr = frame_.Open(params_);
    if (FAILED(hr)) return hr;
    try {
      hr = RunFiles();
    } catch (const CFileException& e) {
      e.ReportError();
      hr = E_UNEXPECTED;
    } catch (const std::exception& e) {
      ShowError(e.what());
      hr = E_UNEXPECTED;
    }
    frame_.Close();
    return hr;
  }

 private:
  HRESULT RunFiles() {
    const std::list<std::string>& files = params_.pFileList->lstFiles;
    const std::list<std::int32_t>& rows = params_.pFileList->lstRows;
    SendToHost(params_, PM_STEP_TOTAL, files.size());
    unsigned nDone = 0;
    auto row = rows.begin();
    for (const std::string& path : files) {
      const std::int32_t nRow = row != rows.end() ? *row : 0;
      if (row != rows.end()) ++row;

      WriteLogRule(params_, path);
      SendToHost(params_, PM_STEP_BEGIN, nDone, TextParam(path.c_str()));
      SendToHost(params_, PM_ROW_BEGIN, static_cast<WPARAM>(nRow));

      Dta dtaIn;
      const HRESULT hr = state_.pImportMSMS->ImportDta(path.c_str(), &dtaIn);
      if (FAILED(hr)) {
        ShowError("Couldn't import data");
        if (!Modern()) return hr;
        // The modern dialect goes on with the other files; the run ends failed.
        ++nFailed_;
      } else {
        state_.bEnoughPeaks = dtaIn.GetPeakCount() > 2;
        if (state_.bEnoughPeaks) {
          Dta dtaOut;
          const int nResult = CleanSpectrum(state_, dtaIn, &params_, dtaOut);
          const HRESULT hrExport = Export(nResult, dtaIn, dtaOut);
          // A file that can't be written (a full disk) ends the run.
          if (FAILED(hrExport) && Modern()) return hrExport;
        }
      }

      ++nDone;
      SendToHost(params_, PM_STEP_DONE, nDone);
      SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(nRow));
      if (StopRequested(params_)) return E_ABORT;
    }
    // Each output file is whole, whatever failed: S_FALSE.
    return nFailed_ > 0 ? S_FALSE : S_OK;
  }

  bool Modern() const { return state_.dialect == MgfDialect::Modern; }

  // Writes the cleaned spectrum where its verdict sends it. Unlike the MGF
  // driver, a separated bad spectrum is the cleaned one. The result counts
  // in the modern dialect only.
  HRESULT Export(int nResult, Dta& dtaIn, Dta& dtaOut) {
    const FilePath name(dtaIn.strTitle);
    const std::string title = name.GetFileTitle();
    const std::string ext = name.GetExtension();
    const std::string cleanPath = params_.strOutputFolder + title + "_c." + ext;
    const std::string badPath = params_.strOutputFolder + "badspectra/" + title + "_bad_c." + ext;
    IExportMSMS* pExport = state_.pExportMSMS;
    if (Modern() && nResult <= 0) {
      // No empty file for a spectrum the pipeline could not take (its stage
      // said why): nothing, or the spectrum as it was read among the bad.
      ++nFailed_;
      const bool bKeep = params_.bExportBad && params_.nBadSpectraAction == 1;
      ShowError(Format("The spectrum \"%s\" could not be cleaned; %s", dtaIn.strTitle.c_str(),
                       bKeep ? "it goes to the bad spectra as it was read" : "it is left out"));
      return bKeep ? pExport->ExportDta(badPath.c_str(), &dtaIn, 2) : S_OK;
    }
    // The modern dialect writes a bad spectrum without cleaned peaks (the tag
    // check refused it) as it was read, never as a file of no peaks.
    Dta* pBad = Modern() && dtaOut.GetPeakCount() == 0 ? &dtaIn : &dtaOut;
    if (nResult < 4 && Modern() && dtaOut.GetPeakCount() == 0) {
      ShowWarning(Format("The spectrum \"%s\" has no peak left after cleaning; no output made",
                         dtaIn.strTitle.c_str()));
      return S_OK;
    }
    if (nResult < 4) return pExport->ExportDta(cleanPath.c_str(), &dtaOut, 2);
    if (!params_.bExportBad) return S_OK;
    if (params_.nBadSpectraAction == 0) return pExport->ExportDta(cleanPath.c_str(), pBad, 2);
    if (params_.nBadSpectraAction == 1) return pExport->ExportDta(badPath.c_str(), pBad, 2);
    return S_OK;
  }

  RunState& state_;
  CleanParams& params_;
  RunFrame frame_;
  unsigned nFailed_ = 0;  // modern dialect: files not read or not cleaned
};

}  // namespace

HRESULT CleanDtaFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  DtaDriver driver(pSelf, state, *pParams);
  return driver.Run();
}

}  // namespace orvane
