#include <gtest/gtest.h>

#include "platform/Unknown.h"

namespace {

// {1A2B3C4D-0000-0000-0000-000000000001}
constexpr IID IID_ITestThing{0x1A2B3C4D, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};

class ITestThing : public IUnknown {
public:
    virtual int Value() = 0;
};

class Thing : public CUnknown, public ITestThing {
public:
    explicit Thing(IUnknown* outer = nullptr) : CUnknown("Thing", outer) {}
    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
        if (riid == IID_ITestThing) return GetInterface<ITestThing>(this, ppv);
        return CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }
    int Value() override { return 7; }
};

TEST(CUnknown, QueryInterfaceAndLastReleaseDeletes) {
    const int64_t before = CUnknown::LiveObjectCount();
    auto* thing = new Thing;
    thing->AddRef();
    EXPECT_EQ(CUnknown::LiveObjectCount(), before + 1);
    EXPECT_EQ(CanUnloadNow(), S_FALSE);

    ITestThing* asThing = nullptr;
    ASSERT_EQ(thing->QueryInterface(IID_ITestThing, reinterpret_cast<void**>(&asThing)), S_OK);
    EXPECT_EQ(asThing->Value(), 7);
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(thing->QueryInterface(GUID{1, 2, 3, {}}, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(thing->QueryInterface(IID_ITestThing, nullptr), E_POINTER);

    EXPECT_EQ(asThing->Release(), 1u);
    EXPECT_EQ(thing->Release(), 0u);
    EXPECT_EQ(CUnknown::LiveObjectCount(), before);
}

TEST(GUID, TextAndFourCC) {
    EXPECT_EQ(GuidToString(IID_IUnknown), "{00000000-0000-0000-C000-000000000046}");
    EXPECT_EQ(MakeFourCC('Y', 'U', 'Y', '2'), 0x32595559u);
    EXPECT_EQ(GuidToString(FourCCSubtype(MakeFourCC('Y', 'U', 'Y', '2'))),
              "{32595559-0000-0010-8000-00AA00389B71}");
    EXPECT_LT(GUID_NULL, IID_IUnknown);
}

}  // namespace
