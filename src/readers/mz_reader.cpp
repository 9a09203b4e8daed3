#include "readers/mz_reader.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "platform/reporter.h"
#include "readers/filter_text.h"

namespace orvane {

bool IsRawInput(const std::string& path) {
  std::string lower(path);
  for (auto& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  auto endsWith = [&](const std::string& s, const char* suffix) {
    std::string x(suffix);
    return s.size() > x.size() && s.compare(s.size() - x.size(), x.size(), x) == 0;
  };
  if (endsWith(lower, ".gz")) lower.resize(lower.size() - 3);
  return endsWith(lower, ".mzml") || endsWith(lower, ".mzxml");
}

std::unique_ptr<IRawReader> MakeRawReader(const std::string& path) {
  if (!IsRawInput(path)) {
    throw std::invalid_argument("not an mzML or mzXML file (.mzML, .mzXML, optionally .gz): " + path);
  }
  return std::make_unique<readers::MzReader>();
}

namespace readers {
namespace {

// What told_ records of a spectrum.
constexpr unsigned char kToldPeaks = 1;    // the warning of left-out peaks
constexpr unsigned char kToldRefusal = 2;  // the refusal, on the classic road
constexpr unsigned char kToldFailure = 4;  // a decoding failure, on the classic road

// Peaks the cache of decoded lists holds besides the newest (128 MiB).
constexpr std::size_t kMaxCachedPeaks = std::size_t{8} << 20;

bool Usable(const RawPeak& p) {
  return std::isfinite(p.dMass) && std::isfinite(p.dIntensity) && p.dMass > 0.0 &&
         p.dMass <= kMaxMz && p.dIntensity >= 0.0;
}

}  // namespace

MzReader::MzReader(std::size_t cacheSize) : cacheSize_(std::max<std::size_t>(cacheSize, 1)) {}

MzReader::~MzReader() = default;

void MzReader::Open(const std::string& strPath) {
  CloseRawFile();
  lastError_.clear();
  refused_ = 0;
  try {
    source_ = OpenByteSource(strPath);
    ScanFile(*source_, strPath, &table_);
  } catch (...) {
    CloseRawFile();
    throw;
  }
  Index(strPath);
}

void MzReader::Index(const std::string& strPath) {
  path_ = strPath;
  byScan_.clear();
  byScan_.reserve(table_.spectra.size());
  for (std::size_t i = 0; i < table_.spectra.size(); ++i)
    byScan_.emplace_back(table_.spectra[i].nScan, static_cast<int>(i));
  std::sort(byScan_.begin(), byScan_.end());
  told_.assign(table_.spectra.size(), 0);
  refused_ = static_cast<std::size_t>(
      std::count_if(table_.spectra.begin(), table_.spectra.end(),
                    [](const SpectrumMeta& s) { return !s.strRefusal.empty(); }));
}

std::size_t MzReader::Count() const { return Table().spectra.size(); }

void MzReader::Header(std::size_t i, ScanRecord* pRecord) {
  const SpectrumMeta& s = Table().spectra.at(i);
  ScanRecord& r = *pRecord;
  r = ScanRecord{};
  r.nIndex = i;
  r.nMsLevel = s.nMsLevel;
  r.strNativeId = s.strId;
  r.nScan = s.nScan;
  r.strRefusal = s.strRefusal;
  if (s.retentionSeconds.bSet) {
    r.dRetentionSeconds = s.retentionSeconds.dValue;
    r.bRetentionTime = true;
  } else if (s.retentionTime.bSet) {
    r.dRetentionSeconds = s.retentionTime.dValue * 60.0;
    r.bRetentionTime = true;
  }
  r.dTotalIntensity = s.totalIntensity.bSet ? s.totalIntensity.dValue : -1.0;
  r.dBasePeakIntensity = s.basePeakIntensity.bSet ? s.basePeakIntensity.dValue : -1.0;
  if (s.nMsLevel >= 2) {
    PrecursorRecord& p = r.precursor;
    if (s.selectedMz.bSet) p.dMz = s.selectedMz.dValue;
    else if (!s.precursors.empty()) p.dMz = s.precursors.back().dMz;
    if (s.monoisotopicMz.bSet) p.dMonoisotopicMz = s.monoisotopicMz.dValue;
    p.dIntensity = s.dPrecursorIntensity;
    p.vCharges = s.vCharges;
    // A charge only a vendor's trailer gives ("Charge State:").
    if (p.vCharges.empty() && s.nCharge > 0) p.vCharges.push_back(s.nCharge);
    if (s.isolationLower.bSet) p.dIsolationLower = s.isolationLower.dValue;
    if (s.isolationUpper.bSet) p.dIsolationUpper = s.isolationUpper.dValue;
    if (!s.precursors.empty()) {
      p.strActivation = s.precursors.back().strActivation;
      p.dEnergy = s.precursors.back().dEnergy;
    }
  }
}

namespace {

// The double nearest to the shortest decimal that identifies the float v.
double ShortestOfFloat(double v) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, static_cast<float>(v)).ptr;
  double d = v;
  std::from_chars(text, end, d);
  return d;
}

}  // namespace

void MzReader::Peaks(std::size_t i, ScanRecord* pRecord) {
  const SpectrumMeta& s = Table().spectra.at(i);
  if (!s.strRefusal.empty()) {
    pRecord->vMz.clear();
    pRecord->vIntensity.clear();
    return;
  }
  const RawPeakList& peaks = Peaks(static_cast<int>(i));
  const bool mzSingle = s.mz.encoding.kind == NumberKind::kFloat32;
  const bool inSingle = s.bInterleaved ? mzSingle : s.intensity.encoding.kind == NumberKind::kFloat32;
  pRecord->vMz.resize(peaks.size());
  pRecord->vIntensity.resize(peaks.size());
  for (std::size_t k = 0; k < peaks.size(); ++k) {
    pRecord->vMz[k] = mzSingle ? ShortestOfFloat(peaks[k].dMass) : peaks[k].dMass;
    pRecord->vIntensity[k] = inSingle ? ShortestOfFloat(peaks[k].dIntensity) : peaks[k].dIntensity;
  }
}

std::string MzReader::Describe() const {
  std::string text;
  for (const Instrument& ins : Table().instruments) {
    if (ins.strAnalyzer.empty()) continue;
    if (!text.empty()) text += ", ";
    text += ins.strAnalyzer;
  }
  return text;
}

long MzReader::OpenRawFile(const std::string& strPath) {
  CloseRawFile();
  lastError_.clear();
  refused_ = 0;
  long status = 1;
  try {
    source_ = OpenByteSource(strPath);
    status = 2;
    ScanFile(*source_, strPath, &table_);
  } catch (const std::exception& e) {
    lastError_ = e.what();
    CloseRawFile();
    ShowError(lastError_);
    return status;
  }
  Index(strPath);
  return 0;
}

void MzReader::CloseRawFile() {
  source_.reset();
  table_ = ScanTable{};
  byScan_.clear();
  byScan_.shrink_to_fit();
  cache_.clear();
  cache_.shrink_to_fit();
  told_.clear();
  told_.shrink_to_fit();
  // refused_ stays until the next file is opened: the classic conversions
  // close the file before their caller can ask.
  path_.clear();
}

const ScanTable& MzReader::Table() const {
  if (!source_) throw std::runtime_error("no raw file is open");
  return table_;
}

void MzReader::SelectController(long nControllerType, long nControllerNumber) {
  Table();
  if (nControllerType != 0 || nControllerNumber != 1) {
    throw std::runtime_error("an mzML or mzXML file has one controller, the mass spectrometer "
                             "(0, 1); asked for (" +
                             std::to_string(nControllerType) + ", " +
                             std::to_string(nControllerNumber) + ")");
  }
}

void MzReader::GetSpectrumCount(long* pnCount) {
  *pnCount = static_cast<long>(Table().spectra.size());
}

void MzReader::GetFirstScan(long* pnScan) {
  Table();
  *pnScan = byScan_.empty() ? 0 : byScan_.front().first;
}

void MzReader::GetLastScan(long* pnScan) {
  Table();
  *pnScan = byScan_.empty() ? 0 : byScan_.back().first;
}

int MzReader::Find(long nScan) const {
  Table();
  if (byScan_.empty() || nScan < byScan_.front().first || nScan > byScan_.back().first) {
    throw std::runtime_error(
        "scan " + std::to_string(nScan) + " is not in " + path_ +
        (byScan_.empty() ? std::string(" (it holds no spectra)")
                         : " (scans " + std::to_string(byScan_.front().first) + " to " +
                               std::to_string(byScan_.back().first) + ")"));
  }
  auto it = std::lower_bound(byScan_.begin(), byScan_.end(), std::make_pair(nScan, -1));
  if (it == byScan_.end() || it->first != nScan) return -1;
  return it->second;
}

long MzReader::NextScanAfter(long nScan, long nLast) {
  Table();
  const long past = nLast < LONG_MAX ? nLast + 1 : LONG_MAX;
  auto it = std::upper_bound(byScan_.begin(), byScan_.end(), std::make_pair(nScan, INT_MAX));
  return it == byScan_.end() || it->first > nLast ? past : it->first;
}

bool MzReader::Taken(int index) {
  const SpectrumMeta& s = table_.spectra[static_cast<std::size_t>(index)];
  if (s.strRefusal.empty()) return true;
  unsigned char& told = told_[static_cast<std::size_t>(index)];
  if (!(told & kToldRefusal)) {
    told |= kToldRefusal;
    ShowError(s.strRefusal);
  }
  return false;
}

template <class Work>
void MzReader::Shown(int index, Work work) {
  try {
    work();
  } catch (const std::exception& e) {
    unsigned char& told = told_[static_cast<std::size_t>(index)];
    if (!(told & kToldFailure)) {
      told |= kToldFailure;
      ShowError(e.what());
    }
    throw;
  }
}

int MzReader::FindTaken(long nScan) {
  const int index = Find(nScan);
  return index >= 0 && Taken(index) ? index : -1;
}

std::string MzReader::Name(int index) const {
  return SpectrumPlace(table_.format, table_.spectra[static_cast<std::size_t>(index)]);
}

std::string MzReader::Where(int index) const { return path_ + ": " + Name(index) + ": "; }

void MzReader::GetScanFilter(long nScan, std::string* pstrFilter) {
  int index = FindTaken(nScan);
  *pstrFilter = index < 0 ? std::string(kGapFilter) : FilterText(table_, index);
}

void MzReader::DecodePeaks(int index, RawPeakList* peaks) {
  const SpectrumMeta& s = table_.spectra[static_cast<std::size_t>(index)];
  peaks->clear();
  auto read = [&](const ArrayText& a, long count, const char* what) {
    if (a.length > kMaxArrayText) {
      throw std::runtime_error(Where(index) + what + ": its text of " + std::to_string(a.length) +
                               " bytes is longer than this reader takes for one array");
    }
    try {
      source_->ReadAt(a.offset, static_cast<std::size_t>(a.length), &text_);
    } catch (const std::runtime_error& e) {
      throw std::runtime_error(Where(index) + what + ": " + e.what());
    }
    std::vector<double> values =
        DecodeNumbers(text_, a.encoding, count, Where(index) + what, a.nCompressedLength);
    if (text_.capacity() > (std::size_t{1} << 20)) std::string().swap(text_);  // no large scratch kept
    return values;
  };
  if (s.bInterleaved) {
    if (!s.mz.bPresent) {
      if (s.nDeclaredCount > 0) {
        throw std::runtime_error(Where(index) + "declares " + std::to_string(s.nDeclaredCount) +
                                 " peaks but has no peaks element");
      }
      return;
    }
    const long most = static_cast<long>(kMaxArrayBytes / (2 * NumberWidth(s.mz.encoding.kind)));
    if (s.nDeclaredCount > most) {
      throw std::runtime_error(Where(index) + "declares " + std::to_string(s.nDeclaredCount) +
                               " peaks, more than the " + std::to_string(most) +
                               " this reader takes in one scan");
    }
    std::vector<double> values =
        read(s.mz, s.nDeclaredCount >= 0 ? 2 * s.nDeclaredCount : -1, "the peaks");
    if (values.size() % 2 != 0) {
      throw std::runtime_error(Where(index) + "the peaks hold an odd number of values");
    }
    peaks->resize(values.size() / 2);
    for (std::size_t i = 0; i < peaks->size(); ++i) {
      (*peaks)[i] = RawPeak{values[2 * i], values[2 * i + 1]};
    }
  } else {
    if (!s.mz.bPresent && !s.intensity.bPresent) {
      if (s.nDeclaredCount > 0) {
        throw std::runtime_error(Where(index) + "declares " + std::to_string(s.nDeclaredCount) +
                                 " peaks but has no arrays");
      }
      return;
    }
    if (!s.mz.bPresent || !s.intensity.bPresent) {
      throw std::runtime_error(Where(index) + "has no " + (s.mz.bPresent ? "intensity" : "m/z") +
                               " array");
    }
    std::vector<double> mz = read(s.mz, s.mz.nCount >= 0 ? s.mz.nCount : s.nDeclaredCount, "the m/z array");
    std::vector<double> in = read(s.intensity,
                                  s.intensity.nCount >= 0 ? s.intensity.nCount : s.nDeclaredCount,
                                  "the intensity array");
    if (mz.size() != in.size()) {
      throw std::runtime_error(Where(index) + "has " + std::to_string(mz.size()) + " m/z values but " +
                               std::to_string(in.size()) + " intensities");
    }
    peaks->resize(mz.size());
    for (std::size_t i = 0; i < mz.size(); ++i) (*peaks)[i] = RawPeak{mz[i], in[i]};
  }
  // Peaks no instrument measures are left out, with one warning per spectrum.
  const std::size_t before = peaks->size();
  peaks->erase(std::remove_if(peaks->begin(), peaks->end(), [](const RawPeak& p) { return !Usable(p); }),
               peaks->end());
  const std::size_t dropped = before - peaks->size();
  unsigned char& told = told_[static_cast<std::size_t>(index)];
  if (dropped > 0 && !(told & kToldPeaks)) {
    told |= kToldPeaks;
    ShowWarning(Where(index) + std::to_string(dropped) + (dropped == 1 ? " peak" : " peaks") +
                " with an unusable m/z or intensity left out");
  }
  // The engine walks mass lists in ascending mass order, as instruments give them.
  if (!std::is_sorted(peaks->begin(), peaks->end(),
                      [](const RawPeak& a, const RawPeak& b) { return a.dMass < b.dMass; })) {
    std::stable_sort(peaks->begin(), peaks->end(),
                     [](const RawPeak& a, const RawPeak& b) { return a.dMass < b.dMass; });
  }
}

const RawPeakList& MzReader::Peaks(int index) {
  ++tick_;
  for (auto& e : cache_) {
    if (e.index == index) {
      e.lastUse = tick_;
      return e.peaks;
    }
  }
  CacheEntry* slot = nullptr;
  if (cache_.size() < cacheSize_) {
    if (cache_.capacity() < cacheSize_) cache_.reserve(cacheSize_);  // entries never move
    cache_.emplace_back();
    slot = &cache_.back();
  } else {
    slot = &*std::min_element(cache_.begin(), cache_.end(),
                              [](const CacheEntry& a, const CacheEntry& b) { return a.lastUse < b.lastUse; });
  }
  slot->index = -1;
  DecodePeaks(index, &slot->peaks);
  if (slot->peaks.capacity() > 2 * slot->peaks.size() + 1024) slot->peaks.shrink_to_fit();
  slot->index = index;
  slot->lastUse = tick_;
  // However large the lists, the cache holds at most kMaxCachedPeaks peaks
  // besides the newest list: the least recently used go first.
  std::size_t total = 0;
  for (const auto& e : cache_) total += e.peaks.size();
  while (total > slot->peaks.size() + kMaxCachedPeaks) {
    CacheEntry* oldest = nullptr;
    for (auto& e : cache_) {
      if (&e != slot && !e.peaks.empty() && (!oldest || e.lastUse < oldest->lastUse)) oldest = &e;
    }
    if (!oldest) break;
    total -= oldest->peaks.size();
    oldest->index = -1;
    RawPeakList().swap(oldest->peaks);
  }
  return slot->peaks;
}

void MzReader::CompleteHeader(int index) {
  SpectrumMeta& s = table_.spectra[static_cast<std::size_t>(index)];
  if (s.nDeclaredCount >= 0 && s.totalIntensity.bSet && s.basePeakIntensity.bSet) return;
  const RawPeakList& peaks = Peaks(index);
  double total = 0.0;
  double base = 0.0;
  double baseMz = 0.0;
  for (const auto& p : peaks) {
    total += p.dIntensity;
    if (p.dIntensity > base) {
      base = p.dIntensity;
      baseMz = p.dMass;
    }
  }
  if (s.nDeclaredCount < 0) s.nDeclaredCount = static_cast<long>(peaks.size());
  if (!s.totalIntensity.bSet) s.totalIntensity.Set(total);
  if (!s.basePeakIntensity.bSet) {
    s.basePeakIntensity.Set(base);
    s.basePeakMz.Set(baseMz);
  }
  if (!peaks.empty()) {
    if (!s.lowMz.bSet) s.lowMz.Set(peaks.front().dMass);
    if (!s.highMz.bSet) s.highMz.Set(peaks.back().dMass);
  }
}

void MzReader::GetScanHeader(long nScan, ScanHeader* pHeader) {
  int index = FindTaken(nScan);
  *pHeader = ScanHeader{};
  if (index < 0) return;
  Shown(index, [&] { CompleteHeader(index); });
  const SpectrumMeta& s = table_.spectra[static_cast<std::size_t>(index)];
  pHeader->nEntries = s.nDeclaredCount;
  pHeader->dLowMass = s.lowMz.dValue;
  pHeader->dHighMass = s.highMz.dValue;
  pHeader->dStartTime = s.retentionTime.dValue;
  pHeader->dTotalIntensity = s.totalIntensity.dValue;
  pHeader->dBasePeakIntensity = s.basePeakIntensity.dValue;
  pHeader->nScanType = 0;
  pHeader->nPolarity = s.bNegative ? 1 : 0;
  pHeader->dBasePeakMass = s.basePeakMz.dValue;
}

void MzReader::GetMassList(long* pnScan, const std::string&, long, long, long, long, double*,
                           RawPeakList* pList, RawPeakList* pFlags, long* pnSize) {
  if (!pnScan || !pList || !pnSize) throw std::invalid_argument("GetMassList: null argument");
  int index = FindTaken(*pnScan);
  if (pFlags) pFlags->clear();
  if (index < 0) {
    pList->clear();
  } else {
    Shown(index, [&] { *pList = Peaks(index); });
  }
  *pnSize = static_cast<long>(pList->size());
}

void MzReader::GetPriorMassList(long* pnScan, const std::string&, long, long, long, long, double*,
                                RawPeakList* pList, RawPeakList* pFlags, long* pnSize) {
  if (!pnScan || !pList || !pnSize) throw std::invalid_argument("GetPriorMassList: null argument");
  int index = FindTaken(*pnScan);
  if (pFlags) pFlags->clear();
  pList->clear();
  *pnSize = 0;
  if (index < 0) return;
  int prior = table_.spectra[static_cast<std::size_t>(index)].nPriorIndex;
  if (prior < 0 || !Taken(prior)) return;
  *pnScan = table_.spectra[static_cast<std::size_t>(prior)].nScan;
  Shown(prior, [&] { *pList = Peaks(prior); });
  *pnSize = static_cast<long>(pList->size());
}

void MzReader::GetScanTrailer(long nScan, const std::string& strLabel, Variant* pValue) {
  int index = FindTaken(nScan);
  *pValue = Variant::Error();
  if (index < 0) return;
  const SpectrumMeta& s = table_.spectra[static_cast<std::size_t>(index)];
  if (strLabel == "Monoisotopic M/Z:") {
    if (s.monoisotopicMz.bSet) *pValue = Variant::R8(s.monoisotopicMz.dValue);
  } else if (strLabel == "Charge State:") {
    // The engine reads any VT_I2 here as "multiply charged" and then writes
    // the spectrum as charge 2 and as charge 3; it never looks at the number.
    // Anything else makes it judge the charge from the spectrum itself
    // (intensity above the precursor), which is right for a singly charged
    // precursor and the only choice when the file states no charge. So only a
    // stated charge of 2 or more is handed on.
    if (s.nCharge >= 2) {
      *pValue = Variant::I2(static_cast<std::int16_t>(
          std::min<int>(s.nCharge, std::numeric_limits<std::int16_t>::max())));
    }
  }
}

}  // namespace readers
}  // namespace orvane
