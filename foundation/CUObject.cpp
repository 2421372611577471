#include "foundation/CUObject.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "foundation/CUStringWin.h"

CUObject::~CUObject() = default;

namespace {
std::string DemangledName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
}
}  // namespace

std::string CUObjectDescriptionText(const CUObject& object) {
    // The address prints as sixteen upper-case hex digits behind "0x", the same width on every
    // build, so that descriptions of one object compare equal across tools.
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, "%s(0x%016llX)", DemangledName(typeid(object)).c_str(),
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(&object)));
    return buffer;
}

CUSharedPtr<CUStringWin> CUObject::Description() const {
    return CUCreate<CUStringWin>(CUObjectDescriptionText(*this).c_str());
}
