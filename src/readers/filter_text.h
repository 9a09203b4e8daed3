// Filter texts in the form of a Thermo scan filter, for spectra whose file
// carries none of its own:
//   "FTMS + p NSI Full ms [300.00-2000.00]"
//   "ITMS + c NSI d Full ms2 500.2500@cid35.00 [135.00-2000.00]"
//   "ITMS + c NSI d Full ms3 600.3000@cid35.00 500.2500@cid35.00 [...]"
// What the engine reads from it: the first "ms", followed by the level digit
// (a blank for a survey scan), and one "m/z@" per precursor, the last being
// the scan's own. Everything before "Full ms" is upper case, so nothing there
// is taken for that "ms".
#pragma once

#include <string>

#include "readers/scan_table.h"

namespace orvane::readers {

// The file's own filter text of the spectrum at index, or one built from its
// level, precursors and scan range. An MSn spectrum that lists fewer than n-1
// precursors borrows the missing ones from the chain of scans in which they
// were selected.
std::string FilterText(const ScanTable& table, int index);

// The filter text built from the metadata alone, whatever the file carries.
std::string BuildFilterText(const ScanTable& table, int index);

}  // namespace orvane::readers
