// MGF files: blocks between "BEGIN IONS" and "END IONS".
#pragma once

#include <cstdint>
#include <string>

#include "platform/hresult.h"
#include "platform/text_file.h"
#include "spectrum/dialect.h"
#include "spectrum/dta.h"

namespace orvane {

// Reads the next block from the file's current position into pDta (which is
// not cleared). S_OK when a block was read up to its "END IONS", S_FALSE at
// the end of the file.
HRESULT ImportMgf(CStdioFile* pFile, Dta* pDta, MgfDialect dialect);
// Appends one block. Always S_OK.
HRESULT ExportMgf(CStdioFile* pFile, const Dta* pDta, const std::string& strComment,
                  MgfDialect dialect);
// Number of lines that are exactly "BEGIN IONS\n"; 0 (after a file-error
// report) for a file that cannot be opened.
unsigned CountMgfSpectra(const char* pszPath);

// Reads an MGF file spectrum by spectrum, from the file's current position.
//
// Classic: Next() is ImportMgf, call for call. Modern: Next() passes over the
// spectra it refuses (a message shown for each, counted in Refused()), so
// every spectrum it hands out has usable values; file-level parameters
// before the first block apply to every block that does not state its own.
class MgfReader {
 public:
  MgfReader(CStdioFile& file, MgfDialect dialect);
  ~MgfReader();
  MgfReader(const MgfReader&) = delete;
  MgfReader& operator=(const MgfReader&) = delete;

  // Reads the next spectrum into pDta. Classic: pDta is not cleared, as with
  // ImportMgf. Modern: pDta is cleared first, apart from its strPath.
  // S_OK: a spectrum was read. S_FALSE: the end of the file. Negative
  // (modern only): a read error ended the file, its message shown naming the
  // file and the line. Classic keeps ImportMgf's S_FALSE on a read error
  // (CStdioFile::ReadFailed() tells it).
  HRESULT Next(Dta* pDta);
  // Spectra refused so far (modern): a caller that reads to the end counts
  // its input as failed when this is above 0.
  unsigned Refused() const;
  // The line (counted from 1) where the block of the last spectrum read
  // began: its "BEGIN IONS" line.
  std::uint64_t BlockLine() const;

 private:
  struct State;
  State* state_;
};

}  // namespace orvane
