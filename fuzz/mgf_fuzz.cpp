// The MGF reader in both dialects, through ImportMgf and through MgfReader:
// every block of the input, read until the reader answers anything but S_OK.
// Gzip-compressed input (1f 8b) is read decompressed, as the CLI reads
// run.mgf.gz. Every spectrum the modern MgfReader hands out must have usable
// values: a finite precursor m/z and finite peaks.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz_util.h"
#include "spectrum/mgf_file.h"

using namespace orvane;

namespace {

void Fail(const char* what, const Dta& dta) {
  std::fprintf(stderr, "%s (spectrum \"%s\")\n", what, dta.strTitle.c_str());
  std::abort();
}

void CheckUsable(const Dta& dta) {
  if (!std::isfinite(dta.dMass)) Fail("the modern reader handed out a non-finite precursor m/z", dta);
  for (std::uint32_t i = 0; i < dta.GetPeakCount(); ++i)
    if (!std::isfinite(dta.vMass[i]) || !std::isfinite(dta.vIntensity[i]))
      Fail("the modern reader handed out a non-finite peak", dta);
}

// Reads blocks until the reader answers anything but S_OK. A block is never
// shorter than its "BEGIN IONS" line, so a reader of plain text that answers
// S_OK more often than that never reaches the end.
template <class ReadNext>
void ReadAll(const std::uint8_t* data, std::size_t size, ReadNext next) {
  const bool gzip = size >= 2 && data[0] == 0x1f && data[1] == 0x8b;
  const std::size_t most = gzip ? SIZE_MAX : size / 10 + 1;
  Dta dta;
  for (std::size_t blocks = 0;; ++blocks) {
    dta.Clear();
    if (next(&dta) != S_OK) break;
    if (blocks == most) Fail("the reader reads more blocks than the file can hold", dta);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::KeepBoxesQuiet();
  static fuzz::ScratchFile input("in.mgf");
  const std::string& path = input.Write(data, size);
  for (MgfDialect dialect : {MgfDialect::Classic, MgfDialect::Modern}) {
    {
      CStdioFile file;
      if (!file.Open(path, CStdioFile::modeRead | CStdioFile::typeText)) return 0;
      ReadAll(data, size, [&](Dta* pDta) { return ImportMgf(&file, pDta, dialect); });
    }
    CStdioFile file;
    if (!file.Open(path, CStdioFile::modeRead | CStdioFile::typeText)) return 0;
    MgfReader reader(file, dialect);
    ReadAll(data, size, [&](Dta* pDta) {
      const HRESULT hr = reader.Next(pDta);
      reader.BlockLine();
      if (hr == S_OK && dialect == MgfDialect::Modern) CheckUsable(*pDta);
      return hr;
    });
    reader.Refused();
  }
  CountMgfSpectra(path.c_str());
  return 0;
}
