// The signal-processing component, as the engine sees it: seven stateless
// operations on arrays of doubles. Output arrays arrive empty and are sized by
// the component. A failure is a negative status with the outputs left empty;
// no exception crosses the interface.
#pragma once

#include <vector>

#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/unknown.h"

namespace orvane {

inline const IID IID_ITonalith = GUID::FromString("{BFA6298C-6826-4074-B353-192742659D95}");
inline constexpr const char* kTonalithProgId = "Tonalith.TonalithObj";

class ITonalith : public IUnknown {
 public:
  // Causal recursive filter b/a over vX (zero initial state); one output per input.
  virtual HRESULT ApplyFilter(const std::vector<double>& vFilterB,
                              const std::vector<double>& vFilterA, const std::vector<double>& vX,
                              int nInitial, std::vector<double>& vY) = 0;
  // First: sample standard deviation; second: mean.
  virtual HRESULT Statistics(const std::vector<double>& vX, double* pdFirst,
                             double* pdSecond) = 0;
  // Transform of nLength real values (a power of two, at least 2).
  virtual HRESULT Fft(const std::vector<double>& vX, int nLength,
                      std::vector<double>& vSpectrum) = 0;
  // |X[k]|^2 / N for the N bins; *pdOverall = sum of them / N.
  virtual HRESULT PowerSpectrum(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
                                double* pdOverall) = 0;
  // Centred running median of nWidth values, ends padded with zeros.
  virtual HRESULT MedianFilter(const std::vector<double>& vX, int nLength, int nWidth,
                               std::vector<double>& vY, double* pdIgnored) = 0;
  // Yule-Walker IIR design of order nPoints from a piecewise-linear magnitude.
  virtual HRESULT CreateYFilter(int nPoints, const std::vector<double>& vFreq,
                                const std::vector<int>& vGain, std::vector<double>& vFilterB,
                                std::vector<double>& vFilterA) = 0;
  // Butterworth band-stop centred at 0.5 ... 0.9 of Nyquist for selector 0 ... 4.
  virtual HRESULT BandStop(int nFrequency, const std::vector<double>& vX,
                           std::vector<double>& vY) = 0;

 protected:
  ~ITonalith() = default;
};

// Enters the component in the process's class registry under its name.
// Idempotent.
void RegisterTonalith();
// The class identifier it is registered under.
const CLSID& TonalithClsid();

}  // namespace orvane
