// The driver for MGF inputs: every spectrum of every input file through the
// pipeline, into one pair of outputs per input or into the SpectraMerged
// files of the run, kept apart by MS level.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <list>
#include <memory>
#include <string>

#include "cleaning/drivers.h"
#include "cleaning/run_frame.h"
#include "cleaning/run_log.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/raw_options.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"

namespace orvane {
namespace {

constexpr unsigned kCreateWrite = CStdioFile::modeCreate | CStdioFile::modeWrite;  // 0x1001
constexpr unsigned kReadDenyWrite = CStdioFile::modeRead | CStdioFile::shareDenyWrite;
constexpr const char* kBadFolder = "badspectra/";

// A clean output and the bad output that goes with it.
struct OutputPair {
  std::unique_ptr<CStdioFile> pClean;
  std::unique_ptr<CStdioFile> pBad;
  bool bOpened = false;
  unsigned nClean = 0;  // spectra written to each
  unsigned nBad = 0;
};

// MS level of an input by its title: 1 for a title ending in "ms2", 2 for
// "ms3", 0 otherwise. One more extension is dropped first, so "run.1_ms2"
// counts as "run".
int MsLevelOfTitle(const std::string& title) {
  const std::string t = FilePath(title).GetFileTitle();
  if (t.size() < 3) return 0;
  const std::string tail = t.substr(t.size() - 3);
  if (tail == "ms2") return 1;
  if (tail == "ms3") return 2;
  return 0;
}

class MgfDriver {
 public:
  MgfDriver(IUnknown* pSelf, RunState& state, CleanParams& params)
      : state_(state), params_(params), frame_(pSelf, state) {}

  HRESULT Run() {
    const std::list<std::string>& files = params_.pFileList->lstFiles;
    if (files.empty()) return S_OK;
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
    // The modern dialect leaves no output under its name that is not
    // complete: a stop or a failure throws away what is in progress.
    if (Modern() && hr != S_OK)
      AbortAll();
    else
      CloseAll();
    frame_.Close();
    // Modern dialect: an input that failed, or an output that could not be
    // completed (a full disk at the last flush), fails the run; spectra that
    // could not be cleaned (each reported) leave whole outputs: S_FALSE.
    if (hr == S_OK && Modern() && (nFailedInputs_ > 0 || bCloseFailed_)) hr = E_FAIL;
    if (hr == S_OK && Modern() && nFailedSpectra_ > 0) hr = S_FALSE;
    return hr;
  }

 private:
  bool SeparateBad() const { return params_.bExportBad && params_.nBadSpectraAction == 1; }
  bool Modern() const { return state_.dialect == MgfDialect::Modern; }

  HRESULT RunFiles() {
    if (params_.bMergeOutput) {
      // The general pair is made at the start of every merged run, whatever
      // the levels of the inputs and whatever becomes of bad spectra.
      const std::string folder = params_.strOutputFolder;
      if (!OpenOutput(merged_[0].pClean, folder + "SpectraMerged_c.mgf",
                      "the file pfCleanExportM could not be created") ||
          !OpenOutput(merged_[0].pBad, folder + kBadFolder + "SpectraMerged_b.mgf",
                      "the file pfBadExportM could not be created"))
        return E_UNEXPECTED;
      merged_[0].bOpened = true;
    }
    const std::list<std::string>& files = params_.pFileList->lstFiles;
    const std::list<std::int32_t>& rows = params_.pFileList->lstRows;
    auto row = rows.begin();
    for (const std::string& path : files) {
      const std::int32_t nRow = row != rows.end() ? *row : 0;
      if (row != rows.end()) ++row;
      const HRESULT hr = CleanInput(path, nRow);
      if (hr != S_OK) return hr;
    }
    return S_OK;
  }

  HRESULT CleanInput(const std::string& path, std::int32_t nRow) {
    SendToHost(params_, PM_ROW_BEGIN, static_cast<WPARAM>(nRow));
    const unsigned nTotal = CountMgfSpectra(path.c_str());
    SendToHost(params_, PM_STEP_TOTAL, nTotal);
    unsigned nDone = 0;

    CFileException error;
    if (!input_.Open(path, kReadDenyWrite, &error)) {
      error.ReportError();
      if (!Modern()) return E_UNEXPECTED;
      // The other inputs are cleaned all the same; the run ends failed.
      ++nFailedInputs_;
      SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(nRow));
      return S_OK;
    }

    // run.mgf.gz names its outputs as run.mgf would.
    const FilePath inputPath(WithoutGzipSuffix(path));
    const std::string folder = inputPath.GetFolder(true).GetString();
    OutputPair* pPair = nullptr;
    if (!params_.bMergeOutput) {
      const std::string title = inputPath.GetFileTitle();
      const std::string ext = inputPath.GetExtension();
      perInput_ = OutputPair{};
      if (!OpenOutput(perInput_.pClean, params_.strOutputFolder + title + "_c." + ext,
                      "the file pfCleanExportM could not be created"))
        return E_UNEXPECTED;
      if (SeparateBad() &&
          !OpenOutput(perInput_.pBad,
                      params_.strOutputFolder + kBadFolder + title + "_bad_c." + ext,
                      "the file pfBadExportM could not be created"))
        return E_UNEXPECTED;
      perInput_.bOpened = true;
      pPair = &perInput_;
    } else {
      const int nLevel = MsLevelOfTitle(inputPath.GetFileTitle());
      pPair = &merged_[nLevel];
      if (!pPair->bOpened) {
        const char* tag = nLevel == 1 ? "ms2" : "ms3";
        const std::string cleanName = Format("SpectraMerged_%s_c.mgf", tag);
        const std::string badName = Format("SpectraMerged_%s_b.mgf", tag);
        if (!OpenOutput(pPair->pClean, params_.strOutputFolder + cleanName,
                        Format("the file pfCleanExportM_%s could not be created", tag)))
          return E_UNEXPECTED;
        if (SeparateBad() &&
            !OpenOutput(pPair->pBad, params_.strOutputFolder + kBadFolder + badName,
                        Format("the file pfBadExportM_%s could not be created", tag)))
          return E_UNEXPECTED;
        pPair->bOpened = true;
      }
    }

    // Only merged outputs of runs that came from raw files name the source of
    // each block.
    const std::string comment =
        params_.pRawOptions != nullptr && params_.bMergeOutput ? path : std::string();
    const std::int32_t nExportOption =
        params_.pRawOptions != nullptr ? params_.pRawOptions->nExportOption : 2;

    Dta dtaIn;
    Dta dtaOut;
    for (;;) {
      // The counter never passes the last spectrum the count found, so a
      // host's bar can't overrun (0 for a file of none).
      SendToHost(params_, PM_STEP_BEGIN, std::min(nDone, nTotal - 1u), TextParam(path.c_str()));
      dtaIn.Clear();
      dtaOut.Clear();
      dtaIn.strPath = folder;
      const HRESULT hr = state_.pImportMSMS->ImportMgf(&input_, &dtaIn);
      WriteLogRule(params_, dtaIn.strTitle);
      if (FAILED(hr)) {
        // The modern reader has named the file and the line already.
        if (Modern()) return FailInput(hr);
        ShowError("Couldn't import data");
        return hr;
      }
      state_.bEnoughPeaks = dtaIn.GetPeakCount() > 2;
      // A read error (damaged gzip data, say) has shown its box and looks
      // like the end of the file: the run fails instead of passing for whole.
      if (hr == S_FALSE && input_.ReadFailed()) return Modern() ? FailInput(E_FAIL) : E_FAIL;
      if (hr == S_FALSE) break;

      if (state_.bEnoughPeaks) {
        // The cleaned spectrum keeps the identity of the one it came from.
        dtaOut.strPath = folder;
        dtaOut.strTitle = dtaIn.strTitle;
        dtaOut.vHeaderLines = dtaIn.vHeaderLines;
        dtaOut.vCharges = dtaIn.vCharges;
        dtaOut.dPrecursorIntensity = dtaIn.dPrecursorIntensity;
        int nResult = 1;
        if (params_.bSkipCleaning) dtaOut = dtaIn;
        else nResult = CleanSpectrum(state_, dtaIn, &params_, dtaOut);
        const HRESULT hrWrite = WriteSpectrum(*pPair, nResult, dtaIn, dtaOut, comment, nExportOption);
        if (FAILED(hrWrite)) return hrWrite;
      }

      ++nDone;
      SendToHost(params_, PM_STEP_DONE, nDone);
      if (StopRequested(params_)) return E_ABORT;
    }

    // Spectra the reader refused (each reported) leave the outputs whole, as
    // those the pipeline could not take.
    if (Modern()) nFailedSpectra_ += MgfReader(input_, MgfDialect::Modern).Refused();
    input_.Close();
    if (!params_.bMergeOutput) ClosePair(perInput_);
    SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(nRow));
    return S_OK;
  }

  // The modern dialect: an input that fails midway leaves no output of its
  // own; the run goes on with the next input and ends failed. Merged outputs
  // can't drop what the input gave them, so there the run ends.
  HRESULT FailInput(HRESULT hr) {
    if (params_.bMergeOutput) return hr;
    if (input_.IsOpen()) CloseFile(input_);
    AbortPair(perInput_);
    ++nFailedInputs_;
    return S_OK;
  }

  HRESULT WriteSpectrum(OutputPair& pair, int nResult, Dta& dtaIn, Dta& dtaOut,
                        const std::string& comment, std::int32_t nExportOption) {
    if (pair.pClean == nullptr) {
      ShowError("Error accessing export file");
      return E_UNEXPECTED;
    }
    IExportMSMS* pExport = state_.pExportMSMS;
    if (Modern() && nResult <= 0) {
      // A spectrum the pipeline could not take (its stage said why) is no
      // empty block: it goes nowhere, or as it was read to the bad output.
      ++nFailedSpectra_;
      const bool bKeep = SeparateBad() && pair.pBad != nullptr;
      ShowError(Format("The spectrum \"%s\" could not be cleaned; %s", dtaIn.strTitle.c_str(),
                       bKeep ? "it goes to the bad spectra as it was read" : "it is left out"));
      if (bKeep) {
        pExport->ExportMgf(pair.pBad.get(), &dtaIn, nExportOption, comment);
        ++pair.nBad;
      }
      return S_OK;
    }
    if (nResult < 4 && Modern() && dtaOut.GetPeakCount() == 0) {
      ShowWarning(Format("The spectrum \"%s\" has no peak left after cleaning; it is left out",
                         dtaIn.strTitle.c_str()));
      return S_OK;
    }
    if (nResult < 4) {
      pExport->ExportMgf(pair.pClean.get(), &dtaOut, nExportOption, comment);
      ++pair.nClean;
      return S_OK;
    }
    if (!params_.bExportBad) return S_OK;
    switch (params_.nBadSpectraAction) {
      case 0:
        // The modern dialect writes the bad spectrum as it was cleaned: a
        // spectrum the tag check refused has no cleaned peaks, so it goes
        // as it was read rather than as an empty block.
        if (Modern() && dtaOut.GetPeakCount() == 0)
          pExport->ExportMgf(pair.pClean.get(), &dtaIn, 2, std::string());
        else
          pExport->ExportMgf(pair.pClean.get(), &dtaOut, 2, std::string());
        ++pair.nClean;
        return S_OK;
      case 1:
        if (pair.pBad == nullptr) {
          ShowError("Error accessing export file");
          return E_UNEXPECTED;
        }
        // A separated bad spectrum is the spectrum as it was read.
        pExport->ExportMgf(pair.pBad.get(), &dtaIn, nExportOption, comment);
        ++pair.nBad;
        return S_OK;
      default:
        return S_OK;
    }
  }

  // Creates (or empties) an output file. On failure shows boxText as a plain
  // box and answers false.
  static bool OpenOutput(std::unique_ptr<CStdioFile>& slot, const std::string& path,
                         const std::string& boxText) {
    auto file = std::make_unique<CStdioFile>();
    if (!file->Open(path, kCreateWrite)) {
      ShowPlain(boxText);
      return false;
    }
    slot = std::move(file);
    return true;
  }

  void CloseFile(CStdioFile& file) {
    try {
      file.Close();
    } catch (const CFileException& e) {
      e.ReportError();
      bCloseFailed_ = true;
    }
  }

  void ClosePair(OutputPair& pair) {
    // The modern dialect leaves no empty file, which a search engine would
    // refuse.
    if (pair.pClean && Modern() && pair.nClean == 0) pair.pClean->Abort();
    if (pair.pBad && Modern() && pair.nBad == 0) pair.pBad->Abort();
    if (pair.pClean) CloseFile(*pair.pClean);
    if (pair.pBad && pair.pBad->IsOpen()) {
      // A bad file that got nothing isn't left behind.
      const bool bEmpty = SeparateBad() && pair.pBad->GetLength() == 0;
      CloseFile(*pair.pBad);
      if (bEmpty && std::remove(pair.pBad->GetFilePath().c_str()) != 0)
        ShowError("Could not delete empty bad spectra file !");
    }
    pair = OutputPair{};
  }

  // Every way out: the input, the outputs of the input in hand, and the
  // merged pairs in the order general, MS2, MS3.
  void CloseAll() {
    if (input_.IsOpen()) CloseFile(input_);
    ClosePair(perInput_);
    for (OutputPair& pair : merged_) ClosePair(pair);
  }

  static void AbortPair(OutputPair& pair) {
    if (pair.pClean) pair.pClean->Abort();
    if (pair.pBad) pair.pBad->Abort();
    pair = OutputPair{};
  }

  void AbortAll() {
    if (input_.IsOpen()) CloseFile(input_);
    AbortPair(perInput_);
    for (OutputPair& pair : merged_) AbortPair(pair);
  }

  RunState& state_;
  CleanParams& params_;
  RunFrame frame_;
  CStdioFile input_;
  OutputPair perInput_;
  OutputPair merged_[3];  // general, MS2, MS3
  bool bCloseFailed_ = false;
  unsigned nFailedInputs_ = 0;   // modern dialect: inputs that could not be read to their end
  unsigned nFailedSpectra_ = 0;  // modern dialect: spectra the pipeline could not take
};

}  // namespace

HRESULT CleanMgfFiles(IUnknown* pSelf, RunState& state, CleanParams* pParams) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  MgfDriver driver(pSelf, state, *pParams);
  return driver.Run();
}

}  // namespace orvane
