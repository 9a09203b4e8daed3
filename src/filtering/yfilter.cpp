// Isotope removal by filtering. A comb of isotope peaks along the mass axis
// puts its power into narrow bands at the multiples of one frequency; the
// Y-filter stops exactly those bands. A peak that owes its intensity to the
// comb loses most of it in the filter, a peak that stands for itself keeps
// it, so comparing input and output point by point finds the isotope peaks.
#include <algorithm>

#include "filtering/deisotope_stages.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "tonalith/dsp.h"

namespace orvane::filtering {

namespace {

// A corner that falls by a rounding error below the one before it is meant
// to coincide with it (filter widths of exactly 0.1 and 1.9 produce these).
void AppendCorner(std::vector<double>& vFreq, std::vector<int>& vGain, double dFreq, int nGain) {
  if (!vFreq.empty() && dFreq < vFreq.back() && vFreq.back() - dFreq < 1e-9) dFreq = vFreq.back();
  vFreq.push_back(dFreq);
  vGain.push_back(nGain);
}

}  // namespace

void BuildNotchCorners(double dHarmonics, int nHalfSpacing, int nMedianLength,
                       double dFilterWidth, std::vector<double>& vFreq, std::vector<int>& vGain) {
  vFreq.clear();
  vGain.clear();
  const double H = static_cast<double>(nMedianLength / 2);
  const double h = static_cast<double>(nHalfSpacing);
  const double t = 0.1 * h;                 // width of the slope on each side of a notch
  const double w = dFilterWidth * h * 0.5;  // half width of a notch

  AppendCorner(vFreq, vGain, 0.0, 1);
  for (int k = 1; k < dHarmonics; ++k) {
    const double c = k * 2 * h;  // centre of notch k on the scale of vMedian
    const double lo = c - w;
    const double hi = c + w;
    AppendCorner(vFreq, vGain, (lo - t) / H, 1);
    AppendCorner(vFreq, vGain, lo / H, 0);
    if (dHarmonics - 1 > k) {
      AppendCorner(vFreq, vGain, std::min((hi - t) / H, 1.0), 0);
      AppendCorner(vFreq, vGain, std::min(hi / H, 1.0), 1);
    } else {
      // The last notch: the response stays down to the Nyquist frequency.
      AppendCorner(vFreq, vGain, 1.0, 0);
      break;
    }
  }
}

int RemoveLostPoints(double dThreshold, const std::vector<double>& vFiltered,
                     std::vector<double>& vOutIntensity) {
  int nRemoved = 0;
  const std::size_t nPoints = std::min(vOutIntensity.size(), vFiltered.size());
  for (std::size_t i = 0; i < nPoints; ++i) {
    const double x = vOutIntensity[i];
    if (!(x > 0.0)) continue;
    // A negative filter output counts as nothing left.
    const double y = vFiltered[i] > 0.0 ? vFiltered[i] : 0.0;
    if ((x - y) * 100.0 / x > dThreshold) {
      vOutIntensity[i] = 0.0;
      ++nRemoved;
    }
  }
  return nRemoved;
}

Verdict DeisotopeWithYFilter(const DeisotopeSettings& settings, double dHarmonics,
                             int nHalfSpacing, int nMedianLength, const Dta& dtaWork,
                             std::vector<double>& vOutIntensity) {
  std::vector<double> vFilterFreq;
  std::vector<int> vFilterGain;
  BuildNotchCorners(dHarmonics, nHalfSpacing, nMedianLength, settings.dDeisotopFilterWidth,
                    vFilterFreq, vFilterGain);

  std::vector<double> vFilterB;
  std::vector<double> vFilterA;
  if (FAILED(tonalith::DesignYFilter(static_cast<int>(vFilterFreq.size()), vFilterFreq, vFilterGain,
                                     vFilterB, vFilterA))) {
    if (settings.pLog != nullptr)
      *settings.pLog += "\n\t++++ ERROR +++++\n\tCouldn't create Y-filter !\n";
    else
      ShowError("Couldn't create Y-filter !\n" + dtaWork.strPath);
    return Verdict::Failed;
  }

  std::vector<double> vFiltered;
  if (FAILED(tonalith::FilterDirect(vFilterB, vFilterA, dtaWork.vIntensity, vFiltered)) ||
      vFiltered.size() < vOutIntensity.size()) {
    ShowError("Error deisotoping spectra");
    return Verdict::Failed;
  }
  const int nRemoved = RemoveLostPoints(settings.dDeisotopThreshold, vFiltered, vOutIntensity);
  if (settings.pLog != nullptr)
    *settings.pLog += Format("\t-Deisotoping algorithm removed %d peaks.\n", nRemoved);
  return Verdict::Cleaned;
}

}  // namespace orvane::filtering
