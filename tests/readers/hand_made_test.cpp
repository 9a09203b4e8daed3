// Small hand-made mzML and mzXML documents for what the fixtures don't show:
// MS3 precursor chains, charge and trailer values, parameter groups, gaps in
// the scan numbers, broken indexes, refused encodings and damaged files.
#include <gtest/gtest.h>

#include <zlib.h>

#include <regex>

#include "raw/scan_access.h"
#include "raw/scan_conversion.h"
#include "reader_test_util.h"
#include "readers/mz_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

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
}

TEST(HandMadeMzml, IdsWithoutUniqueNumbersAreNumberedByPosition) {
  std::string one = Level(1) + ScanList(1.0, nullptr, 100, 1000) + Arrays({500}, {9});
  for (auto ids : {std::pair<const char*, const char*>{"scan=7", "scan=7"},
                   {"sample=1 period=1 cycle=5 experiment=1", "sample=1 period=1 cycle=6 experiment=1"}}) {
    HandFile f(Mzml(Spectrum(ids.first, 1, one) + Spectrum(ids.second, 1, one)));
    ASSERT_EQ(f.Open(), 0);
    long first = 0, last = 0;
    f.reader.GetFirstScan(&first);
    f.reader.GetLastScan(&last);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(last, 2);
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
        OpenFailure{"notXml", "just some text\n", 2, "not a readable mzML or mzXML document"},
        OpenFailure{"otherRoot", "<?xml version=\"1.0\"?><html><body/></html>", 2, "root element is <html>"},
        OpenFailure{"truncated", Mzml(kOneScan).substr(0, Mzml(kOneScan).find("<binary>") + 20), 2, "at line"},
        OpenFailure{"noRun", "<mzML><cvList/></mzML>", 2, "holds no run"},
        OpenFailure{"badGroupRef", Mzml(Spectrum("scan=1", 0, R"(<referenceableParamGroupRef ref="nope"/>)")), 2,
                    "names no group"},
        OpenFailure{"mzxmlContent",
                    R"(<mzXML><msRun><scan num="1" msLevel="1" peaksCount="1"><peaks contentType="m/z ruler">AAAA</peaks></scan></msRun></mzXML>)",
                    2, "this reader reads \"m/z-int\" pairs"}),
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
      {Arrays({1, 2}, {3, 4}), "holds 2 values, the file declares 3"},
      {"<binaryDataArrayList count=\"2\"><binaryDataArray>" + k64 + kMzArray + "<binary>AB*D</binary>" +
           "</binaryDataArray><binaryDataArray>" + k32 + kIntensityArray +
           "<binary>AAAA</binary></binaryDataArray></binaryDataArrayList>",
       "invalid character in base64 data"},
      {"<binaryDataArrayList count=\"1\"><binaryDataArray>" + k64 + kMzArray + "<binary>" +
           EncodeBase64(NumberBytes<double>({1, 2, 3})) + "</binary></binaryDataArray></binaryDataArrayList>",
       "has no intensity array"},
  };
  for (const auto& c : cases) {
    HandFile f(Mzml(Spectrum("scan=1", 3, Level(2) + c.arrays)));
    ASSERT_EQ(f.Open(), 0);
    RawPeakList list, flags;
    long scan = 1, n = 0;
    try {
      f.reader.GetMassList(&scan, "", 0, 0, 0, 0, nullptr, &list, &flags, &n);
      ADD_FAILURE() << "no exception for " << c.message;
    } catch (const std::runtime_error& e) {
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("spectrum \"scan=1\""), std::string::npos) << e.what();
    }
  }
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
