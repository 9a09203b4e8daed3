#include "raw/scan_conversion.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/scan_access.h"
#include "raw/scan_walk.h"
#include "spectrum/dialect.h"
#include "spectrum/disk_object.h"
#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"

namespace orvane {
namespace {

constexpr unsigned kCreateWrite = CStdioFile::modeCreate | CStdioFile::modeWrite;

bool EndsWithNoCase(const std::string& text, const char* suffix) {
  const std::size_t n = std::char_traits<char>::length(suffix);
  if (text.size() <= n) return false;
  for (std::size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(text[text.size() - n + i])) != suffix[i]) return false;
  return true;
}

// The walk both conversions share: every spectrum in file order (never the
// range of the scan numbers), the options applied, and for each MS/MS scan
// that stays a Dta of its peaks and the charges it is written with.
class ScanWalker {
 public:
  ScanWalker(IScanSource& source, const ScanConversion& job, ScanConversionSummary& summary)
      : source_(source), job_(job), summary_(summary), runName_(RunNameOf(job.strInput)),
        fileName_(FilePath(job.strInput).GetFileName()) {}

  // write(dta, record, charges) for each scan that stays; it answers false
  // after its own box. Results as the conversions'.
  template <class Write>
  HRESULT Run(Write write) {
    const RawOptions& o = *job_.pOptions;
    const std::size_t n = source_.Count();
    summary_.nScans = n;
    SendTo(job_.pProgressWnd, PM_RAW_SCANS, static_cast<WPARAM>(n), TextParam(job_.strInput.c_str()));
    if (o.nThresholdMode == ThresholdMode::BasePeak) dMaxBasePeak_ = MaxBasePeak();
    ScanRecord record;
    Dta dta;
    for (std::size_t i = 0; i < n; ++i) {
      source_.Header(i, &record);
      if (!record.strRefusal.empty()) {
        // A spectrum no instrument can have: said, left out, and the rest of
        // the file goes on.
        ShowError(record.strRefusal);
        ++summary_.nRefused;
      } else if (record.nMsLevel >= 2 && (!o.bSplitMsLevels || record.nMsLevel <= 3)) {
        ++summary_.nMsMs;
        source_.Peaks(i, &record);
        std::vector<int> charges;
        if (Take(record, dta, &charges) && !write(dta, record, charges)) return E_UNEXPECTED;
      }
      if (CancelRequested(job_.pCancelEvent, job_.pProgressWnd)) return E_ABORT;
      SendTo(job_.pProgressWnd, PM_RAW_SCAN, static_cast<WPARAM>(i + 1), 0);
    }
    return S_OK;
  }

  // "<run>.<scan>.<scan>.<charge> File:"<file>", NativeID:"<id>"".
  std::string Title(const ScanRecord& r, int nCharge) const {
    return Format("%s.%ld.%ld.%d File:\"%s\", NativeID:\"%s\"", runName_.c_str(), r.nScan, r.nScan,
                  nCharge, fileName_.c_str(), r.strNativeId.c_str());
  }
  const std::string& RunName() const { return runName_; }

 private:
  double MaxBasePeak() {
    double best = 0.0;
    ScanRecord record;
    for (std::size_t i = 0; i < source_.Count(); ++i) {
      source_.Header(i, &record);
      if (!record.strRefusal.empty()) continue;
      if (record.dBasePeakIntensity < 0.0) {
        source_.Peaks(i, &record);
        record.dBasePeakIntensity = 0.0;
        for (double v : record.vIntensity) record.dBasePeakIntensity = std::max(record.dBasePeakIntensity, v);
      }
      best = std::max(best, record.dBasePeakIntensity);
    }
    return best;
  }

  // Fills dta and the charges of a scan that stays; false for one left out.
  bool Take(const ScanRecord& r, Dta& dta, std::vector<int>* pCharges) {
    const RawOptions& o = *job_.pOptions;
    double total = r.dTotalIntensity;
    if (total < 0.0) {
      total = 0.0;
      for (double v : r.vIntensity) total += v;
    }
    const bool rejected =
        (o.nThresholdMode == ThresholdMode::Fixed && static_cast<double>(o.nIntensityThreshold) > total) ||
        (o.nThresholdMode == ThresholdMode::BasePeak && dMaxBasePeak_ > total);
    const std::size_t nPeaks = rejected ? 0 : r.vMz.size();
    if (nPeaks == 0 || nPeaks < static_cast<std::size_t>(std::max(0, o.nMinPeaks))) {
      ++summary_.nNoPeaks;
      return false;
    }
    dta.Clear();
    dta.vMass.assign(r.vMz.begin(), r.vMz.end());
    dta.vIntensity.assign(r.vIntensity.begin(), r.vIntensity.end());
    const double mz = r.precursor.dMz;
    std::vector<int> stated = r.precursor.vCharges;
    if (stated.empty()) {
      if (EstimateChargeClass(mz, &dta) == 1) stated = {1};
      else stated = {2, 3};
    }
    pCharges->clear();
    for (int z : stated) {
      const double mh = MzToMh(mz, z, kProtonMass);
      if (mh >= o.dMinMass && mh <= o.dMaxMass) pCharges->push_back(z);
    }
    if (pCharges->empty()) {
      ++summary_.nOutsideWindow;
      return false;
    }
    dta.dMass = mz;
    dta.nCharge = pCharges->front();
    dta.dPrecursorIntensity = r.precursor.dIntensity;
    if (r.bRetentionTime) dta.vHeaderLines.push_back("RTINSECONDS=" + ExactDecimal(r.dRetentionSeconds, 0));
    dta.vHeaderLines.push_back(Format("SCANS=%ld", r.nScan));
    return true;
  }

  IScanSource& source_;
  const ScanConversion& job_;
  ScanConversionSummary& summary_;
  std::string runName_;
  std::string fileName_;
  double dMaxBasePeak_ = 0.0;
};

// "<what> of <file>: <reason>", with the scan where there is one; the
// reader's own messages name both already.
void ShowConversionError(const ScanConversion& job, const std::string& reason) {
  if (reason.find(job.strInput) != std::string::npos) ShowError(reason);
  else ShowError(job.strInput + ": " + reason);
}

// Runs one conversion; an exception (a damaged array, a full disk) becomes
// E_UNEXPECTED after its box.
template <class Run>
HRESULT Guarded(const ScanConversion& job, Run run) {
  try {
    return run();
  } catch (const CFileException& e) {
    e.ReportError();
  } catch (const std::exception& e) {
    ShowConversionError(job, e.what());
  }
  return E_UNEXPECTED;
}

HRESULT Checked(const ScanConversion& job) {
  if (job.pOptions != nullptr) return S_OK;
  ShowError("Raw2Mgf Params not present.");
  return E_UNEXPECTED;
}

}  // namespace

std::string RunNameOf(const std::string& path) {
  std::string name = FilePath(path).GetFileName();
  for (const char* ext : {".gz", ".mzxml", ".mzml"})
    if (EndsWithNoCase(name, ext)) name.resize(name.size() - std::char_traits<char>::length(ext));
  return name;
}

HRESULT ScansToMgf(IScanSource& source, const ScanConversion& job, const std::string& strMgfFile,
                   ScanConversionSummary* pSummary) {
  if (const HRESULT hr = Checked(job); FAILED(hr)) return hr;
  ScanConversionSummary local;
  ScanConversionSummary& summary = pSummary != nullptr ? *pSummary : local;
  summary = ScanConversionSummary{};
  const bool bSplit = job.pOptions->bSplitMsLevels;

  std::vector<std::string> paths;
  if (bSplit) {
    const FilePath mgfPath(strMgfFile);
    const std::string stem = mgfPath.GetFolder(true).GetString() + mgfPath.GetFileTitle();
    paths = {stem + "_ms2.mgf", stem + "_ms3.mgf"};
  } else {
    paths = {strMgfFile};
  }
  std::vector<std::unique_ptr<CStdioFile>> files;
  for (std::string& path : paths) {
    if (job.bGzip && path != "-") path += ".gz";
    auto file = std::make_unique<CStdioFile>();
    CFileException error;
    if (!file->Open(path, kCreateWrite | (job.bGzip ? CStdioFile::modeGzip : 0u), &error)) {
      error.ReportError();
      for (auto& f : files) f->Abort();
      return E_UNEXPECTED;
    }
    files.push_back(std::move(file));
  }

  ScanWalker walker(source, job, summary);
  std::vector<std::size_t> blocks(files.size(), 0);
  const HRESULT hr = Guarded(job, [&] {
    const HRESULT walked = walker.Run([&](Dta& dta, const ScanRecord& r, const std::vector<int>& charges) {
      dta.strTitle = walker.Title(r, charges.front());
      if (charges.size() > 1) dta.vCharges.assign(charges.begin(), charges.end());
      const std::size_t k = bSplit && r.nMsLevel == 3 ? 1 : 0;
      ExportMgf(files[k].get(), &dta, std::string(), MgfDialect::Modern);
      ++blocks[k];
      ++summary.nWritten;
      return true;
    });
    if (walked != S_OK) return walked;
    // A file that got no spectrum is not left behind: search engines refuse
    // empty MGF files.
    for (std::size_t k = 0; k < files.size(); ++k) {
      if (blocks[k] == 0) {
        files[k]->Abort();
      } else {
        files[k]->Close();
        summary.outputs.push_back(paths[k]);
      }
    }
    return S_OK;
  });
  if (hr == S_OK) return S_OK;
  summary.outputs.clear();
  for (auto& f : files) f->Abort();
  return hr;
}

HRESULT ScansToDta(IScanSource& source, const ScanConversion& job,
                   const std::string& strOutputFolder, ScanConversionSummary* pSummary) {
  if (const HRESULT hr = Checked(job); FAILED(hr)) return hr;
  ScanConversionSummary local;
  ScanConversionSummary& summary = pSummary != nullptr ? *pSummary : local;
  summary = ScanConversionSummary{};
  const bool bSplit = job.pOptions->bSplitMsLevels;
  const std::vector<std::string> folders =
      bSplit ? std::vector<std::string>{strOutputFolder + "dta_converted_ms2/",
                                        strOutputFolder + "dta_converted_ms3/"}
             : std::vector<std::string>{strOutputFolder + "dta_converted/"};
  CDiskObject disk;
  for (const std::string& folder : folders) {
    if (!disk.CreateDirectory(folder)) {
      ShowError(Format("Couldn't create the folder %s: %s", folder.c_str(), disk.strErrorMessage.c_str()));
      return E_UNEXPECTED;
    }
  }

  ScanWalker walker(source, job, summary);
  const HRESULT hr = Guarded(job, [&] {
    return walker.Run([&](Dta& dta, const ScanRecord& r, const std::vector<int>& charges) {
      const double mz = dta.dMass;
      for (int z : charges) {
        const std::string level = !bSplit ? "" : r.nMsLevel == 2 ? "_ms2" : "_ms3";
        const std::string name =
            Format("%s%s.%ld.%ld.%d.dta", walker.RunName().c_str(), level.c_str(), r.nScan, r.nScan, z);
        const std::string path = folders[bSplit && r.nMsLevel == 3 ? 1 : 0] + name;
        dta.strTitle = name;
        dta.nCharge = z;
        dta.dMass = RoundToSignificant(MzToMh(mz, z, kProtonMass), kComputedMassDigits);
        if (FAILED(ExportDta(path.c_str(), &dta, MgfDialect::Modern))) return false;
        summary.outputs.push_back(path);
        ++summary.nWritten;
      }
      return true;
    });
  });
  if (hr != S_OK) {
    // Nothing of a failed or stopped input stands under a final name.
    for (const std::string& path : summary.outputs) std::remove(path.c_str());
    summary.outputs.clear();
  }
  return hr;
}

}  // namespace orvane
