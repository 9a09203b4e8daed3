#include "raw/conversions.h"

namespace orvane {

HRESULT RawToMgf(IUnknown*, const std::string&, const std::string&, IRawReader*, RawOptions*,
                 CEvent*, CWnd*) {
  return E_NOTIMPL;
}
HRESULT RawToDta(IUnknown*, const std::string&, const std::string&, IRawReader*, RawOptions*,
                 StringList*, StringList*, StringList*, CEvent*, CWnd*) {
  return E_NOTIMPL;
}

}  // namespace orvane
