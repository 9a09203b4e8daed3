// The engine's component interfaces and their identifiers.
//
// One creatable class, Orvane ("OrvaneProject.Orvane"), exposes an empty
// primary interface and seven custom interfaces that group the operations.
// Every interface starts with the three IUnknown operations; the operations
// below stand in their binding order. Records cross by pointer: a host is
// compiled against the same headers as the engine.
#pragma once

#include <cstdint>
#include <string>

#include "analysis/clusters.h"
#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/unknown.h"
#include "raw/conversions.h"
#include "spectrum/dialect.h"

namespace orvane {

class Dta;
class CStdioFile;
struct CleanParams;
class IsotopeTemplates;

// Class and interfaces.
inline const CLSID CLSID_Orvane = GUID::FromString("{97229A5C-2B05-419F-B18B-8EE7B780C371}");
inline constexpr const char* kOrvaneProgId = "OrvaneProject.Orvane";
inline const IID IID_IOrvane = GUID::FromString("{6B71342D-2076-40B0-A0CA-72290ECA9511}");
inline const IID IID_IImportMSMS = GUID::FromString("{F9DE3250-3FA6-4E2E-9271-F5C7ED5EA9B5}");
inline const IID IID_IConvertMSMS = GUID::FromString("{F70D34E4-251B-4022-A1FB-3674C62EA558}");
inline const IID IID_IExportMSMS = GUID::FromString("{A84FFAC1-DF09-4B01-B7B3-5645E0FC1AAE}");
inline const IID IID_IShowMSMS = GUID::FromString("{18D58D95-CFC4-40A5-AF2D-495659E53D24}");
inline const IID IID_IEditMSMS = GUID::FromString("{A4383B4B-3D25-497D-9434-CCA45E401295}");
inline const IID IID_ICleanMSMS_Files = GUID::FromString("{AF02991A-49FB-4FCF-B828-253C5F586DAA}");
inline const IID IID_IAnalyzeMSMS = GUID::FromString("{2E6F12B3-C290-4ADA-AD62-105315445CD0}");

// The type library. Its two type GUIDs are not identities the object answers to.
inline const GUID LIBID_OrvaneProject = GUID::FromString("{CD6F06E1-47BB-42F0-A244-7105FE4A8A75}");
inline const GUID TYPELIB_IOrvane = GUID::FromString("{297448F0-BF6C-482A-B859-65ED46D6D5A6}");
inline const GUID TYPELIB_Orvane = GUID::FromString("{D5E74DA8-498E-4445-A56B-EDDBEE41CC39}");

// Our own small interface for the MGF dialect option of the object; not one
// of the seven.
inline const IID IID_IMgfDialect = GUID::FromString("{5E0B7A31-6C2D-4F8A-9B1E-0D4C3A2F8E61}");

constexpr long kOrvaneVersion = 2411;

// The primary interface: no members of its own.
class IOrvane : public IUnknown {
 protected:
  ~IOrvane() = default;
};

class IImportMSMS : public IUnknown {
 public:
  virtual HRESULT ImportDta(const char* pszPath, Dta* pDta) = 0;
  virtual HRESULT ImportMgf(CStdioFile* pFile, Dta* pDta) = 0;
  virtual HRESULT ReservedImport1(std::int32_t nReserved) = 0;
  virtual HRESULT ReservedImport2(std::int32_t nReserved) = 0;

 protected:
  ~IImportMSMS() = default;
};

class IConvertMSMS : public IUnknown {
 public:
  virtual HRESULT RawToMgf(std::string strRawFile, std::string strMgfFile, IRawReader* pReader,
                           RawOptions* pOptions, CEvent* pCancelEvent, CWnd* pProgressWnd) = 0;
  virtual HRESULT RawToDta(std::string strRawFile, std::string strOutputFolder, IRawReader* pReader,
                           RawOptions* pOptions, StringList* pAllFiles, StringList* pMs2Files,
                           StringList* pMs3Files, CEvent* pCancelEvent, CWnd* pProgressWnd) = 0;
  virtual HRESULT DtaFolderToMgf(StringList* pFiles, std::string strOutputFolder,
                                 std::int32_t nReserved, CWnd* pProgressWnd) = 0;
  virtual HRESULT MgfToDta(std::string strMgfFile, std::string strOutputFolder,
                           std::int32_t nReserved, CWnd* pProgressWnd) = 0;
  virtual HRESULT GetVersion(long* pnVersion) = 0;

 protected:
  ~IConvertMSMS() = default;
};

class IExportMSMS : public IUnknown {
 public:
  virtual HRESULT ExportDta(const char* pszPath, Dta* pDta, std::int32_t nReserved) = 0;
  virtual HRESULT ExportMgf(CStdioFile* pFile, Dta* pDta, std::int32_t nReserved,
                            std::string strComment) = 0;

 protected:
  ~IExportMSMS() = default;
};

class IShowMSMS : public IUnknown {
 public:
  virtual HRESULT ReservedShow(std::int32_t nReserved) = 0;

 protected:
  ~IShowMSMS() = default;
};

class IEditMSMS : public IUnknown {
 public:
  virtual HRESULT MakeEquidistant(double dStep, Dta* pDta) = 0;
  virtual HRESULT DenseSpectrum(int nCharge, Dta* pDta) = 0;
  virtual HRESULT MergeClosestPeaks(Dta* pDta, double dSpacing) = 0;
  virtual HRESULT MergePeaks(Dta* pDta, double dSpacing) = 0;
  virtual HRESULT Deconvolute(Dta* pDense, ClusterList* pClusters, IsotopeTemplates* pTemplates,
                              bool bWriteLog, CStdioFile* pLogFile,
                              DeconvolutedPeakList* pPeaks) = 0;

 protected:
  ~IEditMSMS() = default;
};

class ICleanMSMS_Files : public IUnknown {
 public:
  virtual HRESULT CleanFiles(CleanParams* pParams) = 0;
  virtual HRESULT CleanDtaFiles(CleanParams* pParams) = 0;
  virtual HRESULT CleanMgfFiles(CleanParams* pParams) = 0;
  virtual HRESULT CleanRawFiles(CleanParams* pParams) = 0;

 protected:
  ~ICleanMSMS_Files() = default;
};

class IAnalyzeMSMS : public IUnknown {
 public:
  // The one operation without a status: the clusters of this call, by value.
  virtual ClusterList FindChargeClusters(Dta* pWork, Dta* pDense, int nCharge,
                                         IsotopeTemplates* pTemplates, double dThreshold,
                                         ClusterList* pKnown) = 0;
  virtual HRESULT CheckSequenceTags(Dta* pDta, int nTagLength, double dTolerance,
                                    int nLadderIntensity, bool* pbHasTag) = 0;
  virtual HRESULT ReservedAnalyze(std::int32_t nReserved1, std::int32_t nReserved2) = 0;

 protected:
  ~IAnalyzeMSMS() = default;
};

class IMgfDialect : public IUnknown {
 public:
  virtual HRESULT SetMgfDialect(MgfDialect dialect) = 0;
  virtual HRESULT GetMgfDialect(MgfDialect* pDialect) = 0;

 protected:
  ~IMgfDialect() = default;
};

}  // namespace orvane

