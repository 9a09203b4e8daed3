// The driver for MGF inputs: every spectrum of every input file through the
// pipeline, into one pair of outputs per input or into the SpectraMerged
// files of the run, kept apart by MS level.
//
// The driver reads the inputs in order into tasks, the pipeline cleans the
// tasks (on several threads when the run has jobs for them), and the driver
// then takes them back in input order and does everything a host or a file
// sees: messages, log, boxes and outputs. So the reading side only reads;
// all the rest happens as tasks come back.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <list>
#include <memory>
#include <string>

#include "cleaning/drivers.h"
#include "cleaning/spectrum_task.h"
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

// One step of the run as the reading side saw it: the start of an input, or
// a read, with the spectrum it gave.
struct MgfTask final : SpectrumTask {
  enum Kind { BeginInput, Read } kind = Read;
  std::string path;       // the input
  std::int32_t nRow = 0;  // its row
  // BeginInput: the spectra the count found (the count is the task's work,
  // done while the reading goes on), and whether the input opened, with the
  // boxes of the opening, shown after those of the count.
  unsigned nTotal = 0;
  bool bOpened = false;
  BoxRecord openBoxes;
  // Read: what ImportMgf answered.
  HRESULT hr = S_OK;
  bool bReadFailed = false;  // a read error that looked like the end
  unsigned nRefused = 0;     // modern: spectra the reader refused, at the end

  bool bCount = true;  // BeginInput: whether to count

  void Work() override {
    if (kind == BeginInput) nTotal = bCount ? CountMgfSpectra(path.c_str()) : 0;
    else SpectrumTask::Work();
  }
};

class MgfDriver {
 public:
  MgfDriver(CleanParams& params, const RunOptions& run)
      : params_(params), run_(run), work_(run.nJobs) {}

  HRESULT Run() {
    const std::list<std::string>& files = params_.pFileList->lstFiles;
    if (files.empty()) return S_OK;
    if (run_.openRun) {
      if (const HRESULT hr = run_.openRun(); FAILED(hr)) return hr;
    }
    if (run_.bWriteLogHead) WriteLogHead(params_);
    run_.Count(&RunCounts::nBytesTotal, TotalBytes(files));
    HRESULT hr = S_OK;
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
    // Modern dialect: an input that failed, or an output that could not be
    // completed (a full disk at the last flush), fails the run; spectra that
    // could not be cleaned (each reported) leave whole outputs: S_FALSE.
    if (hr == S_OK && Modern() && (nFailedInputs_ > 0 || bCloseFailed_)) hr = E_FAIL;
    if (hr == S_OK && Modern() && nFailedSpectra_ > 0) hr = S_FALSE;
    return hr;
  }

 private:
  bool Modern() const { return run_.dialect == MgfDialect::Modern; }

  // The size of the inputs together; 0 when one of them is standard input.
  static std::uint64_t TotalBytes(const std::list<std::string>& files) {
    std::uint64_t total = 0;
    for (const std::string& path : files) {
      if (path == "-") return 0;
      total += FileBytes(path);
    }
    return total;
  }

  // Where the outputs of a name in the output folder go: the run's one
  // output where the host named it, else the folder, with ".gz" when the
  // run compresses.
  std::string CleanPath(const std::string& name) const {
    if (!run_.strSingleOutput.empty()) return run_.strSingleOutput;
    return params_.strOutputFolder + name + (run_.bGzip ? ".gz" : "");
  }
  std::string BadPath(const std::string& name) const {
    if (!run_.strSingleOutput.empty()) return run_.strSingleBadOutput;
    return params_.strOutputFolder + kBadFolder + name + (run_.bGzip ? ".gz" : "");
  }

  HRESULT RunFiles() {
    if (params_.bMergeOutput) {
      // The general pair is made at the start of every merged run, whatever
      // the levels of the inputs and whatever becomes of bad spectra (but
      // for a host that named one output and keeps no bad spectra).
      const std::string bad = BadPath("SpectraMerged_b.mgf");
      if (!OpenOutput(merged_[0].pClean, CleanPath("SpectraMerged_c.mgf"),
                      "the file pfCleanExportM could not be created") ||
          (!bad.empty() && !OpenOutput(merged_[0].pBad, bad, "the file pfBadExportM could not be created")))
        return E_UNEXPECTED;
      merged_[0].bOpened = true;
    }
    const std::list<std::string>& files = params_.pFileList->lstFiles;
    const std::list<std::int32_t>& rows = params_.pFileList->lstRows;
    auto row = rows.begin();
    for (const std::string& path : files) {
      const std::int32_t nRow = row != rows.end() ? *row : 0;
      if (row != rows.end()) ++row;
      const bool bGoOn = ReadInput(path, nRow);
      if (hrEnd_ != S_OK) return hrEnd_;
      if (!bGoOn) break;
    }
    return Commit(true);
  }

  // Hands the tasks that are done back in order (all of them with
  // everything, else waiting only while the line is full): S_OK, or what
  // ends the run.
  HRESULT Commit(bool everything) {
    return CommitDone<MgfTask>(work_, everything, [this](MgfTask& task) { return Commit(task); });
  }

  // Puts a task in line and hands back what is done; false when that ended
  // the run (hrEnd_ says how).
  bool Put(std::unique_ptr<MgfTask> task) {
    task->pParams = &params_;
    task->dialect = run_.dialect;
    work_.Put(std::move(task));
    hrEnd_ = Commit(false);
    return hrEnd_ == S_OK;
  }

  // The reading side of one input: its tasks, up to its end or a failure.
  // Answers false when the run reads no further (classic: a failure ends it).
  bool ReadInput(const std::string& path, std::int32_t nRow) {
    auto begin = std::make_unique<MgfTask>();
    begin->kind = MgfTask::BeginInput;
    begin->path = path;
    begin->nRow = nRow;
    begin->bWork = true;
    begin->bCount = run_.bCountSpectra && path != "-";
    Recorded(begin->openBoxes, [&] {
      CFileException error;
      begin->bOpened = input_.Open(path, kReadDenyWrite, &error);
      if (!begin->bOpened) error.ReportError();
    });
    const bool bOpened = begin->bOpened;
    if (!Put(std::move(begin))) return false;
    if (!bOpened) return Modern();

    // run.mgf.gz names its outputs as run.mgf would.
    const std::string folder = FilePath(WithoutGzipSuffix(path)).GetFolder(true).GetString();
    for (;;) {
      auto task = std::make_unique<MgfTask>();
      task->path = path;
      task->dtaIn.strPath = folder;
      Recorded(task->boxes, [&] { task->hr = ImportMgf(&input_, &task->dtaIn, run_.dialect); });
      if (run_.pCounts != nullptr) run_.pCounts->nBytesRead = bytesDone_ + input_.GetPosition();
      task->bReadFailed = task->hr == S_FALSE && input_.ReadFailed();
      const HRESULT hr = task->hr;
      if (hr == S_FALSE && !task->bReadFailed && Modern())
        task->nRefused = MgfReader(input_, MgfDialect::Modern).Refused();
      if (hr == S_OK && task->dtaIn.GetPeakCount() > 2) {
        // The cleaned spectrum keeps the identity of the one it came from.
        Dta& in = task->dtaIn;
        Dta& out = task->dtaOut;
        out.strPath = folder;
        out.strTitle = in.strTitle;
        out.vHeaderLines = in.vHeaderLines;
        out.vCharges = in.vCharges;
        out.dPrecursorIntensity = in.dPrecursorIntensity;
        if (params_.bSkipCleaning) out = in;
        else task->bWork = true;
      }
      const bool bEnd = hr == S_FALSE && !task->bReadFailed;
      if (hr != S_OK) bytesDone_ += input_.GetLength();
      if (hr != S_OK && input_.IsOpen()) CloseFile(input_);
      if (!Put(std::move(task))) return false;
      // Classic: a read that failed ends the run; the modern dialect goes
      // on with the next input, unless merged outputs hold part of it.
      if (hr != S_OK) return bEnd || (Modern() && !params_.bMergeOutput);
    }
  }

  HRESULT Commit(MgfTask& task) {
    if (task.kind == MgfTask::BeginInput) return BeginInput(task);
    // The counter never passes the last spectrum the count found, so a
    // host's bar can't overrun (0 for a file of none).
    SendToHost(params_, PM_STEP_BEGIN, std::min(nDone_, nTotal_ - 1u), TextParam(task.path.c_str()));
    task.boxes.Replay();
    WriteLogRule(params_, task.dtaIn.strTitle);
    const HRESULT hr = task.hr;
    if (FAILED(hr)) {
      // The modern reader has named the file and the line already.
      if (Modern()) return FailInput(hr);
      ShowError("Couldn't import data");
      return hr;
    }
    // A read error (damaged gzip data, say) has shown its box and looks
    // like the end of the file: the run fails instead of passing for whole.
    if (task.bReadFailed) return Modern() ? FailInput(E_FAIL) : E_FAIL;
    if (hr == S_FALSE) return EndInput(task);

    run_.Count(&RunCounts::nRead);
    if (task.dtaIn.GetPeakCount() > 2) {
      WriteLog(params_, task.log);
      if (const HRESULT hrWrite = WriteSpectrum(*pPair_, task); FAILED(hrWrite)) return hrWrite;
    } else {
      run_.Count(&RunCounts::nTooFewPeaks);
    }
    ++nDone_;
    SendToHost(params_, PM_STEP_DONE, nDone_);
    if (StopRequested(params_)) return E_ABORT;
    return S_OK;
  }

  HRESULT BeginInput(MgfTask& task) {
    SendToHost(params_, PM_ROW_BEGIN, static_cast<WPARAM>(task.nRow));
    nTotal_ = task.nTotal;
    nDone_ = 0;
    nRow_ = task.nRow;
    SendToHost(params_, PM_STEP_TOTAL, nTotal_);
    task.boxes.Replay();
    task.openBoxes.Replay();
    if (!task.bOpened) {
      if (!Modern()) return E_UNEXPECTED;
      // The other inputs are cleaned all the same; the run ends failed.
      ++nFailedInputs_;
      SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(task.nRow));
      return S_OK;
    }

    const FilePath inputPath(WithoutGzipSuffix(task.path == "-" ? "stdin.mgf" : task.path));
    if (!params_.bMergeOutput) {
      const std::string title = inputPath.GetFileTitle();
      const std::string ext = inputPath.GetExtension();
      perInput_ = OutputPair{};
      if (!OpenOutput(perInput_.pClean, CleanPath(title + "_c." + ext),
                      "the file pfCleanExportM could not be created"))
        return E_UNEXPECTED;
      if (SeparatesBad(params_) &&
          !OpenOutput(perInput_.pBad, BadPath(title + "_bad_c." + ext),
                      "the file pfBadExportM could not be created"))
        return E_UNEXPECTED;
      perInput_.bOpened = true;
      pPair_ = &perInput_;
    } else {
      const int nLevel = MsLevelOfTitle(inputPath.GetFileTitle());
      pPair_ = &merged_[nLevel];
      if (!pPair_->bOpened) {
        const char* tag = nLevel == 1 ? "ms2" : "ms3";
        const std::string cleanName = Format("SpectraMerged_%s_c.mgf", tag);
        const std::string badName = Format("SpectraMerged_%s_b.mgf", tag);
        if (!OpenOutput(pPair_->pClean, CleanPath(cleanName),
                        Format("the file pfCleanExportM_%s could not be created", tag)))
          return E_UNEXPECTED;
        if (SeparatesBad(params_) &&
            !OpenOutput(pPair_->pBad, BadPath(badName),
                        Format("the file pfBadExportM_%s could not be created", tag)))
          return E_UNEXPECTED;
        pPair_->bOpened = true;
      }
    }
    // Only merged outputs of runs that came from raw files name the source of
    // each block.
    comment_ = params_.pRawOptions != nullptr && params_.bMergeOutput ? task.path : std::string();
    return S_OK;
  }

  HRESULT EndInput(const MgfTask& task) {
    // Spectra the reader refused (each reported) leave the outputs whole, as
    // those the pipeline could not take.
    nFailedSpectra_ += task.nRefused;
    run_.Count(&RunCounts::nFailed, task.nRefused);
    if (!params_.bMergeOutput) ClosePair(perInput_);
    SendToHost(params_, PM_ROW_DONE, static_cast<WPARAM>(nRow_));
    return S_OK;
  }

  // The modern dialect: an input that fails midway leaves no output of its
  // own; the run goes on with the next input and ends failed. Merged outputs
  // can't drop what the input gave them, so there the run ends.
  HRESULT FailInput(HRESULT hr) {
    if (params_.bMergeOutput) return hr;
    AbortPair(perInput_);
    ++nFailedInputs_;
    return S_OK;
  }

  void Export(CStdioFile* pFile, const Dta& dta, bool bComment) {
    ExportMgf(pFile, &dta, bComment ? comment_ : std::string(), run_.dialect);
  }

  HRESULT WriteSpectrum(OutputPair& pair, MgfTask& task) {
    const Verdict verdict = task.verdict;
    Dta& dtaIn = task.dtaIn;
    Dta& dtaOut = task.dtaOut;
    if (pair.pClean == nullptr) {
      ShowError("Error accessing export file");
      return E_UNEXPECTED;
    }
    if (Modern() && IsFailure(verdict)) {
      // A spectrum the pipeline could not take (its stage said why) is no
      // empty block: it goes nowhere, or as it was read to the bad output.
      ++nFailedSpectra_;
      run_.Count(&RunCounts::nFailed);
      const bool bKeep = SeparatesBad(params_) && pair.pBad != nullptr;
      ShowError(Format("The spectrum \"%s\" could not be cleaned; %s", dtaIn.strTitle.c_str(),
                       bKeep ? "it goes to the bad spectra as it was read" : "it is left out"));
      if (bKeep) {
        Export(pair.pBad.get(), dtaIn, true);
        ++pair.nBad;
      }
      return S_OK;
    }
    if (!IsBad(verdict) && Modern() && dtaOut.GetPeakCount() == 0) {
      ShowWarning(Format("The spectrum \"%s\" has no peak left after cleaning; it is left out",
                         dtaIn.strTitle.c_str()));
      run_.Count(&RunCounts::nEmptied);
      return S_OK;
    }
    if (!IsBad(verdict)) {
      Export(pair.pClean.get(), dtaOut, true);
      ++pair.nClean;
      run_.Count(&RunCounts::nWritten);
      return S_OK;
    }
    run_.Count(&RunCounts::nBad);
    if (!params_.bExportBad) return S_OK;
    switch (params_.nBadSpectraAction) {
      case BadSpectraAction::Leave:
        // The modern dialect writes the bad spectrum as it was cleaned: a
        // spectrum the tag check refused has no cleaned peaks, so it goes
        // as it was read rather than as an empty block.
        Export(pair.pClean.get(), Modern() && dtaOut.GetPeakCount() == 0 ? dtaIn : dtaOut, false);
        ++pair.nClean;
        return S_OK;
      case BadSpectraAction::Separate:
        if (pair.pBad == nullptr) {
          ShowError("Error accessing export file");
          return E_UNEXPECTED;
        }
        // A separated bad spectrum is the spectrum as it was read.
        Export(pair.pBad.get(), dtaIn, true);
        ++pair.nBad;
        return S_OK;
      default:
        return S_OK;
    }
  }

  // Creates (or empties) an output file. On failure shows boxText as a plain
  // box and answers false.
  bool OpenOutput(std::unique_ptr<CStdioFile>& slot, const std::string& path, const std::string& boxText) {
    auto file = std::make_unique<CStdioFile>();
    if (!file->Open(path, kCreateWrite | (run_.bGzip ? CStdioFile::modeGzip : 0u))) {
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
      const bool bEmpty = SeparatesBad(params_) && pair.pBad->GetLength() == 0;
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

  CleanParams& params_;
  const RunOptions& run_;
  OrderedWork work_;
  // The reading side.
  CStdioFile input_;
  // The writing side.
  OutputPair perInput_;
  OutputPair merged_[3];  // general, MS2, MS3
  OutputPair* pPair_ = nullptr;  // where the spectra of the input in hand go
  std::string comment_;
  unsigned nTotal_ = 0;
  unsigned nDone_ = 0;
  std::int32_t nRow_ = 0;
  HRESULT hrEnd_ = S_OK;  // what ended the run while the reading side was at work
  std::uint64_t bytesDone_ = 0;  // of the inputs read to their end
  bool bCloseFailed_ = false;
  unsigned nFailedInputs_ = 0;   // modern dialect: inputs that could not be read to their end
  unsigned nFailedSpectra_ = 0;  // modern dialect: spectra the pipeline could not take
};

}  // namespace

HRESULT CleanMgfFiles(CleanParams* pParams, const RunOptions& run) {
  if (pParams == nullptr || pParams->pFileList == nullptr) return E_POINTER;
  MgfDriver driver(*pParams, run);
  return driver.Run();
}

}  // namespace orvane
