// The process-wide class registry: what creation by class identifier and by
// programmatic name rests on. Each component registers its class factory at
// start-up; hosts and the engine create objects through it.
#pragma once

#include <string>
#include <string_view>

#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/unknown.h"

namespace orvane {

constexpr std::uint32_t CLSCTX_INPROC_SERVER = 1;

class ClassRegistry {
 public:
  static ClassRegistry& Instance();

  // Enters a class. The registry holds one reference on the factory for as
  // long as the class stays registered. A second registration of the same
  // CLSID replaces the first. Fails with E_INVALIDARG for a null factory.
  HRESULT Register(REFCLSID clsid, std::string_view progId, IClassFactory* pFactory);
  // Removes a class; S_FALSE if it was not registered.
  HRESULT Unregister(REFCLSID clsid);
  bool IsRegistered(REFCLSID clsid) const;

  // CLSIDFromProgID: CO_E_CLASSSTRING for an unknown name.
  HRESULT ClsidFromProgId(std::string_view progId, CLSID* pClsid) const;
  // The factory of a class, with a reference; REGDB_E_CLASSNOTREG if unknown.
  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** ppv) const;

 private:
  ClassRegistry() = default;
  struct Impl;
  Impl& impl() const;
};

// CoCreateInstance: the factory of clsid makes an object and is asked for iid.
// REGDB_E_CLASSNOTREG for an unregistered class, CLASS_E_NOAGGREGATION for
// a non-null pOuter.
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* pOuter, std::uint32_t context, REFIID iid,
                         void** ppv);
HRESULT CLSIDFromProgID(std::string_view progId, CLSID* pClsid);

}  // namespace orvane
