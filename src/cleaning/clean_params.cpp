#include "cleaning/clean_params.h"

#include <string>

#include "platform/format.h"

namespace orvane {
namespace {

// Longest text of one value, and of one whole line, that the dump writes.
constexpr std::size_t kMaxValueText = 63;
constexpr std::size_t kMaxLineText = 2047;

std::string Bool(bool value) { return value ? "true" : "false"; }

std::string Fixed2(double value) {
  std::string text = Format("%.2f", value);
  if (text.size() > kMaxValueText) text.resize(kMaxValueText);
  return text;
}

std::string Integer(std::int32_t value) { return Format("%d", value); }

std::string ActionName(BadSpectraAction action) {
  switch (action) {
    case BadSpectraAction::Leave: return "leave";
    case BadSpectraAction::Separate: return "separate";
    case BadSpectraAction::Delete: return "delete";
  }
  return "<undefined>";
}

std::string BandStopFrequency(std::int32_t selector) {
  static const char* const kValues[] = {"0.5", "0.6", "0.7", "0.8", "0.9"};
  if (selector < 0 || selector > 4) return "<undefined>";
  return kValues[selector];
}

void WriteLine(std::string& log, const char* label, const std::string& value) {
  std::string line = Format("%35s = %s\n", label, value.c_str());
  if (line.size() > kMaxLineText) line.resize(kMaxLineText);
  log += line;
}

}  // namespace

std::string ParamsDump(const CleanParams& params) {
  std::string log = "\nRuntime Parameters:\n\n";
  // The order of the dump is the order a reader of the log wants, not the
  // order of the fields.
  WriteLine(log, "multi-charge deconvolution", Bool(params.bDeconvolute));
  WriteLine(log, "deconvolution threshold", Fixed2(params.dDeconvThreshold));
  WriteLine(log, "de-isotoping", Bool(params.bDeisotope));
  WriteLine(log, "de-isotop filter width", Fixed2(params.dDeisotopFilterWidth));
  WriteLine(log, "de-isotop threshold", Fixed2(params.dDeisotopThreshold));
  WriteLine(log, "random noise removal", Bool(params.bRemoveNoise));
  WriteLine(log, "random noise threshold", Fixed2(params.dNoiseThreshold));
  WriteLine(log, "check sequence tags", Bool(params.bCheckSeqTags));
  WriteLine(log, "sequence tags length", Integer(params.nSeqTagLength));
  WriteLine(log, "bad spectra: leave/delete/separate", ActionName(params.nBadSpectraAction));
  WriteLine(log, "soft bad-spectra detection", Bool(params.bSoftBadSpectra));
  WriteLine(log, "make equidistant", Fixed2(params.dEquidistantStep));
  WriteLine(log, "merge peaks", Bool(params.bMergePeaks));
  WriteLine(log, "merge peaks spacing", Fixed2(params.dMergeSpacing));
  WriteLine(log, "median filter", Integer(params.nMedianFilter));
  WriteLine(log, "max power spectrum periodicity", Integer(params.nMaxPeriodicity));
  WriteLine(log, "band stop frequency", BandStopFrequency(params.nBandStopFrequency));
  WriteLine(log, "mass tolerance", Fixed2(params.dMassTolerance));
  WriteLine(log, "sequence ladder intensity", Integer(params.nSeqLadderIntensity));
  return log;
}

}  // namespace orvane
