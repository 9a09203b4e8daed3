#include "presets.h"

#include <charconv>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <toml++/toml.h>

#include "commands.h"
#include "platform/format.h"

namespace orvane::app {
namespace {

enum class Kind { Bool, Int, Double, Text };

// One key of the file. The key is the long option name without its dashes,
// so the file and the command line speak the same words.
struct Entry {
  const char* section;  // "clean" or "raw"
  const char* key;
  Kind kind;
  const char* meaning;
  const char* allowed;  // unit and range, as the comment shows them
  void* (*field)(CleanOptions&, RawOptionsCli&);
};

#define CLEAN_FIELD(member) [](CleanOptions& c, RawOptionsCli&) -> void* { return &c.member; }
#define RAW_FIELD(member) [](CleanOptions&, RawOptionsCli& r) -> void* { return &r.member; }

const Entry kEntries[] = {
    {"clean", "deisotope", Kind::Bool,
     "Remove isotope peaks; this stage also tells bad spectra (no regular spacing) from good ones",
     "true or false", CLEAN_FIELD(bDeisotope)},
    {"clean", "deisotope-threshold", Kind::Double,
     "Percent of its intensity a point must lose in the isotope filter to be removed",
     "percent, 0 to 100", CLEAN_FIELD(dDeisotopThreshold)},
    {"clean", "deisotope-filter-width", Kind::Double,
     "Width of each notch of the isotope filter, as a share of the isotope period",
     "share of the period, 0.1 to 1.9", CLEAN_FIELD(dDeisotopFilterWidth)},
    {"clean", "max-periodicity", Kind::Int,
     "Longest period the isotope search looks at (the 1.003 spacing of singly charged "
     "fragments is 20 steps of 0.05)",
     "grid steps, 14 to 400", CLEAN_FIELD(nMaxPeriodicity)},
    {"clean", "median-filter", Kind::Int,
     "Width of the median filter over the power spectrum", "points, 1 to 99",
     CLEAN_FIELD(nMedianFilter)},
    {"clean", "soft-bad-spectra", Kind::Bool,
     "Soft test: fit every period and call a spectrum bad only if none fits", "true or false",
     CLEAN_FIELD(bSoftBadSpectra)},
    {"clean", "deconvolute", Kind::Bool,
     "Replace 2- and 3-fold charged isotope clusters by single singly charged peaks",
     "true or false", CLEAN_FIELD(bDeconvolute)},
    {"clean", "deconv-threshold", Kind::Double,
     "Least correlation of a cluster with its isotope template", "percent, 0 to 100",
     CLEAN_FIELD(dDeconvThreshold)},
    {"clean", "remove-noise", Kind::Bool,
     "Delete points that a band-stop filter takes most of their intensity from",
     "true or false", CLEAN_FIELD(bRemoveNoise)},
    {"clean", "noise-threshold", Kind::Double,
     "Percent of its intensity a point must lose in the band-stop filter to be deleted",
     "percent, 0 to 100", CLEAN_FIELD(dNoiseThreshold)},
    {"clean", "band-stop", Kind::Int,
     "Centre of the stop band: 0, 1, 2, 3, 4 for 0.5, 0.6, 0.7, 0.8, 0.9 of the Nyquist "
     "frequency",
     "selector, 0 to 4", CLEAN_FIELD(nBandStopFrequency)},
    {"clean", "check-seq-tags", Kind::Bool,
     "Call a spectrum bad when no chain of amino-acid mass steps is found", "true or false",
     CLEAN_FIELD(bCheckSeqTags)},
    {"clean", "seq-tag-length", Kind::Int, "Residue steps that make a tag", "steps, 1 to 50",
     CLEAN_FIELD(nSeqTagLength)},
    {"clean", "mass-tolerance", Kind::Double, "Half width of a residue mass match",
     "mass units, above 0 and at most 10", CLEAN_FIELD(dMassTolerance)},
    {"clean", "seq-ladder-intensity", Kind::Int,
     "Only peaks above this intensity rank form a ladder", "percent of the peaks, 0 to 100",
     CLEAN_FIELD(nSeqLadderIntensity)},
    {"clean", "merge-peaks", Kind::Bool,
     "Keep only the strongest of peaks closer than the merge spacing", "true or false",
     CLEAN_FIELD(bMergePeaks)},
    {"clean", "merge-spacing", Kind::Double, "Spacing below which peaks merge",
     "mass units, above 0 and at most 100", CLEAN_FIELD(dMergeSpacing)},
    {"clean", "equidistant-step", Kind::Double,
     "Step of the regular mass grid every stage works on (the isotope templates are made for "
     "0.05)",
     "mass units, 0.005 to 1", CLEAN_FIELD(dEquidistantStep)},
    {"clean", "protect-below", Kind::Double,
     "Modern dialect: peaks below this m/z pass every stage unchanged (reporter ions of "
     "isobaric tags sit 1.003 apart below m/z 135 and must not be taken for isotopes)",
     "m/z, 0 to 10000; 0 protects nothing", CLEAN_FIELD(dProtectBelowMz)},
    {"clean", "bad-spectra", Kind::Text,
     "What becomes of bad spectra: leave them in the clean output, separate them to "
     "badspectra/ as they were read, or delete them",
     "\"leave\", \"separate\" or \"delete\"", CLEAN_FIELD(badSpectra)},
    {"clean", "export-bad", Kind::Bool,
     "Write bad spectra at all; false drops them whatever bad-spectra says", "true or false",
     CLEAN_FIELD(bExportBad)},
    {"clean", "merge-output", Kind::Bool,
     "MGF inputs: write all spectra to SpectraMerged_c.mgf (or _ms2_c/_ms3_c.mgf by the "
     "input's name) instead of one output per input",
     "true or false", CLEAN_FIELD(bMergeOutput)},
    {"clean", "skip-cleaning", Kind::Bool,
     "MGF inputs: copy every spectrum of more than 2 peaks unchanged", "true or false",
     CLEAN_FIELD(bSkipCleaning)},
    {"clean", "mgf-dialect", Kind::Text,
     "classic: the three-tag MGF of the original engine; modern: keep full titles, "
     "RTINSECONDS/SCANS lines and precursor intensities",
     "\"classic\" or \"modern\"", CLEAN_FIELD(mgfDialect)},
    {"raw", "min-mass", Kind::Double,
     "Least singly charged precursor mass (MH+) of a spectrum written from a raw file",
     "mass units, 0 or more", RAW_FIELD(dMinMass)},
    {"raw", "max-mass", Kind::Double, "Largest singly charged precursor mass (MH+) written",
     "mass units, at least min-mass", RAW_FIELD(dMaxMass)},
    {"raw", "min-peaks", Kind::Int,
     "Least number of peaks of a scan; -1 chooses 0, or 1 when a threshold mode is set",
     "peaks, -1 or more", RAW_FIELD(nMinPeaks)},
    {"raw", "threshold-mode", Kind::Text,
     "Intensity test of a scan: none, fixed (total intensity against intensity-threshold) or "
     "base-peak (against the file's largest base peak)",
     "\"none\", \"fixed\" or \"base-peak\"", RAW_FIELD(thresholdMode)},
    {"raw", "intensity-threshold", Kind::Int,
     "Least total intensity of a scan when threshold-mode is fixed", "intensity, 0 or more",
     RAW_FIELD(nIntensityThreshold)},
    {"raw", "split-ms-levels", Kind::Bool, "Write MS2 and MS3 spectra to separate outputs",
     "true or false", RAW_FIELD(bSplitMsLevels)},
    {"raw", "convert-to", Kind::Text,
     "What `orvane clean` converts raw inputs to before cleaning", "\"mgf\" or \"dta\"",
     RAW_FIELD(convertTo)},
};

#undef CLEAN_FIELD
#undef RAW_FIELD

const Entry* FindEntry(const std::string& section, const std::string& key) {
  for (const Entry& e : kEntries)
    if (section == e.section && key == e.key) return &e;
  return nullptr;
}

// The shortest text that reads back to the same double, always with a
// decimal point so TOML takes it for a float.
std::string DoubleText(double value) {
  char buf[400];
  // Plain notation while it stays short (100000.0 rather than 1e+05).
  auto result = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
  if (result.ec != std::errc() || result.ptr - buf > 24)
    result = std::to_chars(buf, buf + sizeof buf, value);
  std::string text(buf, result.ptr);
  if (text.find_first_of(".eEn") == std::string::npos) text += ".0";
  return text;
}

std::string ValueText(const Entry& e, CleanOptions& clean, RawOptionsCli& raw) {
  void* p = e.field(clean, raw);
  switch (e.kind) {
    case Kind::Bool: return *static_cast<bool*>(p) ? "true" : "false";
    case Kind::Int: return std::to_string(*static_cast<int*>(p));
    case Kind::Double: return DoubleText(*static_cast<double*>(p));
    case Kind::Text: {
      std::string quoted = "\"";
      for (char c : *static_cast<std::string*>(p)) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
      }
      return quoted + "\"";
    }
  }
  return {};
}

std::string Located(const std::string& path, const toml::source_region& where,
                    const std::string& key, const std::string& message) {
  return Format("%s:%u: %s: %s", path.c_str(), static_cast<unsigned>(where.begin.line),
                key.c_str(), message.c_str());
}

// Sets one value from its node; "" or what is wrong with it.
std::string SetValue(const Entry& e, const toml::node& node, CleanOptions& clean,
                     RawOptionsCli& raw) {
  void* p = e.field(clean, raw);
  switch (e.kind) {
    case Kind::Bool:
      if (!node.is_boolean()) return "must be true or false";
      *static_cast<bool*>(p) = node.as_boolean()->get();
      return {};
    case Kind::Int: {
      if (!node.is_integer()) return "must be a whole number";
      const std::int64_t v = node.as_integer()->get();
      if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max())
        return "is out of range";
      *static_cast<int*>(p) = static_cast<int>(v);
      return {};
    }
    case Kind::Double:
      if (node.is_integer()) {
        *static_cast<double*>(p) = static_cast<double>(node.as_integer()->get());
        return {};
      }
      if (!node.is_floating_point()) return "must be a number";
      *static_cast<double*>(p) = node.as_floating_point()->get();
      return {};
    case Kind::Text:
      if (!node.is_string()) return "must be a text in double quotes";
      *static_cast<std::string*>(p) = node.as_string()->get();
      return {};
  }
  return "has an unknown kind";
}

}  // namespace

std::string RenderPresets(const CleanOptions& cleanIn, const RawOptionsCli& rawIn) {
  CleanOptions clean = cleanIn;
  RawOptionsCli raw = rawIn;
  std::string out =
      "# orvane parameters. Read with: orvane clean --params FILE ...\n"
      "# Options given on the command line override what this file says; keys left out keep\n"
      "# their defaults. Each key is the long option name of `orvane clean`.\n";
  const char* section = "";
  for (const Entry& e : kEntries) {
    if (std::strcmp(section, e.section) != 0) {
      section = e.section;
      out += std::strcmp(section, "clean") == 0
                 ? "\n[clean]\n# How spectra are cleaned and where the results go.\n"
                 : "\n[raw]\n# Raw instrument files (mzML, mzXML): which scans become spectra.\n";
    }
    AppendFormat(out, "\n# %s.\n# %s\n%s = %s\n", e.meaning, e.allowed, e.key,
                 ValueText(e, clean, raw).c_str());
  }
  return out;
}

namespace {

// The values of a parsed presets document into clean and raw; "" or one
// message naming the source, the line and the key.
std::string ApplyDocument(const toml::table& doc, const std::string& path, CleanOptions& cleanOut,
                          RawOptionsCli& rawOut) {
  CleanOptions clean = cleanOut;
  RawOptionsCli raw = rawOut;
  // Where each key stood, to name the line of a value that fails the checks.
  std::vector<std::pair<std::string, toml::source_region>> seen;
  for (const auto& [sectionKey, sectionNode] : doc) {
    const std::string section(sectionKey.str());
    if (!sectionNode.is_table()) {
      return Located(path, sectionNode.source(), section,
                     FindEntry("clean", section) || FindEntry("raw", section)
                         ? "belongs in a [clean] or [raw] section"
                         : "unknown key; the file has the sections [clean] and [raw]");
    }
    if (section != "clean" && section != "raw")
      return Located(path, sectionNode.source(), "[" + section + "]",
                     "unknown section; the file has the sections [clean] and [raw]");
    for (const auto& [key, node] : *sectionNode.as_table()) {
      const std::string name(key.str());
      const Entry* e = FindEntry(section, name);
      if (e == nullptr)
        return Located(path, node.source(), name, "unknown key in [" + section + "]");
      if (const std::string problem = SetValue(*e, node, clean, raw); !problem.empty())
        return Located(path, node.source(), name, problem);
      seen.emplace_back(name, node.source());
    }
  }

  // The range checks of the command line, named by the option they concern.
  for (const std::string& problem : {ValidateCleanOptions(clean), ValidateRawOptions(raw)}) {
    if (problem.empty()) continue;
    for (const auto& [name, where] : seen) {
      const std::string option = "--" + name;
      if (problem.compare(0, option.size() + 1, option + " ") != 0) continue;
      // "--x must lie ..." reads "x: must lie ..."; other texts stay whole.
      const std::string rest = problem.substr(option.size() + 1);
      return Located(path, where, name, rest.rfind("must ", 0) == 0 ? rest : problem);
    }
    return path + ": " + problem;
  }
  cleanOut = clean;
  rawOut = raw;
  return {};
}

// The built-in presets, read over the defaults before any --params file and
// the command line. Their values come from bench/search_gain.sh (Comet on the
// shared yeast and BSA runs); the README gives the figures.
struct NamedPreset {
  const char* name;
  const char* summary;
  double dDeisotopThreshold;
  double dProtectBelowMz;

  // The preset as a presets document: what it sets, and what it resets.
  std::string Text() const {
    return "[clean]\ndeisotope = true\ndeisotope-threshold = " + DoubleText(dDeisotopThreshold) +
           "\nmerge-peaks = true\nmerge-spacing = 0.3\ndeconvolute = false\nprotect-below = " +
           DoubleText(dProtectBelowMz) + "\n";
  }
};

const NamedPreset kNamedPresets[] = {
    {"hires", "high-resolution fragment spectra (Orbitrap or TOF, HCD); the defaults", 55.0, 0.0},
    {"lowres", "low-resolution ion-trap CID spectra: isotopes unresolved, a gentler isotope filter",
     70.0, 0.0},
    {"tmt",
     "isobaric tags (TMT, iTRAQ), high resolution: peaks below m/z 136 (reporter ions) pass "
     "unchanged",
     55.0, 136.0},
};

const NamedPreset* FindPreset(const std::string& name) {
  for (const NamedPreset& p : kNamedPresets)
    if (name == p.name) return &p;
  return nullptr;
}

}  // namespace

std::string LoadPresets(const std::string& path, CleanOptions& cleanOut, RawOptionsCli& rawOut) {
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    std::fclose(f);
  } else {
    return "can't read the presets file " + path + ": " + std::strerror(errno);
  }
  toml::table doc;
  try {
    doc = toml::parse_file(path);
  } catch (const toml::parse_error& err) {
    const auto& where = err.source();
    return Format("%s:%u: %s", path.c_str(), static_cast<unsigned>(where.begin.line),
                  std::string(err.description()).c_str());
  } catch (const std::exception& err) {
    return path + ": " + err.what();
  }
  return ApplyDocument(doc, path, cleanOut, rawOut);
}

std::string ApplyNamedPreset(const std::string& name, CleanOptions& clean, RawOptionsCli& raw) {
  const NamedPreset* preset = FindPreset(name);
  if (preset == nullptr) {
    std::string known;
    for (const NamedPreset& p : kNamedPresets) known += std::string(known.empty() ? "" : ", ") + p.name;
    return "--preset must be one of " + known + ", not \"" + name + "\"";
  }
  return ApplyDocument(toml::parse(preset->Text()), std::string("preset ") + name, clean, raw);
}

std::string PresetList() {
  std::string out;
  for (const NamedPreset& p : kNamedPresets) AppendFormat(out, "  %-8s %s\n", p.name, p.summary);
  return out;
}

std::string ApplyPresetsFromArguments(int argc, char** argv) {
  std::string path;
  std::string preset;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") break;
    if (arg == "--params" && i + 1 < argc) {
      path = argv[++i];
    } else if (arg.rfind("--params=", 0) == 0) {
      path = arg.substr(9);
    } else if (arg == "--preset" && i + 1 < argc) {
      preset = argv[++i];
    } else if (arg.rfind("--preset=", 0) == 0) {
      preset = arg.substr(9);
    }
  }
  CleanOptions& clean = CleanCommandOptions();
  // The preset first, then the file over it; the command line comes last.
  if (!preset.empty()) {
    if (std::string problem = ApplyNamedPreset(preset, clean, CleanRawOptions()); !problem.empty())
      return problem;
  }
  if (path.empty()) return {};
  // One file serves both commands: the raw section applies to convert and clean.
  std::string problem = LoadPresets(path, clean, CleanRawOptions());
  if (problem.empty()) {
    CleanOptions scratch = clean;
    problem = LoadPresets(path, scratch, ConvertRawOptions());
  }
  return problem;
}

void AddParamsOption(CLI::App* cmd) {
  static std::string ignored;  // read before parsing, by ApplyPresetsFromArguments
  cmd->add_option("--params", ignored,
                  "Read the parameters from this TOML file first (see `orvane params`); "
                  "options given here override it")
      ->group("Presets");
}

void AddPresetOption(CLI::App* cmd) {
  static std::string ignored;  // read before parsing, by ApplyPresetsFromArguments
  std::vector<std::string> names;
  for (const NamedPreset& p : kNamedPresets) names.emplace_back(p.name);
  cmd->add_option("--preset", ignored,
                  "Start from the built-in settings for a kind of data (a --params file and "
                  "options given here override them):\n" +
                      PresetList())
      ->check(CLI::IsMember(names))
      ->group("Presets");
}

void AddParamsCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand(
      "params", "Print the cleaning parameters as a commented TOML presets file");
  AddParamsOption(cmd);
  AddPresetOption(cmd);
  static bool listPresets = false;
  cmd->add_flag("--list-presets", listPresets, "List the built-in presets, one a line")
      ->group("Presets");
  cmd->footer(
      "\nPrints every parameter of `orvane clean` and of the raw conversions with its meaning,\n"
      "unit and allowed values: the defaults, or those of --params FILE after its checks.\n"
      "\nExamples:\n"
      "  orvane params > my-lab.toml                   start a presets file from the defaults\n"
      "  orvane params --preset lowres > ion-trap.toml start one from a built-in preset\n"
      "  orvane clean --params my-lab.toml -o out/ run.mgf\n"
      "  orvane params --params my-lab.toml            check a presets file and show it whole\n");
  cmd->callback([] {
    if (listPresets) {
      for (const NamedPreset& p : kNamedPresets) std::printf("%s\t%s\n", p.name, p.summary);
      SetExitCode(0);
      return;
    }
    std::fputs(RenderPresets(CleanCommandOptions(), CleanRawOptions()).c_str(), stdout);
    SetExitCode(0);
  });
}

}  // namespace orvane::app
