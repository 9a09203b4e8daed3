#include "spectrum/mgf_file.h"

namespace orvane {

HRESULT ImportMgf(CStdioFile*, Dta*, MgfDialect) { return E_NOTIMPL; }
HRESULT ExportMgf(CStdioFile*, const Dta*, const std::string&, MgfDialect) { return E_NOTIMPL; }
unsigned CountMgfSpectra(const char*) { return 0; }

}  // namespace orvane
