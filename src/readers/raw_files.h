// The raw reader of open instrument formats (mzML and mzXML, plain or
// gzip-compressed) as a host hands it to the raw conversions and the raw
// driver: which files it reads, and a reader for them.
#pragma once

#include <memory>
#include <string>

#include "raw/raw_reader.h"

namespace orvane {

// True when the path names an mzML or mzXML file, with or without ".gz"
// (case-insensitive).
bool IsRawInput(const std::string& path);

// A reader for the raw input at path, chosen by its extension. The reader
// opens nothing until OpenRawFile. One reader reads mzML and mzXML alike (the
// document's root element decides), so a run over a mixed list of files can
// use one reader. Throws std::invalid_argument for a path that is no raw input.
std::unique_ptr<IRawReader> MakeRawReader(const std::string& path);

}  // namespace orvane
