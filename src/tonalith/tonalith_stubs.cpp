#include "tonalith/itonalith.h"

namespace orvane {

const CLSID& TonalithClsid() {
  static const CLSID clsid = GUID::FromString("{3F1C2B7A-8D4E-4B6F-9A21-5C7E0D9B4A13}");
  return clsid;
}
void RegisterTonalith() {}

}  // namespace orvane
