// The raw reader of open instrument formats: mzML and mzXML files, plain or
// gzip-compressed, behind the eleven operations the engine calls.
//
// OpenRawFile makes one streaming pass over the file (expat; zlib for .gz)
// and keeps, per spectrum, only what the engine asks of it: scan number,
// level, precursors, charge, the header numbers and the place of its peak
// arrays in the file. The file's own index is not used: the pass builds a
// complete offset table anyway, so an index that points elsewhere (some real
// files have one past the end of the file) can't mislead the reader. Peaks
// are decoded when a scan is asked for and kept in a small cache, so memory
// stays bounded whatever the file size.
//
// Scan numbers come from the native ids ("scan=N", "scanId=N", "spectrum=N",
// "index=N" counted from 1) of an mzML file, or the num attributes of an
// mzXML file. When they don't give every spectrum a unique positive number,
// all spectra are numbered by their position in the file, from 1 (so do
// numbers above INT_MAX). Numbers between the first and the last that no
// spectrum carries are empty survey scans to the engine: filter text
// kGapFilter, a zero header, no peaks, no trailer values; NextScanAfter skips
// them. Numbers outside that range are an error.
//
// Values are checked at the door, on both roads. A peak whose m/z is not
// above 0 and up to kMaxMz, or whose intensity is negative, NaN or infinite,
// is left out, with one warning per spectrum; peaks come in ascending m/z. A
// spectrum whose MS level, charge or precursor m/z can't be taken (see
// ScanFile) is refused: the modern road hands its message out in
// ScanRecord::strRefusal and no peaks; the classic road shows the message
// once and sees the scan as one no spectrum carries. RefusedCount() tells how
// many spectra of the open file are refused. Peak arrays that can't be decoded
// (damaged, or declaring or inflating to more than kMaxArrayBytes) throw on
// both roads; the classic road's calls show the message first, once.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "raw/raw_reader.h"
#include "raw/scan_record.h"
#include "readers/byte_source.h"
#include "readers/raw_files.h"
#include "readers/scan_table.h"

namespace orvane {
namespace readers {

// The filter text of a scan number that no spectrum of the file carries.
inline constexpr const char* kGapFilter = "(no scan) Full ms [0.00-0.00]";

class MzReader final : public IRawReader, public IScanSource {
 public:
  // cacheSize: how many decoded peak lists are kept.
  explicit MzReader(std::size_t cacheSize = 8);
  ~MzReader() override;

  // Opens the file for the modern conversions: throws std::runtime_error
  // naming the file (and the place) when it can't be read.
  void Open(const std::string& strPath);
  // IScanSource: the spectra in file order, as the file states them. Values
  // of 32-bit arrays come as the shortest decimals that identify them
  // (110.07101, not 110.07101440429688).
  std::size_t Count() const override;
  void Header(std::size_t i, ScanRecord* pRecord) override;
  void Peaks(std::size_t i, ScanRecord* pRecord) override;
  std::string Describe() const override;

  // 0 when the file is open. Any other result: 1 the file can't be read, 2 its
  // content is no readable mzML or mzXML document, or uses an encoding this
  // reader doesn't decode. The reason is shown as an error box and kept in
  // LastError().
  long OpenRawFile(const std::string& strPath) override;
  void CloseRawFile() override;
  // Only the mass spectrometer (0, 1) exists; anything else throws.
  void SelectController(long nControllerType, long nControllerNumber) override;
  void GetSpectrumCount(long* pnCount) override;
  void GetFirstScan(long* pnScan) override;
  void GetLastScan(long* pnScan) override;
  void GetScanFilter(long nScan, std::string* pstrFilter) override;
  void GetMassList(long* pnScan, const std::string& strFilter, long nIntensityCutoffType,
                   long nIntensityCutoffValue, long nMaxPeaks, long bCentroid, double* pdWidth,
                   RawPeakList* pList, RawPeakList* pFlags, long* pnSize) override;
  void GetPriorMassList(long* pnScan, const std::string& strFilter, long nIntensityCutoffType,
                        long nIntensityCutoffValue, long nMaxPeaks, long bCentroid,
                        double* pdWidth, RawPeakList* pList, RawPeakList* pFlags,
                        long* pnSize) override;
  void GetScanHeader(long nScan, ScanHeader* pHeader) override;
  void GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) override;
  // The next scan number a spectrum carries (a refused one included), in
  // O(log n); nLast + 1 past the last.
  long NextScanAfter(long nScan, long nLast) override;

  const std::string& LastError() const { return lastError_; }
  // Spectra of the open (or last closed) file that are refused; an input
  // that has any counts as failed.
  std::size_t RefusedCount() const { return refused_; }
  bool IsOpen() const { return source_ != nullptr; }
  // For tests and tools: what the pass found.
  const readers::ScanTable& Table() const;

 private:
  struct CacheEntry {
    int index = -1;
    std::uint64_t lastUse = 0;
    RawPeakList peaks;
  };

  // Takes the file as open: its path and the spectra by scan number.
  void Index(const std::string& strPath);
  // Index of the spectrum with that scan number; -1 for a gap. Throws when no
  // file is open or the number lies outside the file's range.
  int Find(long nScan) const;
  // As Find, but -1 for a refused spectrum too, whose message is shown once.
  int FindTaken(long nScan);
  bool Taken(int index);
  // Runs work for the classic road, whose engine ends its walk at a failed
  // call without a word: the failure (a damaged array) is shown here first,
  // once per spectrum, and passed on.
  template <class Work>
  void Shown(int index, Work work);
  const RawPeakList& Peaks(int index);
  void DecodePeaks(int index, RawPeakList* peaks);
  // Fills in the header numbers the file leaves out, from the peaks.
  void CompleteHeader(int index);
  std::string Name(int index) const;
  // "<file>: <spectrum>: " at the start of a message about a spectrum.
  std::string Where(int index) const;

  std::size_t cacheSize_;
  std::string path_;
  std::unique_ptr<readers::ByteSource> source_;
  readers::ScanTable table_;
  std::vector<std::pair<long, int>> byScan_;  // sorted by scan number
  std::vector<CacheEntry> cache_;
  std::uint64_t tick_ = 0;
  std::string text_;  // scratch for the base64 text
  std::vector<unsigned char> told_;  // per spectrum: kToldPeaks, kToldRefusal
  std::size_t refused_ = 0;
  std::string lastError_;
};

}  // namespace readers
}  // namespace orvane
