#include "clean_options.h"

#include <cmath>
#include <memory>
#include <type_traits>

#include "platform/format.h"

namespace orvane::app {
namespace {

std::string OnOff(bool value) { return value ? "on" : "off"; }

// "" if lo <= value <= hi, else the message naming the option.
template <class T>
std::string InRange(const char* option, T value, T lo, T hi) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isfinite(value) && value >= lo && value <= hi) return {};
    return Format("%s must lie between %g and %g, not %g", option, static_cast<double>(lo),
                  static_cast<double>(hi), static_cast<double>(value));
  } else {
    if (value >= lo && value <= hi) return {};
    return Format("%s must lie between %d and %d, not %d", option, static_cast<int>(lo),
                  static_cast<int>(hi), static_cast<int>(value));
  }
}

// Above lo (excluded) and at most hi.
std::string AboveUpTo(const char* option, double value, double lo, double hi) {
  if (std::isfinite(value) && value > lo && value <= hi) return {};
  return Format("%s must lie above %g and at most %g, not %g", option, lo, hi, value);
}

// Help without CLI11's "{false}" behind the negated form of a switch: the
// description says what the default is.
class SwitchHelpFormatter final : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* opt, bool positional) const override {
    std::string name = CLI::Formatter::make_option_name(opt, positional);
    for (auto open = name.find('{'); open != std::string::npos; open = name.find('{')) {
      const auto close = name.find('}', open);
      if (close == std::string::npos) break;
      name.erase(open, close - open + 1);
    }
    return name;
  }
};

}  // namespace

int BadSpectraAction(const std::string& name) {
  if (name == "leave") return 0;
  if (name == "separate") return 1;
  if (name == "delete") return 2;
  return -1;
}

std::string ValidateCleanOptions(const CleanOptions& o) {
  const std::string checks[] = {
      InRange("--deisotope-threshold", o.dDeisotopThreshold, 0.0, 100.0),
      // Outside this the notches of the filter overlap or lose their slopes.
      InRange("--deisotope-filter-width", o.dDeisotopFilterWidth, 0.1, 1.9),
      // The strict test looks at periods from 13 grid steps up to below this.
      InRange("--max-periodicity", o.nMaxPeriodicity, 14, 400),
      InRange("--median-filter", o.nMedianFilter, 1, 99),
      InRange("--deconv-threshold", o.dDeconvThreshold, 0.0, 100.0),
      InRange("--noise-threshold", o.dNoiseThreshold, 0.0, 100.0),
      InRange("--band-stop", o.nBandStopFrequency, 0, 4),
      InRange("--seq-tag-length", o.nSeqTagLength, 1, 50),
      AboveUpTo("--mass-tolerance", o.dMassTolerance, 0.0, 10.0),
      InRange("--seq-ladder-intensity", o.nSeqLadderIntensity, 0, 100),
      AboveUpTo("--merge-spacing", o.dMergeSpacing, 0.0, 100.0),
      // The resampling refuses finer steps; coarser ones than a mass unit
      // leave nothing for the isotope tests to see.
      InRange("--equidistant-step", o.dEquidistantStep, 0.005, 1.0),
      InRange("--protect-below", o.dProtectBelowMz, 0.0, 10000.0),
  };
  for (const std::string& problem : checks)
    if (!problem.empty()) return problem;
  if (BadSpectraAction(o.badSpectra) < 0)
    return "--bad-spectra must be leave, separate or delete, not \"" + o.badSpectra + "\"";
  if (o.nJobs > 256) return Format("--jobs must lie between 0 and 256, not %u", o.nJobs);
  if (o.mgfDialect != "classic" && o.mgfDialect != "modern")
    return "--mgf-dialect must be classic or modern, not \"" + o.mgfDialect + "\"";
  return {};
}

void ApplyCleanOptions(const CleanOptions& o, CleanParams& p) {
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
  p.nBadSpectraAction = BadSpectraAction(o.badSpectra);
  p.bExportBad = o.bExportBad;
  p.bMergeOutput = o.bMergeOutput;
  p.bSkipCleaning = o.bSkipCleaning;
}

void AddCleanOptions(CLI::App* cmd, CleanOptions* o) {
  auto formatter = std::make_shared<SwitchHelpFormatter>();
  formatter->column_width(36);
  cmd->formatter(formatter);
  // Defaults are printed from the struct, so help and behaviour can't part.
  auto flag = [&](const char* names, bool* value, const std::string& text, const char* group) {
    cmd->add_flag(names, *value, text + " (default: " + OnOff(*value) + ")")->group(group);
  };
  auto number = [&](const char* name, auto* value, const std::string& text, const char* group) {
    cmd->add_option(name, *value, text)->capture_default_str()->group(group);
  };

  const char* kIso = "De-isotoping and bad-spectrum test";
  flag("--deisotope,!--no-deisotope", &o->bDeisotope,
       "Remove isotope peaks; this stage also tells bad spectra (no regular spacing) from good ones",
       kIso);
  number("--deisotope-threshold", &o->dDeisotopThreshold,
         "Percent of its intensity a point must lose in the isotope filter to be removed (0-100)",
         kIso);
  number("--deisotope-filter-width", &o->dDeisotopFilterWidth,
         "Width of each notch of the isotope filter, as a share of the isotope period (0.1-1.9)",
         kIso);
  number("--max-periodicity", &o->nMaxPeriodicity,
         "Longest period in grid steps the isotope search looks at (14-400; the 1.003 spacing "
         "of singly charged fragments is 20 steps at 0.05)",
         kIso);
  number("--median-filter", &o->nMedianFilter,
         "Width in points of the median filter over the power spectrum (1-99)", kIso);
  flag("--soft-bad-spectra,!--no-soft-bad-spectra", &o->bSoftBadSpectra,
       "Soft test: fit every period and call a spectrum bad only if none fits", kIso);

  const char* kDeconv = "Deconvolution of multiply charged clusters";
  flag("--deconvolute,!--no-deconvolute", &o->bDeconvolute,
       "Replace 2- and 3-fold charged isotope clusters by single singly charged peaks", kDeconv);
  number("--deconv-threshold", &o->dDeconvThreshold,
         "Least correlation in percent of a cluster with its isotope template (0-100)", kDeconv);

  const char* kNoise = "Random noise removal";
  flag("--remove-noise,!--no-remove-noise", &o->bRemoveNoise,
       "Delete points that a band-stop filter takes most of their intensity from", kNoise);
  number("--noise-threshold", &o->dNoiseThreshold,
         "Percent of its intensity a point must lose in the band-stop filter to be deleted (0-100)",
         kNoise);
  number("--band-stop", &o->nBandStopFrequency,
         "Centre of the stop band: 0..4 for 0.5, 0.6, 0.7, 0.8, 0.9 of the Nyquist frequency",
         kNoise);

  const char* kTags = "Sequence tag test";
  flag("--check-seq-tags,!--no-check-seq-tags", &o->bCheckSeqTags,
       "Call a spectrum bad when no chain of amino-acid mass steps is found", kTags);
  number("--seq-tag-length", &o->nSeqTagLength, "Residue steps that make a tag (1-50)", kTags);
  number("--mass-tolerance", &o->dMassTolerance,
         "Half width of a residue mass match, in mass units (above 0, at most 10)", kTags);
  number("--seq-ladder-intensity", &o->nSeqLadderIntensity,
         "Only peaks above this intensity rank, in percent of the peaks, form a ladder (0-100)",
         kTags);

  const char* kGrid = "Peak merging and the mass grid";
  flag("--merge-peaks,!--no-merge-peaks", &o->bMergePeaks,
       "Keep only the strongest of peaks closer than the merge spacing", kGrid);
  number("--merge-spacing", &o->dMergeSpacing,
         "Spacing in mass units below which peaks merge (above 0, at most 100)", kGrid);
  number("--equidistant-step", &o->dEquidistantStep,
         "Step of the regular mass grid every stage works on (0.005-1; the isotope templates "
         "are made for 0.05)",
         kGrid);
  number("--protect-below", &o->dProtectBelowMz,
         "Modern dialect: peaks below this m/z pass every stage unchanged, such as the reporter "
         "ions of isobaric tags (0-10000; 0 protects nothing)",
         kGrid);

  const char* kOut = "Outputs";
  cmd->add_option("--bad-spectra", o->badSpectra,
                  "What becomes of bad spectra: leave (in the clean output), separate (to "
                  "DIR/badspectra/, as they were read), delete")
      ->capture_default_str()
      ->group(kOut);
  flag("--export-bad,!--no-export-bad", &o->bExportBad,
       "Write bad spectra at all; --no-export-bad drops them whatever --bad-spectra says", kOut);
  flag("--merge-output,!--no-merge-output", &o->bMergeOutput,
       "MGF inputs: write all spectra to DIR/SpectraMerged_c.mgf, or _ms2_c/_ms3_c.mgf for "
       "inputs whose name ends in ms2/ms3, instead of one output per input",
       kOut);
  flag("--skip-cleaning,!--no-skip-cleaning", &o->bSkipCleaning,
       "MGF inputs: copy every spectrum of more than 2 peaks unchanged (with --merge-output: "
       "concatenate the inputs)",
       kOut);
  cmd->add_option("--mgf-dialect", o->mgfDialect,
                  "classic: the three-tag MGF of the original engine; modern: keep full titles, "
                  "RTINSECONDS/SCANS lines and precursor intensities")
      ->capture_default_str()
      ->group(kOut);
  cmd->add_option("-o,--output", o->outputFolder,
                  "Output folder; made with its badspectra/ subfolder when needed")
      ->required()
      ->group(kOut);
  cmd->add_option("--log", o->logFile, "Write a run log to this file")->group(kOut);
  flag("-q,--quiet", &o->bQuiet, "No progress and no summary on standard error", kOut);
  cmd->add_option("-j,--jobs", o->nJobs,
                  "Engines cleaning at once, each on its own thread (0: one per core). Several "
                  "inputs go to several engines; a single large MGF file is cut between spectra "
                  "into parts. The outputs and the log are the same bytes as with --jobs 1. Raw "
                  "inputs (mzML, mzXML) always run on one engine")
      ->capture_default_str()
      ->group(kOut);
}

}  // namespace orvane::app
