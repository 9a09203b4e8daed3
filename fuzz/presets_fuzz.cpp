// The presets reader of the command line (orvane clean --params FILE) on the
// input as a TOML file. A file it accepts must come out of RenderPresets as
// a file it accepts again, with the same values.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_util.h"
#include "settings.h"

using namespace orvane;
using namespace orvane::app;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::KeepBoxesQuiet();
  static fuzz::ScratchFile input("in.toml");
  static fuzz::ScratchFile again("again.toml");
  Settings settings;
  if (!LoadPresets(input.Write(data, size), settings).empty()) return 0;

  const std::string rendered = RenderPresets(settings);
  Settings again2;
  const std::string problem = LoadPresets(again.Write(rendered.data(), rendered.size()), again2);
  if (!problem.empty() || RenderPresets(again2) != rendered) {
    std::fprintf(stderr, "presets read back differently: %s\n--- rendered:\n%s\n", problem.c_str(),
                 rendered.c_str());
    std::abort();
  }
  if (!CheckSettings(settings, kClean).empty()) {
    std::fprintf(stderr, "presets accepted with values the command line refuses\n");
    std::abort();
  }
  CleanParams params;
  ApplyCleanSettings(settings, params);
  return 0;
}
