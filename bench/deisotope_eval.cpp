// De-isotoping: speed of the two routines, and an evaluation tool.
//
//   deisotope_eval                      Google Benchmark: spectra per second,
//                                       strict against soft, on synthetic and
//                                       real spectra.
//   deisotope_eval study [n]            parameter study on n synthetic
//                                       spectra with isotope envelopes and n
//                                       of random peaks.
//   deisotope_eval detail n step nMax nMedian width threshold
//                                       one line per synthetic spectrum.
//   deisotope_eval mgf FILE [step nMax nMedian width threshold]
//                                       verdicts, removed peaks and run time
//                                       on the spectra of an MGF file.
//
// Everything runs through the real signal-processing component, created by
// name as the cleaning drivers create it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/grid_math.h"
#include "filtering/deisotope.h"
#include "filtering/deisotope_stages.h"
#include "platform/reporter.h"
#include "spectrum/mgf_file.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane {
namespace {

// Swallows boxes so a study prints only its table.
class CountingReporter final : public IReporter {
 public:
  void Show(BoxKind, std::string_view text) override {
    ++count;
    last = std::string(text);
  }
  int count = 0;
  std::string last;
};

struct Params {
  double dStep = 0.05;
  int nMaxPeriodicity = 25;
  int nMedianFilter = 3;
  double dWidth = 0.5;
  double dThreshold = 50.0;
  DeisotopeSettings Settings() const {
    DeisotopeSettings s;
    s.nMaxPeriodicity = nMaxPeriodicity;
    s.nMedianFilter = nMedianFilter;
    s.dDeisotopFilterWidth = dWidth;
    s.dDeisotopThreshold = dThreshold;
    return s;
  }
};

int RunRoutine(bool bSoft, const DeisotopeSettings& s, const Dta& dta, std::vector<double>& vOut) {
  return static_cast<int>(bSoft ? DeisotopeSoft(s, dta, vOut) : DeisotopeStrict(s, dta, vOut));
}

// Index of the grid point a peak of mass dMass lands on, or -1.
long GridIndex(const Dta& grid, double dMass) {
  const double g = grid::GridMass(dMass);
  auto it = std::lower_bound(grid.vMass.begin(), grid.vMass.end(), g - 0.001);
  if (it == grid.vMass.end() || std::fabs(*it - g) > 0.001) return -1;
  return static_cast<long>(it - grid.vMass.begin());
}

// One synthetic spectrum on its grid, with the kind of the strongest peak
// on each occupied grid point.
struct Labelled {
  Dta grid;
  std::map<long, test::SyntheticPeak::Kind> kind;
};

std::vector<Labelled> SyntheticSet(int n, double dStep, bool bRandom) {
  std::vector<Labelled> out;
  for (int i = 0; i < n; ++i) {
    Labelled l;
    std::vector<test::SyntheticPeak> peaks;
    if (bRandom) {
      l.grid = test::MakeRandomSpectrum(1000u + static_cast<unsigned>(i), 200, 150.0, 1250.0);
    } else {
      test::SyntheticOptions o;
      o.seed = 1u + static_cast<unsigned>(i);
      l.grid = test::MakeSyntheticSpectrum(o, &peaks);
    }
    if (FAILED(MakeEquidistant(dStep, &l.grid))) continue;
    std::map<long, double> height;
    for (const auto& p : peaks) {
      const long k = GridIndex(l.grid, p.dMass);
      if (k < 0) continue;
      if (!height.count(k) || p.dIntensity > height[k]) {
        height[k] = p.dIntensity;
        l.kind[k] = p.kind;
      }
    }
    out.push_back(std::move(l));
  }
  return out;
}

struct Tally {
  int results[6] = {0, 0, 0, 0, 0, 0};  // -2..-1 in 0,1; 1,2,4 in 2,3,5
  long mono = 0, monoKept = 0, iso = 0, isoRemoved = 0, other = 0, otherRemoved = 0;
  long points = 0, removed = 0;
  void Result(int r) {
    if (r < 0) ++results[r + 2];
    else if (r == 1) ++results[2];
    else if (r == 2) ++results[3];
    else if (r == 4) ++results[5];
  }
};

Tally Evaluate(const std::vector<Labelled>& set, const Params& p,
               bool bSoft) {
  Tally t;
  const DeisotopeSettings s = p.Settings();
  std::vector<double> vOut;
  for (const Labelled& l : set) {
    const int r = RunRoutine(bSoft, s, l.grid, vOut);
    t.Result(r);
    for (std::size_t i = 0; i < vOut.size(); ++i) {
      if (l.grid.vIntensity[i] > 0.0) {
        ++t.points;
        if (vOut[i] == 0.0) ++t.removed;
      }
    }
    for (auto [k, kind] : l.kind) {
      const bool removed = vOut[static_cast<std::size_t>(k)] == 0.0;
      if (kind == test::SyntheticPeak::Monoisotopic) {
        ++t.mono;
        t.monoKept += !removed;
      } else if (kind == test::SyntheticPeak::Isotope) {
        ++t.iso;
        t.isoRemoved += removed;
      } else {
        ++t.other;
        t.otherRemoved += removed;
      }
    }
  }
  return t;
}

double Pct(long a, long b) { return b == 0 ? 0.0 : 100.0 * static_cast<double>(a) / b; }

int Study(int n) {
  CountingReporter reporter;
  SetReporter(&reporter);
  std::printf(
      "| step | nMax | median | width | thr | routine | envelopes 1/2/4/neg | mono kept %% | "
      "isotopes removed %% | other removed %% | random 1/2/4/neg | random points removed %% |\n");
  std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|\n");
  const double steps[] = {0.05};
  const int maxes[] = {21, 25, 30, 40, 60};
  const int medians[] = {1, 3, 5};
  const double widths[] = {0.4, 0.5, 0.6, 1.0};
  const double thresholds[] = {35.0, 45.0, 50.0, 55.0, 70.0};
  for (double step : steps) {
    const auto envelopes = SyntheticSet(n, step, false);
    const auto random = SyntheticSet(n, step, true);
    for (int nMax : maxes)
      for (int median : medians)
        for (double width : widths)
          for (double thr : thresholds)
            for (bool bSoft : {false, true}) {
              const Params p{step, nMax, median, width, thr};
              const Tally e = Evaluate(envelopes, p, bSoft);
              const Tally r = Evaluate(random, p, bSoft);
              std::printf(
                  "| %.2f | %d | %d | %.1f | %.0f | %s | %d/%d/%d/%d | %.1f | %.1f | %.1f | "
                  "%d/%d/%d/%d | %.1f |\n",
                  step, nMax, median, width, thr, bSoft ? "soft" : "strict", e.results[2],
                  e.results[3], e.results[5], e.results[0] + e.results[1], Pct(e.monoKept, e.mono),
                  Pct(e.isoRemoved, e.iso), Pct(e.otherRemoved, e.other), r.results[2],
                  r.results[3], r.results[5], r.results[0] + r.results[1],
                  Pct(r.removed, r.points));
              std::fflush(stdout);
            }
  }
  SetReporter(nullptr);
  std::fprintf(stderr, "boxes shown: %d%s%s\n", reporter.count, reporter.count ? ", last: " : "",
               reporter.last.c_str());
  return 0;
}

// One line per synthetic spectrum: which spectra a parameter set loses.
int Detail(int n, const Params& p) {
  CountingReporter reporter;
  SetReporter(&reporter);
  for (bool bRandom : {false, true}) {
    const auto set = SyntheticSet(n, p.dStep, bRandom);
    for (std::size_t i = 0; i < set.size(); ++i) {
      std::printf("%s %2zu:", bRandom ? "random   " : "envelopes", i + 1);
      for (bool bSoft : {false, true}) {
        const Tally t = Evaluate({set[i]}, p, bSoft);
        const int r = t.results[2] ? 1 : t.results[3] ? 2 : t.results[5] ? 4 : -1;
        std::printf("  %s r%d mono %ld/%ld iso %ld/%ld points %ld/%ld", bSoft ? "soft" : "strict",
                    r, t.monoKept, t.mono, t.isoRemoved, t.iso, t.removed, t.points);
      }
      std::printf("\n");
    }
  }
  SetReporter(nullptr);
  return 0;
}

std::vector<Dta> ReadMgf(const std::string& path) {
  std::vector<Dta> out;
  CStdioFile file;
  if (!file.Open(path, CStdioFile::modeRead | CStdioFile::typeText)) {
    std::fprintf(stderr, "cannot open %s\n", path.c_str());
    return out;
  }
  for (;;) {
    Dta dta;
    if (ImportMgf(&file, &dta, MgfDialect::Modern) != S_OK) break;
    out.push_back(std::move(dta));
  }
  return out;
}

// Whether a peak of the original list lies 1.003 (+-0.02) below dMass.
bool HasPeakBelow(const Dta& original, double dMass) {
  const double want = dMass - 1.00335;
  auto it = std::lower_bound(original.vMass.begin(), original.vMass.end(), want - 0.02);
  return it != original.vMass.end() && *it <= want + 0.02;
}

int Mgf(const std::string& path, const Params& p) {
  CountingReporter reporter;
  SetReporter(&reporter);
  const std::vector<Dta> spectra = ReadMgf(path);
  std::printf("%s: %zu spectra; step %.2f nMax %d median %d width %.2f threshold %.1f\n",
              path.c_str(), spectra.size(), p.dStep, p.nMaxPeriodicity, p.nMedianFilter, p.dWidth,
              p.dThreshold);
  const DeisotopeSettings s = p.Settings();
  for (bool bSoft : {false, true}) {
    Tally t;
    long withIsotopeBelow = 0;
    long allWithIsotopeBelow = 0;
    double seconds = 0.0;
    long gridPoints = 0;
    int considered = 0;
    std::vector<double> vOut;
    for (const Dta& in : spectra) {
      if (in.GetPeakCount() <= 2) continue;  // the drivers pass these over
      Dta work = in;
      if (FAILED(MakeEquidistant(p.dStep, &work))) continue;
      ++considered;
      gridPoints += work.GetPeakCount();
      const auto t0 = std::chrono::steady_clock::now();
      const int r = RunRoutine(bSoft, s, work, vOut);
      seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      t.Result(r);
      for (std::size_t i = 0; i < vOut.size(); ++i) {
        if (work.vIntensity[i] > 0.0) {
          ++t.points;
          const bool bBelow = HasPeakBelow(in, work.vMass[i]);
          allWithIsotopeBelow += bBelow;
          if (vOut[i] == 0.0) {
            ++t.removed;
            withIsotopeBelow += bBelow;
          }
        }
      }
    }
    std::printf(
        "  %-6s: %d spectra, results 1/2/4/neg = %d/%d/%d/%d, peaks removed %ld of %ld "
        "(%.1f%%), of those with a peak 1.003 below %.1f%% (of all peaks %.1f%%), %.3f s (%.0f spectra/s, mean grid "
        "%ld points)\n",
        bSoft ? "soft" : "strict", considered, t.results[2], t.results[3], t.results[5],
        t.results[0] + t.results[1], t.removed, t.points, Pct(t.removed, t.points),
        Pct(withIsotopeBelow, t.removed), Pct(allWithIsotopeBelow, t.points), seconds, considered / seconds,
        considered ? gridPoints / considered : 0);
  }
  SetReporter(nullptr);
  if (reporter.count) std::printf("  boxes shown: %d, last: %s\n", reporter.count, reporter.last.c_str());
  return 0;
}

// ---- benchmarks ----

void RunBench(benchmark::State& state, const std::vector<Dta>& spectra, bool bSoft) {
  CountingReporter reporter;
  ScopedThreadReporter scope(&reporter);
  const DeisotopeSettings s = Params{}.Settings();
  std::vector<double> vOut;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(RunRoutine(bSoft, s, spectra[i], vOut));
    i = (i + 1) % spectra.size();
  }
  state.counters["spectra/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

const std::vector<Dta>& SyntheticGrid() {
  static const std::vector<Dta> set = [] {
    std::vector<Dta> v;
    for (auto& l : SyntheticSet(16, 0.05, false)) v.push_back(std::move(l.grid));
    return v;
  }();
  return set;
}

const std::vector<Dta>& RealGrid(const char* relative) {
  static std::map<std::string, std::vector<Dta>> cache;
  auto& v = cache[relative];
  if (v.empty()) {
    if (auto path = test::DataFile(relative)) {
      for (Dta& d : ReadMgf(*path)) {
        if (d.GetPeakCount() > 2 && SUCCEEDED(MakeEquidistant(0.05, &d))) v.push_back(std::move(d));
        if (v.size() >= 64) break;
      }
    }
  }
  return v;
}

void BM_Synthetic(benchmark::State& state) { RunBench(state, SyntheticGrid(), state.range(0)); }
BENCHMARK(BM_Synthetic)->ArgName("soft")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Real(benchmark::State& state, const char* relative) {
  const auto& v = RealGrid(relative);
  if (v.empty()) {
    state.SkipWithError("real data not available");
    return;
  }
  RunBench(state, v, state.range(0));
}
BENCHMARK_CAPTURE(BM_Real, bsa, "bsa/BSA1.mgf")->ArgName("soft")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Real, yeast, "yeast/SmallCalibratible_Yeast.mgf")
    ->ArgName("soft")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The soft routine's inner loop: one comb fit over a median array of the
// largest size real spectra produce (2^18 elements).
void BM_CombFit(benchmark::State& state) {
  std::vector<double> vMedian(static_cast<std::size_t>(state.range(0)));
  std::uint32_t x = 12345;
  for (double& d : vMedian) {
    x = x * 1664525u + 1013904223u;
    d = static_cast<double>(x >> 8);
  }
  filtering::CombFit fit;
  int p = 6;
  for (auto _ : state) {
    benchmark::DoNotOptimize(filtering::MeasureCombFit(vMedian, p, fit));
    p = p == 30 ? 6 : p + 1;
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CombFit)->Arg(1 << 16)->Arg(1 << 18)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace orvane

int main(int argc, char** argv) {
  if (argc >= 2 && std::strcmp(argv[1], "study") == 0)
    return orvane::Study(argc >= 3 ? std::atoi(argv[2]) : 20);
  if (argc >= 8 && std::strcmp(argv[1], "detail") == 0) {
    const orvane::Params p{std::atof(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]),
                           std::atof(argv[6]), std::atof(argv[7])};
    return orvane::Detail(std::atoi(argv[2]), p);
  }
  if (argc >= 3 && std::strcmp(argv[1], "mgf") == 0) {
    orvane::Params p;
    if (argc >= 8) {
      p.dStep = std::atof(argv[3]);
      p.nMaxPeriodicity = std::atoi(argv[4]);
      p.nMedianFilter = std::atoi(argv[5]);
      p.dWidth = std::atof(argv[6]);
      p.dThreshold = std::atof(argv[7]);
    }
    return orvane::Mgf(argv[2], p);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
