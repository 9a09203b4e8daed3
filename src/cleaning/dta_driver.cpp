// The driver for DTA inputs: one spectrum to a file, each file one step.
// Files are read and cleaned ahead in order (on several threads when the run
// has jobs for them); messages, log and outputs follow as each comes back.
#include <exception>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "cleaning/drivers.h"
#include "cleaning/spectrum_task.h"
#include "cleaning/run_log.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/dta_file.h"
#include "spectrum/file_path.h"

namespace orvane {
namespace {

struct DtaTask final : SpectrumTask {
  std::string path;
  std::int32_t nRow = 0;
  HRESULT hr = S_OK;  // what ImportDta answered
  std::uint64_t nBytes = 0;  // the file's size, for the progress by bytes
};

class DtaDriver {
 public:
  DtaDriver(CleanParams& params, const RunOptions& run) : params_(params), run_(run), work_(run.nJobs) {}

  HRESULT Run() {
    if (params_.pFileList->lstFiles.empty()) return S_OK;
    if (run_.openRun) {
      if (const HRESULT hr = run_.openRun(); FAILED(hr)) return hr;
    }
    if (run_.bWriteLogHead) WriteLogHead(params_);
    try {
      return RunFiles();
    } catch (const CFileException& e) {
      e.ReportError();
    } catch (const std::exception& e) {
      ShowError(e.what());
    }
    return E_UNEXPECTED;
  }

 private:
  bool Modern() const { return run_.dialect == MgfDialect::Modern; }

  HRESULT RunFiles() {
    const std::list<std::string>& files = params_.pFileList->lstFiles;
    const std::list<std::int32_t>& rows = params_.pFileList->lstRows;
    SendToHost(params_, PM_STEP_TOTAL, files.size());
    std::vector<std::uint64_t> bytes;
    for (const std::string& path : files) {
      bytes.push_back(FileBytes(path));
      run_.Count(&RunCounts::nBytesTotal, bytes.back());
    }
    auto row = rows.begin();
    auto size = bytes.begin();
    for (const std::string& path : files) {
      auto task = std::make_unique<DtaTask>();
      task->path = path;
      task->nBytes = *size++;
      task->nRow = row != rows.end() ? *row : 0;
      if (row != rows.end()) ++row;
      task->pParams = &params_;
      task->dialect = run_.dialect;
      Recorded(task->boxes, [&] { task->hr = ImportDta(path.c_str(), &task->dtaIn, run_.dialect); });
      task->bWork = SUCCEEDED(task->hr) && task->dtaIn.GetPeakCount() > 2;
      // Classic: a file that can't be read ends the run.
      const bool bEnd = FAILED(task->hr) && !Modern();
      work_.Put(std::move(task));
      if (const HRESULT hr = Commit(false); hr != S_OK) return hr;
      if (bEnd) break;
    }
    if (const HRESULT hr = Commit(true); hr != S_OK) return hr;
    // Each output file is whole, whatever failed: S_FALSE.
    return nFailed_ > 0 ? S_FALSE : S_OK;
  }

  HRESULT Commit(bool everything) {
    return CommitDone<DtaTask>(work_, everything, [this](DtaTask& task) { return Commit(task); });
  }

  HRESULT Commit(DtaTask& task) {
    WriteLogRule(params_, task.path);
    SendToHost(params_, PM_STEP_BEGIN, nDone_, TextParam(task.path.c_str()));
    SendToHost(params_, PM_ROW_BEGIN, static_cast<WPARAM>(task.nRow));
    task.boxes.Replay();
    if (FAILED(task.hr)) {
      ShowError("Couldn't import data");
      if (!Modern()) return task.hr;
      // The modern dialect goes on with the other files; the run ends failed.
      ++nFailed_;
      run_.Count(&RunCounts::nFailed);
    } else if (task.dtaIn.GetPeakCount() > 2) {
      run_.Count(&RunCounts::nRead);
      WriteLog(params_, task.log);
      const HRESULT hrExport = Export(task.verdict, task.dtaIn, task.dtaOut);
      // A file that can't be written (a full disk) ends the run.
      if (FAILED(hrExport) && Modern()) return hrExport;
    } else {
      run_.Count(&RunCounts::nRead);
      run_.Count(&RunCounts::nTooFewPeaks);
    }
    run_.Count(&RunCounts::nBytesRead, task.nBytes);
    ++nDone_;
    SendToHost(params_, PM_STEP_DONE, nDone_);
    SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(task.nRow));
    if (StopRequested(params_)) return E_ABORT;
    return S_OK;
  }

  // Writes the cleaned spectrum where its verdict sends it. Unlike the MGF
  // driver, a separated bad spectrum is the cleaned one. The result counts
  // in the modern dialect only.
  HRESULT Export(Verdict verdict, Dta& dtaIn, Dta& dtaOut) {
    const FilePath name(dtaIn.strTitle);
    const std::string title = name.GetFileTitle();
    const std::string ext = name.GetExtension();
    const bool bSingle = !run_.strSingleOutput.empty();
    const std::string cleanPath = bSingle ? run_.strSingleOutput : params_.strOutputFolder + title + "_c." + ext;
    const std::string badPath =
        bSingle ? run_.strSingleBadOutput : params_.strOutputFolder + "badspectra/" + title + "_bad_c." + ext;
    const MgfDialect dialect = run_.dialect;
    if (Modern() && IsFailure(verdict)) {
      // No empty file for a spectrum the pipeline could not take (its stage
      // said why): nothing, or the spectrum as it was read among the bad.
      ++nFailed_;
      run_.Count(&RunCounts::nFailed);
      const bool bKeep = SeparatesBad(params_);
      ShowError(Format("The spectrum \"%s\" could not be cleaned; %s", dtaIn.strTitle.c_str(),
                       bKeep ? "it goes to the bad spectra as it was read" : "it is left out"));
      return bKeep ? ExportDta(badPath.c_str(), &dtaIn, dialect) : S_OK;
    }
    // The modern dialect writes a bad spectrum without cleaned peaks (the tag
    // check refused it) as it was read, never as a file of no peaks.
    const Dta* pBad = Modern() && dtaOut.GetPeakCount() == 0 ? &dtaIn : &dtaOut;
    if (!IsBad(verdict) && Modern() && dtaOut.GetPeakCount() == 0) {
      ShowWarning(Format("The spectrum \"%s\" has no peak left after cleaning; no output made",
                         dtaIn.strTitle.c_str()));
      run_.Count(&RunCounts::nEmptied);
      return S_OK;
    }
    if (!IsBad(verdict)) {
      run_.Count(&RunCounts::nWritten);
      return ExportDta(cleanPath.c_str(), &dtaOut, dialect);
    }
    run_.Count(&RunCounts::nBad);
    if (!params_.bExportBad) return S_OK;
    switch (params_.nBadSpectraAction) {
      case BadSpectraAction::Leave: return ExportDta(cleanPath.c_str(), pBad, dialect);
      case BadSpectraAction::Separate: return ExportDta(badPath.c_str(), pBad, dialect);
      default: return S_OK;
    }
  }

  CleanParams& params_;
  const RunOptions& run_;
  OrderedWork work_;
  unsigned nDone_ = 0;
  unsigned nFailed_ = 0;  // modern dialect: files not read or not cleaned
};

}  // namespace

HRESULT CleanDtaFiles(CleanParams* pParams, const RunOptions& run) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  DtaDriver driver(*pParams, run);
  return driver.Run();
}

}  // namespace orvane
