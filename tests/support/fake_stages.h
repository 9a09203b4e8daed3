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

// Every operation records its call and answers from its script. By default
// the transform hands its input on unchanged, the power spectrum hands that
// on too (so vPower equals the padded intensities), the median filter copies
// and the design gives a pass-through filter.
class FakeTonalith final : public ITonalith {
 public:
  HRESULT QueryInterface(REFIID, void** ppv) override {
    *ppv = this;
    return S_OK;
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

  HRESULT ApplyFilter(const std::vector<double>& vB, const std::vector<double>& vA,
                      const std::vector<double>& vX, int nInitial,
                      std::vector<double>& vY) override {
    calls.push_back("ApplyFilter");
    applyInitial = nInitial;
    (void)vB;
    (void)vA;
    if (applyStatus < 0) return applyStatus;
    vY = applyOutput ? applyOutput(vX) : vX;
    return S_OK;
  }
  HRESULT Statistics(const std::vector<double>& vX, double* pdFirst, double* pdSecond) override {
    calls.push_back("Statistics");
    statisticsInput = vX;
    statisticsSawZeroed = (*pdFirst == 0.0 && *pdSecond == 0.0);
    *pdFirst = statFirst;
    *pdSecond = statSecond;
    return statStatus;
  }
  HRESULT Fft(const std::vector<double>& vX, int nLength, std::vector<double>& vSpectrum) override {
    calls.push_back("Fft");
    fftLengths.push_back(nLength);
    fftInputs.push_back(vX);
    const std::size_t call = fftLengths.size() - 1;
    const HRESULT hr = call < fftStatus.size() ? fftStatus[call] : S_OK;
    if (hr < 0) return hr;
    vSpectrum = vX;
    return hr;
  }
  HRESULT PowerSpectrum(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
                        double* pdOverall) override {
    calls.push_back("PowerSpectrum");
    const std::size_t call = powerCalls++;
    if (call < powerStatus.size() && powerStatus[call] < 0) return powerStatus[call];
    if (call == 0) {
      vPower = firstPower.empty() ? vSpectrum : firstPower;
      *pdOverall = overall;
    } else {
      vPower = periodicity.empty() ? vSpectrum : periodicity;
      *pdOverall = 0.0;
    }
    return S_OK;
  }
  HRESULT MedianFilter(const std::vector<double>& vX, int nLength, int nWidth,
                       std::vector<double>& vY, double* pdIgnored) override {
    calls.push_back("MedianFilter");
    medianInput = vX;
    medianLength = nLength;
    medianWidth = nWidth;
    *pdIgnored = 0.0;
    if (medianEmpty) {
      vY.clear();
    } else {
      vY = median.empty() ? vX : median;
    }
    return medianStatus;
  }
  HRESULT CreateYFilter(int nPoints, const std::vector<double>& vFreq,
                        const std::vector<int>& vGain, std::vector<double>& vB,
                        std::vector<double>& vA) override {
    calls.push_back("CreateYFilter");
    designPoints = nPoints;
    designFreq = vFreq;
    designGain = vGain;
    if (designStatus < 0) return designStatus;
    vB = {1.0};
    vA = {1.0};
    return S_OK;
  }
  HRESULT BandStop(int, const std::vector<double>& vX, std::vector<double>& vY) override {
    calls.push_back("BandStop");
    vY = vX;
    return S_OK;
  }

  int Count(const std::string& name) const {
    int n = 0;
    for (const auto& c : calls) n += c == name;
    return n;
  }

  // Script.
  std::vector<HRESULT> fftStatus;
  std::vector<HRESULT> powerStatus;
  std::vector<double> firstPower;   // first power spectrum (empty: the transform's input)
  double overall = 1000.0;          // overall value of the first power spectrum
  std::vector<double> periodicity;  // second power spectrum (empty: the mirrored median)
  std::vector<double> median;       // median filter answer (empty: a copy)
  bool medianEmpty = false;
  HRESULT medianStatus = S_OK;
  double statFirst = 1.0;
  double statSecond = 1.0;
  HRESULT statStatus = S_OK;
  HRESULT designStatus = S_OK;
  HRESULT applyStatus = S_OK;
  std::function<std::vector<double>(const std::vector<double>&)> applyOutput;

  // Record.
  std::vector<std::string> calls;
  std::vector<int> fftLengths;
  std::vector<std::vector<double>> fftInputs;
  std::size_t powerCalls = 0;
  std::vector<double> medianInput;
  int medianLength = -1;
  int medianWidth = -1;
  std::vector<double> statisticsInput;
  bool statisticsSawZeroed = false;
  int designPoints = -1;
  std::vector<double> designFreq;
  std::vector<int> designGain;
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
