// Reading and writing MGF text in the tests of the MGF reader and writer.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "spectrum/mgf_file.h"
#include "support/test_support.h"

namespace orvane::mgftest {

// One call of ImportMgf on a cleared record.
struct Read {
  HRESULT hr;
  Dta dta;
};

// Calls ImportMgf on the text until it answers S_FALSE; the last entry is that
// S_FALSE call with whatever it left in its record.
inline std::vector<Read> ReadAll(const std::string& text, MgfDialect dialect) {
  test::TempDir dir;
  const std::string path = dir.File("in.mgf");
  test::WriteFile(path, text);
  CStdioFile file;
  EXPECT_TRUE(file.Open(path, CStdioFile::modeRead));
  std::vector<Read> out;
  for (int guard = 0; guard < 10000; ++guard) {
    Read r{S_OK, Dta()};
    r.hr = ImportMgf(&file, &r.dta, dialect);
    out.push_back(r);
    if (r.hr != S_OK) break;
  }
  return out;
}

// The blocks read with S_OK.
inline std::vector<Dta> Blocks(const std::string& text, MgfDialect dialect) {
  std::vector<Dta> out;
  for (auto& r : ReadAll(text, dialect))
    if (r.hr == S_OK) out.push_back(r.dta);
  return out;
}

// What ExportMgf writes for the records, in one file.
inline std::string Write(const std::vector<Dta>& spectra, MgfDialect dialect,
                         const std::string& comment = {}) {
  test::TempDir dir;
  const std::string path = dir.File("out.mgf");
  CStdioFile file;
  EXPECT_TRUE(file.Open(path, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText));
  for (const Dta& d : spectra) EXPECT_EQ(ExportMgf(&file, &d, comment, dialect), S_OK);
  file.Close();
  return test::ReadFile(path);
}

inline std::vector<std::pair<double, double>> Peaks(const Dta& d) {
  std::vector<std::pair<double, double>> out;
  for (unsigned i = 0; i < d.GetPeakCount(); ++i) out.emplace_back(d.GetMass(i), d.GetIntensity(i));
  return out;
}

using PeakList = std::vector<std::pair<double, double>>;

}  // namespace orvane::mgftest
