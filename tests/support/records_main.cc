// orvane-records: reads peak lists and instrument files with the engine's own
// readers and prints what they hold, one stable line per value, with every
// box shown in between, for the golden cases of tests/golden/records.
//   orvane-records mgf --dialect classic|modern FILE [--write-mgf OUT | --write-dta DIR]
//   orvane-records dta --dialect classic|modern FILE... [--write-mgf OUT | --write-dta DIR]
//   orvane-records raw FILE          every scan number as the classic road asks for it
#include <cstdio>
#include <vector>

#include "platform/reporter.h"
#include "readers/mz_reader.h"
#include "spectrum/dta_file.h"
#include "spectrum/mgf_file.h"

using namespace orvane;

namespace {

struct PrintingReporter final : IReporter {
  void Show(BoxKind kind, std::string_view text) override {
    std::printf("box %s: %.*s\n", BoxKindName(kind), static_cast<int>(text.size()), text.data());
  }
};

void Print(const Dta& d) {
  std::printf("title [%s]\nmass %.17g charge %d sign %c\n", d.strTitle.c_str(), d.dMass, d.nCharge,
              d.GetChargeSign());
  for (std::size_t i = 0; i < d.vCharges.size(); ++i) std::printf(i ? " %d" : "charges %d", d.vCharges[i]);
  if (!d.vCharges.empty()) std::printf("\n");
  if (d.dPrecursorIntensity != 0.0) std::printf("precursor intensity %.17g\n", d.dPrecursorIntensity);
  for (const std::string& line : d.vHeaderLines) std::printf("header [%s]\n", line.c_str());
  for (unsigned i = 0; i < d.GetPeakCount(); ++i) std::printf("peak %.17g %.17g\n", d.GetMass(i), d.GetIntensity(i));
}

void PrintPeaks(const RawPeakList& peaks) {
  std::printf("peaks %zu", peaks.size());
  for (const RawPeak& p : peaks) std::printf(" %.17g:%.17g", p.dMass, p.dIntensity);
  std::printf("\n");
}


int DumpRaw(const std::string& path) {
  readers::MzReader r;
  if (const long open = r.OpenRawFile(path); std::printf("open %ld\n", open) && open != 0) return 0;
  r.SelectController(0, 1);
  long count = 0, first = 0, last = 0;
  r.GetSpectrumCount(&count), r.GetFirstScan(&first), r.GetLastScan(&last);
  std::printf("spectra %ld first %ld last %ld\n", count, first, last);
  for (long scan = first; scan <= last; scan = r.NextScanAfter(scan, last)) {
    try {
      std::string filter;
      ScanHeader h;
      r.GetScanFilter(scan, &filter), r.GetScanHeader(scan, &h);
      std::printf("scan %ld [%s]\nheader %ld %.17g %.17g %.17g tic %.17g low %.17g base %.17g at %.17g\n", scan,
                  filter.c_str(), h.nEntries, h.dLowMass, h.dHighMass, h.dStartTime, h.dTotalIntensity,
                  h.dLowestIntensity, h.dBasePeakIntensity, h.dBasePeakMass);
      for (const char* label : {"Monoisotopic M/Z:", "Charge State:"}) {
        Variant v;
        r.GetScanTrailer(scan, label, &v);
        std::printf("trailer %s vt %d i2 %d r8 %.17g r4 %.9g\n", label, v.vt, v.iVal, v.dblVal, v.fltVal);
      }
      RawPeakList peaks, flags;
      long n = 0, at = scan;
      r.GetMassList(&at, "", 0, 0, 0, 0, nullptr, &peaks, &flags, &n);
      PrintPeaks(peaks);
      double width = 0.0;
      r.GetPriorMassList(&(at = scan), "!d", 0, 0, 0, 0, &width, &peaks, &flags, &n);
      std::printf("prior scan %ld ", at);
      PrintPeaks(peaks);
    } catch (const std::exception& e) {
      std::printf("scan %ld throws: %s\n", scan, e.what());
      RawPeakList peaks, flags;  // asked again: the box is shown once per spectrum
      long n = 0, at = scan;
      try { r.GetMassList(&at, "", 0, 0, 0, 0, nullptr, &peaks, &flags, &n); } catch (const std::exception&) { std::printf("and again\n"); }
    }
  }
  std::printf("refused %zu\n", r.RefusedCount());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() < 2) return 2;  // usage: above
  PrintingReporter reporter;  // every box as a line of standard output, in order
  SetReporter(&reporter);
  MgfDialect dialect = MgfDialect::Modern;
  std::string writeMgf, writeDta;
  std::vector<std::string> files;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const bool value = i + 1 < args.size();
    if (value && args[i] == "--dialect") dialect = args[++i] == "classic" ? MgfDialect::Classic : MgfDialect::Modern;
    else if (value && args[i] == "--write-mgf") writeMgf = args[++i];
    else if (value && args[i] == "--write-dta") writeDta = args[++i];
    else files.push_back(args[i]);
  }
  if (args[0] == "raw") return DumpRaw(files.at(0));
  std::vector<Dta> records;
  if (args[0] == "mgf") {
    CStdioFile file;
    if (!file.Open(files.at(0), CStdioFile::modeRead)) return 1;
    HRESULT hr;
    for (Dta d; (hr = ImportMgf(&file, &d, dialect)) == S_OK; d = Dta()) {
      std::printf("-- spectrum %zu\n", records.size() + 1), Print(d);
      records.push_back(d);
    }
    const MgfReader reader(file, dialect);
    std::printf("-- end 0x%x refused %u last block at line %llu\n", static_cast<unsigned>(hr), reader.Refused(),
                static_cast<unsigned long long>(reader.BlockLine()));
  } else {
    for (const std::string& path : files) {
      Dta d;
      const HRESULT hr = ImportDta(path.c_str(), &d, dialect);
      std::printf("-- %s: 0x%x path [%s]\n", path.c_str(), static_cast<unsigned>(hr), d.strPath.c_str()), Print(d);
      if (hr == S_OK) records.push_back(d);
    }
  }
  if (!writeMgf.empty()) {
    CStdioFile out;
    if (!out.Open(writeMgf, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText)) return 1;
    for (std::size_t i = 0; i < records.size(); ++i)
      ExportMgf(&out, &records[i], i == 0 ? "from " + files.at(0) : std::string(), dialect);
  }
  for (std::size_t i = 0; !writeDta.empty() && i < records.size(); ++i) {
    const std::string path = writeDta + "/" + std::to_string(i + 1) + ".dta";
    std::printf("write %s: 0x%x\n", path.c_str(), static_cast<unsigned>(ExportDta(path.c_str(), &records[i], dialect)));
  }
  return 0;
}
