// Speed of the signal-processing component, called through ITonalith as the
// de-isotoping calls it: transform + power spectrum per length, the running
// median and band-stop of a 40,000-point spectrum, and the design and use of
// the Y-filter.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "platform/class_registry.h"
#include "tonalith/fft.h"
#include "tonalith/itonalith.h"

namespace {

using namespace orvane;

ComPtr<ITonalith> Create() {
  RegisterTonalith();
  CLSID clsid;
  CLSIDFromProgID(kTonalithProgId, &clsid);
  ComPtr<IUnknown> unknown;
  CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, unknown.Out());
  ComPtr<ITonalith> t;
  if (unknown) unknown->QueryInterface(IID_ITonalith, t.Out());
  return t;
}

std::vector<double> Signal(std::size_t n) {
  std::mt19937 gen(42);
  std::uniform_real_distribution<double> dist(0.0, 100.0);
  std::vector<double> v(n);
  for (double& x : v) x = dist(gen) < 10.0 ? dist(gen) : 0.0;  // sparse peaks
  return v;
}

// The corners of the de-isotoping's notch filter (period h, width 0.5).
void NotchCorners(int h, double harmonics, std::vector<double>& f, std::vector<int>& g) {
  const double big = 1024.0, t = 0.1 * h, w = 0.5 * h * 0.5;
  f = {0.0};
  g = {1};
  for (int k = 1; k < harmonics; ++k) {
    const double c = k * 2.0 * h;
    f.push_back((c - w - t) / big);
    g.push_back(1);
    f.push_back((c - w) / big);
    g.push_back(0);
    if (harmonics - 1 > k) {
      f.push_back(std::min((c + w - t) / big, 1.0));
      g.push_back(0);
      f.push_back(std::min((c + w) / big, 1.0));
      g.push_back(1);
    } else {
      f.push_back(1.0);
      g.push_back(0);
      break;
    }
  }
}

void BM_FftPowerSpectrum(benchmark::State& state) {
  ComPtr<ITonalith> t = Create();
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> x = Signal(static_cast<std::size_t>(n));
  std::vector<double> spectrum, power;
  double overall = 0.0;
  for (auto _ : state) {
    spectrum.clear();
    power.clear();
    t->Fft(x, n, spectrum);
    t->PowerSpectrum(spectrum, power, &overall);
    benchmark::DoNotOptimize(power.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetLabel(tonalith::FftBackendName());
}
BENCHMARK(BM_FftPowerSpectrum)->RangeMultiplier(2)->Range(1 << 12, 1 << 18)->Unit(benchmark::kMicrosecond);

// The median of the first power spectrum of a 40,000-point spectrum
// (2^16 values), width 3 as the cleaning uses it, and a wide window.
void BM_MedianFilter(benchmark::State& state) {
  ComPtr<ITonalith> t = Create();
  const std::vector<double> x = Signal(1 << 16);
  std::vector<double> y;
  double ignored = 0.0;
  for (auto _ : state) {
    y.clear();
    t->MedianFilter(x, static_cast<int>(x.size()), static_cast<int>(state.range(0)), y, &ignored);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(x.size()));
}
BENCHMARK(BM_MedianFilter)->Arg(3)->Arg(15)->Arg(1001)->Unit(benchmark::kMicrosecond);

void BM_BandStop(benchmark::State& state) {
  ComPtr<ITonalith> t = Create();
  const std::vector<double> x = Signal(40000);
  std::vector<double> y;
  for (auto _ : state) {
    y.clear();
    t->BandStop(2, x, y);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * 40000);
}
BENCHMARK(BM_BandStop)->Unit(benchmark::kMicrosecond);

// Design alone: range(0) is the period h; 50 gives the 40-corner filter of
// order 40, 25 the 80-corner one.
void BM_YFilterDesign(benchmark::State& state) {
  ComPtr<ITonalith> t = Create();
  const int h = static_cast<int>(state.range(0));
  std::vector<double> f;
  std::vector<int> g;
  NotchCorners(h, h == 50 ? 10.5 : 20.5, f, g);
  std::vector<double> b, a;
  for (auto _ : state) {
    b.clear();
    a.clear();
    t->CreateYFilter(static_cast<int>(f.size()), f, g, b, a);
    benchmark::DoNotOptimize(b.data());
  }
  state.counters["order"] = static_cast<double>(f.size());
}
BENCHMARK(BM_YFilterDesign)->Arg(50)->Arg(25)->Unit(benchmark::kMicrosecond);

// What the de-isotoping does per spectrum: design the 40-corner filter and run
// it over 40,000 points.
void BM_YFilterDesignAndFilter(benchmark::State& state) {
  ComPtr<ITonalith> t = Create();
  std::vector<double> f;
  std::vector<int> g;
  NotchCorners(50, 10.5, f, g);
  const std::vector<double> x = Signal(40000);
  std::vector<double> b, a, y;
  for (auto _ : state) {
    b.clear();
    a.clear();
    y.clear();
    t->CreateYFilter(static_cast<int>(f.size()), f, g, b, a);
    t->ApplyFilter(b, a, x, 0, y);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * 40000);
}
BENCHMARK(BM_YFilterDesignAndFilter)->Unit(benchmark::kMicrosecond);

void BM_YFilterApplyOnly(benchmark::State& state) {
  ComPtr<ITonalith> t = Create();
  std::vector<double> f;
  std::vector<int> g;
  NotchCorners(50, 10.5, f, g);
  const std::vector<double> x = Signal(40000);
  std::vector<double> b, a, y;
  t->CreateYFilter(static_cast<int>(f.size()), f, g, b, a);
  for (auto _ : state) {
    y.clear();
    t->ApplyFilter(b, a, x, 0, y);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * 40000);
}
BENCHMARK(BM_YFilterApplyOnly)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
