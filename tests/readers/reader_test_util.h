// Helpers of the reader tests: the checked-in fixtures and what msconvert
// reported about them, and small hand-made mzML/mzXML documents.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "raw/raw_reader.h"

namespace orvane::test {

inline std::string FixturePath(const std::string& name) {
  return std::string(ORVANE_SOURCE_DIR) + "/tests/readers/fixtures/" + name;
}

// One S line of FILE.expected.tsv with its arrays (see make_expected.awk).
struct ExpectedSpectrum {
  int index = 0;
  std::string id;
  int level = 0;
  long count = 0;
  double tic = 0.0;
  double bpi = 0.0;
  double rtMinutes = 0.0;
  std::string ref;  // "" when none
  double precursorMz = 0.0;
  int charge = 0;
  std::string filter;  // "" when none
  std::vector<double> mz, intensity;
};

inline std::vector<std::string> SplitTabs(const std::string& line) {
  std::vector<std::string> parts;
  std::stringstream ss(line);
  std::string part;
  while (std::getline(ss, part, '\t')) parts.push_back(part);
  return parts;
}

inline std::vector<ExpectedSpectrum> ReadExpected(const std::string& path) {
  std::ifstream in(path);
  std::vector<ExpectedSpectrum> out;
  std::string line;
  auto field = [](const std::string& s) { return s == "-" ? std::string() : s; };
  while (std::getline(in, line)) {
    auto p = SplitTabs(line);
    if (p.empty()) continue;
    if (p[0] == "S" && p.size() >= 12) {
      ExpectedSpectrum e;
      e.index = std::atoi(p[1].c_str());
      e.id = p[2];
      e.level = std::atoi(p[3].c_str());
      e.count = std::atol(p[4].c_str());
      e.tic = std::atof(p[5].c_str());
      e.bpi = std::atof(p[6].c_str());
      e.rtMinutes = std::atof(p[7].c_str());
      e.ref = field(p[8]);
      e.precursorMz = std::atof(field(p[9]).c_str());
      e.charge = std::atoi(field(p[10]).c_str());
      e.filter = field(p[11]);
      out.push_back(e);
    } else if ((p[0] == "M" || p[0] == "I") && !out.empty()) {
      auto& v = p[0] == "M" ? out.back().mz : out.back().intensity;
      for (std::size_t i = 1; i < p.size(); ++i) v.push_back(std::atof(p[i].c_str()));
    }
  }
  return out;
}

// The scan number msconvert gives a native id: the number behind its last "=".
inline long ScanOfId(const std::string& id) {
  auto eq = id.rfind('=');
  return eq == std::string::npos ? 0 : std::atol(id.c_str() + eq + 1);
}

// One block of an MGF file as msconvert writes it.
struct MgfBlock {
  std::string title;
  double pepmass = 0.0;
  int charge = 0;
  std::vector<std::pair<double, double>> peaks;
};

inline std::vector<MgfBlock> ReadMgf(const std::string& path) {
  std::ifstream in(path);
  std::vector<MgfBlock> out;
  std::string line;
  bool inBlock = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line == "BEGIN IONS") {
      out.emplace_back();
      inBlock = true;
    } else if (line == "END IONS") {
      inBlock = false;
    } else if (inBlock && line.rfind("TITLE=", 0) == 0) {
      out.back().title = line.substr(6);
    } else if (inBlock && line.rfind("PEPMASS=", 0) == 0) {
      out.back().pepmass = std::atof(line.c_str() + 8);
    } else if (inBlock && line.rfind("CHARGE=", 0) == 0) {
      out.back().charge = std::atoi(line.c_str() + 7);
    } else if (inBlock && !line.empty() && (std::isdigit(static_cast<unsigned char>(line[0])))) {
      double m = 0, i = 0;
      if (std::sscanf(line.c_str(), "%lf %lf", &m, &i) == 2) out.back().peaks.emplace_back(m, i);
    }
  }
  return out;
}

inline std::string EncodeBase64(const std::string& bytes) {
  static const char* a = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    std::uint32_t v = (std::uint32_t(std::uint8_t(bytes[i])) << 16) |
                      (std::uint32_t(std::uint8_t(bytes[i + 1])) << 8) | std::uint8_t(bytes[i + 2]);
    out += a[v >> 18];
    out += a[(v >> 12) & 63];
    out += a[(v >> 6) & 63];
    out += a[v & 63];
  }
  if (i + 1 == bytes.size()) {
    std::uint32_t v = std::uint32_t(std::uint8_t(bytes[i])) << 16;
    out += a[v >> 18];
    out += a[(v >> 12) & 63];
    out += "==";
  } else if (i + 2 == bytes.size()) {
    std::uint32_t v = (std::uint32_t(std::uint8_t(bytes[i])) << 16) |
                      (std::uint32_t(std::uint8_t(bytes[i + 1])) << 8);
    out += a[v >> 18];
    out += a[(v >> 12) & 63];
    out += a[(v >> 6) & 63];
    out += '=';
  }
  return out;
}

// Raw bytes of numbers, little- or big-endian.
template <typename T>
std::string NumberBytes(const std::vector<double>& values, bool bigEndian = false) {
  std::string out;
  for (double d : values) {
    T v = static_cast<T>(d);
    char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    if (bigEndian) {
      for (std::size_t k = 0; k < sizeof(T) / 2; ++k) std::swap(b[k], b[sizeof(T) - 1 - k]);
    }
    out.append(b, sizeof(T));
  }
  return out;
}

// Everything the engine can ask of one scan.
struct ScanView {
  std::string filter;
  ScanHeader header;
  RawPeakList peaks;
  long priorScan = 0;
  RawPeakList priorPeaks;
  Variant mono, charge;
};

inline ScanView ViewScan(IRawReader& r, long scan) {
  ScanView v;
  r.GetScanFilter(scan, &v.filter);
  r.GetScanHeader(scan, &v.header);
  RawPeakList flags;
  long n = 0;
  long s = scan;
  r.GetMassList(&s, "", 0, 0, 0, 0, nullptr, &v.peaks, &flags, &n);
  double width = 0.0;
  v.priorScan = scan;
  r.GetPriorMassList(&v.priorScan, "!d", 0, 0, 0, 0, &width, &v.priorPeaks, &flags, &n);
  r.GetScanTrailer(scan, "Monoisotopic M/Z:", &v.mono);
  r.GetScanTrailer(scan, "Charge State:", &v.charge);
  return v;
}

}  // namespace orvane::test
