// What a host of the engine object sees of its four conversions: the result,
// the progress messages, the boxes, the files left and the lists handed back.
// What the files hold is pinned by the golden convert cases.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "raw/scan_access.h"
#include "support/scripted_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

enum Kind { kRawToMgf, kRawToDta, kDtaToMgf, kMgfToDta };

struct Host {  // run.raw: an MS2 scan of charge 1, a survey scan, an MS2 scan of charges 2 and 3
  test::TempDir dir;
  test::ScriptedReader reader;
  test::RecordingReporter boxes;
  test::RecordingWindow window;
  CEvent cancel;
  unsigned stopOn = 0;  // the message at which the host sets the cancel event
  RawOptions options{0.0, 100000.0, 0, 1, ThresholdMode::None, 2};  // masses up to 100000, one peak or more
  RawOptions* pOptions = &options;
  std::string raw = dir.File("run.raw"), target;  // the MGF file, or the output folder
  StringList all{"stale"}, ms2{"stale"}, ms3{"stale"};  // DTA to MGF: the inputs in all

  explicit Host(Kind kind) : target(kind == kRawToMgf ? dir.File("out.mgf") : dir.Folder()) {
    Scan(1, 2, 500.0, 1);
    reader.AddFile(raw).scans[2] = test::MakeSurveyScan();
    Scan(3, 2, 600.0, 2);
    if (kind == kDtaToMgf) all.clear();
  }
  void Scan(long number, int level, double mz, int chargeClass) {  // class 2: charges 2 and 3
    test::ScriptedScan& s = reader.AddFile(raw).scans[number];
    s = test::MakeScan(Format("ITMS + c NSI d Full ms%d %.2f@cid35.00", level, mz), {{100.0, 1000.0}, {200.5, 50.0}});
    s.trailer[kTrailerMonoisotopicMz] = Variant::R8(mz);
    if (chargeClass == 2) s.trailer[kTrailerChargeState] = Variant::I2(2);
  }
  void Dta(const std::string& name, const char* text) {  // nullptr: a file that isn't there
    if (text != nullptr) test::WriteFile(dir.File(name), text);
    all.push_back(dir.File(name));
  }
  std::string Relative(std::string text) const {  // the folder written DIR/
    for (std::size_t at; (at = text.find(dir.Folder())) != std::string::npos;) text.replace(at, dir.Folder().size(), "DIR/");
    return text;
  }
  // The folder's entries, sorted; a folder with its number of entries, an MGF file with its titles.
  std::string Files() const {
    std::string out;
    for (const std::string& name : test::ListFiles(dir.Folder())) {
      const std::string path = dir.File(name), text = name.ends_with(".mgf") ? test::ReadFile(path) : "";
      if (!out.empty()) out += ' ';
      out += name;
      if (name.ends_with(".mgf")) out += '[';
      if (std::filesystem::is_directory(path)) out.append("/").append(std::to_string(test::ListFiles(path).size()));
      for (std::size_t at = 0; (at = text.find("TITLE=", at)) != std::string::npos; at += 6) {
        if (out.back() != '[') out += ',';
        out += text.substr(at + 6, text.find('\n', at) - at - 6);
      }
      if (name.ends_with(".mgf")) out += "]";
    }
    return out;
  }
};

struct Row {
  const char* name;
  Kind kind;
  std::function<void(Host&)> arrange;
  HRESULT hr;
  // messages: N spectra announced (with the raw path), s scans passed, ! stop posted, T steps to come,
  // B step begun (its path in wParam), D steps done (or bytes read); boxes: "<kind> <text>", "|"
  // between; files: as Files() has them, for raw to DTA then "|" and the lists of all, MS2 and MS3 files.
  std::string messages, boxes, files;
};

TEST(HostConversions, ResultsMessagesBoxesAndFiles) {
  RegisterOrvaneModule();
  ComPtr<IConvertMSMS> convert;
  ASSERT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IConvertMSMS, convert.Out()), S_OK);
  const Row rows[] = {
      {"raw to MGF", kRawToMgf, {}, S_OK, "N3:DIR/run.raw s1 s2 s3", "", "out.mgf[out.1.1.dta,out.3.2.dta,out.3.3.dta]"},
      {"raw to MGF stopped", kRawToMgf, [](Host& r) { r.cancel.Set(); }, E_ABORT, "N3:DIR/run.raw !", "", "out.mgf[out.1.1.dta]"},
      {"raw to MGF without options", kRawToMgf, [](Host& r) { r.pOptions = nullptr; }, E_UNEXPECTED, "", "0 Raw2Mgf Params not present. \nHRESULT = 0x0", ""},
      {"raw to MGF, raw file not opened", kRawToMgf, [](Host& r) { r.reader.AddFile(r.raw).nOpenResult = 1; }, S_OK, "", "0 Cannot open file DIR/run.raw", "out.mgf[]"},
      {"raw to MGF, last scan 0", kRawToMgf, [](Host& r) { r.reader.AddFile(r.raw).nLastScan = 0; }, E_UNEXPECTED, "N3:DIR/run.raw", "", "out.mgf[]"},
      {"raw to MGF, trailer of unexpected type", kRawToMgf, [](Host& r) { r.reader.AddFile(r.raw).scans[3].trailer[kTrailerMonoisotopicMz] = Variant::I2(5); }, E_UNEXPECTED, "N3:DIR/run.raw s1 s2", "0 Scan: 3 MS level: 2 unexpected type when looking for precursorMz", "out.mgf[out.1.1.dta]"},
      {"raw to MGF, output not opened", kRawToMgf, [](Host& r) { r.target = r.dir.File("no/out.mgf"); }, E_UNEXPECTED, "", "4 Cannot access file DIR/no/out.mgf: No such file or directory.", ""},
      {"raw to MGF over the raw file", kRawToMgf, [](Host& r) { test::WriteFile(r.target = r.raw, "raw"); }, E_UNEXPECTED, "", "2 Error!\nThe output DIR/run.raw is the raw file itself; it is not overwritten.", "run.raw"},
      {"raw to DTA", kRawToDta, {}, S_OK, "N3:DIR/run.raw s1 s2 s3", "", "dta_converted/3|DIR/dta_converted/run.1.1.1.dta DIR/dta_converted/run.3.3.2.dta DIR/dta_converted/run.3.3.3.dta||"},
      {"raw to DTA by level", kRawToDta, [](Host& r) { r.options.bSplitMsLevels = true; r.Scan(4, 3, 450.5, 1); }, S_OK, "N4:DIR/run.raw s1 s2 s3 s4", "", "dta_converted_ms2/3 dta_converted_ms3/1||DIR/dta_converted_ms2/run_ms2.1.1.1.dta DIR/dta_converted_ms2/run_ms2.3.3.2.dta DIR/dta_converted_ms2/run_ms2.3.3.3.dta|DIR/dta_converted_ms3/run_ms3.4.4.1.dta"},
      {"raw to DTA stopped", kRawToDta, [](Host& r) { r.stopOn = PM_RAW_SCAN; }, S_OK, "N3:DIR/run.raw s1 !", "", "dta_converted/1|DIR/dta_converted/run.1.1.1.dta||"},
      {"raw to DTA without options", kRawToDta, [](Host& r) { r.pOptions = nullptr; }, E_UNEXPECTED, "", "0 Raw2Mgf Params not present. \nHRESULT = 0x0", "|||"},
      {"raw to DTA, raw file not opened", kRawToDta, [](Host& r) { r.reader.AddFile(r.raw).nOpenResult = 1; }, S_OK, "", "0 Cannot open file DIR/run.raw", "dta_converted/0|||"},
      {"raw to DTA, last scan 0", kRawToDta, [](Host& r) { r.reader.AddFile(r.raw).nLastScan = 0; }, S_OK, "N3:DIR/run.raw", "", "dta_converted/0|||"},
      {"raw to DTA, folder not made", kRawToDta, [](Host& r) { test::WriteFile(r.dir.File("f"), "x"); r.target = r.dir.File("f/"); }, E_UNEXPECTED, "", "2 Error!\nCouldn't create directory DIR/f/dta_converted/.", "f|||"},
      {"raw to DTA, file not written", kRawToDta, [](Host& r) { std::filesystem::create_directories(r.dir.File("dta_converted/run.3.3.2.dta")); }, E_UNEXPECTED, "N3:DIR/run.raw s1 s2", "4 Cannot access file DIR/dta_converted/run.3.3.2.dta: Is a directory.|1 Error exporting run.3.3.2.dta file. \nHRESULT = 0x8000ffff", "dta_converted/2|DIR/dta_converted/run.1.1.1.dta DIR/dta_converted/run.3.3.2.dta||"},
      {"DTA to MGF", kDtaToMgf, [](Host& r) { r.Dta("run1.100.100.2.dta", "999.0 2\n1 2"); r.Dta("run1.101.101.1.dta", "500.25 1\n1 2"); }, S_OK, "T2 B:DIR/run1.100.100.2.dta D1 B:DIR/run1.101.101.1.dta D2", "", "run1.100.100.2.dta run1.101.101.1.dta run1.mgf[run1.100.100.2.dta,run1.101.101.1.dta]"},
      {"DTA to MGF, empty list", kDtaToMgf, {}, S_FALSE, "", "", ""},
      {"DTA to MGF, last file missing", kDtaToMgf, [](Host& r) { r.Dta("x.7.7.2.dta", "999.0 2\n1 2"); r.Dta("lost.3.3.2.dta", nullptr); }, E_UNEXPECTED, "T2 B:DIR/x.7.7.2.dta D1 B:DIR/lost.3.3.2.dta D2", "4 Cannot access file DIR/lost.3.3.2.dta: No such file or directory.", "x.7.7.2.dta x.mgf[x.7.7.2.dta]"},
      {"DTA to MGF, first file missing", kDtaToMgf, [](Host& r) { r.Dta("lost.3.3.2.dta", nullptr); r.Dta("x.7.7.2.dta", "999.0 2\n1 2"); }, S_OK, "T2 B:DIR/lost.3.3.2.dta D1 B:DIR/x.7.7.2.dta D2", "4 Cannot access file DIR/lost.3.3.2.dta: No such file or directory.", "lost.mgf[x.7.7.2.dta] x.7.7.2.dta"},
      {"DTA to MGF, title without a dot", kDtaToMgf, [](Host& r) { r.Dta("nodot", "300.0 1\n1 2"); }, S_OK, "T1 B:DIR/nodot D1", "", ".mgf[nodot] nodot"},
      {"DTA to MGF over an input", kDtaToMgf, [](Host& r) { r.Dta("a.1.1.2.dta", "999.0 2\n1 2"); r.Dta("a.mgf", "keep"); }, E_UNEXPECTED, "", "2 Can't write DIR/a.mgf: it is an input of this run and is never written.", "a.1.1.2.dta a.mgf[]"},
      {"DTA to MGF, output not opened", kDtaToMgf, [](Host& r) { r.Dta("a.1.1.2.dta", "999.0 2\n1 2"); r.target = r.dir.File("no/"); }, E_UNEXPECTED, "", "4 Cannot access file DIR/no/a.mgf: No such file or directory.", "a.1.1.2.dta"},
      {"MGF to DTA", kMgfToDta, [](Host& r) { test::WriteFile(r.dir.File("in.mgf"), "BEGIN IONS\nTITLE=a.1.1.2.dta\nCHARGE=2+\nPEPMASS=500.00397\n1 2\nEND IONS\nBEGIN IONS\nTITLE=b.2.2.1.dta\nCHARGE=1+\nPEPMASS=500.25\n150 2\nEND IONS\nBEGIN IONS\nTITLE=cut.dta\n1 2\n"); }, S_FALSE, "T168 D70 D139 D168", "", "a.1.1.2.dta b.2.2.1.dta in.mgf[a.1.1.2.dta,b.2.2.1.dta,cut.dta]"},
      {"MGF to DTA, no block", kMgfToDta, [](Host& r) { test::WriteFile(r.dir.File("in.mgf"), "# nothing\n"); }, S_FALSE, "T10 D10", "", "in.mgf[]"},
      {"MGF to DTA, one title twice", kMgfToDta, [](Host& r) { test::WriteFile(r.dir.File("in.mgf"), "BEGIN IONS\nTITLE=t\n1 2\nEND IONS\nBEGIN IONS\nTITLE=t\n3 4\nEND IONS\n"); }, E_FAIL, "T64 D32 D64 D64", "2 The spectrum title \"t\" names a file this conversion has written already; the spectrum is skipped.", "in.mgf[t,t] t"},
      {"MGF to DTA, input not opened", kMgfToDta, {}, E_UNEXPECTED, "", "4 Cannot access file DIR/in.mgf: No such file or directory.", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Host r(row.kind);
    if (row.arrange) row.arrange(r);
    std::string messages, files;
    r.window.onMessage = [&](const test::RecordingWindow::Message& m) {
      const std::string w = std::to_string(m.wParam);
      if (m.number == PM_RAW_SCANS) messages += " N" + w + ":" + r.Relative(m.text);
      if (m.number == PM_RAW_SCAN) messages += " s" + w;
      if (m.number == PM_CANCELLED && m.posted) messages += " !";
      if (m.number == PM_STEP_TOTAL) messages += " T" + w;
      if (m.number == PM_STEP_BEGIN) messages += " B:" + r.Relative(reinterpret_cast<const char*>(m.wParam));
      if (m.number == PM_STEP_DONE) messages += " D" + w;
      if (m.number == r.stopOn) r.cancel.Set();
    };
    HRESULT hr = S_FALSE;
    if (row.kind == kRawToMgf) hr = convert->RawToMgf(r.raw, r.target, &r.reader, r.pOptions, &r.cancel, &r.window);
    if (row.kind == kRawToDta)
      hr = convert->RawToDta(r.raw, r.target, &r.reader, r.pOptions, &r.all, &r.ms2, &r.ms3, &r.cancel, &r.window);
    if (row.kind == kDtaToMgf) hr = convert->DtaFolderToMgf(&r.all, r.target, 0, &r.window);
    if (row.kind == kMgfToDta) hr = convert->MgfToDta(r.dir.File("in.mgf"), r.target, 0, &r.window);
    EXPECT_EQ(hr, row.hr);
    EXPECT_EQ(messages.empty() ? messages : messages.substr(1), row.messages);
    EXPECT_EQ(r.Relative(r.boxes.Joined()), row.boxes);
    files = r.Files();
    if (row.kind == kRawToDta)
      for (const StringList* list : {&r.all, &r.ms2, &r.ms3}) {
        files += "|";
        for (const std::string& path : *list) (files.back() == '|' ? files : files += ' ').append(r.Relative(path));
      }
    EXPECT_EQ(files, row.files);
  }
}

}  // namespace
}  // namespace orvane
