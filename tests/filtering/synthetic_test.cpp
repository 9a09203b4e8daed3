// The routines end to end: on synthetic spectra with isotope envelopes, on
// spectra of a few points, and on the real high-resolution spectra when they
// are there.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "analysis/analysis.h"
#include "analysis/grid_math.h"
#include "filtering/deisotope.h"
#include "spectrum/mgf_file.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane {
namespace {

class Routines : public testing::Test {
 protected:
  // The host's defaults, on a grid of 0.05 (dta already on it when bGrid).
  int Run(bool bSoft, Dta& dta, std::vector<double>& vOut, bool bGrid = false) {
    if (!bGrid && MakeEquidistant(0.05, &dta) != S_OK) ADD_FAILURE() << "resampling";
    const DeisotopeSettings s{25, 3, 0.5, 50.0, nullptr};
    return static_cast<int>(bSoft ? DeisotopeSoft(s, dta, vOut) : DeisotopeStrict(s, dta, vOut));
  }
  test::RecordingReporter reporter_;
};

// Of the grid points whose strongest synthetic peak is monoisotopic 98 %
// stay, of those whose strongest is an isotope peak 85 % go. The strict
// routine takes all six spectra, the soft one refuses more.
TEST_F(Routines, IsotopeEnvelopesAreDeisotoped) {
  for (bool bSoft : {false, true}) {
    int nDone = 0, nMono = 0, nMonoKept = 0, nIso = 0, nIsoRemoved = 0;
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
      std::vector<test::SyntheticPeak> peaks;
      Dta dta = test::MakeSyntheticSpectrum({.seed = seed}, &peaks);
      std::vector<double> vOut;
      const int r = Run(bSoft, dta, vOut);
      ASSERT_TRUE(r == 1 || r == 2) << seed;
      if (r != 1) continue;
      ++nDone;
      std::sort(peaks.begin(), peaks.end(),
                [](auto& a, auto& b) { return a.dIntensity < b.dIntensity; });
      std::map<long, test::SyntheticPeak::Kind> kinds;  // by grid point, the strongest peak's
      for (const auto& p : peaks) {
        const double g = grid::GridMass(p.dMass);
        const auto it = std::lower_bound(dta.vMass.begin(), dta.vMass.end(), g - 0.001);
        if (it != dta.vMass.end() && *it <= g + 0.001) kinds[it - dta.vMass.begin()] = p.kind;
      }
      for (auto [k, kind] : kinds) {
        if (kind > test::SyntheticPeak::Isotope) continue;
        const bool bMono = kind == test::SyntheticPeak::Monoisotopic;
        const bool removed = vOut[static_cast<std::size_t>(k)] == 0.0;
        (bMono ? nMono : nIso) += 1;
        (bMono ? nMonoKept : nIsoRemoved) += bMono != removed;
      }
    }
    SCOPED_TRACE(bSoft ? "soft" : "strict");
    EXPECT_GE(nDone, bSoft ? 3 : 6);
    EXPECT_GE(nMonoKept, nMono * 98 / 100) << nMonoKept << " of " << nMono;
    EXPECT_GE(nIsoRemoved, nIso * 85 / 100) << nIsoRemoved << " of " << nIso;
    EXPECT_GT(nIso, 0);
  }
  EXPECT_TRUE(reporter_.boxes.empty());
}

// Spectra of one, two and five points are left alone (transforms of 2 to
// 16); an empty one ends with its box and an empty output.
TEST_F(Routines, TinySpectra) {
  for (bool bSoft : {false, true}) {
    for (std::size_t n : {1u, 2u, 5u}) {
      Dta dta = test::GridSpectrum(std::vector<double>(n, 5.0));
      std::vector<double> vOut;
      EXPECT_EQ(Run(bSoft, dta, vOut, true), 2) << n;
      EXPECT_EQ(vOut, dta.vIntensity);
    }
  }
  EXPECT_TRUE(reporter_.boxes.empty());
  Dta empty;
  std::vector<double> vOut{1.0};
  EXPECT_EQ(Run(false, empty, vOut, true), -1);
  EXPECT_TRUE(vOut.empty());
  EXPECT_TRUE(reporter_.Has(BoxKind::Error, "dtaWork empty"));
}

// On resolved fragment isotopes most removed peaks have a peak one isotope
// spacing below them; by chance few would.
TEST_F(Routines, HighResolutionSpectraLoseTheirIsotopePeaks) {
  ORVANE_REQUIRE_DATA(path, "yeast/SmallCalibratible_Yeast.mgf");
  CStdioFile file;
  ASSERT_TRUE(file.Open(path, CStdioFile::modeRead | CStdioFile::typeText));
  long nRemoved = 0, nWithIsotopeBelow = 0;
  int nSpectra = 0;
  for (Dta in; nSpectra < 30 && ImportMgf(&file, &in, MgfDialect::Modern) == S_OK; in = Dta{}) {
    if (in.GetPeakCount() <= 2) continue;
    Dta work = in;
    std::vector<double> vOut;
    const int r = Run(false, work, vOut);
    ASSERT_TRUE(r == 1 || r == 2 || r == 4) << in.strTitle << " " << r;
    ++nSpectra;
    for (std::size_t i = 0; i < vOut.size(); ++i) {
      if (work.vIntensity[i] <= 0.0 || vOut[i] != 0.0) continue;
      ++nRemoved;
      const double want = work.vMass[i] - test::kIsotopeSpacing;
      auto it = std::lower_bound(in.vMass.begin(), in.vMass.end(), want - 0.02);
      nWithIsotopeBelow += it != in.vMass.end() && *it <= want + 0.02;
    }
  }
  ASSERT_GT(nSpectra, 20);
  ASSERT_GT(nRemoved, 100);
  EXPECT_GT(nWithIsotopeBelow * 100, nRemoved * 40) << nWithIsotopeBelow << " of " << nRemoved;
  EXPECT_TRUE(reporter_.boxes.empty());
}

}  // namespace
}  // namespace orvane
