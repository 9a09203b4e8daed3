// MGF files: blocks between "BEGIN IONS" and "END IONS".
#pragma once

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

}  // namespace orvane
