// The search for twofold and threefold charged clusters. Their deconvolution
// (masses, log lines, blanking, the clusters known over both charges) is
// pinned by the golden case clean/drv_mgf_deconvolute.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/cluster_search.h"

namespace orvane {
namespace {

using V = std::vector<double>;

TEST(ClusterSearch, TemplateBands) {
  // b = trunc(z m) - (trunc(m) z) mod 100, row GetTemplate(b / z + 1).
  const double rows[][5] = {{500.7, 2, 1001, 501.0, 10}, {333.9, 3, 902, 301.0, 9}, {334.0, 3, 1000, 334.0, 9},
                            {550.55, 2, 1101, 551.0, 11}, {100.0, 2, 200, 101.0, 2}, {150.05, 2, 300, 151.0, 3}};
  for (const auto& [m, z, base, rowMass, row] : rows) {
    const IsotopeTemplates t(static_cast<int>(z));
    const cluster::TemplateBand band = cluster::MakeTemplateBand(m, static_cast<int>(z), t);
    EXPECT_EQ(band.nBase, static_cast<std::int64_t>(base)) << m;
    EXPECT_EQ(band.dRowMass, rowMass) << m;
    EXPECT_EQ(band.vTemplate, std::vector<std::int32_t>(t.Row(static_cast<int>(row)), t.Row(static_cast<int>(row)) + t.GetColumns()));
  }
  double r = 0;
  EXPECT_FALSE(cluster::Correlate(V(25, 7.0).data(), cluster::MakeTemplateBand(500.0, 3, IsotopeTemplates(3)), &r));
}

// A grid from 100.00 (twentieth 2000) to last / 20: real peaks of intensity
// 10 in both the working spectrum and its dense copy, signal in the dense copy
// only, and optionally a dense cluster shaped like a template row.
struct Search {
  int z;
  double dMass;
  int last;
  std::vector<int> peaks;
  std::vector<int> denseOnly;  // intensity 5
  int known = 0;               // a cluster of the other charge already known there
  int shapeAt = 0, shapeRow = 0, shapeColumns = 0;
  double threshold = -1.0;
  V starts;
};

V Starts(const Search& s) {
  Dta work;
  work.dMass = s.dMass;
  for (int k = 2000; k <= s.last; ++k) work.AddPeak(k / 20.0, 0.0);
  work.SetEquidistant(true, 0.05);
  Dta dense = work;
  const IsotopeTemplates t(s.z);
  for (int p : s.peaks) work.vIntensity[p - 2000] = dense.vIntensity[p - 2000] = 10.0;
  for (int p : s.denseOnly) dense.vIntensity[p - 2000] = 5.0;
  if (s.shapeColumns > 0) {
    work.vIntensity[s.shapeAt - 2000] = 100.0;
    for (int c = 0; c < s.shapeColumns; ++c) dense.vIntensity[s.shapeAt - 2000 + c] = t.Row(s.shapeRow)[c];
  }
  ClusterList known;
  if (s.known != 0) known.push_back({work.vMass.cbegin() + (s.known - 2000), dense.vIntensity.begin() + (s.known - 2000)});
  const std::size_t nKnown = known.size();
  V starts;
  for (const ClusterRef& ref : FindChargeClusters(&work, &dense, s.z, &t, s.threshold, &known)) starts.push_back(*ref.itMass);
  EXPECT_EQ(known.size(), nKnown + starts.size());
  return starts;
}

TEST(ClusterSearch, Walk) {
  const double almost = 0.9999999;
  const Search rows[] = {
      {2, 2000, 12000, {10000}, {}, 0, 0, 0, 0, -1.0, {500.0}},
      {2, 2000, 12000, {}, {10000}, 0, 0, 0, 0, -1.0, {}},  // only real peaks start a window
      {2, 2000, 10000, {10000}, {}, 0, 0, 0, 0, -1.0, {}},  // the last point is never examined
      {2, 2000, 10001, {10000}, {}, 0, 0, 0, 0, -1.0, {500.0}},
      // Below the limit dMass / z + 1 + 5 / (2z): 503.5 for z = 2, 336.0 for z = 3.
      {2, 1000, 10200, {10069}, {}, 0, 0, 0, 0, -1.0, {503.45}},
      {2, 1000, 10200, {10070}, {}, 0, 0, 0, 0, -1.0, {}},
      {3, 1000, 6800, {6719, 6759}, {}, 0, 0, 0, 0, -1.0, {335.95}},
      // Clusters of one charge stand more than 4 / z apart, measured from the last one taken.
      {2, 2000, 12000, {10000, 10040}, {}, 0, 0, 0, 0, -1.0, {500.0}},
      {2, 2000, 12000, {10000, 10041}, {}, 0, 0, 0, 0, -1.0, {500.0, 502.05}},
      {2, 2000, 12000, {10000, 10020, 10041}, {}, 0, 0, 0, 0, -1.0, {500.0, 502.05}},
      // A known cluster within 4 / z (strictly) blocks.
      {2, 2000, 12000, {10000}, {}, 9960, 0, 0, 0, -1.0, {500.0}},
      {2, 2000, 12000, {10000}, {}, 9961, 0, 0, 0, -1.0, {}},
      {2, 2000, 12000, {10000}, {}, 10039, 0, 0, 0, -1.0, {}},
      {2, 2000, 12000, {10000}, {}, 10040, 0, 0, 0, -1.0, {500.0}},
      // Threefold: signal 0.9 around 2(m - 1) + 1 (36 grid points from 18 below) blocks.
      {3, 3000, 18000, {8000}, {15980 + 17}, 0, 0, 0, 0, -1.0, {}},
      {3, 3000, 18000, {8000}, {15980 + 18}, 0, 0, 0, 0, -1.0, {400.0}},
      {3, 3000, 18000, {8000}, {15980 - 18}, 0, 0, 0, 0, -1.0, {}},
      {3, 3000, 18000, {8000}, {15980 - 19}, 0, 0, 0, 0, -1.0, {400.0}},
      {2, 3000, 18000, {8000}, {15980}, 0, 0, 0, 0, -1.0, {400.0}},
      // The band is taken anew only when z m passes it: at 150.00 row 2 is in use, at 150.05 row 3.
      {2, 2000, 4000, {}, {}, 0, 3000, 2, 41, almost, {150.0}},
      {2, 2000, 4000, {}, {}, 0, 3000, 3, 41, almost, {}},
      {2, 2000, 4000, {}, {}, 0, 3001, 3, 41, almost, {150.05}},
  };
  for (const Search& s : rows) EXPECT_EQ(Starts(s), s.starts) << s.z << " " << s.last << " " << s.peaks.size();
}

TEST(ClusterSearch, WindowAtTheEndIsPaddedAndTheThresholdInclusive) {
  // 30 points from the peak to the end: the row's first 30 entries, then zeros.
  const IsotopeTemplates t(2);
  V window(41, 0.0);
  for (int c = 0; c < 30; ++c) window[static_cast<std::size_t>(c)] = t.Row(9)[c];
  window[0] = 100.0;
  double r = 0;
  ASSERT_TRUE(cluster::Correlate(window.data(), cluster::MakeTemplateBand(450.05, 2, t), &r));
  Search s{2, 2000, 10029, {}, {}, 0, 10000, 9, 30, r, {500.0}};
  EXPECT_EQ(Starts(s), s.starts);
  s.threshold = std::nextafter(r, 2.0);
  EXPECT_EQ(Starts(s), V{});
}

}  // namespace
}  // namespace orvane
