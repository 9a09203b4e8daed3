// The four conversions of the engine: raw to MGF, raw to DTA, DTA files to
// one MGF, and MGF to DTA files, each writing in the dialect it is given.
#pragma once

#include <list>
#include <string>

#include "platform/host_window.h"
#include "platform/hresult.h"
#include "raw/raw_options.h"
#include "raw/raw_reader.h"
#include "spectrum/dialect.h"

namespace orvane {

// Paths handed in and out, in order.
using StringList = std::list<std::string>;

HRESULT RawToMgf(const std::string& strRawFile, const std::string& strMgfFile, IRawReader* pReader,
                 RawOptions* pOptions, CEvent* pCancelEvent, CWnd* pProgressWnd, MgfDialect dialect);
HRESULT RawToDta(const std::string& strRawFile, const std::string& strOutputFolder,
                 IRawReader* pReader, RawOptions* pOptions, StringList* pAllFiles,
                 StringList* pMs2Files, StringList* pMs3Files, CEvent* pCancelEvent,
                 CWnd* pProgressWnd, MgfDialect dialect);
HRESULT DtaFolderToMgf(StringList* pFiles, const std::string& strOutputFolder, CWnd* pProgressWnd,
                       MgfDialect dialect);
// The name DtaFolderToMgf gives its file after the first DTA file.
std::string CollectedMgfName(const std::string& strFirstDta, MgfDialect dialect);
// DtaFolderToMgf into a file of the caller's ("-": standard output),
// compressed with bGzip.
HRESULT DtaFilesToMgf(StringList* pFiles, const std::string& strMgfFile, CWnd* pProgressWnd, MgfDialect dialect,
                      bool bGzip = false);
HRESULT MgfToDta(const std::string& strMgfFile, const std::string& strOutputFolder,
                 CWnd* pProgressWnd, MgfDialect dialect);

}  // namespace orvane
