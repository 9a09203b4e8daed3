#include "readers/filter_text.h"

#include <vector>

#include "platform/format.h"

namespace orvane::readers {
namespace {

// The precursors from the first MS/MS level down to this scan's own.
void PrecursorChain(const ScanTable& table, int index, int depth, std::vector<const Precursor*>* chain) {
  const SpectrumMeta& s = table.spectra[static_cast<std::size_t>(index)];
  const std::size_t wanted = s.nMsLevel >= 2 ? static_cast<std::size_t>(s.nMsLevel - 1) : 0;
  if (s.precursors.size() < wanted && s.nPriorIndex >= 0 && depth < 16) {
    const SpectrumMeta& prior = table.spectra[static_cast<std::size_t>(s.nPriorIndex)];
    if (prior.nMsLevel == s.nMsLevel - 1 && prior.nMsLevel >= 2) {
      PrecursorChain(table, s.nPriorIndex, depth + 1, chain);
    }
  }
  std::size_t first = s.precursors.size() > wanted ? s.precursors.size() - wanted : 0;
  for (std::size_t i = first; i < s.precursors.size(); ++i) chain->push_back(&s.precursors[i]);
}

}  // namespace

std::string BuildFilterText(const ScanTable& table, int index) {
  const SpectrumMeta& s = table.spectra[static_cast<std::size_t>(index)];
  const Instrument* ins =
      s.nInstrument >= 0 ? &table.instruments[static_cast<std::size_t>(s.nInstrument)] : nullptr;
  std::string text;
  if (ins && !ins->strAnalyzer.empty()) text += ins->strAnalyzer + " ";
  text += s.bNegative ? "-" : "+";
  text += s.bCentroid ? " c" : " p";
  if (ins && !ins->strSource.empty()) text += " " + ins->strSource;
  if (s.nMsLevel >= 2) {
    AppendFormat(text, " d Full ms%d", s.nMsLevel);
    std::vector<const Precursor*> chain;
    PrecursorChain(table, index, 0, &chain);
    for (const Precursor* p : chain) {
      AppendFormat(text, " %.4f@%s%.2f", p->dMz,
                   p->strActivation.empty() ? "cid" : p->strActivation.c_str(), p->dEnergy);
    }
  } else {
    text += " Full ms";
  }
  if (s.windowLow.bSet && s.windowHigh.bSet) {
    AppendFormat(text, " [%.2f-%.2f]", s.windowLow.dValue, s.windowHigh.dValue);
  } else if (s.lowMz.bSet && s.highMz.bSet) {
    AppendFormat(text, " [%.2f-%.2f]", s.lowMz.dValue, s.highMz.dValue);
  } else if (s.nMsLevel < 2) {
    text += " ";  // a survey scan's "ms" must be followed by a blank
  }
  return text;
}

std::string FilterText(const ScanTable& table, int index) {
  const SpectrumMeta& s = table.spectra[static_cast<std::size_t>(index)];
  if (!s.strFilter.empty()) return s.strFilter;
  return BuildFilterText(table, index);
}

}  // namespace orvane::readers
