// The reader of mzML and mzXML files (plain or gzip-compressed) on both of
// its roads: the scan records of the modern conversions, and the eleven
// operations of the classic ones, walked from the first scan to the last as
// the conversions walk them. Errors are thrown by design and caught here, as
// the conversions catch them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "fuzz_util.h"
#include "readers/mz_reader.h"

using namespace orvane;

namespace {

void ModernRoad(const std::string& path) {
  readers::MzReader reader;
  try {
    reader.Open(path);
  } catch (const std::exception&) {
    return;
  }
  reader.Describe();
  ScanRecord record;
  for (std::size_t i = 0; i < reader.Count(); ++i) {
    try {
      reader.Header(i, &record);
      reader.Peaks(i, &record);
    } catch (const std::exception&) {
    }
  }
}

void ClassicRoad(const std::string& path) {
  readers::MzReader reader;
  if (reader.OpenRawFile(path) != 0) return;
  try {
    reader.SelectController(0, 1);
    long count = 0, first = 0, last = 0;
    reader.GetSpectrumCount(&count);
    reader.GetFirstScan(&first);
    reader.GetLastScan(&last);
    // The walk goes from one scan a spectrum carries to the next, so it
    // takes no more steps than the file has spectra, however far apart
    // their numbers are.
    long steps = 0;
    for (long scan = first; scan <= last; scan = reader.NextScanAfter(scan, last)) {
      if (++steps > std::max(count, 1L)) {
        std::fprintf(stderr, "the walk from scan %ld to %ld takes more steps than the %ld spectra\n",
                     first, last, count);
        std::abort();
      }
      try {
        std::string filter;
        reader.GetScanFilter(scan, &filter);
        ScanHeader header;
        reader.GetScanHeader(scan, &header);
        RawPeakList peaks, flags;
        long size = 0;
        long at = scan;
        reader.GetMassList(&at, "", 0, 0, 0, 0, nullptr, &peaks, &flags, &size);
        at = scan;
        reader.GetPriorMassList(&at, "!d", 0, 0, 0, 0, nullptr, &peaks, &flags, &size);
        Variant value;
        reader.GetScanTrailer(scan, "Monoisotopic M/Z:", &value);
        reader.GetScanTrailer(scan, "Charge State:", &value);
      } catch (const std::exception&) {
      }
    }
  } catch (const std::exception&) {
  }
  reader.CloseRawFile();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::KeepBoxesQuiet();
  static fuzz::ScratchFile input("in.mzML");
  const std::string& path = input.Write(data, size);
  ModernRoad(path);
  ClassicRoad(path);
  return 0;
}
