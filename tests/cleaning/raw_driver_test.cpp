// The raw file driver through the engine object, on a scripted reader: the
// rows and messages of both phases (conversion, then cleaning), the outputs,
// stops, boxes and results.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <sstream>
#include <vector>

#include "engine_run.h"
#include "platform/format.h"
#include "raw/scan_access.h"
#include "support/scripted_reader.h"

namespace orvane {
namespace {

// A scan of level 1 (a survey), or of level 2 or 3 with its precursor; charge
// class 2 makes one file each for charges 2 and 3, class 0 loses its precursor.
struct Scan { long number; int level; double mz; int charge; };
struct Raw { const char* name; std::vector<Scan> scans; };  // "missing.raw" can't be opened

struct Harness : test::EngineRun {
  test::ScriptedReader reader;
  RawOptions options;

  Harness() {
    options.dMaxMass = 100000.0;
    options.nMinPeaks = 1;
    options.nExportOption = 2;
    files.nMode = InputKind::Raw;
    params.pRawReader = &reader;
    params.pRawOptions = &options;
    params.bSkipCleaning = true;  // MGF runs copy the spectra unchanged
  }
  void Add(const Raw& raw) {
    const std::string path = dir.File(std::string("in/") + raw.name);
    files.lstFiles.push_back(path);
    if (std::string(raw.name) == "missing.raw") return;
    test::ScriptedFile& file = reader.AddFile(path);
    for (const Scan& s : raw.scans) {
      if (s.level == 1) {
        file.scans[s.number] = test::MakeSurveyScan();
        continue;
      }
      std::string filter = "ITMS + c NSI d Full ms" + std::to_string(s.level) + " ";
      for (int i = 2; i <= s.level; ++i) filter += Format("%.2f@cid35.00 ", s.mz);
      test::ScriptedScan scan = test::MakeScan(filter, {{100.0, 1000.0}, {150.0, 20.0}, {200.5, 50.0}});
      scan.trailer[kTrailerMonoisotopicMz] = s.charge == 0 ? Variant::Empty() : Variant::R8(s.mz);
      if (s.charge == 2) scan.trailer[kTrailerChargeState] = Variant::I2(2);
      file.scans[s.number] = scan;
    }
  }
  // The row messages: B raw begun, D raw done, A row added (its path under
  // out/), R row begun, E row done; then "!" for each stop posted.
  std::string Rows() const {
    std::string out;
    for (const auto& m : window.messages) {
      const std::string row = std::to_string(m.wParam);
      if (m.number == PM_RAW_BEGIN) out += " B" + row;
      if (m.number == PM_RAW_DONE) out += " D" + row;
      if (m.number == PM_ROW_ADDED) out += " A" + row + ":" + m.text.substr(Out().size());
      if (m.number == PM_ROW_BEGIN) out += " R" + row;
      if (m.number == PM_ROW_DONE) out += " E" + row;
      if (m.number == PM_CANCELLED) out += " !";
    }
    return out.empty() ? out : out.substr(1);
  }
};

TEST(RawDriver, Runs) {
  const std::vector<Raw> ab = {{"a.raw", {{1, 2, 500.0, 1}}}, {"b.raw", {{4, 2, 600.0, 1}}}};
  struct Row {
    const char* name;
    int convert;  // 1 MGF, 0 DTA
    bool split;
    std::vector<Raw> raws;
    int stop;  // 1: set before the run, 2: when the first row is begun
    std::function<void(Harness&)> arrange;
    HRESULT hr;
    std::string rows;
    std::string box;    // kind (0 error, 1 note, 2 plain, 3 stop) and text, "|" between; IN/ and OUT/ for the folders
    std::string files;  // that must be under out/
    int heads;          // log heads: one per spectrum driver run with files
  };
  const Row rows[] = {
      {"MGF", 1, false, ab, 0, {}, S_OK, "B0 D0 A1:a.mgf B2 D2 A3:b.mgf R1 E1 R3 E3", "", "a_c.mgf b_c.mgf", 1},
      {"MGF by level", 1, true, {{"a.raw", {{1, 2, 500.0, 1}, {2, 3, 400.0, 1}}}, {"b.raw", {{1, 2, 510.0, 1}}}}, 0, {}, S_OK,
       "B0 D0 A1:a_ms2.mgf A2:a_ms3.mgf B3 D3 A4:b_ms2.mgf A5:b_ms3.mgf R1 E1 R4 E4 R2 E2 R5 E5", "", "a_ms3_c.mgf b_ms3_c.mgf", 2},
      {"unreadable raw", 1, false, {{"missing.raw", {}}, ab[1]}, 0, {}, S_OK,
       "B0 D0 A1:missing.mgf B2 D2 A3:b.mgf R1 E1 R3 E3", "0 Cannot open file IN/missing.raw", "missing_c.mgf", 1},
      {"MGF merged", 1, false, ab, 0, [](Harness& h) { h.params.bMergeOutput = true; }, S_OK,
       "B0 D0 A1:a.mgf B2 D2 A3:b.mgf R1 E1 R3 E3", "", "SpectraMerged_c.mgf", 1},
      {"MGF stop", 1, false, ab, 1, {}, S_OK, "B0 ! D0", "", "", 0},
      {"failed conversion", 1, false, {ab[0], {"b.raw", {{1, 2, 500.0, 0}}}}, 0, {}, E_UNEXPECTED, "B0 D0 A1:a.mgf B2 D2",
       "0 Scan: 1 MS level: 2 unexpected type when looking for precursorMz|1 Couldn't extract data from IN/b.raw file. \nHRESULT = 0x8000ffff", "a.mgf", 0},
      // Every cleaning run fails without the bad folder; the MS3 run's failure is the one shown.
      {"failed cleaning", 1, true, ab, 0,
       [](Harness& h) {
         std::filesystem::remove(h.Out() + "badspectra");
         h.params.bExportBad = true;
         h.params.nBadSpectraAction = BadSpectraAction::Separate;
       },
       E_UNEXPECTED, "B0 D0 A1:a_ms2.mgf A2:a_ms3.mgf B3 D3 A4:b_ms2.mgf A5:b_ms3.mgf R1 R2",
       "2 the file pfBadExportM could not be created|2 the file pfBadExportM could not be created|3 Error cleaning OUT/b_ms3.mgf file. \nHRESULT = 0x8000ffff", "", 2},
      {"bad option", 2, false, ab, 0, {}, E_UNEXPECTED, "B0", "1 Error! Bad convert option.", "", 0},
      {"DTA", 0, false, {{"a.raw", {{1, 2, 500.0, 2}, {2, 2, 420.0, 1}}}, {"b.raw", {{3, 2, 600.0, 2}}}}, 0, {}, S_OK,
       "B0 D0 A1:dta_converted/a.1.1.2.dta A2:dta_converted/a.1.1.3.dta A3:dta_converted/a.2.2.1.dta B4 D4 "
       "A5:dta_converted/b.3.3.2.dta A6:dta_converted/b.3.3.3.dta R1 E1 R2 E2 R3 E3 R5 E5 R6 E6", "",
       "a.1.1.2_c.dta b.3.3.3_c.dta", 1},
      {"nothing to convert", 0, false, {{"a.raw", {{1, 1, 0, 0}}}, {"b.raw", {{2, 2, 500.0, 1}}}}, 0, {}, S_OK,
       "B0 D0 B1 D1 A2:dta_converted/b.2.2.1.dta R2 E2", "", "b.2.2.1_c.dta", 1},
      {"DTA by level", 0, true, {{"a.raw", {{1, 2, 500.0, 1}, {2, 2, 510.0, 1}}}}, 0, {}, S_OK,
       "B0 D0 A1:dta_converted_ms2/a_ms2.1.1.1.dta A2:dta_converted_ms2/a_ms2.2.2.1.dta R1 E1 R2 E2", "",
       "dta_ms2_cleaned/a_ms2.1.1.1_c.dta dta_ms3_cleaned", 1},
      {"DTA folder in the way", 0, true, {ab[0]}, 0, [](Harness& h) { test::WriteFile(h.Out() + "dta_ms2_cleaned", "x"); },
       E_UNEXPECTED, "B0 D0 A1:dta_converted_ms2/a_ms2.1.1.1.dta", "2 Error!\nCouldn't create directory OUT/.", "", 0},
      // Each conversion stops after its first scan, the cleaning after its first file.
      {"DTA stop", 0, false, {{"a.raw", {{1, 2, 500.0, 1}, {2, 2, 500.0, 1}}}, {"b.raw", {{1, 2, 500.0, 1}}}}, 1, {}, S_OK,
       "B0 ! D0 A1:dta_converted/a.1.1.1.dta B2 ! D2 A3:dta_converted/b.1.1.1.dta R1 E1 !", "", "a.1.1.1_c.dta", 1},
      {"DTA stop while cleaning", 0, false, {{"a.raw", {{1, 2, 500.0, 2}}}}, 2, {}, S_OK,
       "B0 D0 A1:dta_converted/a.1.1.2.dta A2:dta_converted/a.1.1.3.dta R1 E1 !", "", "a.1.1.2_c.dta", 1},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    Harness h;
    h.options.nConvertOption = static_cast<ConvertTarget>(r.convert);
    h.options.bSplitMsLevels = r.split;
    for (const Raw& raw : r.raws) h.Add(raw);
    if (r.arrange) r.arrange(h);
    if (r.stop == 1) h.cancel.Set();
    if (r.stop == 2)
      h.window.onMessage = [&](const test::RecordingWindow::Message& m) { if (m.number == PM_ROW_BEGIN) h.cancel.Set(); };
    EXPECT_EQ(h.clean->CleanRawFiles(&h.params), r.hr);
    EXPECT_EQ(h.Rows(), r.rows);
    std::string box = h.boxes.Joined();
    for (const auto& [from, to] : {std::pair{h.dir.Folder() + "in/", std::string("IN/")}, std::pair{h.Out(), std::string("OUT/")}})
      for (std::size_t at; (at = box.find(from)) != std::string::npos;) box.replace(at, from.size(), to);
    EXPECT_EQ(box, r.box);
    std::istringstream names(r.files);
    for (std::string name; names >> name;) EXPECT_TRUE(std::filesystem::exists(h.Out() + name)) << name;
    // Merged outputs of raw runs name the source of each block.
    if (h.params.bMergeOutput) {
      const std::string merged = test::ReadFile(h.Out() + "SpectraMerged_c.mgf");
      EXPECT_EQ(merged.substr(0, merged.find("BEGIN IONS")), "\n# " + h.Out() + "a.mgf \n\n");
      EXPECT_NE(merged.find("\n# " + h.Out() + "b.mgf \n"), std::string::npos);
    }
    const std::string log = h.Log();
    int heads = 0;
    for (std::size_t at = 0; (at = log.find("Peltrix Log File\n", at)) != std::string::npos; ++at) ++heads;
    EXPECT_EQ(heads, r.heads);
  }
}

}  // namespace
}  // namespace orvane
