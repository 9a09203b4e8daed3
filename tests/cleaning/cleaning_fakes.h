// Stand-ins for the engine's interfaces and the signal-processing component,
// so the pipeline and the drivers can be tested stage by stage: each
// operation is a replaceable function, every call is recorded, and the
// references taken are counted.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "analysis/clusters.h"
#include "analysis/isotope_templates.h"
#include "cleaning/run_state.h"
#include "frame/interfaces.h"
#include "platform/class_registry.h"
#include "platform/text_file.h"
#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "spectrum/mgf_file.h"
#include "tonalith/itonalith.h"

namespace orvane::test {

// The four interfaces of the engine object a cleaning run takes. Reading and
// writing go to the real file formats; the editing and analysis operations
// leave the spectrum as it is unless a test sets a function.
class FakeEngine final : public IImportMSMS,
                         public IEditMSMS,
                         public IAnalyzeMSMS,
                         public IExportMSMS {
 public:
  // Which interfaces QueryInterface answers.
  bool bAnswerImport = true, bAnswerEdit = true, bAnswerAnalyze = true, bAnswerExport = true;
  MgfDialect dialect = MgfDialect::Classic;
  int nRefs = 0;
  std::vector<std::string> calls;

  std::function<HRESULT(double, Dta*)> onMakeEquidistant;
  std::function<HRESULT(int, Dta*)> onDenseSpectrum;
  std::function<HRESULT(Dta*, double)> onMergePeaks;
  std::function<ClusterList(Dta*, Dta*, int, IsotopeTemplates*, double, ClusterList*)>
      onFindChargeClusters;
  std::function<HRESULT(Dta*, ClusterList*, IsotopeTemplates*, bool, CStdioFile*,
                        DeconvolutedPeakList*)>
      onDeconvolute;
  std::function<HRESULT(CStdioFile*, Dta*)> onImportMgf;  // default: the real reader
  // Default: every spectrum holds a tag.
  std::function<HRESULT(Dta*, int, double, int, bool*)> onCheckSequenceTags;

  IUnknown* Self() { return static_cast<IImportMSMS*>(this); }
  // A run state with the four interfaces of this object and pTonalith.
  RunState State(ITonalith* pTonalith) {
    RunState s;
    s.pImportMSMS = this;
    s.pEditMSMS = this;
    s.pAnalyzeMSMS = this;
    s.pExportMSMS = this;
    s.pTonalith = pTonalith;
    return s;
  }

  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    *ppv = nullptr;
    if (iid == IID_IUnknown || (iid == IID_IImportMSMS && bAnswerImport))
      *ppv = static_cast<IImportMSMS*>(this);
    else if (iid == IID_IEditMSMS && bAnswerEdit) *ppv = static_cast<IEditMSMS*>(this);
    else if (iid == IID_IAnalyzeMSMS && bAnswerAnalyze) *ppv = static_cast<IAnalyzeMSMS*>(this);
    else if (iid == IID_IExportMSMS && bAnswerExport) *ppv = static_cast<IExportMSMS*>(this);
    if (*ppv == nullptr) return E_NOINTERFACE;
    ++nRefs;
    return S_OK;
  }
  std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++nRefs); }
  std::uint32_t Release() override { return static_cast<std::uint32_t>(--nRefs); }

  HRESULT ImportDta(const char* pszPath, Dta* pDta) override {
    calls.push_back("ImportDta");
    return orvane::ImportDta(pszPath, pDta);
  }
  HRESULT ImportMgf(CStdioFile* pFile, Dta* pDta) override {
    if (onImportMgf) return onImportMgf(pFile, pDta);
    return orvane::ImportMgf(pFile, pDta, dialect);
  }
  HRESULT ReservedImport1(std::int32_t) override { return E_NOTIMPL; }
  HRESULT ReservedImport2(std::int32_t) override { return E_NOTIMPL; }

  HRESULT ExportDta(const char* pszPath, Dta* pDta, std::int32_t) override {
    calls.push_back(std::string("ExportDta ") + pszPath);
    return orvane::ExportDta(pszPath, pDta);
  }
  HRESULT ExportMgf(CStdioFile* pFile, Dta* pDta, std::int32_t, std::string strComment) override {
    return orvane::ExportMgf(pFile, pDta, strComment, dialect);
  }

  HRESULT MakeEquidistant(double dStep, Dta* pDta) override {
    calls.push_back("MakeEquidistant");
    return onMakeEquidistant ? onMakeEquidistant(dStep, pDta) : S_OK;
  }
  HRESULT DenseSpectrum(int nCharge, Dta* pDta) override {
    calls.push_back("DenseSpectrum " + std::to_string(nCharge));
    return onDenseSpectrum ? onDenseSpectrum(nCharge, pDta) : S_OK;
  }
  HRESULT MergeClosestPeaks(Dta*, double) override { return E_NOTIMPL; }
  HRESULT MergePeaks(Dta* pDta, double dSpacing) override {
    calls.push_back("MergePeaks");
    return onMergePeaks ? onMergePeaks(pDta, dSpacing) : S_OK;
  }
  HRESULT Deconvolute(Dta* pDense, ClusterList* pClusters, IsotopeTemplates* pTemplates,
                      bool bWriteLog, CStdioFile* pLogFile, DeconvolutedPeakList* pPeaks) override {
    calls.push_back("Deconvolute " + std::to_string(pTemplates->GetCharge()));
    return onDeconvolute ? onDeconvolute(pDense, pClusters, pTemplates, bWriteLog, pLogFile, pPeaks)
                         : S_OK;
  }

  ClusterList FindChargeClusters(Dta* pWork, Dta* pDense, int nCharge, IsotopeTemplates* pTemplates,
                                 double dThreshold, ClusterList* pKnown) override {
    calls.push_back("FindChargeClusters " + std::to_string(nCharge));
    return onFindChargeClusters
               ? onFindChargeClusters(pWork, pDense, nCharge, pTemplates, dThreshold, pKnown)
               : ClusterList{};
  }
  HRESULT CheckSequenceTags(Dta* pDta, int nTagLength, double dTolerance, int nLadderIntensity,
                            bool* pbHasTag) override {
    calls.push_back("CheckSequenceTags");
    if (onCheckSequenceTags) return onCheckSequenceTags(pDta, nTagLength, dTolerance, nLadderIntensity, pbHasTag);
    *pbHasTag = true;
    return S_OK;
  }
  HRESULT ReservedAnalyze(std::int32_t, std::int32_t) override { return E_NOTIMPL; }
};

// The signal-processing component: only BandStop does something (a test's
// function); the other operations fail.
class FakeTonalith final : public ITonalith {
 public:
  static inline int nLive = 0;     // objects alive
  static inline int nCreated = 0;  // objects made since the last reset
  bool bAnswerTonalith = true;
  bool bHeap = false;  // made by the factory: goes with its last reference
  int nRefs = 0;
  std::function<HRESULT(int, const std::vector<double>&, std::vector<double>&)> onBandStop;

  FakeTonalith() { ++nLive; }
  ~FakeTonalith() { --nLive; }
  FakeTonalith(const FakeTonalith&) = delete;
  FakeTonalith& operator=(const FakeTonalith&) = delete;

  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    *ppv = nullptr;
    if (iid == IID_IUnknown || (iid == IID_ITonalith && bAnswerTonalith)) {
      *ppv = static_cast<ITonalith*>(this);
      AddRef();
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++nRefs); }
  std::uint32_t Release() override {
    const int left = --nRefs;
    if (left == 0 && bHeap) delete this;
    return static_cast<std::uint32_t>(left);
  }

  HRESULT ApplyFilter(const std::vector<double>&, const std::vector<double>&,
                      const std::vector<double>&, int, std::vector<double>&) override {
    return E_NOTIMPL;
  }
  HRESULT Statistics(const std::vector<double>&, double*, double*) override { return E_NOTIMPL; }
  HRESULT Fft(const std::vector<double>&, int, std::vector<double>&) override { return E_NOTIMPL; }
  HRESULT PowerSpectrum(const std::vector<double>&, std::vector<double>&, double*) override {
    return E_NOTIMPL;
  }
  HRESULT MedianFilter(const std::vector<double>&, int, int, std::vector<double>&,
                       double*) override {
    return E_NOTIMPL;
  }
  HRESULT CreateYFilter(int, const std::vector<double>&, const std::vector<int>&,
                        std::vector<double>&, std::vector<double>&) override {
    return E_NOTIMPL;
  }
  HRESULT BandStop(int nFrequency, const std::vector<double>& vX, std::vector<double>& vY) override {
    return onBandStop ? onBandStop(nFrequency, vX, vY) : E_NOTIMPL;
  }
};

// Makes FakeTonalith objects; bAnswerTonalith is handed to each.
class FakeTonalithFactory final : public IClassFactory {
 public:
  bool bAnswerTonalith = true;
  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    *ppv = nullptr;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      *ppv = static_cast<IClassFactory*>(this);
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 2; }
  std::uint32_t Release() override { return 1; }
  HRESULT CreateInstance(IUnknown* pOuter, REFIID iid, void** ppv) override {
    if (pOuter != nullptr) return CLASS_E_NOAGGREGATION;
    auto* object = new FakeTonalith;
    object->bHeap = true;
    object->bAnswerTonalith = bAnswerTonalith;
    ++FakeTonalith::nCreated;
    object->AddRef();
    const HRESULT hr = object->QueryInterface(iid, ppv);
    object->Release();
    return hr;
  }
  HRESULT LockServer(bool) override { return S_OK; }
};

// Puts a factory (or none) under the component's name for the life of the
// object and restores what was registered before.
class ScopedTonalithClass {
 public:
  explicit ScopedTonalithClass(IClassFactory* pFactory) {
    ClassRegistry::Instance().GetClassObject(TonalithClsid(), IID_IClassFactory,
                                             reinterpret_cast<void**>(&previous_));
    if (pFactory) ClassRegistry::Instance().Register(TonalithClsid(), kTonalithProgId, pFactory);
    else ClassRegistry::Instance().Unregister(TonalithClsid());
  }
  ~ScopedTonalithClass() {
    if (previous_) {
      ClassRegistry::Instance().Register(TonalithClsid(), kTonalithProgId, previous_);
      previous_->Release();
    } else {
      ClassRegistry::Instance().Unregister(TonalithClsid());
    }
  }
  ScopedTonalithClass(const ScopedTonalithClass&) = delete;
  ScopedTonalithClass& operator=(const ScopedTonalithClass&) = delete;

 private:
  IClassFactory* previous_ = nullptr;
};

}  // namespace orvane::test
