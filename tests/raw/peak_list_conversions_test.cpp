// DTA files to one MGF file and back: names, mass conversion, messages,
// results, and the guard on titles that become file names.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "raw/conversions.h"
#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ListFiles;
using test::ReadFile;
using test::RecordingReporter;
using test::TempDir;
using test::WriteFile;

// Records messages; 1283 of DtaFolderToMgf carries its path in wParam.
class PathWindow final : public CWnd {
 public:
  struct Message {
    unsigned number;
    WPARAM wParam;  // 0 in place of a text
    std::string text;
    LPARAM lParam;
    friend bool operator==(const Message&, const Message&) = default;
  };
  void Send(unsigned message, WPARAM wParam, LPARAM lParam) override {
    if (message == PM_STEP_BEGIN)
      messages.push_back({message, 0, reinterpret_cast<const char*>(wParam), lParam});
    else
      messages.push_back({message, wParam, {}, lParam});
  }
  void Post(unsigned message, WPARAM wParam, LPARAM lParam) override { Send(message, wParam, lParam); }
  std::vector<Message> messages;
};

class Engine {
 public:
  explicit Engine(MgfDialect dialect = MgfDialect::Classic) {
    RegisterOrvaneModule();
    EXPECT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IConvertMSMS,
                               convert_.Out()),
              S_OK);
    ComPtr<IMgfDialect> option;
    EXPECT_EQ(convert_->QueryInterface(IID_IMgfDialect, option.Out()), S_OK);
    EXPECT_EQ(option->SetMgfDialect(dialect), S_OK);
  }
  IConvertMSMS* operator->() const { return convert_.Get(); }

 private:
  ComPtr<IConvertMSMS> convert_;
};

// An object that answers the interfaces of a real engine except one.
class WithoutInterface final : public IUnknown {
 public:
  WithoutInterface(IUnknown* inner, const IID& missing) : inner_(inner), missing_(missing) {}
  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    if (iid == missing_) {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    return inner_->QueryInterface(iid, ppv);
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

 private:
  IUnknown* inner_;
  IID missing_;
};

// ----------------------------------------------------------- DtaFolderToMgf

TEST(DtaFolderToMgf, CollectsTheFilesAndConvertsMhToMz) {
  TempDir dir;
  const std::string a = dir.File("run1.100.100.2.dta");
  const std::string b = dir.File("run1.101.101.1.dta");
  const std::string c = dir.File("run1.102.102.0.dta");
  WriteFile(a, "999.000000 2\n100.000 5.000\n200.500 1000.250");
  WriteFile(b, "500.250000 1\n150.000 2.000\n");
  WriteFile(c, "0.000000 0\n");
  StringList files{a, b, c};
  Engine engine;
  PathWindow window;
  RecordingReporter boxes;
  EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.Folder(), 0, &window), S_OK);
  EXPECT_TRUE(boxes.boxes.empty());
  EXPECT_EQ(ReadFile(dir.File("run1.mgf")),
            "\nBEGIN IONS\nTITLE=run1.100.100.2.dta\nCHARGE=2+\nPEPMASS=500.003970\n"
            "100.000     5.000\n200.500  1000.250\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=run1.101.101.1.dta\nCHARGE=1+\nPEPMASS=500.250000\n"
            "150.000     2.000\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=run1.102.102.0.dta\nCHARGE=0+\nPEPMASS=0.000000\nEND IONS\n");
  using M = PathWindow::Message;
  EXPECT_EQ(window.messages, (std::vector<M>{{PM_STEP_TOTAL, 3, "", 0},
                                             {PM_STEP_BEGIN, 0, a, 0},
                                             {PM_STEP_DONE, 1, "", 0},
                                             {PM_STEP_BEGIN, 0, b, 0},
                                             {PM_STEP_DONE, 2, "", 0},
                                             {PM_STEP_BEGIN, 0, c, 0},
                                             {PM_STEP_DONE, 3, "", 0}}));
}

TEST(DtaFolderToMgf, AnEmptyListDoesNothing) {
  TempDir dir;
  StringList files;
  Engine engine;
  PathWindow window;
  RecordingReporter boxes;
  EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.Folder(), 0, &window), S_FALSE);
  EXPECT_TRUE(window.messages.empty());
  EXPECT_TRUE(ListFiles(dir.Folder()).empty());
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST(DtaFolderToMgf, TheResultIsThatOfTheLastFile) {
  TempDir dir;
  const std::string good = dir.File("x.7.7.2.dta");
  const std::string missing = dir.File("lost.3.3.2.dta");
  WriteFile(good, "999.000000 2\n100.000 5.000");
  Engine engine;
  {
    StringList files{good, missing};
    PathWindow window;
    RecordingReporter boxes;
    EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.Folder(), 0, &window), E_UNEXPECTED);
    ASSERT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
    EXPECT_NE(boxes.Texts(BoxKind::FileError)[0].find("lost.3.3.2.dta"), std::string::npos);
    EXPECT_EQ(ReadFile(dir.File("x.mgf")),
              "\nBEGIN IONS\nTITLE=x.7.7.2.dta\nCHARGE=2+\nPEPMASS=500.003970\n"
              "100.000     5.000\nEND IONS\n");
    // The failed file is a step like the others.
    EXPECT_EQ(window.messages.back(), (PathWindow::Message{PM_STEP_DONE, 2, "", 0}));
  }
  {
    StringList files{missing, good};
    RecordingReporter boxes;
    EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.Folder(), 0, nullptr), S_OK);
    EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
    // Named after the first entry, even though it could not be read.
    EXPECT_EQ(ReadFile(dir.File("lost.mgf")),
              "\nBEGIN IONS\nTITLE=x.7.7.2.dta\nCHARGE=2+\nPEPMASS=500.003970\n"
              "100.000     5.000\nEND IONS\n");
  }
  {
    // Modern: a file refused anywhere in the list fails the conversion.
    const std::string bad = dir.File("bad.9.9.2.dta");
    WriteFile(bad, "999.000000 -2\n100.000 5.000");
    StringList files{bad, good};
    RecordingReporter boxes;
    Engine modern(MgfDialect::Modern);
    EXPECT_EQ(modern->DtaFolderToMgf(&files, dir.Folder(), 0, nullptr), E_FAIL);
    EXPECT_EQ(boxes.Texts(BoxKind::Error),
              std::vector<std::string>{bad + ": line 1: spectrum \"bad.9.9.2.dta\": the charge -2 is not one "
                                             "a spectrum can have (1 to 100); the spectrum is left out"});
    EXPECT_EQ(ReadFile(dir.File("bad.mgf")),
              "\nBEGIN IONS\nTITLE=x.7.7.2.dta\nCHARGE=2+\nPEPMASS=500.003638\n100.00000 5\nEND IONS\n");
  }
}

TEST(DtaFolderToMgf, ATitleWithoutADotGivesAnEmptyName) {
  TempDir dir;
  WriteFile(dir.File("nodot"), "300.000000 1\n1.000 2.000");
  StringList files{dir.File("nodot")};
  Engine engine;
  EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.Folder(), 0, nullptr), S_OK);
  EXPECT_EQ(ListFiles(dir.Folder()), (std::vector<std::string>{".mgf", "nodot"}));
  // The modern dialect takes the whole title then.
  Engine modern(MgfDialect::Modern);
  WriteFile(dir.File("spectrum_2442.dta"), "300.000000 1\n1.000 2.000");
  files = {dir.File("spectrum_2442.dta")};
  EXPECT_EQ(modern->DtaFolderToMgf(&files, dir.Folder(), 0, nullptr), S_OK);
  EXPECT_EQ(ListFiles(dir.Folder()),
            (std::vector<std::string>{".mgf", "nodot", "spectrum_2442.dta", "spectrum_2442.mgf"}));
}

TEST(DtaFolderToMgf, AnOutputThatCannotBeOpenedEndsTheRun) {
  TempDir dir;
  WriteFile(dir.File("a.1.1.2.dta"), "999.000000 2\n1.000 2.000");
  StringList files{dir.File("a.1.1.2.dta")};
  Engine engine;
  PathWindow window;
  RecordingReporter boxes;
  EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.File("no/such/folder/"), 0, &window), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
  EXPECT_TRUE(window.messages.empty());
}

TEST(DtaFolderToMgf, NeverWritesOverAnInput) {
  TempDir dir;
  // The output name of this list is the second input's own name.
  WriteFile(dir.File("a.1.1.2.dta"), "999.000000 2\n1.000 2.000");
  WriteFile(dir.File("a.mgf"), "keep me");
  StringList files{dir.File("a.1.1.2.dta"), dir.File("a.mgf")};
  Engine engine;
  RecordingReporter boxes;
  EXPECT_EQ(engine->DtaFolderToMgf(&files, dir.Folder(), 0, nullptr), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Plain).size(), 1u);
  EXPECT_EQ(ReadFile(dir.File("a.mgf")), "keep me");
}

// -------------------------------------------------------------- MgfToDta

TEST(MgfToDta, WritesOneDtaPerBlockAndConvertsMzToMh) {
  TempDir dir;
  const std::string mgf =
      "\nBEGIN IONS\nTITLE=a.1.1.2.dta\nCHARGE=2+\nPEPMASS=500.00397\n100.000 5.000\n200.5 0\n"
      "300.25 7\nEND IONS\n"
      "\nBEGIN IONS\nTITLE=b.2.2.1.dta\nCHARGE=1+\nPEPMASS=500.25\n150 2\nEND IONS\n"
      "\nBEGIN IONS\nTITLE=c.3.3.0.dta\nPEPMASS=612.5\nEND IONS\n"
      "\nBEGIN IONS\nTITLE=cut.dta\nCHARGE=2+\n1 2\n";
  WriteFile(dir.File("in.mgf"), mgf);
  const std::string out = dir.File("out") + "/";
  std::filesystem::create_directory(out);
  Engine engine;
  PathWindow window;
  RecordingReporter boxes;
  EXPECT_EQ(engine->MgfToDta(dir.File("in.mgf"), out, 0, &window), S_FALSE);
  EXPECT_TRUE(boxes.boxes.empty());
  // The block that breaks off at the end isn't written.
  EXPECT_EQ(ListFiles(out), (std::vector<std::string>{"a.1.1.2.dta", "b.2.2.1.dta", "c.3.3.0.dta"}));
  EXPECT_EQ(ReadFile(out + "a.1.1.2.dta"), "999.000000 2\n100.000 5.000\n300.250 7.000");
  EXPECT_EQ(ReadFile(out + "b.2.2.1.dta"), "500.250000 1\n150.000 2.000");
  EXPECT_EQ(ReadFile(out + "c.3.3.0.dta"), "612.500000 0\n");
  // 1284 with the size of the file, then 1281 with the position after each
  // read, the last one at the end of the file.
  const std::size_t end1 = mgf.find("END IONS\n") + 9;
  const std::size_t end2 = mgf.find("END IONS\n", end1) + 9;
  const std::size_t end3 = mgf.find("END IONS\n", end2) + 9;
  using M = PathWindow::Message;
  EXPECT_EQ(window.messages, (std::vector<M>{{PM_STEP_TOTAL, mgf.size(), "", 0},
                                             {PM_STEP_DONE, end1, "", 0},
                                             {PM_STEP_DONE, end2, "", 0},
                                             {PM_STEP_DONE, end3, "", 0},
                                             {PM_STEP_DONE, mgf.size(), "", 0}}));
}

TEST(MgfToDta, AFileWithoutBlocksGivesNoFilesAndOneStep) {
  TempDir dir;
  WriteFile(dir.File("in.mgf"), "# nothing\n");
  Engine engine;
  PathWindow window;
  EXPECT_EQ(engine->MgfToDta(dir.File("in.mgf"), dir.Folder(), 0, &window), S_FALSE);
  EXPECT_EQ(ListFiles(dir.Folder()), std::vector<std::string>{"in.mgf"});
  using M = PathWindow::Message;
  EXPECT_EQ(window.messages, (std::vector<M>{{PM_STEP_TOTAL, 10, "", 0}, {PM_STEP_DONE, 10, "", 0}}));
}

TEST(MgfToDta, AnInputThatCannotBeOpenedEndsTheRun) {
  TempDir dir;
  Engine engine;
  PathWindow window;
  RecordingReporter boxes;
  EXPECT_EQ(engine->MgfToDta(dir.File("missing.mgf"), dir.Folder(), 0, &window), E_UNEXPECTED);
  ASSERT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
  EXPECT_NE(boxes.Texts(BoxKind::FileError)[0].find("missing.mgf"), std::string::npos);
  EXPECT_TRUE(window.messages.empty());
}

TEST(MgfToDta, TitlesThatWouldLeaveTheFolderAreRefusedAndTheRunGoesOn) {
  TempDir dir;
  WriteFile(dir.File("in.mgf"),
            "BEGIN IONS\nTITLE=../escape.dta\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=sub/x.dta\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=back\\slash.dta\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=.\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=..\n1 2\nEND IONS\n"
            "BEGIN IONS\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=fine.dta\n1 2\nEND IONS\n");
  const std::string out = dir.File("out") + "/";
  std::filesystem::create_directory(out);
  Engine engine;
  RecordingReporter boxes;
  EXPECT_EQ(engine->MgfToDta(dir.File("in.mgf"), out, 0, nullptr), S_FALSE);
  EXPECT_EQ(ListFiles(out), std::vector<std::string>{"fine.dta"});
  EXPECT_EQ(ListFiles(dir.Folder()), (std::vector<std::string>{"in.mgf", "out"}));
  const auto plain = boxes.Texts(BoxKind::Plain);
  ASSERT_EQ(plain.size(), 6u);
  EXPECT_EQ(plain[0],
            "The spectrum title \"../escape.dta\" is not a file name inside the output folder; "
            "the spectrum is skipped.");
  EXPECT_NE(plain[1].find("\"sub/x.dta\""), std::string::npos);
  EXPECT_NE(plain[2].find("\"back\\slash.dta\""), std::string::npos);
  EXPECT_NE(plain[3].find("\".\""), std::string::npos);
  EXPECT_NE(plain[4].find("\"..\""), std::string::npos);
  EXPECT_NE(plain[5].find("\"\""), std::string::npos);
  EXPECT_EQ(boxes.boxes.size(), 6u);
}

// Names made from titles never overwrite one another within a run and never
// hold control characters; what can't be written so is refused with a box
// naming it, and the conversion fails.
struct NamesCase {
  const char* name;
  MgfDialect dialect;
  std::string mgf;
  std::vector<std::pair<std::string, std::string>> files;  // name, content
  std::vector<std::string> boxes;                           // "kind: text"
  HRESULT result;
};

const NamesCase kNamesCases[] = {
    {"ClassicRefusesANameWrittenAlreadyAndAControlCharacter",
     MgfDialect::Classic,
     "BEGIN IONS\nTITLE=spectrum=1\n1 2\nEND IONS\nBEGIN IONS\nTITLE=spectrum=2\n3 4\nEND IONS\n"
     "BEGIN IONS\nTITLE=File: ..,x\n5 6\nEND IONS\nBEGIN IONS\nTITLE=ok\n7 8\nEND IONS\n",
     {{"ok", "0.000000 0\n7.000 8.000"}, {"spectrum", "0.000000 0\n1.000 2.000"}},
     {"message: The spectrum title \"spectrum\" names a file this conversion has written already; the "
      "spectrum is skipped.",
      "message: The spectrum title \"x\\n.0.000000.0.dta\" holds a control character and is no file name; "
      "the spectrum is skipped."},
     E_FAIL},
    {"ModernNumbersTitlesAndNamesThatMeet",
     MgfDialect::Modern,
     "BEGIN IONS\nTITLE=same\nPEPMASS=500\n1 2\nEND IONS\nBEGIN IONS\nTITLE=same\nPEPMASS=500\n1 2\nEND IONS\n"
     "BEGIN IONS\nTITLE=same\nPEPMASS=500\n1 2\nEND IONS\nBEGIN IONS\nTITLE=same\nPEPMASS=500\n1 2\nEND IONS\n"
     "BEGIN IONS\nTITLE=same\nPEPMASS=500\n3 4\nEND IONS\n"
     "BEGIN IONS\nTITLE=same_2\nPEPMASS=500\n1 2\nEND IONS\nBEGIN IONS\nTITLE=same\t3\nPEPMASS=500\n1 2\nEND IONS\n",
     {{"same.dta", "500.000000 0\n1.00000 2\n"},
      {"same_2.dta", "500.000000 0\n1.00000 2\n"},
      {"same_2_2.dta", "500.000000 0\n1.00000 2\n"},
      {"same_3.dta", "500.000000 0\n1.00000 2\n"},
      {"same_3_2.dta", "500.000000 0\n1.00000 2\n"},
      {"same_4.dta", "500.000000 0\n1.00000 2\n"},
      {"same_5.dta", "500.000000 0\n3.00000 4\n"}},
     {},
     S_FALSE},
    {"ModernWritesEachChargeOfAList",
     MgfDialect::Modern,
     "CHARGE=3+\nBEGIN IONS\nTITLE=l\nCHARGE=2+ and 3+\nPEPMASS=500.5\n1 2\nEND IONS\n"
     "BEGIN IONS\nTITLE=d\nPEPMASS=500.5\n1 2\nEND IONS\n",
     {{"d.dta", "1499.485448 3\n1.00000 2\n"},
      {"l.2.dta", "999.992724 2\n1.00000 2\n"},
      {"l.3.dta", "1499.485448 3\n1.00000 2\n"}},
     {},
     S_FALSE},
    {"ModernFailsWhenTheReaderRefusedASpectrum",
     MgfDialect::Modern,
     "BEGIN IONS\nTITLE=a\n1 2\nEND IONS\nBEGIN IONS\nTITLE=b\nPEPMASS=500\n1 2\n",
     {{"b.dta", "500.000000 0\n1.00000 2\n"}},
     {"error: IN: line 1: spectrum \"a\": no precursor m/z (PEPMASS); the spectrum is left out",
      "warning: IN: line 5: spectrum \"b\" has no END IONS; the block ends at line 8"},
     E_FAIL},
};

class MgfToDtaNames : public testing::TestWithParam<NamesCase> {};

TEST_P(MgfToDtaNames, AreSafeAndUnique) {
  const NamesCase& c = GetParam();
  TempDir dir;
  const std::string input = dir.File("in.mgf");
  WriteFile(input, c.mgf);
  const std::string out = dir.File("out") + "/";
  std::filesystem::create_directory(out);
  Engine engine(c.dialect);
  RecordingReporter boxes;
  EXPECT_EQ(engine->MgfToDta(input, out, 0, nullptr), c.result);
  std::vector<std::pair<std::string, std::string>> files;
  for (const std::string& name : ListFiles(out)) files.emplace_back(name, ReadFile(out + name));
  EXPECT_EQ(files, c.files);
  std::vector<std::string> texts;
  for (const auto& box : boxes.boxes) texts.push_back(std::string(BoxKindName(box.kind)) + ": " + box.text);
  std::vector<std::string> expected;
  for (std::string text : c.boxes) {
    if (const std::size_t at = text.find("IN: "); at != std::string::npos) text.replace(at, 2, input);
    expected.push_back(text);
  }
  EXPECT_EQ(texts, expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, MgfToDtaNames, testing::ValuesIn(kNamesCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MgfToDta, NeverWritesOverItsInput) {
  TempDir dir;
  const std::string text = "BEGIN IONS\nTITLE=in.mgf\n1 2\nEND IONS\n";
  WriteFile(dir.File("in.mgf"), text);
  Engine engine;
  RecordingReporter boxes;
  EXPECT_EQ(engine->MgfToDta(dir.File("in.mgf"), dir.Folder(), 0, nullptr), S_FALSE);
  EXPECT_EQ(ReadFile(dir.File("in.mgf")), text);
  EXPECT_EQ(boxes.Texts(BoxKind::Plain).size(), 1u);
}

TEST(MgfToDta, ModernTitlesBecomeSafeUniqueFileNames) {
  TempDir dir;
  const std::string longTitle(300, 'L');
  WriteFile(dir.File("in.mgf"),
            "BEGIN IONS\nTITLE=spectrum=2442\nRTINSECONDS=1.5\nCHARGE=2+\nPEPMASS=500.00397 77\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=spectrum=2442\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=spectrum_2442\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=../a b/c\\d.dta\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=..\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=.hidden\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=run.7.7.2.dta\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=Ünïcode\nPEPMASS=500\n1 2\nEND IONS\n"
            "BEGIN IONS\nTITLE=" + longTitle + "\nPEPMASS=500\n1 2\nEND IONS\n");
  const std::string out = dir.File("out") + "/";
  std::filesystem::create_directory(out);
  Engine engine(MgfDialect::Modern);
  RecordingReporter boxes;
  EXPECT_EQ(engine->MgfToDta(dir.File("in.mgf"), out, 0, nullptr), S_FALSE);
  EXPECT_TRUE(boxes.boxes.empty());
  EXPECT_EQ(ListFiles(out), (std::vector<std::string>{std::string(200, 'L') + ".dta",
                                                      "_..dta",
                                                      "_._a_b_c_d.dta",
                                                      "_.dta",
                                                      "__n__code.dta",
                                                      "_hidden.dta",
                                                      "run.7.7.2.dta",
                                                      "spectrum_2442.dta",
                                                      "spectrum_2442_2.dta",
                                                      "spectrum_2442_3.dta"}));
  // The modern dialect bridges m/z and MH+ with the mass of a proton.
  EXPECT_EQ(ReadFile(out + "spectrum_2442.dta"), "999.000664 2\n1.00000 2\n");
}

// ------------------------------------------------------------- round trip

TEST(PeakListConversions, DtaToMgfToDtaKeepsMassesWithinAMillionth) {
  TempDir dir;
  struct Case {
    const char* name;
    const char* text;
    double mass;
  };
  const std::vector<Case> cases = {{"r.1.1.1.dta", "1234.567891 1\n100.000 5.000", 1234.567891},
                                   {"r.2.2.2.dta", "999.000000 2\n100.000 5.000\n200.500 3.250", 999.0},
                                   {"r.3.3.3.dta", "2345.678901 3\n300.125 7.500", 2345.678901},
                                   {"r.4.4.4.dta", "3000.000000 4\n1.000 2.000", 3000.0}};
  StringList files;
  for (const auto& c : cases) {
    WriteFile(dir.File(c.name), c.text);
    files.push_back(dir.File(c.name));
  }
  for (MgfDialect dialect : {MgfDialect::Classic, MgfDialect::Modern}) {
    const std::string mgfFolder = dir.File(dialect == MgfDialect::Classic ? "mgf-c" : "mgf-m") + "/";
    const std::string back = mgfFolder + "back/";
    std::filesystem::create_directories(back);
    Engine engine(dialect);
    EXPECT_EQ(engine->DtaFolderToMgf(&files, mgfFolder, 0, nullptr), S_OK);
    EXPECT_EQ(engine->MgfToDta(mgfFolder + "r.mgf", back, 0, nullptr), S_FALSE);
    for (const auto& c : cases) {
      Dta d;
      ASSERT_EQ(ImportDta((back + c.name).c_str(), &d), S_OK);
      EXPECT_NEAR(d.dMass, c.mass, 1e-6) << c.name;
      Dta original;
      ASSERT_EQ(ImportDta(dir.File(c.name).c_str(), &original), S_OK);
      EXPECT_EQ(d.nCharge, original.nCharge);
      EXPECT_EQ(d.vMass, original.vMass);
      EXPECT_EQ(d.vIntensity, original.vIntensity);
    }
  }
}

// ------------------------------------------------------ missing interfaces

TEST(PeakListConversions, MissingInterfacesGiveANoteBoxAndENoInterface) {
  TempDir dir;
  WriteFile(dir.File("a.1.1.2.dta"), "999.000000 2\n1.000 2.000");
  WriteFile(dir.File("in.mgf"), "BEGIN IONS\nTITLE=x\n1 2\nEND IONS\n");
  RegisterOrvaneModule();
  ComPtr<IUnknown> inner;
  ASSERT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, inner.Out()), S_OK);
  struct Case {
    IID missing;
    const char* note;
  };
  for (const Case& c : {Case{IID_IImportMSMS, "Couldn't obtain ImportMSMS interface. \nHRESULT = 0x80004002"},
                        Case{IID_IExportMSMS, "Couldn't obtain ExportMSMS interface. \nHRESULT = 0x80004002"}}) {
    WithoutInterface self(inner.Get(), c.missing);
    {
      StringList files{dir.File("a.1.1.2.dta")};
      PathWindow window;
      RecordingReporter boxes;
      EXPECT_EQ(DtaFolderToMgf(&self, &files, dir.Folder(), &window), E_NOINTERFACE);
      EXPECT_EQ(boxes.Texts(BoxKind::Note), std::vector<std::string>{c.note});
      EXPECT_TRUE(window.messages.empty());
    }
    {
      PathWindow window;
      RecordingReporter boxes;
      EXPECT_EQ(MgfToDta(&self, dir.File("in.mgf"), dir.Folder(), &window), E_NOINTERFACE);
      EXPECT_EQ(boxes.Texts(BoxKind::Note), std::vector<std::string>{c.note});
      EXPECT_TRUE(window.messages.empty());
    }
  }
  EXPECT_EQ(ListFiles(dir.Folder()), (std::vector<std::string>{"a.1.1.2.dta", "in.mgf"}));
  // Without the dialect option the conversions read classic.
  WithoutInterface noDialect(inner.Get(), IID_IMgfDialect);
  const std::string out = dir.File("out") + "/";
  std::filesystem::create_directory(out);
  EXPECT_EQ(MgfToDta(&noDialect, dir.File("in.mgf"), out, nullptr), S_FALSE);
  EXPECT_EQ(ListFiles(out), std::vector<std::string>{"x"});
}

}  // namespace
}  // namespace orvane
