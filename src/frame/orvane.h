// The engine object: one reference count, one interface table, and the
// operations of the seven interfaces, each forwarded to the function of the
// subsystem that does the work, with the object's dialect.
#pragma once

#include <atomic>
#include <cstdint>

#include "frame/interfaces.h"

namespace orvane {

class COrvane {
 public:
  // Makes an object and answers interface iid of it (the object goes again if
  // it has no such interface).
  static HRESULT CreateInstance(REFIID iid, void** ppv);
  // Number of engine objects alive in the process.
  static long ObjectCount();

  COrvane(const COrvane&) = delete;
  COrvane& operator=(const COrvane&) = delete;

 private:
  COrvane();
  ~COrvane();

  HRESULT InternalQueryInterface(REFIID iid, void** ppv);
  std::uint32_t InternalAddRef();
  std::uint32_t InternalRelease();

#define ORVANE_UNKNOWN_FORWARDS                                                      \
  HRESULT QueryInterface(REFIID iid, void** ppv) override {                        \
    return m_pThis->InternalQueryInterface(iid, ppv);                              \
  }                                                                                \
  std::uint32_t AddRef() override { return m_pThis->InternalAddRef(); }            \
  std::uint32_t Release() override { return m_pThis->InternalRelease(); }          \
  COrvane* m_pThis = nullptr

  class XDispatch final : public IOrvane {
   public:
    ORVANE_UNKNOWN_FORWARDS;
  };

  class XImportMSMS final : public IImportMSMS {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT ImportDta(const char* pszPath, Dta* pDta) override;
    HRESULT ImportMgf(CStdioFile* pFile, Dta* pDta) override;
    HRESULT ReservedImport1(std::int32_t) override { return E_NOTIMPL; }
    HRESULT ReservedImport2(std::int32_t) override { return E_NOTIMPL; }
  };

  class XConvertMSMS final : public IConvertMSMS {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT RawToMgf(std::string strRawFile, std::string strMgfFile, IRawReader* pReader,
                     RawOptions* pOptions, CEvent* pCancelEvent, CWnd* pProgressWnd) override;
    HRESULT RawToDta(std::string strRawFile, std::string strOutputFolder, IRawReader* pReader,
                     RawOptions* pOptions, StringList* pAllFiles, StringList* pMs2Files,
                     StringList* pMs3Files, CEvent* pCancelEvent, CWnd* pProgressWnd) override;
    HRESULT DtaFolderToMgf(StringList* pFiles, std::string strOutputFolder,
                           std::int32_t nReserved, CWnd* pProgressWnd) override;
    HRESULT MgfToDta(std::string strMgfFile, std::string strOutputFolder, std::int32_t nReserved,
                     CWnd* pProgressWnd) override;
    HRESULT GetVersion(long* pnVersion) override;
  };

  class XExportMSMS final : public IExportMSMS {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT ExportDta(const char* pszPath, Dta* pDta, std::int32_t nReserved) override;
    HRESULT ExportMgf(CStdioFile* pFile, Dta* pDta, std::int32_t nReserved,
                      std::string strComment) override;
  };

  class XShowMSMS final : public IShowMSMS {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT ReservedShow(std::int32_t) override { return E_NOTIMPL; }
  };

  class XEditMSMS final : public IEditMSMS {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT MakeEquidistant(double dStep, Dta* pDta) override;
    HRESULT DenseSpectrum(int nCharge, Dta* pDta) override;
    HRESULT MergeClosestPeaks(Dta* pDta, double dSpacing) override;
    HRESULT MergePeaks(Dta* pDta, double dSpacing) override;
    HRESULT Deconvolute(Dta* pDense, ClusterList* pClusters, IsotopeTemplates* pTemplates,
                        bool bWriteLog, CStdioFile* pLogFile,
                        DeconvolutedPeakList* pPeaks) override;
  };

  class XCleanMSMS_Files final : public ICleanMSMS_Files {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT CleanFiles(CleanParams* pParams) override;
    HRESULT CleanDtaFiles(CleanParams* pParams) override;
    HRESULT CleanMgfFiles(CleanParams* pParams) override;
    HRESULT CleanRawFiles(CleanParams* pParams) override;
  };

  class XAnalyzeMSMS final : public IAnalyzeMSMS {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    ClusterList FindChargeClusters(Dta* pWork, Dta* pDense, int nCharge,
                                   IsotopeTemplates* pTemplates, double dThreshold,
                                   ClusterList* pKnown) override;
    HRESULT CheckSequenceTags(Dta* pDta, int nTagLength, double dTolerance, int nLadderIntensity,
                              bool* pbHasTag) override;
    HRESULT ReservedAnalyze(std::int32_t, std::int32_t) override { return E_NOTIMPL; }
  };

  class XMgfDialect final : public IMgfDialect {
   public:
    ORVANE_UNKNOWN_FORWARDS;
    HRESULT SetMgfDialect(MgfDialect dialect) override;
    HRESULT GetMgfDialect(MgfDialect* pDialect) override;
  };
#undef ORVANE_UNKNOWN_FORWARDS

  std::atomic<std::uint32_t> m_nRefs{0};
  XDispatch m_xDispatch;
  XImportMSMS m_xImportMSMS;
  XConvertMSMS m_xConvertMSMS;
  XExportMSMS m_xExportMSMS;
  XShowMSMS m_xShowMSMS;
  XEditMSMS m_xEditMSMS;
  XCleanMSMS_Files m_xCleanMSMS_Files;
  XAnalyzeMSMS m_xAnalyzeMSMS;
  XMgfDialect m_xMgfDialect;
  MgfDialect m_dialect = MgfDialect::Classic;
};

}  // namespace orvane
