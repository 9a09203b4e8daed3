#include "settings.h"

#include <charconv>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <toml++/toml.h>
#include <variant>

#include "platform/format.h"

namespace orvane::app {
namespace {

using Field = std::variant<bool Settings::*, int Settings::*, double Settings::*, std::string Settings::*>;

// The values a number may take.
struct Range {
  enum Kind { Any, Between, AboveUpTo, AtLeast } kind = Any;
  double lo = 0.0;
  double hi = 0.0;
};
constexpr Range Between(double lo, double hi) { return {Range::Between, lo, hi}; }
constexpr Range AboveUpTo(double lo, double hi) { return {Range::AboveUpTo, lo, hi}; }
constexpr Range AtLeast(double lo) { return {Range::AtLeast, lo, 0.0}; }

constexpr const char* kIsotopes = "De-isotoping and bad-spectrum test";
constexpr const char* kDeconv = "Deconvolution of multiply charged clusters";
constexpr const char* kNoise = "Random noise removal";
constexpr const char* kTags = "Sequence tag test";
constexpr const char* kGrid = "Peak merging and the mass grid";
constexpr const char* kOutputs = "Outputs";
constexpr const char* kRaw = "Raw files (mzML, mzXML, optionally .gz)";
constexpr const char* kRun = "Run";

// One setting. The name is the long option without its dashes and the key
// of a presets file, so the file and the command line speak the same words.
struct Row {
  const char* name;
  unsigned commands;
  const char* section;  // "clean" or "raw"; nullptr: the command line only
  const char* group;    // of the help
  Field field;
  const char* text;               // what it means: help and presets comment
  const char* unit = nullptr;     // of a number, for the presets comment
  Range range = {};
  const char* choices = nullptr;  // of a text: "a|b|c"
};

constexpr unsigned kCleaning = kClean | kParams;
constexpr unsigned kRawFiles = kClean | kConvert | kParams;

const Row kRows[] = {
    {"deisotope", kCleaning, "clean", kIsotopes, &Settings::bDeisotope,
     "Remove isotope peaks; this stage also tells bad spectra (no regular spacing) from good ones"},
    {"deisotope-threshold", kCleaning, "clean", kIsotopes, &Settings::dDeisotopThreshold,
     "Percent of its intensity a point must lose in the isotope filter to be removed", "percent",
     Between(0, 100)},
    {"deisotope-filter-width", kCleaning, "clean", kIsotopes, &Settings::dDeisotopFilterWidth,
     "Width of each notch of the isotope filter, as a share of the isotope period",
     // Outside this the notches overlap or lose their slopes.
     "share of the period", Between(0.1, 1.9)},
    {"max-periodicity", kCleaning, "clean", kIsotopes, &Settings::nMaxPeriodicity,
     "Longest period the isotope search looks at; the 1.003 spacing of singly charged fragments "
     "is 20 steps of 0.05",
     "grid steps", Between(14, 400)},
    {"median-filter", kCleaning, "clean", kIsotopes, &Settings::nMedianFilter,
     "Width of the median filter over the power spectrum", "points", Between(1, 99)},
    {"soft-bad-spectra", kCleaning, "clean", kIsotopes, &Settings::bSoftBadSpectra,
     "Soft test: fit every period and call a spectrum bad only if none fits"},
    {"deconvolute", kCleaning, "clean", kDeconv, &Settings::bDeconvolute,
     "Replace 2- and 3-fold charged isotope clusters by single singly charged peaks"},
    {"deconv-threshold", kCleaning, "clean", kDeconv, &Settings::dDeconvThreshold,
     "Least correlation of a cluster with its isotope template", "percent", Between(0, 100)},
    {"remove-noise", kCleaning, "clean", kNoise, &Settings::bRemoveNoise,
     "Delete points that a band-stop filter takes most of their intensity from"},
    {"noise-threshold", kCleaning, "clean", kNoise, &Settings::dNoiseThreshold,
     "Percent of its intensity a point must lose in the band-stop filter to be deleted", "percent",
     Between(0, 100)},
    {"band-stop", kCleaning, "clean", kNoise, &Settings::nBandStopFrequency,
     "Centre of the stop band: 0, 1, 2, 3, 4 for 0.5, 0.6, 0.7, 0.8, 0.9 of the Nyquist frequency",
     "selector", Between(0, 4)},
    {"check-seq-tags", kCleaning, "clean", kTags, &Settings::bCheckSeqTags,
     "Call a spectrum bad when no chain of amino-acid mass steps is found"},
    {"seq-tag-length", kCleaning, "clean", kTags, &Settings::nSeqTagLength,
     "Residue steps that make a tag", "steps", Between(1, 50)},
    {"mass-tolerance", kCleaning, "clean", kTags, &Settings::dMassTolerance,
     "Half width of a residue mass match", "mass units", AboveUpTo(0, 10)},
    {"seq-ladder-intensity", kCleaning, "clean", kTags, &Settings::nSeqLadderIntensity,
     "Only peaks above this intensity rank form a ladder", "percent of the peaks", Between(0, 100)},
    {"merge-peaks", kCleaning, "clean", kGrid, &Settings::bMergePeaks,
     "Keep only the strongest of peaks closer than the merge spacing"},
    {"merge-spacing", kCleaning, "clean", kGrid, &Settings::dMergeSpacing,
     "Spacing below which peaks merge", "mass units", AboveUpTo(0, 100)},
    // The resampling refuses finer steps; coarser ones than a mass unit leave
    // nothing for the isotope tests to see.
    {"equidistant-step", kCleaning, "clean", kGrid, &Settings::dEquidistantStep,
     "Step of the regular mass grid every stage works on; the isotope templates are made for 0.05",
     "mass units", Between(0.005, 1)},
    {"protect-below", kCleaning, "clean", kGrid, &Settings::dProtectBelowMz,
     "Modern dialect: peaks below this m/z pass every stage unchanged, as the reporter ions of "
     "isobaric tags must, which sit 1.003 apart below m/z 135; 0 protects nothing",
     "m/z", Between(0, 10000)},
    {"bad-spectra", kCleaning, "clean", kOutputs, &Settings::badSpectra,
     "What becomes of bad spectra: leave them in the clean output, separate them to badspectra/ "
     "as they were read, or delete them",
     nullptr, {}, "leave|separate|delete"},
    {"export-bad", kCleaning, "clean", kOutputs, &Settings::bExportBad,
     "Write bad spectra at all; false drops them whatever bad-spectra says"},
    {"merge-output", kCleaning, "clean", kOutputs, &Settings::bMergeOutput,
     "MGF inputs: write all spectra to SpectraMerged_c.mgf (or _ms2_c/_ms3_c.mgf by the input's "
     "name) instead of one output per input"},
    {"skip-cleaning", kCleaning, "clean", kOutputs, &Settings::bSkipCleaning,
     "MGF inputs: copy every spectrum of more than 2 peaks unchanged"},
    {"mgf-dialect", kCleaning | kConvert | kInfo, "clean", kOutputs, &Settings::mgfDialect,
     "How MGF files are read and written: modern keeps whole titles, header lines such as "
     "RTINSECONDS and the precursor intensity; classic knows TITLE, CHARGE and PEPMASS only",
     nullptr, {}, "classic|modern"},
    {"min-mass", kRawFiles, "raw", kRaw, &Settings::dMinMass,
     "Least singly charged precursor mass (MH+) of a spectrum written from a raw file",
     "mass units", AtLeast(0)},
    {"max-mass", kRawFiles, "raw", kRaw, &Settings::dMaxMass,
     "Largest singly charged precursor mass (MH+) written", "mass units, at least min-mass"},
    {"min-peaks", kRawFiles, "raw", kRaw, &Settings::nMinPeaks,
     "Least number of peaks of a scan; -1 chooses 0, or 1 when a threshold mode is set, since a "
     "scan the threshold rejects is left without peaks",
     "peaks", AtLeast(-1)},
    {"threshold-mode", kRawFiles, "raw", kRaw, &Settings::thresholdMode,
     "Intensity test of a scan: none, fixed (total intensity against intensity-threshold) or "
     "base-peak (against the file's largest base peak)",
     nullptr, {}, "none|fixed|base-peak"},
    {"intensity-threshold", kRawFiles, "raw", kRaw, &Settings::nIntensityThreshold,
     "Least total intensity of a scan when threshold-mode is fixed", "intensity", AtLeast(0)},
    {"split-ms-levels", kRawFiles, "raw", kRaw, &Settings::bSplitMsLevels,
     "Write MS2 and MS3 spectra to separate outputs"},
    {"convert-to", kCleaning, "raw", kRaw, &Settings::convertTo,
     "What `orvane clean` converts raw inputs to before cleaning: mgf or dta", nullptr, {}, "mgf|dta"},
    {"keep-converted", kClean, nullptr, kRaw, &Settings::bKeepConverted,
     "Keep the plain conversion of raw inputs in the output folder beside the cleaned files; "
     "else it is made in a temporary place and removed"},
    {"gzip", kClean | kConvert, nullptr, kOutputs, &Settings::bGzip,
     "Write MGF outputs gzip-compressed (.mgf.gz); search engines and orvane read them as they are"},
    {"r,recursive", kClean | kConvert | kInfo, nullptr, kRun, &Settings::bRecursive,
     "Take the inputs of folders given as inputs from their subfolders too"},
    {"log", kClean, nullptr, kRun, &Settings::logFile,
     "Write the run log to this file: what each stage did to each spectrum"},
    {"q,quiet", kClean | kConvert | kInfo, nullptr, kRun, &Settings::bQuiet,
     "Errors and warnings only on standard error: no progress, no summary"},
    {"v,verbose", kClean | kConvert | kInfo, nullptr, kRun, &Settings::bVerbose,
     "A line on standard error for each input as well"},
    {"j,jobs", kClean, nullptr, kRun, &Settings::nJobs,
     "Spectra cleaned at once, each on a thread of its own (0: one per core); the outputs, the "
     "log and the messages are the same bytes as with --jobs 1",
     "threads", Between(0, 256)},
};

// The long name of a row: "jobs" of "j,jobs".
std::string LongName(const Row& row) {
  const char* comma = std::strchr(row.name, ',');
  return comma != nullptr ? comma + 1 : row.name;
}

std::string Number(double value) { return Format("%g", value); }

// "a, b or c" of "a|b|c", each quoted when quote is set.
std::string ChoiceList(const char* choices, bool quote) {
  std::vector<std::string> names;
  for (const char* p = choices; *p != '\0';) {
    const char* bar = std::strchr(p, '|');
    names.emplace_back(p, bar != nullptr ? bar : p + std::strlen(p));
    p = bar != nullptr ? bar + 1 : p + std::strlen(p);
  }
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
    text += quote ? "\"" + names[i] + "\"" : names[i];
  }
  return text;
}

bool IsChoice(const char* choices, const std::string& value) {
  for (const char* p = choices; *p != '\0';) {
    const char* bar = std::strchr(p, '|');
    const std::size_t n = bar != nullptr ? static_cast<std::size_t>(bar - p) : std::strlen(p);
    if (value.size() == n && value.compare(0, n, p, n) == 0) return true;
    p = bar != nullptr ? bar + 1 : p + n;
  }
  return false;
}

// What is wrong with the value of a row, as the rest of a sentence that
// begins with its name ("must lie between 0 and 100, not 150"), or "".
std::string Problem(const Row& row, const Settings& s) {
  if (const auto* text = std::get_if<std::string Settings::*>(&row.field)) {
    const std::string& value = s.**text;
    if (row.choices == nullptr || IsChoice(row.choices, value)) return {};
    return "must be " + ChoiceList(row.choices, false) + ", not \"" + value + "\"";
  }
  double value = 0.0;
  if (const auto* d = std::get_if<double Settings::*>(&row.field)) value = s.**d;
  else if (const auto* i = std::get_if<int Settings::*>(&row.field)) value = s.**i;
  else return {};
  const Range& r = row.range;
  switch (r.kind) {
    case Range::Any:
      return {};
    case Range::Between:
      if (std::isfinite(value) && value >= r.lo && value <= r.hi) return {};
      return "must lie between " + Number(r.lo) + " and " + Number(r.hi) + ", not " + Number(value);
    case Range::AboveUpTo:
      if (std::isfinite(value) && value > r.lo && value <= r.hi) return {};
      return "must lie above " + Number(r.lo) + " and at most " + Number(r.hi) + ", not " + Number(value);
    case Range::AtLeast:
      if (std::isfinite(value) && value >= r.lo) return {};
      return "must be " + Number(r.lo) + " or more, not " + Number(value);
  }
  return {};
}

// The checks between settings: "" or the whole message.
std::string CrossProblem(const Settings& s) {
  if (!(s.dMaxMass >= s.dMinMass))
    return Format("--max-mass (%g) must not lie below --min-mass (%g)", s.dMaxMass, s.dMinMass);
  return {};
}

// The allowed values of a number, as the help shows them after its text:
// "percent, 0-100".
std::string RangeHelp(const Row& row) {
  const Range& r = row.range;
  std::string range;
  switch (r.kind) {
    case Range::Between: range = Number(r.lo) + "-" + Number(r.hi); break;
    case Range::AboveUpTo: range = "above " + Number(r.lo) + ", at most " + Number(r.hi); break;
    case Range::AtLeast: range = Number(r.lo) + " or more"; break;
    case Range::Any: return row.unit != nullptr ? row.unit : "";
  }
  return row.unit != nullptr ? std::string(row.unit) + ", " + range : range;
}

// The allowed values of a row, as the presets file shows them.
std::string Allowed(const Row& row) {
  if (std::holds_alternative<bool Settings::*>(row.field)) return "true or false";
  if (row.choices != nullptr) return ChoiceList(row.choices, true);
  std::string unit = row.unit != nullptr ? row.unit : "";
  const Range& r = row.range;
  std::string range;
  switch (r.kind) {
    case Range::Between: range = Number(r.lo) + " to " + Number(r.hi); break;
    case Range::AboveUpTo: range = "above " + Number(r.lo) + " and at most " + Number(r.hi); break;
    case Range::AtLeast: range = Number(r.lo) + " or more"; break;
    case Range::Any: break;
  }
  if (unit.empty()) return range;
  return range.empty() ? unit : unit + ", " + range;
}

// The shortest text that reads back to the same double, always with a
// decimal point so TOML takes it for a float.
std::string DoubleText(double value) {
  char buf[400];
  // Plain notation while it stays short (100000.0 rather than 1e+05).
  auto result = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
  if (result.ec != std::errc() || result.ptr - buf > 24) result = std::to_chars(buf, buf + sizeof buf, value);
  std::string text(buf, result.ptr);
  if (text.find_first_of(".eEn") == std::string::npos) text += ".0";
  return text;
}

std::string ValueText(const Row& row, const Settings& s) {
  return std::visit(
      [&s](auto member) -> std::string {
        const auto& value = s.*member;
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, bool>) {
          return value ? "true" : "false";
        } else if constexpr (std::is_same_v<T, int>) {
          return std::to_string(value);
        } else if constexpr (std::is_same_v<T, double>) {
          return DoubleText(value);
        } else {
          std::string quoted = "\"";
          for (char c : value) {
            if (c == '"' || c == '\\') quoted += '\\';
            quoted += c;
          }
          return quoted + "\"";
        }
      },
      row.field);
}

const Row* FindRow(const std::string& section, const std::string& key) {
  for (const Row& row : kRows)
    if (row.section != nullptr && section == row.section && key == LongName(row)) return &row;
  return nullptr;
}

// Sets a row's value from a presets node; "" or what is wrong with it.
std::string SetValue(const Row& row, const toml::node& node, Settings& s) {
  if (const auto* b = std::get_if<bool Settings::*>(&row.field)) {
    if (!node.is_boolean()) return "must be true or false";
    s.**b = node.as_boolean()->get();
  } else if (const auto* i = std::get_if<int Settings::*>(&row.field)) {
    if (!node.is_integer()) return "must be a whole number";
    const std::int64_t v = node.as_integer()->get();
    if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max()) return "is out of range";
    s.**i = static_cast<int>(v);
  } else if (const auto* d = std::get_if<double Settings::*>(&row.field)) {
    if (node.is_integer()) s.**d = static_cast<double>(node.as_integer()->get());
    else if (node.is_floating_point()) s.**d = node.as_floating_point()->get();
    else return "must be a number";
  } else if (const auto* t = std::get_if<std::string Settings::*>(&row.field)) {
    if (!node.is_string()) return "must be a text in double quotes";
    s.**t = node.as_string()->get();
  }
  return {};
}

std::string Located(const std::string& path, const toml::source_region& where, const std::string& key,
                    const std::string& message) {
  return Format("%s:%u: %s: %s", path.c_str(), static_cast<unsigned>(where.begin.line), key.c_str(),
                message.c_str());
}

// The values of a parsed presets document into settings; "" or one message
// naming the source, the line and the key.
std::string ApplyDocument(const toml::table& doc, const std::string& path, Settings& out) {
  Settings s = out;
  // Where each key stood, to name the line of a value that fails a check
  // between settings.
  std::vector<std::pair<const Row*, toml::source_region>> seen;
  for (const auto& [sectionKey, sectionNode] : doc) {
    const std::string section(sectionKey.str());
    if (!sectionNode.is_table())
      return Located(path, sectionNode.source(), section,
                     FindRow("clean", section) || FindRow("raw", section)
                         ? "belongs in a [clean] or [raw] section"
                         : "unknown key; the file has the sections [clean] and [raw]");
    if (section != "clean" && section != "raw")
      return Located(path, sectionNode.source(), "[" + section + "]",
                     "unknown section; the file has the sections [clean] and [raw]");
    for (const auto& [key, node] : *sectionNode.as_table()) {
      const std::string name(key.str());
      const Row* row = FindRow(section, name);
      if (row == nullptr) return Located(path, node.source(), name, "unknown key in [" + section + "]");
      std::string problem = SetValue(*row, node, s);
      if (problem.empty()) problem = Problem(*row, s);
      if (!problem.empty()) return Located(path, node.source(), name, problem);
      seen.emplace_back(row, node.source());
    }
  }
  if (const std::string problem = CrossProblem(s); !problem.empty()) {
    // Named by the key the message begins with, where the file has it.
    for (const auto& [row, where] : seen)
      if (problem.rfind("--" + LongName(*row) + " ", 0) == 0) return Located(path, where, LongName(*row), problem);
    return path + ": " + problem;
  }
  out = s;
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

}  // namespace

Settings& CommandSettings() {
  static Settings settings;
  return settings;
}

void AddSettingOptions(CLI::App* cmd, Settings* s, unsigned command) {
  for (const Row& row : kRows) {
    if ((row.commands & command) == 0) continue;
    const std::string name = row.name;
    const std::string longName = LongName(row);
    const std::string names = name.find(',') != std::string::npos
                                  ? "-" + name.substr(0, name.find(',')) + ",--" + longName
                                  : "--" + longName;
    std::string help = row.text;
    std::visit(
        [&](auto member) {
          auto& value = s->*member;
          using T = std::decay_t<decltype(value)>;
          if constexpr (std::is_same_v<T, bool>) {
            // Switches that can be set either way, as a presets file may
            // have turned them on; the help says which way they stand.
            const std::string both = name.find(',') == std::string::npos ? names + ",!--no-" + longName : names;
            cmd->add_flag(both, value, help + " (default: " + (value ? "on" : "off") + ")")->group(row.group);
          } else {
            // A text names its choices itself.
            if (const std::string range = RangeHelp(row); !range.empty()) help += " (" + range + ")";
            auto* option = cmd->add_option(names, value, help)->group(row.group);
            if constexpr (!std::is_same_v<T, std::string>) option->capture_default_str();
            else if (!value.empty()) option->capture_default_str();
          }
        },
        row.field);
  }
}

std::string CheckSettings(const Settings& s, unsigned command) {
  for (const Row& row : kRows) {
    if ((row.commands & command) == 0) continue;
    if (const std::string problem = Problem(row, s); !problem.empty())
      return "--" + LongName(row) + " " + problem;
  }
  if (s.bQuiet && s.bVerbose) return "--quiet and --verbose can't be given together";
  if (command & (kClean | kConvert)) return CrossProblem(s);
  return {};
}

void ApplyCleanSettings(const Settings& o, CleanParams& p) {
  p.bDeisotope = o.bDeisotope;
  p.dDeisotopThreshold = o.dDeisotopThreshold;
  p.dDeisotopFilterWidth = o.dDeisotopFilterWidth;
  p.nMaxPeriodicity = o.nMaxPeriodicity;
  p.nMedianFilter = o.nMedianFilter;
  p.bSoftBadSpectra = o.bSoftBadSpectra;
  p.bDeconvolute = o.bDeconvolute;
  p.dDeconvThreshold = o.dDeconvThreshold;
  p.bRemoveNoise = o.bRemoveNoise;
  p.dNoiseThreshold = o.dNoiseThreshold;
  p.nBandStopFrequency = o.nBandStopFrequency;
  p.bCheckSeqTags = o.bCheckSeqTags;
  p.nSeqTagLength = o.nSeqTagLength;
  p.dMassTolerance = o.dMassTolerance;
  p.nSeqLadderIntensity = o.nSeqLadderIntensity;
  p.bMergePeaks = o.bMergePeaks;
  p.dMergeSpacing = o.dMergeSpacing;
  p.dEquidistantStep = o.dEquidistantStep;
  p.dProtectBelowMz = o.dProtectBelowMz;
  p.nBadSpectraAction = o.badSpectra == "leave"    ? BadSpectraAction::Leave
                        : o.badSpectra == "delete" ? BadSpectraAction::Delete
                                                   : BadSpectraAction::Separate;
  p.bExportBad = o.bExportBad;
  p.bMergeOutput = o.bMergeOutput;
  p.bSkipCleaning = o.bSkipCleaning;
}

RawOptions ToRawOptions(const Settings& o) {
  RawOptions r;
  r.dMinMass = o.dMinMass;
  r.dMaxMass = o.dMaxMass;
  r.nIntensityThreshold = o.nIntensityThreshold;
  r.nThresholdMode = o.thresholdMode == "fixed"       ? ThresholdMode::Fixed
                     : o.thresholdMode == "base-peak" ? ThresholdMode::BasePeak
                                                      : ThresholdMode::None;
  r.nMinPeaks = o.nMinPeaks >= 0 ? o.nMinPeaks : r.nThresholdMode != ThresholdMode::None ? 1 : 0;
  r.nExportOption = 0;
  r.bSplitMsLevels = o.bSplitMsLevels;
  r.nConvertOption = ConvertTargetOf(o.convertTo);
  return r;
}

ConvertTarget ConvertTargetOf(const std::string& text) {
  return text == "dta" ? ConvertTarget::Dta : ConvertTarget::Mgf;
}

MgfDialect DialectOf(const Settings& s) {
  return s.mgfDialect == "classic" ? MgfDialect::Classic : MgfDialect::Modern;
}

std::string RenderPresets(const Settings& s) {
  std::string out =
      "# orvane parameters. Read with: orvane clean --params FILE ...\n"
      "# Options given on the command line override what this file says; keys left out keep\n"
      "# their defaults. Each key is the long option name of `orvane clean`.\n";
  std::string section;
  for (const Row& row : kRows) {
    if (row.section == nullptr) continue;
    if (section != row.section) {
      section = row.section;
      out += section == "clean" ? "\n[clean]\n# How spectra are cleaned and where the results go.\n"
                                : "\n[raw]\n# Raw instrument files (mzML, mzXML): which scans become spectra.\n";
    }
    AppendFormat(out, "\n# %s.\n# %s\n%s = %s\n", row.text, Allowed(row).c_str(), LongName(row).c_str(),
                 ValueText(row, s).c_str());
  }
  return out;
}

std::string LoadPresets(const std::string& path, Settings& settings) {
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    std::fclose(f);
  } else {
    return "can't read the presets file " + path + ": " + std::strerror(errno);
  }
  toml::table doc;
  try {
    doc = toml::parse_file(path);
  } catch (const toml::parse_error& err) {
    return Format("%s:%u: %s", path.c_str(), static_cast<unsigned>(err.source().begin.line),
                  std::string(err.description()).c_str());
  } catch (const std::exception& err) {
    return path + ": " + err.what();
  }
  return ApplyDocument(doc, path, settings);
}

std::string ApplyNamedPreset(const std::string& name, Settings& settings) {
  for (const NamedPreset& p : kNamedPresets)
    if (name == p.name) return ApplyDocument(toml::parse(p.Text()), "preset " + name, settings);
  std::string known;
  for (const NamedPreset& p : kNamedPresets) known += std::string(known.empty() ? "" : ", ") + p.name;
  return "--preset must be one of " + known + ", not \"" + name + "\"";
}

std::vector<std::pair<std::string, std::string>> BuiltInPresets() {
  std::vector<std::pair<std::string, std::string>> presets;
  for (const NamedPreset& p : kNamedPresets) presets.emplace_back(p.name, p.summary);
  return presets;
}

}  // namespace orvane::app
