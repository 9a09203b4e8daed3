// The modern conversions of instrument files: every MS/MS scan becomes one
// MGF block (or one DTA file per charge) with the identity and the numbers the
// file states, read from typed scan records (scan_record.h) rather than
// through the eleven reader operations.
//
// Charges: those the file states, as a list where it gives several; only a
// scan without a stated charge falls back to the engine's rule (charge 1 when
// the signal above the precursor is a tenth of that below, else 2 and 3).
// Titles are "<run>.<scan>.<scan>.<charge> File:"<file>", NativeID:"<id>"",
// which search engines and rescoring tools parse; RTINSECONDS, SCANS and the
// precursor intensity travel as MGF header lines. The precursor m/z is the
// selected ion's, as the file states it. The options of the raw conversions
// hold: the MH+ window (per charge), the least number of peaks, the intensity
// tests and the split by MS level. A scan without peaks is not written.
//
// Outputs stand under their final names only when complete: on an error, a
// stop or a full disk they are discarded and the error names the file and the
// scan.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/host_window.h"
#include "platform/hresult.h"
#include "raw/raw_options.h"
#include "raw/scan_record.h"

namespace orvane {

struct ScanConversion {
  std::string strInput;              // the instrument file, for titles and messages
  const RawOptions* pOptions = nullptr;
  CEvent* pCancelEvent = nullptr;    // polled after each scan
  CWnd* pProgressWnd = nullptr;      // PM_RAW_SCANS once, PM_RAW_SCAN per scan
  bool bGzip = false;                // MGF outputs gzip-compressed, ".gz" behind their names
};

// What a conversion did.
struct ScanConversionSummary {
  std::size_t nScans = 0;            // spectra in the file
  std::size_t nMsMs = 0;             // of MS level 2 and above
  std::size_t nWritten = 0;          // MGF blocks or DTA files written
  std::size_t nNoPeaks = 0;          // MS/MS scans left out: no peaks, or too few
  std::size_t nOutsideWindow = 0;    // MS/MS scans left out: no charge inside the MH+ window
  std::size_t nRefused = 0;          // spectra refused by the reader (each reported)
  std::vector<std::string> outputs;  // files made, in order
};

// The name a run's outputs take: the file name without ".gz", ".mzML" or
// ".mzXML" ("run.mzML.gz" gives "run").
std::string RunNameOf(const std::string& path);

// One MGF file, or <stem>_ms2.mgf and <stem>_ms3.mgf with bSplitMsLevels;
// a file no spectrum went to is not made. S_OK; E_ABORT after a stop;
// E_UNEXPECTED after an error box. Outputs are discarded on any result but
// S_OK.
HRESULT ScansToMgf(IScanSource& source, const ScanConversion& job, const std::string& strMgfFile,
                   ScanConversionSummary* pSummary);

// One DTA file per scan and charge, "<run>.<scan>.<scan>.<charge>.dta", in
// strOutputFolder + "dta_converted/" (with bSplitMsLevels "dta_converted_ms2/"
// and "dta_converted_ms3/", names "<run>_ms2..."). The paths go to
// pSummary->outputs. Results as ScansToMgf; on failure the files of this
// input are removed again.
HRESULT ScansToDta(IScanSource& source, const ScanConversion& job,
                   const std::string& strOutputFolder, ScanConversionSummary* pSummary);

}  // namespace orvane
