#include "cleaning/run_frame.h"

#include "cleaning/run_log.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

template <class T>
void ReleaseInto(T*& p) {
  T* held = p;
  p = nullptr;
  if (held != nullptr) held->Release();
}

}  // namespace

RunFrame::~RunFrame() { Close(); }

HRESULT RunFrame::Open(const CleanParams& params) {
  state_.pImportMSMS = nullptr;
  state_.pEditMSMS = nullptr;
  state_.pAnalyzeMSMS = nullptr;
  state_.pExportMSMS = nullptr;
  state_.pTonalith = nullptr;
  if (pSelf_ == nullptr) return E_POINTER;

  if (FAILED(QueryOrNote(pSelf_, IID_IImportMSMS, kNoImportInterface, &state_.pImportMSMS)) ||
      FAILED(QueryOrNote(pSelf_, IID_IEditMSMS, kNoEditInterface, &state_.pEditMSMS)) ||
      FAILED(QueryOrNote(pSelf_, IID_IAnalyzeMSMS, kNoAnalyzeInterface, &state_.pAnalyzeMSMS)) ||
      FAILED(QueryOrNote(pSelf_, IID_IExportMSMS, kNoExportInterface, &state_.pExportMSMS))) {
    ReleaseAll();
    return E_NOINTERFACE;
  }

  // The component is made anew for every run, by name. The lookup's own
  // status doesn't matter: an unknown name leaves a class nobody registered,
  // and the creation reports that.
  CLSID clsid{};
  CLSIDFromProgID(kTonalithProgId, &clsid);
  IUnknown* pUnknown = nullptr;
  HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                reinterpret_cast<void**>(&pUnknown));
  if (FAILED(hr) || pUnknown == nullptr) {
    if (SUCCEEDED(hr)) hr = E_POINTER;
    ShowNote(Format(kNoTonalithComponent, static_cast<unsigned>(hr)));
    ReleaseAll();
    return E_UNEXPECTED;
  }
  hr = pUnknown->QueryInterface(IID_ITonalith, reinterpret_cast<void**>(&state_.pTonalith));
  pUnknown->Release();
  if (FAILED(hr) || state_.pTonalith == nullptr) {
    if (SUCCEEDED(hr)) hr = E_NOINTERFACE;
    state_.pTonalith = nullptr;
    ShowNote(Format(kNoTonalithInterface, static_cast<unsigned>(hr)));
    ReleaseAll();
    return E_NOINTERFACE;
  }

  open_ = true;
  WriteLogHead(params);
  return S_OK;
}

void RunFrame::Close() {
  if (!open_) return;
  open_ = false;
  ReleaseAll();
}

void RunFrame::ReleaseAll() {
  try {
    ReleaseInto(state_.pImportMSMS);
    ReleaseInto(state_.pEditMSMS);
    ReleaseInto(state_.pAnalyzeMSMS);
    ReleaseInto(state_.pExportMSMS);
    ReleaseInto(state_.pTonalith);
  } catch (...) {
    ShowError("Couldn't release interfaces");
  }
}

}  // namespace orvane
