// The module server: the entry points a host finds in libqvflts.so. DllGetClassObject hands out a
// class factory for a row of the class table (FactoryTemplate.h); DllCanUnloadNow tells whether
// any object or server lock is alive; DllRegisterServer and DllUnregisterServer write and remove
// the module's entries in the registration manifest (ModuleRegistry.h). CreateFilterByClassId is
// the same creation for C++ hosts, without a factory.
//
// Threads: every entry point may be called from any thread; registrations and unregistrations,
// of this process or of others, change the manifest one at a time (ModuleRegistry::Update).
// Ownership: a factory and a created object belong to the caller through the interface returned.
// Failures: DllGetClassObject answers E_POINTER for a null out pointer, E_NOINTERFACE for an
// interface other than IID_IUnknown and IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE for a class
// id no row has, E_OUTOFMEMORY when no factory can be made. Registration answers
// 0x80070000 | errno when the module's path or the manifest can't be had, and E_FAIL for a
// manifest it can't read as one (left untouched).
#pragma once

#include <string>

#include "platform/Guid.h"
#include "platform/Unknown.h"

extern "C" {
HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** out);
// S_FALSE while a server lock is held or any CUnknown lives, else S_OK.
HRESULT DllCanUnloadNow();
HRESULT DllRegisterServer();
HRESULT DllUnregisterServer();
}

// The object of the row with this class id, with no reference taken (the caller takes one through
// NonDelegatingAddRef or NonDelegatingQueryInterface); null and a failure code in *phr when there
// is no such row or the creator failed.
CUnknown* CreateFilterByClassId(REFCLSID clsid, IUnknown* outer, HRESULT* phr);

// The file that holds the module: the shared library when it is one, else the program.
HRESULT GetModuleFilePath(std::string* path);
