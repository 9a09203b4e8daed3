// The loadable module: registers its classes when it is loaded, so a host
// that opens it can create the engine by name at once.
#include "frame/module.h"

namespace {
[[gnu::constructor]] void RegisterOnLoad() { orvane::RegisterOrvaneModule(); }
}  // namespace
