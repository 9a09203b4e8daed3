// DTA files: a header line "MH+ charge" and one "mass intensity" line per peak.
#pragma once

#include "platform/hresult.h"
#include "spectrum/dialect.h"
#include "spectrum/dta.h"

namespace orvane {

// Clears pDta, sets its title (the file name) and path (the folder), and reads
// the file. Classic: S_OK once the file could be opened, whatever it held;
// E_UNEXPECTED with a file-error report if it could not, or on a read error.
// Modern: the values are checked at the door as in MGF files (peaks that are
// no numbers or not usable left out with one warning, peaks sorted by m/z,
// a peak of intensity 0 kept); a file without a usable MH+ on its first line
// or with a charge no spectrum can have is refused with an error naming it:
// E_FAIL. A read error, or a line longer than kMaxTextLine, gives
// E_UNEXPECTED after a message naming the file and the line.
HRESULT ImportDta(const char* pszPath, Dta* pDta, MgfDialect dialect = MgfDialect::Classic);
// Classic: writes the header with "%.6lf %d\n" and every peak of non-zero
// intensity with "%.3lf %.3lf", each followed by "\n" unless it has the last
// index. Modern: the same lines with every number written without loss, and
// every line ending in "\n".
HRESULT ExportDta(const char* pszPath, const Dta* pDta, MgfDialect dialect = MgfDialect::Classic);

}  // namespace orvane
