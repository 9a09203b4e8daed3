// Small hand-made mzML and mzXML documents for what the fixtures don't show:
// MS3 precursor chains, charge and trailer values, parameter groups, gaps in
// the scan numbers, broken indexes, refused encodings and damaged files.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <zlib.h>

#include <climits>
#include <regex>
#include <sstream>

#include "raw/scan_access.h"
#include "raw/scan_conversion.h"
#include "reader_test_util.h"
#include "readers/mz_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

// Zero bytes of a zlib bomb: just past what one array may inflate to.
constexpr std::size_t kBombBytes = readers::kMaxArrayBytes + 8;

using readers::MzReader;
using test::EncodeBase64;
using test::FixturePath;
using test::NumberBytes;
using test::ReadFile;
using test::RecordingReporter;
using test::TempDir;
using test::ViewScan;
using test::WriteFile;

const std::string kMzArray =
    R"(<cvParam cvRef="MS" accession="MS:1000514" name="m/z array"/>)";
const std::string kIntensityArray =
    R"(<cvParam cvRef="MS" accession="MS:1000515" name="intensity array"/>)";
const std::string k64 = R"(<cvParam cvRef="MS" accession="MS:1000523" name="64-bit float"/>)";
const std::string k32 = R"(<cvParam cvRef="MS" accession="MS:1000521" name="32-bit float"/>)";

std::string Cv(const char* acc, const char* name, const std::string& value = "") {
  return std::string(R"(<cvParam cvRef="MS" accession=")") + acc + R"(" name=")" + name +
         R"(" value=")" + value + R"("/>)";
}

std::string Arrays(const std::vector<double>& mz, const std::vector<double>& in) {
  return "<binaryDataArrayList count=\"2\"><binaryDataArray>" + k64 + kMzArray + "<binary>" +
         EncodeBase64(NumberBytes<double>(mz)) + "</binary></binaryDataArray><binaryDataArray>" +
         k32 + kIntensityArray + "<binary>" + EncodeBase64(NumberBytes<float>(in)) +
         "</binary></binaryDataArray></binaryDataArrayList>";
}

std::string Spectrum(const std::string& id, std::size_t count, const std::string& body) {
  return "<spectrum index=\"0\" id=\"" + id + "\" defaultArrayLength=\"" + std::to_string(count) +
         "\">" + body + "</spectrum>\n";
}

// A scan list with a start time (minutes), a configuration and a window.
std::string ScanList(double rt, const char* config, double lo, double hi, const std::string& extra = "") {
  return std::string("<scanList count=\"1\"><scan") +
         (config ? std::string(" instrumentConfigurationRef=\"") + config + "\"" : "") + ">" +
         R"(<cvParam cvRef="MS" accession="MS:1000016" name="scan start time" value=")" +
         std::to_string(rt) + R"(" unitAccession="UO:0000031" unitName="minute"/>)" + extra +
         "<scanWindowList count=\"1\"><scanWindow>" +
         Cv("MS:1000501", "scan window lower limit", std::to_string(lo)) +
         Cv("MS:1000500", "scan window upper limit", std::to_string(hi)) +
         "</scanWindow></scanWindowList></scan></scanList>";
}

std::string Precursor(const std::string& ref, double mz, const std::string& chargeParams) {
  return "<precursorList count=\"1\"><precursor" +
         (ref.empty() ? std::string() : " spectrumRef=\"" + ref + "\"") +
         "><selectedIonList count=\"1\"><selectedIon>" +
         Cv("MS:1000744", "selected ion m/z", std::to_string(mz)) + chargeParams +
         "</selectedIon></selectedIonList><activation>" +
         Cv("MS:1000133", "collision-induced dissociation") +
         Cv("MS:1000045", "collision energy", "35") + "</activation></precursor></precursorList>";
}

std::string Mzml(const std::string& spectra, const std::string& groups = "") {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<indexedmzML xmlns="http://psi.hupo.org/ms/mzml"><mzML xmlns="http://psi.hupo.org/ms/mzml" version="1.1.0">
<referenceableParamGroupList count="1">)" +
         groups + R"(</referenceableParamGroupList>
<instrumentConfigurationList count="2">
<instrumentConfiguration id="IC1"><componentList count="3">
<source order="1"><cvParam cvRef="MS" accession="MS:1000398" name="nanoelectrospray"/></source>
<analyzer order="2"><cvParam cvRef="MS" accession="MS:1000484" name="orbitrap"/></analyzer>
<detector order="3"/></componentList></instrumentConfiguration>
<instrumentConfiguration id="IC2"><componentList count="3">
<source order="1"><cvParam cvRef="MS" accession="MS:1000398" name="nanoelectrospray"/></source>
<analyzer order="2"><cvParam cvRef="MS" accession="MS:1000083" name="radial ejection linear ion trap"/></analyzer>
<detector order="3"/></componentList></instrumentConfiguration>
</instrumentConfigurationList>
<run id="r" defaultInstrumentConfigurationRef="IC1"><spectrumList count="9">
)" + spectra +
         "</spectrumList></run></mzML></indexedmzML>\n";
}

std::string Level(int n) { return Cv("MS:1000511", "ms level", std::to_string(n)); }

// A reader on a document written to a scratch file.
struct HandFile {
  TempDir dir;
  std::string path;
  MzReader reader;
  explicit HandFile(const std::string& content, const char* name = "hand.mzML") {
    path = dir.File(name);
    WriteFile(path, content);
  }
  long Open() { return reader.OpenRawFile(path); }
};

TEST(HandMadeMzml, Ms3ChainAndBuiltFilterTexts) {
  std::string s = Spectrum("scan=1", 2,
                           Level(1) + Cv("MS:1000128", "profile spectrum") +
                               ScanList(10.0, nullptr, 200, 2000) +
                               Arrays({600.30, 601.0}, {1000, 10})) +
                  Spectrum("scan=2", 2,
                           Level(2) + Cv("MS:1000127", "centroid spectrum") +
                               ScanList(10.01, "IC2", 160, 1210) +
                               Precursor("scan=1", 600.30, Cv("MS:1000041", "charge state", "2")) +
                               Arrays({500.2, 500.25}, {5, 50})) +
                  Spectrum("scan=3", 2,
                           Level(3) + Cv("MS:1000127", "centroid spectrum") +
                               ScanList(10.02, "IC2", 135, 1010) +
                               Precursor("scan=2", 500.25, "") + Arrays({200, 300}, {7, 8}));
  HandFile f(Mzml(s));
  ASSERT_EQ(f.Open(), 0);
  std::string filter;
  f.reader.GetScanFilter(1, &filter);
  EXPECT_EQ(filter, "FTMS + p NSI Full ms [200.00-2000.00]");
  f.reader.GetScanFilter(2, &filter);
  EXPECT_EQ(filter, "ITMS + c NSI d Full ms2 600.3000@cid35.00 [160.00-1210.00]");
  f.reader.GetScanFilter(3, &filter);
  EXPECT_EQ(filter, "ITMS + c NSI d Full ms3 600.3000@cid35.00 500.2500@cid35.00 [135.00-1010.00]");
  auto v = ViewScan(f.reader, 3);
  EXPECT_EQ(v.priorScan, 2);
  ASSERT_EQ(v.priorPeaks.size(), 2u);
  EXPECT_EQ(v.priorPeaks[1].dMass, 500.25);

  // The engine: level 3, precursor the number before the last "@".
  RawOptions options;
  options.dMaxMass = 100000.0;
  ScanInfo info;
  info.nScan = 3;
  Dta dta;
  EXPECT_EQ(ReadScan(&f.reader, &info, &options, &dta), kScanRead);
  EXPECT_EQ(info.nMsLevel, 3);
  EXPECT_DOUBLE_EQ(info.dPrecursorMz, 500.25);
}

struct ChargeCase {
  const char* name;
  std::string selectedIonParams;
  std::string scanParams;
  Variant::Type chargeType;
  int charge;
  Variant::Type monoType;
};

class ChargeTest : public ::testing::TestWithParam<ChargeCase> {};

// What the engine needs: VT_I2 ("multiply charged") only for a stated charge
// of 2 or more; otherwise VT_ERROR, so that it judges the charge itself.
TEST_P(ChargeTest, TrailerValues) {
  const auto& c = GetParam();
  std::string s = Spectrum("scan=1", 1, Level(1) + ScanList(1.0, nullptr, 100, 1000) + Arrays({500}, {9})) +
                  Spectrum("scan=2", 1,
                           Level(2) + ScanList(1.1, nullptr, 100, 1000, c.scanParams) +
                               Precursor("", 500.0, c.selectedIonParams) + Arrays({200}, {3}));
  HandFile f(Mzml(s));
  ASSERT_EQ(f.Open(), 0);
  auto v = ViewScan(f.reader, 2);
  EXPECT_EQ(v.charge.vt, c.chargeType);
  if (c.chargeType == Variant::VT_I2) {
    EXPECT_EQ(v.charge.iVal, c.charge);
  }
  EXPECT_EQ(v.mono.vt, c.monoType);
  Variant other;
  f.reader.GetScanTrailer(2, "Ion Injection Time (ms):", &other);
  EXPECT_EQ(other.vt, Variant::VT_ERROR);
}

const std::string kMono0 =
    R"(<userParam name="[Thermo Trailer Extra]Monoisotopic M/Z:" value="0.0" type="xsd:double"/>)";
const std::string kTrailerCharge4 =
    R"(<userParam name="[Thermo Trailer Extra]Charge State:" value="4" type="xsd:short"/>)";

INSTANTIATE_TEST_SUITE_P(
    Cases, ChargeTest,
    ::testing::Values(
        ChargeCase{"one", Cv("MS:1000041", "charge state", "1"), "", Variant::VT_ERROR, 0, Variant::VT_ERROR},
        ChargeCase{"two", Cv("MS:1000041", "charge state", "2"), "", Variant::VT_I2, 2, Variant::VT_ERROR},
        ChargeCase{"three", Cv("MS:1000041", "charge state", "3"), kMono0, Variant::VT_I2, 3, Variant::VT_R8},
        ChargeCase{"none", "", "", Variant::VT_ERROR, 0, Variant::VT_ERROR},
        ChargeCase{"possible23",
                   Cv("MS:1000633", "possible charge state", "3") + Cv("MS:1000633", "possible charge state", "2"),
                   "", Variant::VT_I2, 2, Variant::VT_ERROR},
        ChargeCase{"possible12",
                   Cv("MS:1000633", "possible charge state", "1") + Cv("MS:1000633", "possible charge state", "2"),
                   "", Variant::VT_ERROR, 0, Variant::VT_ERROR},
        ChargeCase{"trailerOnly", "", kTrailerCharge4, Variant::VT_I2, 4, Variant::VT_ERROR}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(HandMadeMzml, ParamGroupsUnsortedPeaksAndComputedHeader) {
  std::string groups =
      R"(<referenceableParamGroup id="mzArr">)" + k64 + kMzArray +
      R"(<cvParam cvRef="MS" accession="MS:1000574" name="zlib compression"/></referenceableParamGroup>
<referenceableParamGroup id="lvl"><cvParam cvRef="MS" accession="MS:1000511" name="ms level" value="1"/></referenceableParamGroup>)";
  std::string raw = NumberBytes<double>({300.0, 100.0, 200.0});
  std::string packed(compressBound(raw.size()), '\0');
  uLongf len = packed.size();
  ASSERT_EQ(compress(reinterpret_cast<Bytef*>(packed.data()), &len,
                     reinterpret_cast<const Bytef*>(raw.data()), raw.size()),
            Z_OK);
  packed.resize(len);
  std::string s = Spectrum(
      "scan=5", 3,
      R"(<referenceableParamGroupRef ref="lvl"/>)" + ScanList(1.0, nullptr, 50, 400) +
          R"(<binaryDataArrayList count="2"><binaryDataArray><referenceableParamGroupRef ref="mzArr"/><binary>)" +
          EncodeBase64(packed) + "</binary></binaryDataArray><binaryDataArray>" +
          R"(<cvParam cvRef="MS" accession="MS:1000519" name="32-bit integer"/>)" + kIntensityArray +
          "<binary>" + EncodeBase64(NumberBytes<std::int32_t>({30, 10, 20})) +
          "</binary></binaryDataArray></binaryDataArrayList>");
  HandFile f(Mzml(s, groups));
  ASSERT_EQ(f.Open(), 0) << f.reader.LastError();
  auto v = ViewScan(f.reader, 5);
  EXPECT_EQ(MsLevelFromFilter(v.filter), 1);
  ASSERT_EQ(v.peaks.size(), 3u);
  EXPECT_EQ(v.peaks[0].dMass, 100.0);
  EXPECT_EQ(v.peaks[0].dIntensity, 10.0);
  EXPECT_EQ(v.peaks[2].dMass, 300.0);
  EXPECT_EQ(v.peaks[2].dIntensity, 30.0);
  // No total ion current or base peak in the file: computed from the peaks.
  EXPECT_EQ(v.header.nEntries, 3);
  EXPECT_EQ(v.header.dTotalIntensity, 60.0);
  EXPECT_EQ(v.header.dBasePeakIntensity, 30.0);
  EXPECT_EQ(v.header.dBasePeakMass, 300.0);
}

TEST(HandMadeMzml, ScanNumberGapsAndRange) {
  std::string one = Level(1) + ScanList(1.0, nullptr, 100, 1000) + Arrays({500}, {9});
  HandFile f(Mzml(Spectrum("scan=1", 1, one) + Spectrum("scan=4", 1, one)));
  ASSERT_EQ(f.Open(), 0);
  long first = 0, last = 0, count = 0;
  f.reader.GetFirstScan(&first);
  f.reader.GetLastScan(&last);
  f.reader.GetSpectrumCount(&count);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(last, 4);
  EXPECT_EQ(count, 2);
  auto gap = ViewScan(f.reader, 2);
  EXPECT_EQ(gap.filter, readers::kGapFilter);
  EXPECT_EQ(MsLevelFromFilter(gap.filter), 1);
  EXPECT_EQ(gap.header.nEntries, 0);
  EXPECT_TRUE(gap.peaks.empty());
  EXPECT_EQ(gap.charge.vt, Variant::VT_ERROR);
  std::string filter;
  EXPECT_THROW(f.reader.GetScanFilter(0, &filter), std::runtime_error);
  EXPECT_THROW(f.reader.GetScanFilter(5, &filter), std::runtime_error);
  // A walk jumps from one number a spectrum carries to the next, and ends
  // one past the last, even at the largest numbers.
  HandFile wide(Mzml(Spectrum("scan=1", 1, one) + Spectrum("scan=2000000000", 1, one)));
  ASSERT_EQ(wide.Open(), 0);
  struct Step {
    MzReader* reader;
    long from, last, next;
  };
  for (const Step& step : {Step{&f.reader, 0, 4, 1}, Step{&f.reader, 1, 4, 4}, Step{&f.reader, 2, 4, 4},
                           Step{&f.reader, 4, 4, 5}, Step{&f.reader, 1, 3, 4}, Step{&wide.reader, 1, 2000000000, 2000000000},
                           Step{&wide.reader, 2000000000, 2000000000, 2000000001},
                           Step{&wide.reader, 1, LONG_MAX, 2000000000}, Step{&wide.reader, 2000000000, LONG_MAX, LONG_MAX}}) {
    SCOPED_TRACE(step.from);
    EXPECT_EQ(step.reader->NextScanAfter(step.from, step.last), step.next);
  }
}

TEST(HandMadeMzml, IdsWithoutUniqueNumbersAreNumberedByPosition) {
  std::string one = Level(1) + ScanList(1.0, nullptr, 100, 1000) + Arrays({500}, {9});
  // Numbers beyond an int (the engine's scan numbers) count as none, with a warning.
  for (auto ids : {std::pair<const char*, const char*>{"scan=7", "scan=7"},
                   {"sample=1 period=1 cycle=5 experiment=1", "sample=1 period=1 cycle=6 experiment=1"},
                   {"scan=1", "scan=9000000000000000000"}, {"scan=1", "scan=2147483648"},
                   {"scan=1", "scan=99999999999999999999"}, {"index=9223372036854775807", "index=1"}}) {
    SCOPED_TRACE(ids.second);
    RecordingReporter boxes;
    HandFile f(Mzml(Spectrum(ids.first, 1, one) + Spectrum(ids.second, 1, one)));
    ASSERT_EQ(f.Open(), 0);
    long first = 0, last = 0;
    f.reader.GetFirstScan(&first);
    f.reader.GetLastScan(&last);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(last, 2);
    const std::string number = std::string(ids.second).substr(5);
    const bool beyondInt = number.size() >= 10 && number.size() <= 19 && std::string(ids.first) == "scan=1";
    EXPECT_EQ(boxes.Texts(BoxKind::Warning),
              beyondInt ? std::vector<std::string>{f.path + ": spectrum \"" + ids.second + "\": scan number " +
                                                   number + " is above 2147483647; the spectra are numbered by "
                                                   "their position in the file"}
                        : std::vector<std::string>{});
  }
  EXPECT_EQ(readers::ScanNumberFromId("controllerType=0 controllerNumber=1 scan=42"), 42);
  EXPECT_EQ(readers::ScanNumberFromId("spectrum=2442"), 2442);
  EXPECT_EQ(readers::ScanNumberFromId("index=0"), 1);
  EXPECT_EQ(readers::ScanNumberFromId("scanId=9"), 9);
  EXPECT_EQ(readers::ScanNumberFromId("merged=3"), 0);
}

// A file's index is never followed: offsets past the end of the file, or no
// index at all, read the same as the intact file.
TEST(BrokenIndex, OffsetsPastTheEndAndMissingIndexReadTheSame) {
  const std::string original = ReadFile(FixturePath("yeast_zlib.mzML"));
  std::string broken = std::regex_replace(original, std::regex(R"((<offset[^>]*>)\d+)"), "$01999999999");
  broken = std::regex_replace(broken, std::regex(R"(<indexListOffset>\d+)"), "<indexListOffset>888888888");
  ASSERT_NE(broken, original);
  const std::string cut = original.substr(0, original.find("</run>") + 6);
  MzReader good;
  ASSERT_EQ(good.OpenRawFile(FixturePath("yeast_zlib.mzML")), 0);
  for (const std::string& content : {broken, cut}) {
    HandFile f(content);
    ASSERT_EQ(f.Open(), 0) << f.reader.LastError();
    for (long scan = 1; scan <= 8; ++scan) {
      auto a = ViewScan(good, scan);
      auto b = ViewScan(f.reader, scan);
      EXPECT_EQ(a.filter, b.filter);
      ASSERT_EQ(a.peaks.size(), b.peaks.size());
      for (std::size_t i = 0; i < a.peaks.size(); ++i) {
        EXPECT_EQ(a.peaks[i].dMass, b.peaks[i].dMass);
        EXPECT_EQ(a.peaks[i].dIntensity, b.peaks[i].dIntensity);
      }
      EXPECT_EQ(a.priorScan, b.priorScan);
    }
  }
}

struct OpenFailure {
  const char* name;
  std::string content;  // empty: the file is not there
  long status;
  const char* message;  // a part of the reason
};

class OpenFailureTest : public ::testing::TestWithParam<OpenFailure> {};

TEST_P(OpenFailureTest, RefusedWithAClearReason) {
  const auto& c = GetParam();
  RecordingReporter boxes;
  TempDir dir;
  std::string path = dir.File("bad.mzML");
  if (!c.content.empty()) WriteFile(path, c.content);
  MzReader r;
  EXPECT_EQ(r.OpenRawFile(path), c.status);
  EXPECT_NE(r.LastError().find(c.message), std::string::npos) << r.LastError();
  ASSERT_EQ(boxes.Texts(BoxKind::Error).size(), 1u);
  EXPECT_EQ(boxes.Texts(BoxKind::Error)[0], r.LastError());
  long n = 0;
  EXPECT_THROW(r.GetSpectrumCount(&n), std::runtime_error);
}

const std::string kOneScan = Spectrum("scan=1", 1, Level(1) + ScanList(1.0, nullptr, 100, 1000) + Arrays({500}, {9}));

INSTANTIATE_TEST_SUITE_P(
    Cases, OpenFailureTest,
    ::testing::Values(
        OpenFailure{"missing", "", 1, "No such file"},
        OpenFailure{"notXml", "just some text\n", 2,
                    "bad.mzML: not a readable mzML or mzXML document: syntax error at line 1, column 1"},
        OpenFailure{"otherRoot", "<?xml version=\"1.0\"?><html><body/></html>", 2, "root element is <html>"},
        OpenFailure{"truncated", Mzml(kOneScan).substr(0, Mzml(kOneScan).find("<binary>") + 20), 2, "at line"},
        OpenFailure{"noRun", "<mzML><cvList/></mzML>", 2, "holds no run"},
        OpenFailure{"badGroupRef", Mzml(Spectrum("scan=1", 0, R"(<referenceableParamGroupRef ref="nope"/>)")), 2,
                    "names no group"},
        OpenFailure{"mzxmlContent",
                    R"(<mzXML><msRun><scan num="1" msLevel="1" peaksCount="1"><peaks contentType="m/z ruler">AAAA</peaks></scan></msRun></mzXML>)",
                    2, "this reader reads \"m/z-int\" pairs"},
        // Elements where none can be: the parse stops at them, naming the place.
        OpenFailure{"nestedSpectrum",
                    R"(<mzML><run><spectrumList><spectrum id="scan=1"><spectrum id="scan=2"></spectrum></spectrum></spectrumList></run></mzML>)",
                    2, "bad.mzML: line 1, column 48: a <spectrum> element inside spectrum \"scan=1\"; spectra don't nest"},
        OpenFailure{"arrayOutsideSpectrum",
                    "<mzML><run>\n  <binaryDataArray><binary>AAAA</binary></binaryDataArray></run></mzML>", 2,
                    "bad.mzML: line 2, column 3: a <binaryDataArray> element outside any spectrum"},
        OpenFailure{"precursorInPrecursor",
                    R"(<mzML><run><spectrum id="scan=1"><precursor><precursor/></precursor></spectrum></run></mzML>)", 2,
                    "bad.mzML: line 1, column 45: a <precursor> element inside another <precursor> of \"scan=1\""},
        OpenFailure{"peaksOutsideScan", R"(<mzXML><msRun><peaks>AAAA</peaks></msRun></mzXML>)", 2,
                    "bad.mzML: line 1, column 15: a <peaks> element outside any scan"},
        OpenFailure{"peaksInPeaks",
                    R"(<mzXML><msRun><scan num="1"><peaks><peaks/></peaks></scan></msRun></mzXML>)", 2,
                    "bad.mzML: line 1, column 36: a <peaks> element inside another <peaks> of scan 1"},
        OpenFailure{"entity", "<!DOCTYPE mzML [<!ENTITY a \"&#60;b/>\">]><mzML><run/></mzML>", 2,
                    "bad.mzML: line 1, column 28: the document declares the entity \"a\"; mzML and mzXML files declare none"},
        OpenFailure{"hugeGroup",
                    "<mzML><referenceableParamGroup id=\"g\">" + [] {
                      std::string params;
                      for (int i = 0; i <= 1000; ++i) params += "<userParam name=\"x\"/>";
                      return params;
                    }() + "</referenceableParamGroup><run/></mzML>",
                    2, "holds more than 1000 parameters"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Numpress, RefusedWithAClearMessage) {
  RecordingReporter boxes;
  MzReader r;
  EXPECT_EQ(r.OpenRawFile(FixturePath("yeast_numpress.mzML")), 2);
  EXPECT_NE(r.LastError().find("are MS-Numpress compressed, which this reader does not decode"),
            std::string::npos)
      << r.LastError();
  EXPECT_NE(r.LastError().find("msconvert --zlib"), std::string::npos);
}

TEST(DamagedArrays, ThrowWhenTheScanIsRead) {
  struct Case {
    std::string arrays;
    const char* message;
  };
  std::vector<Case> cases = {
      {Arrays({1, 2}, {3, 4}), "the m/z array: the file declares 3 values, its text holds at most 2"},
      {"<binaryDataArrayList count=\"2\"><binaryDataArray>" + k64 + kMzArray + "<binary>" +
           EncodeBase64(NumberBytes<double>({1, 2, 3})).replace(5, 1, "*") + "</binary>" +
           "</binaryDataArray><binaryDataArray>" + k32 + kIntensityArray +
           "<binary>AAAA</binary></binaryDataArray></binaryDataArrayList>",
       "invalid character in base64 data"},
      {"<binaryDataArrayList count=\"1\"><binaryDataArray>" + k64 + kMzArray + "<binary>" +
           EncodeBase64(NumberBytes<double>({1, 2, 3})) + "</binary></binaryDataArray></binaryDataArrayList>",
       "has no intensity array"},
  };
  for (const auto& c : cases) {
    HandFile f(Mzml(Spectrum("scan=1", 3, Level(1) + c.arrays)));
    ASSERT_EQ(f.Open(), 0);
    RawPeakList list, flags;
    long scan = 1, n = 0;
    try {
      f.reader.GetMassList(&scan, "", 0, 0, 0, 0, nullptr, &list, &flags, &n);
      ADD_FAILURE() << "no exception for " << c.message;
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(std::string(e.what()).rfind(f.path + ": spectrum \"scan=1\": ", 0), 0u) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
  }
}

std::string Mzxml(const std::string& scans);
std::string Peaks(const std::vector<double>& pairs, const std::string& attrs, bool big, bool sixtyFour);

// zlib data of n zero bytes, as base64.
std::string ZeroBomb(std::size_t n) {
  const std::string zeros(n, '\0');
  std::string packed(compressBound(zeros.size()), '\0');
  uLongf len = packed.size();
  compress2(reinterpret_cast<Bytef*>(packed.data()), &len, reinterpret_cast<const Bytef*>(zeros.data()),
            zeros.size(), 9);
  packed.resize(len);
  return EncodeBase64(packed);
}

long PeakRssMb() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss / 1024;
}

std::string PeakText(const std::vector<double>& mz, const std::vector<double>& in) {
  std::ostringstream out;
  for (std::size_t i = 0; i < mz.size(); ++i) out << (i ? " " : "") << mz[i] << ":" << in[i];
  return out.str();
}

std::string SelectedIon(const std::string& mzText, const std::string& chargeText) {
  return "<precursorList count=\"1\"><precursor><selectedIonList count=\"1\"><selectedIon>" +
         Cv("MS:1000744", "selected ion m/z", mzText) +
         (chargeText.empty() ? "" : Cv("MS:1000041", "charge state", chargeText)) +
         "</selectedIon></selectedIonList></precursor></precursorList>";
}

std::string OneMs2(const std::string& level, const std::string& precursor,
                   const std::string& arrays = Arrays({200, 300}, {5, 6}), const char* count = "2") {
  return Mzml("<spectrum index=\"0\" id=\"scan=1\"" +
              (count ? std::string(" defaultArrayLength=\"") + count + "\"" : "") + ">" +
              Cv("MS:1000511", "ms level", level) + precursor + arrays + "</spectrum>\n");
}

std::string ZlibMzArray(const std::string& base64, const std::string& arrayLength = "") {
  return "<binaryDataArrayList count=\"2\"><binaryDataArray" +
         (arrayLength.empty() ? "" : " arrayLength=\"" + arrayLength + "\"") + ">" + k64 + kMzArray +
         R"(<cvParam cvRef="MS" accession="MS:1000574" name="zlib compression"/><binary>)" + base64 +
         "</binary></binaryDataArray><binaryDataArray>" + k32 + kIntensityArray + "<binary>" +
         EncodeBase64(NumberBytes<float>({5, 6})) + "</binary></binaryDataArray></binaryDataArrayList>";
}

std::string OneMzxmlScan(const std::string& attrs, const std::string& precursor) {
  return Mzxml("<scan num=\"1\" msLevel=\"2\" " + attrs + ">" + precursor +
               Peaks({200.0, 5.0, 300.0, 6.0}, R"(precision="32")", true, false) + "</scan>");
}

// Values checked at the door, on both roads: a spectrum whose MS level,
// charge or precursor m/z can't be taken is refused (the modern road gets
// the message, the classic road shows it once and sees a gap); unusable peaks
// are left out with one warning; arrays that declare or inflate to more than
// the reader takes fail that spectrum, without the memory being taken.
TEST(HostileValues, RefusedSpectraDroppedPeaksAndBoundedArrays) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::string ok = SelectedIon("500.25", "2");
  const std::string bomb = ZeroBomb(kBombBytes);
  struct Case {
    const char* name;
    std::string content;
    const char* file;
    std::string refusal;  // after "<path>: "; "" none
    std::string peaks;    // modern road, "m/z:intensity ..."; or "error: <message after path: >"
    std::string warning;  // after "<path>: "; "" none
    std::string charges = "2";
  };
  const std::vector<Case> cases = {
      {"plain", OneMs2("2", ok), "h.mzML", "", "200:5 300:6", ""},
      {"levelHuge", OneMs2("100000000", ok), "h.mzML",
       "spectrum \"scan=1\": refused: MS level \"100000000\" is not one this reader takes (1 to 10)", "", ""},
      {"levelZero", OneMs2("0", ok), "h.mzML",
       "spectrum \"scan=1\": refused: MS level \"0\" is not one this reader takes (1 to 10)", "", ""},
      {"chargeNegative", OneMs2("2", SelectedIon("500.25", "-3")), "h.mzML",
       "spectrum \"scan=1\": refused: charge \"-3\" is not one a precursor can have (1 to 100)", "", "", ""},
      {"chargeAbove100", OneMs2("2", SelectedIon("500.25", "101")), "h.mzML",
       "spectrum \"scan=1\": refused: charge \"101\" is not one a precursor can have (1 to 100)", "", "", ""},
      {"chargeZeroIsUnknown", OneMs2("2", SelectedIon("500.25", "0")), "h.mzML", "", "200:5 300:6", "", ""},
      {"emptyLevelAndChargeStateNone", OneMs2("", SelectedIon("500.25", " ")), "h.mzML", "", "200:5 300:6", "", ""},
      {"mzNan", OneMs2("2", SelectedIon("nan", "2")), "h.mzML",
       "spectrum \"scan=1\": refused: precursor m/z \"nan\" is not a number", "", ""},
      {"mzNegative", OneMs2("2", SelectedIon("-5", "2")), "h.mzML",
       "spectrum \"scan=1\": refused: precursor m/z \"-5\" is not usable (above 0, up to 100000)", "", ""},
      {"mzBeyond", OneMs2("2", SelectedIon("100000.5", "2")), "h.mzML",
       "spectrum \"scan=1\": refused: precursor m/z \"100000.5\" is not usable (above 0, up to 100000)", "", ""},
      {"noPrecursor", OneMs2("2", ""), "h.mzML",
       "spectrum \"scan=1\": refused: MS level 2 without a precursor m/z", "", "", ""},
      {"unusablePeaks",
       OneMs2("2", ok, Arrays({300, nan, 0, -1, 100000.5, 200, 250, 400}, {1, 2, 3, 4, 5, -6, 0, inf}), "8"),
       "h.mzML", "", "250:0 300:1",
       "spectrum \"scan=1\": 6 peaks with an unusable m/z or intensity left out"},
      {"mzxmlPrecursorText", OneMzxmlScan("peaksCount=\"2\"", "<precursorMz>abc</precursorMz>"), "h.mzXML",
       "scan 1: refused: precursor m/z \"abc\" is not a number", "", "", ""},
      {"mzxmlChargeNegative",
       OneMzxmlScan("peaksCount=\"2\"", "<precursorMz precursorCharge=\"-2\">500.25</precursorMz>"), "h.mzXML",
       "scan 1: refused: charge \"-2\" is not one a precursor can have (1 to 100)", "", "", ""},
      {"mzxmlPeaksCount",
       OneMzxmlScan("peaksCount=\"4611686018427387904\"", "<precursorMz precursorCharge=\"2\">500.25</precursorMz>"),
       "h.mzXML", "",
       "error: scan 1: declares 4611686018427387904 peaks, more than the 8388608 this reader takes in one scan", ""},
      {"bombUndeclared", OneMs2("2", ok, ZlibMzArray(bomb), nullptr), "h.mzML", "",
       "error: spectrum \"scan=1\": the m/z array: zlib data inflates beyond 67108864 bytes, more than this "
       "reader takes for one array",
       ""},
      {"bombDeclaredHuge", OneMs2("2", ok, ZlibMzArray(bomb, "200000000")), "h.mzML", "",
       "error: spectrum \"scan=1\": the m/z array: the file declares 200000000 values, more than the 8388608 "
       "this reader takes in one array",
       ""},
      {"bombDeclaredSmall", OneMs2("2", ok, ZlibMzArray(bomb)), "h.mzML", "",
       "error: spectrum \"scan=1\": the m/z array: zlib data holds more than the 16 bytes expected", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    HandFile f(c.content, c.file);
    RecordingReporter boxes;
    f.reader.Open(f.path);
    ASSERT_EQ(f.reader.Count(), 1u);
    EXPECT_EQ(f.reader.RefusedCount(), c.refusal.empty() ? 0u : 1u);
    ScanRecord r;
    f.reader.Header(0, &r);
    EXPECT_EQ(r.strRefusal, c.refusal.empty() ? "" : f.path + ": " + c.refusal);
    std::string peaks;
    try {
      f.reader.Peaks(0, &r);
      peaks = PeakText(r.vMz, r.vIntensity);
    } catch (const std::runtime_error& e) {
      peaks = "error: " + std::string(e.what()).substr(f.path.size() + 2);
    }
    EXPECT_EQ(peaks, c.peaks);
    std::string charges;
    for (int z : r.precursor.vCharges) charges += std::to_string(z);
    if (c.refusal.empty()) {
      EXPECT_EQ(charges, c.charges);
    }
    EXPECT_EQ(boxes.Texts(BoxKind::Warning),
              c.warning.empty() ? std::vector<std::string>{} : std::vector<std::string>{f.path + ": " + c.warning});
    // The classic road: the same peaks, or the same failure, shown once; a
    // refused spectrum is a gap, its message shown once however often it is
    // asked for.
    MzReader classic;
    ASSERT_EQ(classic.OpenRawFile(f.path), 0);
    if (c.peaks.rfind("error: ", 0) == 0) {
      EXPECT_THROW(ViewScan(classic, 1), std::runtime_error);
      EXPECT_THROW(ViewScan(classic, 1), std::runtime_error);
      EXPECT_EQ(boxes.Texts(BoxKind::Error), std::vector<std::string>{f.path + ": " + c.peaks.substr(7)});
      continue;
    }
    auto first = ViewScan(classic, 1);
    auto again = ViewScan(classic, 1);
    std::vector<double> mz, in;
    for (const RawPeak& p : again.peaks) {
      mz.push_back(p.dMass);
      in.push_back(p.dIntensity);
    }
    EXPECT_EQ(PeakText(mz, in), c.peaks);
    if (!c.refusal.empty()) {
      EXPECT_EQ(first.filter, readers::kGapFilter);
      EXPECT_EQ(boxes.Texts(BoxKind::Error), std::vector<std::string>{f.path + ": " + c.refusal});
    } else {
      EXPECT_TRUE(boxes.Texts(BoxKind::Error).empty());
    }
  }
  // Nothing above took the memory a declared or inflated size asked for.
  EXPECT_LT(PeakRssMb(), 1024);
}

// The modern road: one block per MS/MS scan with the charges the file states
// (a list where it gives several), the engine's rule only without one, the
// identity in the title and header lines; a damaged array ends the input with
// a message naming the file and the scan and nothing under the final name.
TEST(ScanConversion, ChargesIdentityAndDamage) {
  const std::string survey = Spectrum("scan=1", 2, Level(1) + ScanList(10.0, nullptr, 200, 2000) +
                                                       Arrays({600.30, 601.0}, {1000, 10}));
  const std::string intensity = Cv("MS:1000042", "peak intensity", "5000.5");
  const std::string spectra =
      survey +
      Spectrum("scan=2", 2, Level(2) + ScanList(10.5, nullptr, 100, 2000) +
                                Precursor("scan=1", 650.25, Cv("MS:1000041", "charge state", "4") + intensity) +
                                Arrays({200.125, 300.5}, {5, 50})) +
      Spectrum("scan=3", 2, Level(2) + ScanList(11.0, nullptr, 100, 2000) +
                                Precursor("scan=1", 700.5, Cv("MS:1000633", "possible charge state", "2") +
                                                               Cv("MS:1000633", "possible charge state", "3")) +
                                Arrays({250.0, 900.0}, {8, 9})) +
      // No charge, and all the signal below the precursor: charge 1 by the rule.
      Spectrum("scan=4", 2, Level(2) + ScanList(11.5, nullptr, 100, 2000) + Precursor("scan=1", 800.0, "") +
                                Arrays({150.0, 300.0}, {8, 9})) +
      // No charge, signal above the precursor: 2+ and 3+.
      Spectrum("scan=5", 2, Level(2) + ScanList(12.0, nullptr, 100, 2000) + Precursor("scan=1", 400.0, "") +
                                Arrays({150.0, 700.0}, {8, 9}));
  HandFile f(Mzml(spectra), "run.mzML");
  f.reader.Open(f.path);
  RawOptions options;
  options.dMaxMass = 100000.0;
  ScanConversion job;
  job.strInput = f.path;
  job.pOptions = &options;
  ScanConversionSummary summary;
  ASSERT_EQ(ScansToMgf(f.reader, job, f.dir.File("run.mgf"), &summary), S_OK);
  EXPECT_EQ(summary.nWritten, 4u);
  EXPECT_EQ(ReadFile(f.dir.File("run.mgf")),
            "\nBEGIN IONS\nTITLE=run.2.2.4 File:\"run.mzML\", NativeID:\"scan=2\"\nCHARGE=4+\n"
            "PEPMASS=650.250000 5000.5\nRTINSECONDS=630\nSCANS=2\n200.12500 5\n300.50000 50\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=run.3.3.2 File:\"run.mzML\", NativeID:\"scan=3\"\nCHARGE=2+ and 3+\n"
            "PEPMASS=700.500000\nRTINSECONDS=660\nSCANS=3\n250.00000 8\n900.00000 9\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=run.4.4.1 File:\"run.mzML\", NativeID:\"scan=4\"\nCHARGE=1+\n"
            "PEPMASS=800.000000\nRTINSECONDS=690\nSCANS=4\n150.00000 8\n300.00000 9\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=run.5.5.2 File:\"run.mzML\", NativeID:\"scan=5\"\nCHARGE=2+ and 3+\n"
            "PEPMASS=400.000000\nRTINSECONDS=720\nSCANS=5\n150.00000 8\n700.00000 9\nEND IONS\n");
  // DTA files carry the same identity, one per charge, MH+ with the proton mass.
  ASSERT_EQ(ScansToDta(f.reader, job, f.dir.File("d/"), &summary), S_OK);
  EXPECT_EQ(summary.outputs.size(), 6u);
  EXPECT_EQ(ReadFile(f.dir.File("d/dta_converted/run.2.2.4.dta")), "2597.978172 4\n200.12500 5\n300.50000 50\n");
  // The MH+ window is tested per charge.
  options.dMinMass = 1400.0;
  ASSERT_EQ(ScansToMgf(f.reader, job, f.dir.File("window.mgf"), &summary), S_OK);
  EXPECT_EQ(summary.nWritten, 2u);
  EXPECT_EQ(summary.nOutsideWindow, 2u);
  EXPECT_NE(ReadFile(f.dir.File("window.mgf")).find("CHARGE=3+\nPEPMASS=700.5"), std::string::npos);

  // One damaged character in the array of scan 3.
  std::string damaged = Mzml(spectra);
  const std::string array = EncodeBase64(NumberBytes<double>({250.0, 900.0}));
  damaged.replace(damaged.find(array) + 3, 1, "*");
  HandFile g(damaged, "bad.mzML");
  g.reader.Open(g.path);
  job.strInput = g.path;
  RecordingReporter boxes;
  EXPECT_EQ(ScansToMgf(g.reader, job, g.dir.File("bad.mgf"), &summary), E_UNEXPECTED);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_NE(boxes.boxes[0].text.find(g.path), std::string::npos) << boxes.boxes[0].text;
  EXPECT_NE(boxes.boxes[0].text.find("spectrum \"scan=3\""), std::string::npos) << boxes.boxes[0].text;
  EXPECT_EQ(test::ListFiles(g.dir.Folder()), std::vector<std::string>{"bad.mzML"});
}

TEST(ReaderState, CallsWithoutAnOpenFileThrow) {
  MzReader r;
  long n = 0;
  std::string s;
  ScanHeader h;
  Variant v;
  EXPECT_THROW(r.GetFirstScan(&n), std::runtime_error);
  EXPECT_THROW(r.GetScanFilter(1, &s), std::runtime_error);
  EXPECT_THROW(r.GetScanHeader(1, &h), std::runtime_error);
  EXPECT_THROW(r.GetScanTrailer(1, "Charge State:", &v), std::runtime_error);
  ASSERT_EQ(r.OpenRawFile(FixturePath("yeast_zlib.mzML")), 0);
  EXPECT_THROW(r.SelectController(1, 1), std::runtime_error);
  r.CloseRawFile();
  EXPECT_THROW(r.GetLastScan(&n), std::runtime_error);
}

TEST(Factory, ChoosesByExtension) {
  struct Case {
    const char* path;
    bool raw;
  };
  for (const Case& c : {Case{"a.mzML", true}, Case{"dir/b.MZXML", true}, Case{"c.mzml.gz", true},
                        Case{"d.mzXML.GZ", true}, Case{"e.mgf", false}, Case{"f.mzML.zip", false},
                        Case{".mzML", false}, Case{"g.raw", false}, Case{"mzML", false}}) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(IsRawInput(c.path), c.raw);
    if (c.raw) {
      EXPECT_NE(MakeRawReader(c.path), nullptr);
    } else {
      EXPECT_THROW(MakeRawReader(c.path), std::invalid_argument);
    }
  }
}

std::string Mzxml(const std::string& scans) {
  return R"(<?xml version="1.0" encoding="ISO-8859-1"?>
<mzXML xmlns="http://sashimi.sourceforge.net/schema_revision/mzXML_3.2"><msRun scanCount="3">
<msInstrument msInstrumentID="1"><msMassAnalyzer category="msMassAnalyzer" value="radial ejection linear ion trap"/>
<msIonisation category="msIonisation" value="electrospray ionization"/></msInstrument>
)" + scans + "</msRun><index name=\"scan\"><offset id=\"1\">99999999</offset></index></mzXML>\n";
}

std::string Peaks(const std::vector<double>& pairs, const std::string& attrs, bool big, bool sixtyFour) {
  std::string bytes = sixtyFour ? NumberBytes<double>(pairs, big) : NumberBytes<float>(pairs, big);
  return "<peaks " + attrs + ">" + EncodeBase64(bytes) + "</peaks>";
}

TEST(HandMadeMzxml, NestedScansLittleEndianAndFilterLine) {
  std::string s =
      R"(<scan num="10" msLevel="1" peaksCount="2" retentionTime="PT60S" lowMz="100" highMz="900" centroided="0">)" +
      Peaks({400.0, 5.0, 450.2, 50.0}, R"(precision="64" byteOrder="little" contentType="m/z-int")", false, true) +
      R"(<scan num="11" msLevel="2" peaksCount="1" retentionTime="PT61S" collisionEnergy="30" startMz="120" endMz="910">)"
      R"(<precursorMz precursorCharge="1" activationMethod="CID"> 450.2 </precursorMz>)" +
      Peaks({150.0, 3.0}, R"(precision="32")", true, false) + "</scan>" +
      R"(<scan num="12" msLevel="2" peaksCount="1" filterLine="ITMS + c ESI d Full ms2 450.20@cid30.00 [120.00-910.00]">)"
      R"(<precursorMz possibleCharges="2,3">450.2</precursorMz>)" +
      Peaks({160.0, 4.0}, "", true, false) + "</scan></scan>";
  HandFile f(Mzxml(s), "hand.mzXML");
  ASSERT_EQ(f.Open(), 0) << f.reader.LastError();
  auto survey = ViewScan(f.reader, 10);
  EXPECT_EQ(survey.filter, "ITMS + p ESI Full ms [100.00-900.00]");
  ASSERT_EQ(survey.peaks.size(), 2u);
  EXPECT_EQ(survey.peaks[1].dMass, 450.2);
  EXPECT_DOUBLE_EQ(survey.header.dStartTime, 1.0);
  auto a = ViewScan(f.reader, 11);
  EXPECT_EQ(a.filter, "ITMS + c ESI d Full ms2 450.2000@cid30.00 [120.00-910.00]");
  EXPECT_EQ(a.priorScan, 10);  // the scan it is nested in
  EXPECT_EQ(a.charge.vt, Variant::VT_ERROR);
  ASSERT_EQ(a.peaks.size(), 1u);
  EXPECT_EQ(a.peaks[0].dMass, 150.0);
  auto b = ViewScan(f.reader, 12);
  EXPECT_EQ(b.filter, "ITMS + c ESI d Full ms2 450.20@cid30.00 [120.00-910.00]");
  EXPECT_EQ(b.charge.vt, Variant::VT_I2);
  EXPECT_EQ(b.charge.iVal, 2);
  EXPECT_EQ(b.priorScan, 10);
}

TEST(HandMadeMzxml, CompressedLengthIsChecked) {
  std::string raw = NumberBytes<float>({100.0, 1.0}, true);
  std::string packed(compressBound(raw.size()), '\0');
  uLongf len = packed.size();
  compress(reinterpret_cast<Bytef*>(packed.data()), &len, reinterpret_cast<const Bytef*>(raw.data()), raw.size());
  packed.resize(len);
  for (long declared : {static_cast<long>(len), static_cast<long>(len) + 1}) {
    std::string s = R"(<scan num="1" msLevel="1" peaksCount="1"><peaks compressionType="zlib" compressedLen=")" +
                    std::to_string(declared) + R"(">)" + EncodeBase64(packed) + "</peaks></scan>";
    HandFile f(Mzxml(s), "hand.mzXML");
    ASSERT_EQ(f.Open(), 0);
    RawPeakList list, flags;
    long scan = 1, n = 0;
    if (declared == static_cast<long>(len)) {
      f.reader.GetMassList(&scan, "", 0, 0, 0, 0, nullptr, &list, &flags, &n);
      ASSERT_EQ(n, 1);
      EXPECT_EQ(list[0].dMass, 100.0);
    } else {
      EXPECT_THROW(f.reader.GetMassList(&scan, "", 0, 0, 0, 0, nullptr, &list, &flags, &n),
                   std::runtime_error);
    }
  }
}

}  // namespace
}  // namespace orvane
