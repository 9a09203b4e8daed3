// The driver for DTA inputs: one spectrum to a file, each file one step.
#include <exception>
#include <list>
#include <string>

#include "cleaning/drivers.h"
#include "cleaning/run_frame.h"
#include "cleaning/run_log.h"
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
        return hr;
      }
      state_.bEnoughPeaks = dtaIn.GetPeakCount() > 2;
      if (state_.bEnoughPeaks) {
        Dta dtaOut;
        const int nResult = CleanSpectrum(state_, dtaIn, &params_, dtaOut);
        Export(nResult, dtaIn, dtaOut);
      }

      ++nDone;
      SendToHost(params_, PM_STEP_DONE, nDone);
      SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(nRow));
      if (StopRequested(params_)) return E_ABORT;
    }
    return S_OK;
  }

  // Writes the cleaned spectrum where its verdict sends it. Unlike the MGF
  // driver, a separated bad spectrum is the cleaned one.
  void Export(int nResult, const Dta& dtaIn, Dta& dtaOut) {
    const FilePath name(dtaIn.strTitle);
    const std::string title = name.GetFileTitle();
    const std::string ext = name.GetExtension();
    const std::string cleanPath = params_.strOutputFolder + title + "_c." + ext;
    IExportMSMS* pExport = state_.pExportMSMS;
    if (nResult < 4) {
      pExport->ExportDta(cleanPath.c_str(), &dtaOut, 2);
      return;
    }
    if (!params_.bExportBad) return;
    if (params_.nBadSpectraAction == 0) {
      pExport->ExportDta(cleanPath.c_str(), &dtaOut, 2);
    } else if (params_.nBadSpectraAction == 1) {
      const std::string badPath =
          params_.strOutputFolder + "badspectra/" + title + "_bad_c." + ext;
      pExport->ExportDta(badPath.c_str(), &dtaOut, 2);
    }
  }

  RunState& state_;
  CleanParams& params_;
  RunFrame frame_;
};

}  // namespace

HRESULT CleanDtaFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  DtaDriver driver(pSelf, state, *pParams);
  return driver.Run();
}

}  // namespace orvane
