// What one front-to-back pass over an mzML or mzXML file learns about each
// spectrum: its identity, level, precursors, the numbers of its header, and
// where the text of its peak arrays lies. The peaks themselves are not kept;
// they are decoded on demand from these places.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "readers/binary_decode.h"
#include "readers/byte_source.h"

namespace orvane::readers {

enum class FileFormat { kMzml, kMzxml };

// What this reader takes from a file; a spectrum beyond them is refused.
inline constexpr int kMaxMsLevel = 10;   // deepest MS level
inline constexpr int kMaxCharge = 100;   // largest precursor charge
inline constexpr double kMaxMz = 100000.0;  // largest m/z any instrument measures

// The base64 text of one array: its place in the content and its encoding.
struct ArrayText {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  long nCount = -1;  // values the array declares; -1: the spectrum's count
  long nCompressedLength = 0;  // mzXML compressedLen of zlib data; 0: not checked
  ArrayEncoding encoding;
  bool bPresent = false;
};

struct Precursor {
  double dMz = 0.0;           // selected ion m/z, else the isolation window target
  double dEnergy = 0.0;       // collision energy
  std::string strActivation;  // "cid", "hcd", "etd", ... as filter texts write it
};

// Values of a header that a file may or may not carry.
struct OptionalValue {
  double dValue = 0.0;
  bool bSet = false;
  void Set(double v) {
    dValue = v;
    bSet = true;
  }
};

struct SpectrumMeta {
  // Not empty: the spectrum is refused, and this is the whole message naming
  // the file, the spectrum and the reason ("run.mzML: spectrum "scan=3":
  // refused: charge "-2" is not one a precursor can have (1 to 100)").
  std::string strRefusal;
  std::string strId;        // mzML native id; mzXML num as written
  std::string strRef;       // mzML precursor spectrumRef; mzXML precursorScanNum
  long nScan = 0;           // scan number the engine sees
  int nMsLevel = 0;
  int nInstrument = -1;     // index into ScanTable::instruments
  int nPriorIndex = -1;     // spectrum in which the precursor was selected
  int nNestedParent = -1;   // mzXML: the scan element this one is nested in
  long nDeclaredCount = -1; // number of peaks the file declares
  bool bCentroid = true;
  bool bNegative = false;
  OptionalValue retentionTime;  // minutes
  OptionalValue totalIntensity;
  OptionalValue basePeakIntensity;
  OptionalValue basePeakMz;
  OptionalValue lowMz;
  OptionalValue highMz;
  OptionalValue windowLow;
  OptionalValue windowHigh;
  OptionalValue monoisotopicMz;  // Thermo trailer "Monoisotopic M/Z:"
  int nCharge = 0;               // of the scan's own precursor; 0 not known
  // The scan's own precursor as the file states it: its charge or possible
  // charges in the file's order, the selected ion's m/z and intensity (0: not
  // given), the offsets of the isolation window below and above its target.
  std::vector<int> vCharges;
  OptionalValue selectedMz;
  std::string strPrecursorMzText;  // the text selectedMz was read from, for messages
  double dPrecursorIntensity = 0.0;
  OptionalValue isolationTarget;
  OptionalValue isolationLower;
  OptionalValue isolationUpper;
  OptionalValue retentionSeconds;  // the retention time in seconds, as written
  std::string strFilter;         // the file's own filter text, if any
  std::vector<Precursor> precursors;  // in order; the last is the scan's own
  ArrayText mz;         // mzML m/z array; mzXML interleaved m/z-intensity pairs
  ArrayText intensity;  // mzML intensity array
  bool bInterleaved = false;
};

struct Instrument {
  std::string strId;
  std::string strAnalyzer;  // "FTMS", "ITMS", ... for built filter texts
  std::string strSource;    // "NSI", "ESI", ...
  std::string strModel;     // the model as the file names it ("LTQ Orbitrap XL"); "" not named
};

struct ScanTable {
  FileFormat format = FileFormat::kMzml;
  std::vector<SpectrumMeta> spectra;  // in file order
  std::vector<Instrument> instruments;
  int nDefaultInstrument = -1;
};

// Reads the whole content once and fills the table; resolves scan numbers and
// prior scans. Throws std::runtime_error with a message naming the file and
// the place (the spectrum, or the line and column) when the content is not a
// readable mzML or mzXML document, has elements where none can be (a
// spectrum inside a spectrum, peaks outside any scan), or uses an encoding
// this reader doesn't decode (MS-Numpress). A spectrum whose MS level, charge
// or precursor m/z can't be taken is kept with its strRefusal set; the pass
// goes on. Scan numbers above INT_MAX number all spectra by their position,
// with a warning.
void ScanFile(ByteSource& source, const std::string& path, ScanTable* table);

// The spectrum as messages name it: spectrum "<native id>" in an mzML file,
// scan <num> in an mzXML file.
std::string SpectrumPlace(FileFormat format, const SpectrumMeta& s);

// Scan number from an mzML native id: the number behind "scan=", "scanId=",
// "spectrum=" or, 1-based, "index="; 0 when the id holds none of them.
long ScanNumberFromId(const std::string& id);

// Minutes from an xs:duration such as "PT1503.96S" or "PT25M3.9S"; false when
// the text is not one.
bool ParseDuration(const std::string& text, double* minutes);
// Seconds from an xs:duration ("PT1503.96S" gives exactly 1503.96).
bool ParseDurationSeconds(const std::string& text, double* seconds);

}  // namespace orvane::readers
