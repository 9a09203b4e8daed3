// The routines end to end, through the real signal-processing component, on
// synthetic spectra with isotope envelopes and on random peaks, and on the
// real high-resolution spectra when they are there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "analysis/analysis.h"
#include "analysis/grid_math.h"
#include "filtering/deisotope.h"
#include "frame/interfaces.h"
#include "platform/class_registry.h"
#include "spectrum/mgf_file.h"
#include "support/synthetic.h"
#include "support/test_support.h"
#include "support/fake_stages.h"

namespace orvane {
namespace {

using test::SyntheticPeak;

// The defaults the host ships with.
DeisotopeSettings Defaults() {
  DeisotopeSettings s;
  s.nMaxPeriodicity = 25;
  s.nMedianFilter = 3;
  s.dDeisotopFilterWidth = 0.5;
  s.dDeisotopThreshold = 50.0;
  return s;
}
constexpr double kStep = 0.05;

class RealComponent : public testing::Test {
 protected:
  void SetUp() override {
    RegisterTonalith();
    CLSID clsid;
    ASSERT_EQ(CLSIDFromProgID(kTonalithProgId, &clsid), S_OK);
    ComPtr<IUnknown> unknown;
    ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, unknown.Out()),
              S_OK);
    ASSERT_EQ(unknown->QueryInterface(IID_ITonalith, tonalith_.Out()), S_OK);
  }
  int Run(bool bSoft, const Dta& dta, std::vector<double>& vOut,
          const DeisotopeSettings& s = Defaults()) {
    return bSoft ? DeisotopeSoft(tonalith_.Get(), &analyze_, s, dta, vOut)
                 : DeisotopeStrict(tonalith_.Get(), &analyze_, s, dta, vOut);
  }
  ComPtr<ITonalith> tonalith_;
  test::FakeAnalyze analyze_;
  test::RecordingReporter reporter_;
};

long GridIndex(const Dta& grid, double dMass) {
  const double g = grid::GridMass(dMass);
  auto it = std::lower_bound(grid.vMass.begin(), grid.vMass.end(), g - 0.001);
  if (it == grid.vMass.end() || std::fabs(*it - g) > 0.001) return -1;
  return static_cast<long>(it - grid.vMass.begin());
}

struct Counts {
  int mono = 0, monoKept = 0, iso = 0, isoRemoved = 0;
};

// Which grid points hold a monoisotopic peak or an isotope peak, by the
// strongest synthetic peak that landed there.
std::map<long, SyntheticPeak::Kind> Label(const Dta& grid, const std::vector<SyntheticPeak>& peaks) {
  std::map<long, SyntheticPeak::Kind> kind;
  std::map<long, double> height;
  for (const auto& p : peaks) {
    const long k = GridIndex(grid, p.dMass);
    if (k >= 0 && (!height.count(k) || p.dIntensity > height[k])) {
      height[k] = p.dIntensity;
      kind[k] = p.kind;
    }
  }
  return kind;
}

TEST_F(RealComponent, IsotopeEnvelopesAreDeisotoped) {
  for (bool bSoft : {false, true}) {
    Counts c;
    int nDone = 0;
    const int nSpectra = 6;
    for (int seed = 1; seed <= nSpectra; ++seed) {
      test::SyntheticOptions o;
      o.seed = static_cast<std::uint32_t>(seed);
      std::vector<SyntheticPeak> peaks;
      Dta dta = test::MakeSyntheticSpectrum(o, &peaks);
      ASSERT_EQ(MakeEquidistant(kStep, &dta), S_OK);
      std::vector<double> vOut;
      const int r = Run(bSoft, dta, vOut);
      ASSERT_TRUE(r == 1 || r == 2) << "seed " << seed << " result " << r;
      ASSERT_EQ(vOut.size(), dta.nPeaks);
      if (r != 1) continue;
      ++nDone;
      for (auto [k, kind] : Label(dta, peaks)) {
        const bool removed = vOut[static_cast<std::size_t>(k)] == 0.0;
        if (kind == SyntheticPeak::Monoisotopic) {
          ++c.mono;
          c.monoKept += !removed;
        } else if (kind == SyntheticPeak::Isotope) {
          ++c.iso;
          c.isoRemoved += removed;
        }
      }
    }
    SCOPED_TRACE(bSoft ? "soft" : "strict");
    // The strict routine takes every one of them; the soft one refuses more.
    EXPECT_GE(nDone, bSoft ? nSpectra / 2 : nSpectra);
    ASSERT_GT(c.mono, 0);
    EXPECT_GE(c.monoKept, c.mono * 98 / 100) << c.monoKept << " of " << c.mono;
    EXPECT_GE(c.isoRemoved, c.iso * 85 / 100) << c.isoRemoved << " of " << c.iso;
  }
  EXPECT_TRUE(reporter_.boxes.empty());
}

// Random peaks have no isotope period. The strict routine still settles on
// its strongest period and notches a few points out; the soft one finds no
// comb to trust in most of them and leaves them alone (when its race goes to
// a short period whose last notch stops the top of the band it can take
// almost everything, which is why the host defaults to the strict routine).
TEST_F(RealComponent, RandomPeaksAreNotDeisotoped) {
  const int nSpectra = 8;
  int nSoftLeftAlone = 0;
  for (std::uint32_t seed = 1000; seed < 1000 + nSpectra; ++seed) {
    Dta dta = test::MakeRandomSpectrum(seed, 200, 150.0, 1250.0);
    ASSERT_EQ(MakeEquidistant(kStep, &dta), S_OK);
    std::vector<double> vOut;
    const int r = Run(false, dta, vOut);
    ASSERT_TRUE(r == 1 || r == 2 || r == 4) << r;
    long nPoints = 0;
    long nRemoved = 0;
    for (std::size_t i = 0; i < vOut.size(); ++i) {
      if (dta.vIntensity[i] > 0.0) {
        ++nPoints;
        nRemoved += vOut[i] == 0.0;
      }
    }
    EXPECT_LT(nRemoved * 100, nPoints * 10) << "seed " << seed << ": " << nRemoved << " of "
                                             << nPoints;
    const int rSoft = Run(true, dta, vOut);
    ASSERT_TRUE(rSoft == 1 || rSoft == 2 || rSoft == 4) << rSoft;
    nSoftLeftAlone += rSoft == 2;
  }
  EXPECT_GE(nSoftLeftAlone, nSpectra / 2);
}

TEST_F(RealComponent, SpectraOfOneAndTwoPointsAreLeftAlone) {
  for (bool bSoft : {false, true}) {
    for (const std::vector<double>& v :
         {std::vector<double>{5.0}, std::vector<double>{5.0, 7.0}, std::vector<double>(5, 1.0)}) {
      const Dta dta = test::GridSpectrum(v);
      std::vector<double> vOut;
      EXPECT_EQ(Run(bSoft, dta, vOut), 2) << v.size();
      EXPECT_EQ(vOut, dta.vIntensity);
    }
  }
  EXPECT_TRUE(reporter_.boxes.empty());
}

// On resolved fragment isotopes most removed peaks have a peak one isotope
// spacing below them; by chance few would.
TEST_F(RealComponent, HighResolutionSpectraLoseTheirIsotopePeaks) {
  ORVANE_REQUIRE_DATA(path, "yeast/SmallCalibratible_Yeast.mgf");
  CStdioFile file;
  ASSERT_TRUE(file.Open(path, CStdioFile::modeRead | CStdioFile::typeText));
  long nRemoved = 0;
  long nWithIsotopeBelow = 0;
  int nSpectra = 0;
  for (Dta in; nSpectra < 40; in = Dta{}) {
    if (ImportMgf(&file, &in, MgfDialect::Modern) != S_OK) break;
    if (in.nPeaks <= 2) continue;
    Dta work = in;
    ASSERT_EQ(MakeEquidistant(kStep, &work), S_OK);
    std::vector<double> vOut;
    const int r = Run(false, work, vOut);
    ASSERT_TRUE(r == 1 || r == 2 || r == 4) << in.strTitle << " " << r;
    ++nSpectra;
    for (std::size_t i = 0; i < vOut.size(); ++i) {
      if (work.vIntensity[i] > 0.0 && vOut[i] == 0.0) {
        ++nRemoved;
        const double want = work.vMass[i] - test::kIsotopeSpacing;
        auto it = std::lower_bound(in.vMass.begin(), in.vMass.end(), want - 0.02);
        nWithIsotopeBelow += it != in.vMass.end() && *it <= want + 0.02;
      }
    }
  }
  ASSERT_GT(nSpectra, 20);
  ASSERT_GT(nRemoved, 100);
  EXPECT_GT(nWithIsotopeBelow * 100, nRemoved * 40) << nWithIsotopeBelow << " of " << nRemoved;
  EXPECT_TRUE(reporter_.boxes.empty());
}

}  // namespace
}  // namespace orvane
