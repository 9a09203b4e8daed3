// The signal-processing component: CTonalith behind ITonalith, its class
// factory, and its entry in the process's class registry.
//
// Every operation is stateless. The object holds nothing but its reference
// count, so objects may be used from several threads at once (the transforms
// share their plans process-wide; see fft.h). Each operation checks its
// arguments, does its work into locals, and only then fills the outputs; on
// any failure the outputs are left empty and a negative status comes back.
// No exception leaves the component.
#include <atomic>
#include <exception>
#include <new>
#include <stdexcept>

#include "platform/class_factory.h"
#include "platform/class_registry.h"
#include "tonalith/dsp.h"
#include "tonalith/itonalith.h"

namespace orvane {
namespace {

// Runs `work`, turning exceptions into statuses; on failure `clear` empties
// the outputs.
template <class Work, class Clear>
HRESULT Guarded(Work work, Clear clear) noexcept {
  HRESULT hr = E_UNEXPECTED;
  try {
    hr = work();
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  } catch (const std::length_error&) {
    hr = E_OUTOFMEMORY;
  } catch (const std::exception&) {
    hr = E_FAIL;
  } catch (...) {
    hr = E_UNEXPECTED;
  }
  if (FAILED(hr)) clear();
  return hr;
}

class CTonalith final : public SingleInterfaceObject<ITonalith, IID_ITonalith> {
 public:
  CTonalith() : SingleInterfaceObject(0) {}

  // ITonalith
  HRESULT ApplyFilter(const std::vector<double>& vFilterB, const std::vector<double>& vFilterA,
                      const std::vector<double>& vX, int nInitial,
                      std::vector<double>& vY) override {
    return Guarded(
        [&] {
          // Only the absent initial state (0) is known: the filter starts at rest.
          if (nInitial != 0) return E_INVALIDARG;
          return tonalith::FilterDirect(vFilterB, vFilterA, vX, vY);
        },
        [&] { vY.clear(); });
  }

  HRESULT Statistics(const std::vector<double>& vX, double* pdFirst, double* pdSecond) override {
    if (pdFirst == nullptr || pdSecond == nullptr) return E_POINTER;
    tonalith::MeanAndDeviation(vX, pdFirst, pdSecond);
    return S_OK;
  }

  HRESULT Fft(const std::vector<double>& vX, int nLength, std::vector<double>& vSpectrum) override {
    return Guarded([&] { return tonalith::Transform(vX, nLength, vSpectrum); },
                   [&] { vSpectrum.clear(); });
  }

  HRESULT PowerSpectrum(const std::vector<double>& vSpectrum, std::vector<double>& vPower,
                        double* pdOverall) override {
    return Guarded([&] { return tonalith::Power(vSpectrum, vPower, pdOverall); },
                   [&] { vPower.clear(); });
  }

  HRESULT MedianFilter(const std::vector<double>& vX, int nLength, int nWidth,
                       std::vector<double>& vY, double* pdIgnored) override {
    if (pdIgnored != nullptr) *pdIgnored = 0.0;
    return Guarded([&] { return tonalith::RunningMedian(vX, nLength, nWidth, vY); },
                   [&] { vY.clear(); });
  }

  HRESULT CreateYFilter(int nPoints, const std::vector<double>& vFreq,
                        const std::vector<int>& vGain, std::vector<double>& vFilterB,
                        std::vector<double>& vFilterA) override {
    return Guarded([&] { return tonalith::DesignYFilter(nPoints, vFreq, vGain, vFilterB, vFilterA); },
        [&] {
          vFilterB.clear();
          vFilterA.clear();
        });
  }

  HRESULT BandStop(int nFrequency, const std::vector<double>& vX,
                   std::vector<double>& vY) override {
    return Guarded([&] { return tonalith::BandStopFilter(nFrequency, vX, vY); }, [&] { vY.clear(); });
  }

 private:
  ~CTonalith() override = default;  // through Release only
};

// Makes a component object and answers interface iid of it.
HRESULT CreateTonalith(REFIID iid, void** ppv) {
  CTonalith* object = new (std::nothrow) CTonalith;
  if (object == nullptr) return E_OUTOFMEMORY;
  // The object starts at 0; QueryInterface takes the caller's reference,
  // and an unknown interface leaves it to go again.
  object->AddRef();
  const HRESULT hr = object->QueryInterface(iid, ppv);
  object->Release();
  return hr;
}

}  // namespace

const CLSID& TonalithClsid() {
  static const CLSID clsid = GUID::FromString("{3F1C2B7A-8D4E-4B6F-9A21-5C7E0D9B4A13}");
  return clsid;
}

void RegisterTonalith() {
  ClassRegistry& registry = ClassRegistry::Instance();
  if (registry.IsRegistered(TonalithClsid())) return;
  // The registry takes its own reference; ours goes at the end of scope.
  ComPtr<IClassFactory> factory(CClassFactory::Create(CreateTonalith));
  registry.Register(TonalithClsid(), kTonalithProgId, factory.Get());
}

}  // namespace orvane
