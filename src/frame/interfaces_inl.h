// Inline helpers of interfaces.h.
#pragma once

#include "platform/reporter.h"

namespace orvane {

template <class T>
HRESULT QueryOrNote(IUnknown* pSelf, REFIID iid, const char* noteFormat, T** ppOut) {
  *ppOut = nullptr;
  const HRESULT hr = pSelf->QueryInterface(iid, reinterpret_cast<void**>(ppOut));
  if (FAILED(hr)) {
    *ppOut = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    ShowNote(Format(noteFormat, static_cast<unsigned>(hr)));
#pragma GCC diagnostic pop
  }
  return hr;
}

}  // namespace orvane
