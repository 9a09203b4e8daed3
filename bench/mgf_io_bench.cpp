// Throughput of MGF reading and writing on a large synthetic file.
//
//   mgf_io_bench                          Google Benchmark run on a file of
//                                         $ORVANE_MGF_BENCH_MB megabytes (100)
//   mgf_io_bench --generate FILE MB       writes a synthetic MGF file of about MB
//                                         megabytes, as msconvert writes them
//   mgf_io_bench --roundtrip IN OUT [classic|modern]
//                                         reads IN block by block and writes OUT,
//                                         once, and prints MB/s
//
// The Google Benchmark cases: ReadRaw reads the file in 64 KiB blocks and
// stands for `cat`; ImportMgf reads every block into a Dta; ImportExportMgf
// also writes every block to a second file. Bytes per second are bytes of the
// input.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "platform/format.h"
#include "platform/text_file.h"
#include "spectrum/dta.h"
#include "spectrum/mgf_file.h"

namespace {

using namespace orvane;

// Blocks like msconvert's: TITLE=spectrum=N, RTINSECONDS, PEPMASS with an
// intensity, CHARGE, then 50 to 350 peaks in ascending mass with msconvert's
// number formats.
void Generate(const std::string& path, double megabytes) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) {
    std::perror(path.c_str());
    std::exit(1);
  }
  std::mt19937_64 random(20241123);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const auto target = static_cast<std::uint64_t>(megabytes * 1024 * 1024);
  std::uint64_t written = 0;
  std::string block;
  for (unsigned scan = 1; written < target; ++scan) {
    block.clear();
    const int charge = 2 + static_cast<int>(unit(random) * 3);
    AppendFormat(block, "BEGIN IONS\nTITLE=spectrum=%u\nRTINSECONDS=%.5f\nPEPMASS=%.12g %.10g\nCHARGE=%d+\n",
                 scan, 1500.0 + scan * 0.35, 350.0 + unit(random) * 1200.0, unit(random) * 1e7, charge);
    const int peaks = 50 + static_cast<int>(unit(random) * 300);
    double mass = 100.0;
    for (int i = 0; i < peaks; ++i) {
      mass += unit(random) * 6.0;
      AppendFormat(block, "%.7g %.10g\n", mass, unit(random) * unit(random) * 1e5);
    }
    block += "END IONS\n";
    std::fwrite(block.data(), 1, block.size(), f);
    written += block.size();
  }
  std::fclose(f);
}

struct Counts {
  unsigned spectra = 0;
  std::uint64_t peaks = 0;
};

Counts Roundtrip(const std::string& in, const std::string* out, MgfDialect dialect) {
  CStdioFile input;
  CStdioFile output;
  CFileException error;
  if (!input.Open(in, CStdioFile::modeRead, &error) ||
      (out != nullptr &&
       !output.Open(*out, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText, &error))) {
    std::fprintf(stderr, "%s\n", error.Text().c_str());
    std::exit(1);
  }
  Counts counts;
  Dta dta;
  for (;;) {
    dta.Clear();
    if (ImportMgf(&input, &dta, dialect) != S_OK) break;
    ++counts.spectra;
    counts.peaks += dta.GetPeakCount();
    if (out != nullptr) ExportMgf(&output, &dta, std::string(), dialect);
  }
  if (out != nullptr) output.Close();
  return counts;
}

std::uint64_t FileSize(const std::string& path) { return std::filesystem::file_size(path); }

// The benchmark file, made once per process.
const std::string& BenchFile() {
  static const std::string path = [] {
    const char* env = std::getenv("ORVANE_MGF_BENCH_MB");
    const double mb = env != nullptr ? std::atof(env) : 100.0;
    const std::string p =
        (std::filesystem::temp_directory_path() / ("orvane-mgf-bench-" + std::to_string(::getpid()) + ".mgf"))
            .string();
    Generate(p, mb);
    std::atexit([] { std::remove(BenchFile().c_str()); });
    return p;
  }();
  return path;
}

void ReadRaw(benchmark::State& state) {
  const std::string& path = BenchFile();
  std::vector<char> buffer(1 << 16);
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    std::size_t n = 0;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), f)) > 0) benchmark::DoNotOptimize(buffer.data());
    std::fclose(f);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * FileSize(path)));
}

void ImportOnly(benchmark::State& state) {
  const std::string& path = BenchFile();
  const auto dialect = static_cast<MgfDialect>(state.range(0));
  Counts counts;
  for (auto _ : state) counts = Roundtrip(path, nullptr, dialect);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * FileSize(path)));
  state.counters["spectra"] = counts.spectra;
  state.counters["peaks"] = static_cast<double>(counts.peaks);
}

void ImportExport(benchmark::State& state) {
  const std::string& path = BenchFile();
  const std::string out = path + ".out";
  const auto dialect = static_cast<MgfDialect>(state.range(0));
  for (auto _ : state) Roundtrip(path, &out, dialect);
  std::remove(out.c_str());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * FileSize(path)));
}

BENCHMARK(ReadRaw)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(ImportOnly)->ArgName("modern")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(ImportExport)->ArgName("modern")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--generate") == 0) {
    Generate(argv[2], std::atof(argv[3]));
    return 0;
  }
  if ((argc == 4 || argc == 5) && std::strcmp(argv[1], "--roundtrip") == 0) {
    const MgfDialect dialect =
        argc == 5 && std::strcmp(argv[4], "classic") == 0 ? MgfDialect::Classic : MgfDialect::Modern;
    const std::string out = argv[3];
    const auto start = std::chrono::steady_clock::now();
    const Counts counts = Roundtrip(argv[2], &out, dialect);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double mb = static_cast<double>(FileSize(argv[2])) / (1024.0 * 1024.0);
    std::printf("%u spectra, %llu peaks, %.1f MB in %.3f s: %.1f MB/s\n", counts.spectra,
                static_cast<unsigned long long>(counts.peaks), mb, seconds, mb / seconds);
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
