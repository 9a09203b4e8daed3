// MGF files: blocks between "BEGIN IONS" and "END IONS".
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/hresult.h"
#include "platform/text_file.h"
#include "spectrum/dialect.h"
#include "spectrum/dta.h"

namespace orvane {

// Reads the next spectrum from the file: MgfReader(*pFile, dialect).Next(pDta).
// Classic: the next block, read up to its "END IONS", into pDta (which is not
// cleared); S_OK, or S_FALSE at the end of the file and on a read error.
// Modern: the next spectrum the reader accepts, as MgfReader::Next gives it.
HRESULT ImportMgf(CStdioFile* pFile, Dta* pDta, MgfDialect dialect);
// Appends one block. Always S_OK.
HRESULT ExportMgf(CStdioFile* pFile, const Dta* pDta, const std::string& strComment,
                  MgfDialect dialect);
// Number of lines that are exactly "BEGIN IONS\n"; 0 (after a file-error
// report) for a file that cannot be opened.
unsigned CountMgfSpectra(const char* pszPath);

// Reads an MGF file spectrum by spectrum, from the file's current position.
// What the reading keeps between spectra (its place, the file's parameters,
// the count of refused spectra) lives with the open file, so every MgfReader
// and every ImportMgf call on one file goes on where the last one stopped.
//
// Classic: Next() reads as it always has. Modern: Next() passes over the
// spectra it refuses (an error shown for each, counted in Refused()), so
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
  std::shared_ptr<State> state_;  // kept with the file (CStdioFile::ReaderState)
};

}  // namespace orvane
