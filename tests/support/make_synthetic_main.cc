// orvane-synth: writes synthetic MGF or DTA files, for the bundled example and
// for benchmarks that need a large input.
//   orvane-synth mgf FILE N [SEED] [--rt]    N spectra in one MGF file
//   orvane-synth dta FOLDER N [SEED]         N DTA files
//   orvane-synth mgf-mb FILE MB [SEED]       an MGF file of about MB megabytes
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "spectrum/dta_file.h"
#include "support/synthetic.h"

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s mgf FILE N [SEED] [--rt] | dta FOLDER N [SEED] | mgf-mb FILE MB [SEED]\n", argv[0]);
    return 2;
  }
  const std::string mode = argv[1];
  const std::string target = argv[2];
  const long n = std::atol(argv[3]);
  const unsigned seed = argc > 4 && argv[4][0] != '-' ? static_cast<unsigned>(std::atol(argv[4])) : 1u;
  bool rt = false;
  for (int i = 4; i < argc; ++i) rt = rt || std::strcmp(argv[i], "--rt") == 0;
  if (mode == "mgf" || mode == "mgf-mb") {
    std::FILE* f = std::fopen(target.c_str(), "wb");
    if (!f) {
      std::perror(target.c_str());
      return 1;
    }
    const long long goal = mode == "mgf-mb" ? n * 1000000LL : -1;
    long long written = 0;
    unsigned chunk = 0;
    do {
      const int spectra = mode == "mgf" ? static_cast<int>(n) : 500;
      const std::string text = orvane::test::MakeSyntheticMgf(spectra, seed + chunk++, rt);
      std::fwrite(text.data(), 1, text.size(), f);
      written += static_cast<long long>(text.size());
    } while (goal > 0 && written < goal);
    std::fclose(f);
    return 0;
  }
  if (mode == "dta") {
    for (long i = 0; i < n; ++i) {
      orvane::test::SyntheticOptions o;
      o.seed = seed + static_cast<unsigned>(i);
      o.dPrecursorMz = 500.0 + 37.0 * static_cast<double>(i % 15);
      orvane::Dta dta = orvane::test::MakeSyntheticSpectrum(o);
      // A DTA header holds MH+.
      dta.dMass = o.nCharge * (o.dPrecursorMz - orvane::test::kProtonMass) + orvane::test::kProtonMass;
      const std::string path = target + "/" + dta.strTitle;
      if (orvane::ExportDta(path.c_str(), &dta) != orvane::S_OK) return 1;
    }
    return 0;
  }
  std::fprintf(stderr, "unknown mode %s\n", mode.c_str());
  return 2;
}
