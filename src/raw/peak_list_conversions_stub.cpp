#include "raw/conversions.h"

namespace orvane {

HRESULT DtaFolderToMgf(IUnknown*, StringList*, const std::string&, CWnd*) { return E_NOTIMPL; }
HRESULT MgfToDta(IUnknown*, const std::string&, const std::string&, CWnd*) { return E_NOTIMPL; }

}  // namespace orvane
