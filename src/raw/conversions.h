// The four conversions of the engine: raw to MGF, raw to DTA, DTA files to
// one MGF, and MGF to DTA files. Each starts by asking pSelf, the object it
// was entered through, for the interfaces it needs.
#pragma once

#include <string>

#include "frame/interfaces.h"
#include "platform/host_window.h"
#include "raw/raw_options.h"
#include "raw/raw_reader.h"

namespace orvane {

HRESULT RawToMgf(IUnknown* pSelf, const std::string& strRawFile, const std::string& strMgfFile,
                 IRawReader* pReader, RawOptions* pOptions, CEvent* pCancelEvent,
                 CWnd* pProgressWnd);
HRESULT RawToDta(IUnknown* pSelf, const std::string& strRawFile,
                 const std::string& strOutputFolder, IRawReader* pReader, RawOptions* pOptions,
                 StringList* pAllFiles, StringList* pMs2Files, StringList* pMs3Files,
                 CEvent* pCancelEvent, CWnd* pProgressWnd);
HRESULT DtaFolderToMgf(IUnknown* pSelf, StringList* pFiles, const std::string& strOutputFolder,
                       CWnd* pProgressWnd);
HRESULT MgfToDta(IUnknown* pSelf, const std::string& strMgfFile,
                 const std::string& strOutputFolder, CWnd* pProgressWnd);

}  // namespace orvane
