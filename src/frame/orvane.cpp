#include "frame/orvane.h"

#include <new>

#include "analysis/analysis.h"
#include "cleaning/drivers.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/conversions.h"
#include "spectrum/dta_file.h"
#include "spectrum/mgf_file.h"
#include "tonalith/itonalith.h"

namespace orvane {
namespace {

std::atomic<long> g_objects{0};

constexpr const char* kNoTonalithComponent = "Couldn't create the Tonalith component. \nHRESULT = 0x%x";
constexpr const char* kNoTonalithInterface = "Couldn't obtain ITonalith interface. \nHRESULT = 0x%x";

// A cleaning run of the object opens with the signal-processing component
// made by its name, as the component's hosts know it: where the name leads
// nowhere, the run fails with the note. The stages themselves call the
// algorithms behind it directly.
HRESULT OpenSignalComponent() {
  CLSID clsid{};
  // The lookup's own status doesn't matter: an unknown name leaves a class
  // nobody registered, and the creation reports that.
  CLSIDFromProgID(kTonalithProgId, &clsid);
  ComPtr<IUnknown> pUnknown;
  HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, pUnknown.Out());
  if (FAILED(hr) || pUnknown.Get() == nullptr) {
    ShowNote(Format(kNoTonalithComponent, static_cast<unsigned>(SUCCEEDED(hr) ? E_POINTER : hr)));
    return E_UNEXPECTED;
  }
  ComPtr<ITonalith> pTonalith;
  hr = pUnknown->QueryInterface(IID_ITonalith, pTonalith.Out());
  if (FAILED(hr) || pTonalith.Get() == nullptr) {
    ShowNote(Format(kNoTonalithInterface, static_cast<unsigned>(SUCCEEDED(hr) ? E_NOINTERFACE : hr)));
    return E_NOINTERFACE;
  }
  return S_OK;
}

// A run of the object: on the host's thread, in the object's dialect.
RunOptions HostRun(MgfDialect dialect) {
  RunOptions run;
  run.dialect = dialect;
  run.nJobs = 1;
  run.openRun = OpenSignalComponent;
  return run;
}

}  // namespace

long COrvane::ObjectCount() { return g_objects.load(); }

COrvane::COrvane() {
  m_xDispatch.m_pThis = this;
  m_xImportMSMS.m_pThis = this;
  m_xConvertMSMS.m_pThis = this;
  m_xExportMSMS.m_pThis = this;
  m_xShowMSMS.m_pThis = this;
  m_xEditMSMS.m_pThis = this;
  m_xCleanMSMS_Files.m_pThis = this;
  m_xAnalyzeMSMS.m_pThis = this;
  m_xMgfDialect.m_pThis = this;
  g_objects.fetch_add(1);
}

COrvane::~COrvane() { g_objects.fetch_sub(1); }

HRESULT COrvane::CreateInstance(REFIID iid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  COrvane* object = new (std::nothrow) COrvane;
  if (object == nullptr) return E_OUTOFMEMORY;
  object->InternalAddRef();
  const HRESULT hr = object->InternalQueryInterface(iid, ppv);
  object->InternalRelease();
  return hr;
}

HRESULT COrvane::InternalQueryInterface(REFIID iid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  IUnknown* found = nullptr;
  // The interface table, in search order; IUnknown is the primary interface.
  if (iid == IID_IOrvane || iid == IID_IUnknown) found = &m_xDispatch;
  else if (iid == IID_IImportMSMS) found = &m_xImportMSMS;
  else if (iid == IID_IConvertMSMS) found = &m_xConvertMSMS;
  else if (iid == IID_IExportMSMS) found = &m_xExportMSMS;
  else if (iid == IID_IShowMSMS) found = &m_xShowMSMS;
  else if (iid == IID_IEditMSMS) found = &m_xEditMSMS;
  else if (iid == IID_ICleanMSMS_Files) found = &m_xCleanMSMS_Files;
  else if (iid == IID_IAnalyzeMSMS) found = &m_xAnalyzeMSMS;
  else if (iid == IID_IMgfDialect) found = &m_xMgfDialect;
  if (found == nullptr) {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  InternalAddRef();
  *ppv = found;
  return S_OK;
}

std::uint32_t COrvane::InternalAddRef() { return m_nRefs.fetch_add(1) + 1; }

std::uint32_t COrvane::InternalRelease() {
  const std::uint32_t left = m_nRefs.fetch_sub(1) - 1;
  if (left == 0) delete this;
  return left;
}

// IImportMSMS
HRESULT COrvane::XImportMSMS::ImportDta(const char* pszPath, Dta* pDta) {
  return orvane::ImportDta(pszPath, pDta, m_pThis->m_dialect);
}
HRESULT COrvane::XImportMSMS::ImportMgf(CStdioFile* pFile, Dta* pDta) {
  return orvane::ImportMgf(pFile, pDta, m_pThis->m_dialect);
}

// IConvertMSMS
HRESULT COrvane::XConvertMSMS::RawToMgf(std::string strRawFile, std::string strMgfFile,
                                        IRawReader* pReader, RawOptions* pOptions,
                                        CEvent* pCancelEvent, CWnd* pProgressWnd) {
  return orvane::RawToMgf(strRawFile, strMgfFile, pReader, pOptions, pCancelEvent, pProgressWnd,
                          m_pThis->m_dialect);
}
HRESULT COrvane::XConvertMSMS::RawToDta(std::string strRawFile, std::string strOutputFolder,
                                        IRawReader* pReader, RawOptions* pOptions,
                                        StringList* pAllFiles, StringList* pMs2Files,
                                        StringList* pMs3Files, CEvent* pCancelEvent,
                                        CWnd* pProgressWnd) {
  return orvane::RawToDta(strRawFile, strOutputFolder, pReader, pOptions, pAllFiles, pMs2Files,
                          pMs3Files, pCancelEvent, pProgressWnd, m_pThis->m_dialect);
}
HRESULT COrvane::XConvertMSMS::DtaFolderToMgf(StringList* pFiles, std::string strOutputFolder,
                                              std::int32_t, CWnd* pProgressWnd) {
  return orvane::DtaFolderToMgf(pFiles, strOutputFolder, pProgressWnd, m_pThis->m_dialect);
}
HRESULT COrvane::XConvertMSMS::MgfToDta(std::string strMgfFile, std::string strOutputFolder,
                                        std::int32_t, CWnd* pProgressWnd) {
  return orvane::MgfToDta(strMgfFile, strOutputFolder, pProgressWnd, m_pThis->m_dialect);
}
HRESULT COrvane::XConvertMSMS::GetVersion(long* pnVersion) {
  *pnVersion = kOrvaneVersion;
  return S_OK;
}

// IExportMSMS
HRESULT COrvane::XExportMSMS::ExportDta(const char* pszPath, Dta* pDta, std::int32_t) {
  return orvane::ExportDta(pszPath, pDta, m_pThis->m_dialect);
}
HRESULT COrvane::XExportMSMS::ExportMgf(CStdioFile* pFile, Dta* pDta, std::int32_t,
                                        std::string strComment) {
  return orvane::ExportMgf(pFile, pDta, strComment, m_pThis->m_dialect);
}

// IEditMSMS
HRESULT COrvane::XEditMSMS::MakeEquidistant(double dStep, Dta* pDta) {
  return orvane::MakeEquidistant(dStep, pDta);
}
HRESULT COrvane::XEditMSMS::DenseSpectrum(int nCharge, Dta* pDta) {
  return orvane::DenseSpectrum(nCharge, pDta);
}
HRESULT COrvane::XEditMSMS::MergeClosestPeaks(Dta* pDta, double dSpacing) {
  return orvane::MergeClosestPeaks(pDta, dSpacing);
}
HRESULT COrvane::XEditMSMS::MergePeaks(Dta* pDta, double dSpacing) {
  return orvane::MergePeaks(pDta, dSpacing);
}
HRESULT COrvane::XEditMSMS::Deconvolute(Dta* pDense, ClusterList* pClusters,
                                        IsotopeTemplates* pTemplates, bool bWriteLog,
                                        CStdioFile* pLogFile, DeconvolutedPeakList* pPeaks) {
  // The lines go to the host's log as the operation writes them.
  std::string log;
  const HRESULT hr = orvane::Deconvolute(pDense, pClusters, pTemplates,
                                         bWriteLog && pLogFile != nullptr ? &log : nullptr, pPeaks);
  if (!log.empty()) pLogFile->WriteString(log);
  return hr;
}

// ICleanMSMS_Files
HRESULT COrvane::XCleanMSMS_Files::CleanFiles(CleanParams* pParams) {
  return orvane::CleanFiles(pParams, HostRun(m_pThis->m_dialect));
}
HRESULT COrvane::XCleanMSMS_Files::CleanDtaFiles(CleanParams* pParams) {
  return orvane::CleanDtaFiles(pParams, HostRun(m_pThis->m_dialect));
}
HRESULT COrvane::XCleanMSMS_Files::CleanMgfFiles(CleanParams* pParams) {
  return orvane::CleanMgfFiles(pParams, HostRun(m_pThis->m_dialect));
}
HRESULT COrvane::XCleanMSMS_Files::CleanRawFiles(CleanParams* pParams) {
  return orvane::CleanRawFiles(pParams, HostRun(m_pThis->m_dialect));
}

// IAnalyzeMSMS
ClusterList COrvane::XAnalyzeMSMS::FindChargeClusters(Dta* pWork, Dta* pDense, int nCharge,
                                                      IsotopeTemplates* pTemplates,
                                                      double dThreshold, ClusterList* pKnown) {
  return orvane::FindChargeClusters(pWork, pDense, nCharge, pTemplates, dThreshold, pKnown);
}
HRESULT COrvane::XAnalyzeMSMS::CheckSequenceTags(Dta* pDta, int nTagLength, double dTolerance,
                                                 int nLadderIntensity, bool* pbHasTag) {
  return orvane::CheckSequenceTags(pDta, nTagLength, dTolerance, nLadderIntensity, pbHasTag);
}

// IMgfDialect
HRESULT COrvane::XMgfDialect::SetMgfDialect(MgfDialect dialect) {
  if (dialect != MgfDialect::Classic && dialect != MgfDialect::Modern) return E_INVALIDARG;
  m_pThis->m_dialect = dialect;
  return S_OK;
}
HRESULT COrvane::XMgfDialect::GetMgfDialect(MgfDialect* pDialect) {
  if (pDialect == nullptr) return E_POINTER;
  *pDialect = m_pThis->m_dialect;
  return S_OK;
}

}  // namespace orvane
