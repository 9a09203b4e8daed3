// Time of the analysis stages the cleaning pipeline runs on every spectrum:
// resampling onto the 0.05 grid, then for charge 3 and charge 2 a dense copy
// and the isotope cluster search (sharing the known clusters).
//
// The spectrum spans fragments from 150 to 2150 (about 40,000 grid points)
// with a few hundred peaks: isotope envelopes of singly charged fragments,
// twofold and threefold charged clusters, and noise. Its precursor is a
// threefold charged peptide of m/z 750, for which the search stops near a
// third (charge 3) and a half (charge 2) of that mass. The "full reach" case
// raises dMass so that both searches walk the whole spectrum.
#include <benchmark/benchmark.h>

#include "analysis/analysis.h"
#include "support/synthetic.h"

namespace {

orvane::Dta MakeSpectrum(bool bFullReach) {
  orvane::test::SyntheticOptions options;
  options.seed = 7;
  options.nCharge = 3;
  options.dPrecursorMz = 750.0;
  options.nSinglyCharged = 70;
  options.nTwofoldClusters = 8;
  options.nThreefoldClusters = 5;
  options.nNoisePeaks = 120;
  options.dMinMass = 150.0;
  options.dMaxMass = 2150.0;
  orvane::Dta dta = orvane::test::MakeSyntheticSpectrum(options);
  if (bFullReach) dta.dMass = 4400.0;
  return dta;
}

struct Searched {
  std::size_t nGrid = 0;
  std::size_t nClusters = 0;
};

// Both charges as the pipeline runs them, on an equidistant working copy.
Searched SearchBothCharges(orvane::Dta& work) {
  orvane::ClusterList known;
  const orvane::IsotopeTemplates templates3(3);
  orvane::Dta dense3(work);
  orvane::DenseSpectrum(3, &dense3);
  const orvane::ClusterList found3 =
      orvane::FindChargeClusters(&work, &dense3, 3, &templates3, 0.8, &known);
  const orvane::IsotopeTemplates templates2(2);
  orvane::Dta dense2(work);
  orvane::DenseSpectrum(2, &dense2);
  const orvane::ClusterList found2 =
      orvane::FindChargeClusters(&work, &dense2, 2, &templates2, 0.8, &known);
  benchmark::DoNotOptimize(found3.data());
  benchmark::DoNotOptimize(found2.data());
  return {work.GetPeakCount(), found3.size() + found2.size()};
}

void Report(benchmark::State& state, const orvane::Dta& raw, const Searched& s) {
  state.counters["peaks"] = raw.GetPeakCount();
  state.counters["grid_points"] = static_cast<double>(s.nGrid);
  state.counters["clusters"] = static_cast<double>(s.nClusters);
}

// The whole stage: resampling, dense copies, both searches.
void BM_ResampleAndSearchClusters(benchmark::State& state) {
  const orvane::Dta raw = MakeSpectrum(state.range(0) != 0);
  Searched s;
  for (auto _ : state) {
    orvane::Dta work(raw);
    if (orvane::MakeEquidistant(0.05, &work) != orvane::S_OK) {
      state.SkipWithError("MakeEquidistant failed");
      break;
    }
    s = SearchBothCharges(work);
  }
  Report(state, raw, s);
}

// Resampling alone.
void BM_MakeEquidistant(benchmark::State& state) {
  const orvane::Dta raw = MakeSpectrum(false);
  for (auto _ : state) {
    orvane::Dta work(raw);
    orvane::MakeEquidistant(0.05, &work);
    benchmark::DoNotOptimize(work.vIntensity.data());
  }
}

// Dense copies and both searches on a spectrum resampled beforehand.
void BM_DenseAndSearch(benchmark::State& state) {
  const orvane::Dta raw = MakeSpectrum(state.range(0) != 0);
  orvane::Dta work(raw);
  orvane::MakeEquidistant(0.05, &work);
  Searched s;
  for (auto _ : state) s = SearchBothCharges(work);
  Report(state, raw, s);
}

// Argument: 0 for the precursor's own reach, 1 for the full reach.
BENCHMARK(BM_ResampleAndSearchClusters)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MakeEquidistant)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DenseAndSearch)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
