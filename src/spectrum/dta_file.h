// DTA files: a header line "MH+ charge" and one "mass intensity" line per peak.
#pragma once

#include "platform/hresult.h"
#include "spectrum/dialect.h"
#include "spectrum/dta.h"

namespace orvane {

// Clears pDta, sets its title (the file name) and path (the folder), and reads
// the file. S_OK once the file could be opened, whatever it held;
// E_UNEXPECTED with a file-error report if it could not, or on a read error.
HRESULT ImportDta(const char* pszPath, Dta* pDta);
// Classic: writes the header with "%.6lf %d\n" and every peak of non-zero
// intensity with "%.3lf %.3lf", each followed by "\n" unless it has the last
// index. Modern: the same lines with every number written without loss, and
// every line ending in "\n".
HRESULT ExportDta(const char* pszPath, const Dta* pDta, MgfDialect dialect = MgfDialect::Classic);

}  // namespace orvane
