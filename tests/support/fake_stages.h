// Scripted stand-ins for the signal-processing component and the analysis
// interface, so the verdicts of the de-isotoping routines can be pinned on
// chosen numbers.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "analysis/clusters.h"
#include "filtering/deisotope.h"

namespace orvane::test {

// Every operation records what it was given and answers from its script. By
// default the transform hands its input on unchanged, the power spectrum
// hands that on too (so the first one equals the padded intensities), the
// median filter copies and the design gives a pass-through filter.
class FakeTonalith final : public ITonalith {
 public:
  HRESULT QueryInterface(REFIID, void** ppv) override {
    *ppv = this;
    return S_OK;
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

  HRESULT ApplyFilter(const std::vector<double>&, const std::vector<double>&,
                      const std::vector<double>& vX, int nInitial,
                      std::vector<double>& vY) override {
    applyInitial = nInitial;
    vY = applyOutput ? applyOutput(vX) : vX;
    return S_OK;
  }
  HRESULT Statistics(const std::vector<double>& vX, double* pdFirst, double* pdSecond) override {
    statisticsInput = vX;
    *pdFirst = statFirst;
    *pdSecond = statSecond;
    return S_OK;
  }
  HRESULT Fft(const std::vector<double>& vX, int nLength, std::vector<double>& vSpectrum) override {
    fftLengths.push_back(nLength);
    fftInputs.push_back(vX);
    vSpectrum = vX;
    return S_OK;
  }
  HRESULT PowerSpectrum(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
                        double* pdOverall) override {
    const bool first = powerCalls++ == 0;
    vPower = first || periodicity.empty() ? vSpectrum : periodicity;
    *pdOverall = first ? overall : 0.0;
    return S_OK;
  }
  HRESULT MedianFilter(const std::vector<double>& vX, int nLength, int nWidth,
                       std::vector<double>& vY, double* pdIgnored) override {
    medianInput = vX;
    medianLength = nLength;
    medianWidth = nWidth;
    *pdIgnored = 0.0;
    vY = median.empty() ? vX : median;
    return S_OK;
  }
  HRESULT CreateYFilter(int nPoints, const std::vector<double>& vFreq, const std::vector<int>&,
                        std::vector<double>& vB, std::vector<double>& vA) override {
    designPoints = nPoints;
    designFreq = vFreq;
    vB = {1.0};
    vA = {1.0};
    return S_OK;
  }
  HRESULT BandStop(int, const std::vector<double>& vX, std::vector<double>& vY) override {
    vY = vX;
    return S_OK;
  }

  // Script.
  double overall = 1000.0;          // overall value of the first power spectrum
  std::vector<double> periodicity;  // second power spectrum (empty: the mirrored median)
  std::vector<double> median;       // median filter answer (empty: a copy)
  double statFirst = 1.0;
  double statSecond = 1.0;
  std::function<std::vector<double>(const std::vector<double>&)> applyOutput;

  // Record.
  std::vector<int> fftLengths;
  std::vector<std::vector<double>> fftInputs;
  int powerCalls = 0;
  std::vector<double> medianInput;
  int medianLength = -1;
  int medianWidth = -1;
  std::vector<double> statisticsInput;
  int designPoints = -1;  // -1: no design asked for
  std::vector<double> designFreq;
  int applyInitial = -1;
};

// Only its address matters to the routines.
class FakeAnalyze final : public IAnalyzeMSMS {
 public:
  HRESULT QueryInterface(REFIID, void** ppv) override {
    *ppv = this;
    return S_OK;
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
  ClusterList FindChargeClusters(Dta*, Dta*, int, IsotopeTemplates*, double,
                                 ClusterList*) override {
    return {};
  }
  HRESULT CheckSequenceTags(Dta*, int, double, int, bool*) override { return E_NOTIMPL; }
  HRESULT ReservedAnalyze(std::int32_t, std::int32_t) override { return E_NOTIMPL; }
};

// A spectrum on a regular grid with the given intensities.
inline Dta GridSpectrum(const std::vector<double>& vIntensity, double dStart = 100.0,
                        double dStep = 0.05) {
  Dta dta;
  for (std::size_t i = 0; i < vIntensity.size(); ++i)
    dta.AddPeak(dStart + dStep * static_cast<double>(i), vIntensity[i]);
  dta.strPath = "/data/run.mgf";
  return dta;
}

}  // namespace orvane::test
