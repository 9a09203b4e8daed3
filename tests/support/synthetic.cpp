#include "support/synthetic.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

#include "platform/format.h"

namespace orvane::test {

std::vector<double> IsotopeHeights(double dMass, int nIsotopes) {
  const double lambda = dMass / 1800.0;
  std::vector<double> h(static_cast<std::size_t>(std::max(nIsotopes, 1)));
  double p = 1.0;  // Poisson terms relative to k = 0
  for (std::size_t k = 0; k < h.size(); ++k) {
    if (k > 0) p *= lambda / static_cast<double>(k);
    h[k] = p;
  }
  return h;
}

Dta MakeSyntheticSpectrum(const SyntheticOptions& o, std::vector<SyntheticPeak>* pPeaks) {
  std::mt19937 rng(o.seed);
  std::uniform_real_distribution<double> massDist(o.dMinMass, o.dMaxMass);
  std::uniform_real_distribution<double> heightDist(0.2, 1.0);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<SyntheticPeak> peaks;
  const double top = 10000.0;

  // Fragments are kept apart by more than an envelope so that tests can tell
  // which peak is which.
  std::vector<double> taken;
  auto farFromOthers = [&](double m, double reach) {
    for (double t : taken)
      if (std::fabs(t - m) < reach) return false;
    return true;
  };
  auto addEnvelope = [&](double first, double spacing, double height, SyntheticPeak::Kind kind,
                         double singlyChargedMass) {
    const auto hs = IsotopeHeights(singlyChargedMass, o.bIsotopes ? o.nIsotopes : 1);
    for (std::size_t k = 0; k < hs.size(); ++k) {
      SyntheticPeak::Kind kk = kind;
      if (kind == SyntheticPeak::Monoisotopic && k > 0) kk = SyntheticPeak::Isotope;
      peaks.push_back({first + spacing * static_cast<double>(k), height * hs[k], kk,
                       static_cast<int>(k)});
    }
    taken.push_back(first);
  };

  for (int i = 0, tries = 0; i < o.nSinglyCharged && tries < 100000; ++tries) {
    const double m = massDist(rng);
    if (!farFromOthers(m, 5.5)) continue;
    addEnvelope(m, kIsotopeSpacing, top * heightDist(rng), SyntheticPeak::Monoisotopic, m);
    ++i;
  }
  for (int z = 2; z <= 3; ++z) {
    const int count = z == 2 ? o.nTwofoldClusters : o.nThreefoldClusters;
    for (int i = 0, tries = 0; i < count && tries < 100000; ++tries) {
      // Keep clusters in the lower part of the range, where the cluster
      // search looks (below the precursor's m/z).
      const double m = o.dMinMass + (o.dPrecursorMz - o.dMinMass) * unit(rng) * 0.8;
      if (!farFromOthers(m, 5.5)) continue;
      const double singly = z * (m - kProtonMass) + kProtonMass;
      addEnvelope(m, kIsotopeSpacing / z, top * heightDist(rng),
                  z == 2 ? SyntheticPeak::TwofoldCluster : SyntheticPeak::ThreefoldCluster,
                  singly);
      ++i;
    }
  }
  for (int i = 0; i < o.nNoisePeaks; ++i)
    peaks.push_back({massDist(rng), top * o.dNoiseLevel * unit(rng), SyntheticPeak::Noise, 0});

  std::sort(peaks.begin(), peaks.end(),
            [](const SyntheticPeak& a, const SyntheticPeak& b) { return a.dMass < b.dMass; });
  Dta dta;
  dta.strTitle = Format("synthetic.%u.%u.%d.dta", o.seed, o.seed, o.nCharge);
  dta.dMass = o.dPrecursorMz;
  dta.nCharge = o.nCharge;
  for (auto& p : peaks) {
    p.dMass = std::round(p.dMass * 10000.0) / 10000.0;
    p.dIntensity = std::round(p.dIntensity * 1000.0) / 1000.0;
    if (p.dIntensity <= 0.0) p.dIntensity = 0.001;
    dta.AddPeak(p.dMass, p.dIntensity);
  }
  if (pPeaks) *pPeaks = std::move(peaks);
  return dta;
}

Dta MakeRandomSpectrum(std::uint32_t seed, int nPeaks, double dMinMass, double dMaxMass) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> massDist(dMinMass, dMaxMass);
  std::uniform_real_distribution<double> heightDist(10.0, 10000.0);
  std::vector<double> masses(static_cast<std::size_t>(nPeaks));
  for (auto& m : masses) m = std::round(massDist(rng) * 10000.0) / 10000.0;
  std::sort(masses.begin(), masses.end());
  Dta dta;
  dta.strTitle = Format("random.%u.%u.2.dta", seed, seed);
  dta.dMass = (dMinMass + dMaxMass) / 2.0;
  dta.nCharge = 2;
  for (double m : masses) dta.AddPeak(m, std::round(heightDist(rng)));
  return dta;
}

std::string MakeSyntheticMgf(int nSpectra, std::uint32_t seed, bool withRetentionTime) {
  std::string out;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> precursor(400.0, 1100.0);
  for (int i = 0; i < nSpectra; ++i) {
    SyntheticOptions o;
    o.seed = seed * 100003u + static_cast<std::uint32_t>(i);
    o.nCharge = 2 + static_cast<int>(rng() % 2);
    o.dPrecursorMz = precursor(rng);
    o.dMaxMass = std::min(1900.0, o.dPrecursorMz * o.nCharge);
    const Dta dta = MakeSyntheticSpectrum(o);
    AppendFormat(out, "BEGIN IONS\nTITLE=synthetic.%d.%d.%d\n", i + 1, i + 1, o.nCharge);
    if (withRetentionTime) AppendFormat(out, "RTINSECONDS=%.3f\n", 600.0 + 2.5 * i);
    AppendFormat(out, "PEPMASS=%.6f\nCHARGE=%d+\n", dta.dMass, dta.nCharge);
    for (unsigned k = 0; k < dta.GetPeakCount(); ++k)
      AppendFormat(out, "%.4f %.3f\n", dta.GetMass(k), dta.GetIntensity(k));
    out += "END IONS\n\n";
  }
  return out;
}

}  // namespace orvane::test
