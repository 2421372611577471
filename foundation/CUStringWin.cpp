#include "foundation/CUStringWin.h"

#include "foundation/CUTextCodec.h"

namespace {
std::shared_ptr<const std::u16string> MakeText(std::u16string text) {
    try {
        return std::make_shared<const std::u16string>(std::move(text));
    } catch (const std::bad_alloc&) {
        return nullptr;  // exhaustion leaves "no text"
    }
}
}  // namespace

CUStringWin::CUStringWin() : text(MakeText(std::u16string())) {}

CUStringWin::CUStringWin(const char16_t* units)
    : text(MakeText(units ? std::u16string(units) : std::u16string())) {}

CUStringWin::CUStringWin(const char* utf8)
    : text(MakeText(utf8 ? cu_text::DecodeUTF8(utf8) : std::u16string())) {}

CUStringWin::CUStringWin(std::u16string_view units) : text(MakeText(std::u16string(units))) {}

CUStringWin::CUStringWin(const CUStringWin& other) : CUObject(other), text(other.text) {}

CUStringWin::~CUStringWin() = default;

CUStringWin CUStringWin::NoText() { return CUStringWin(nullptr, 0, CUStringEncodingUTF8); }

CUStringWin& CUStringWin::Assign(const CUStringWin& other) {
    text = other.text;
    return *this;
}

uint32_t CUStringWin::Length() const { return text ? static_cast<uint32_t>(text->size()) : 0; }

const char16_t* CUStringWin::WideChars() const { return text ? text->c_str() : nullptr; }

std::u16string_view CUStringWin::View() const {
    return text ? std::u16string_view(*text) : std::u16string_view();
}

std::string CUStringWin::UTF8String() const { return cu_text::EncodeUTF8(View()); }

CUSharedPtr<CUStringWin> CUStringWin::Description() const { return CUCreate<CUStringWin>(*this); }
