#include <gtest/gtest.h>

#include "foundation/CUDictionary.h"
#include "foundation/CUNumber.h"

namespace {

CUSharedPtr<CUStringWin> Key(const char* text) {
    return CUCreate<CUStringWin>(text);
}
CUSharedPtr<CUObject> Number(int v) {
    return CUCreate<CUNumberConcrete<int>>(v);
}

TEST(CUDictionary, PrintsInCodeUnitOrder) {
    CUSharedPtr<CUMutableDictionary> dictionary = CUCreate<CUMutableDictionary>();
    dictionary->SetObjectForKey(Number(1), Key("a"));
    dictionary->SetObjectForKey(Number(2), Key("B"));
    dictionary->SetObjectForKey(nullptr, Key("\xC3\xA9"));  // U+00E9 sorts after ASCII
    EXPECT_EQ(dictionary->Description()->UTF8String(),
              "{\r\n\tKey:B,\tVal:2\r\n\tKey:a,\tVal:1\r\n\tKey:\xC3\xA9,\tVal:<NULL>\r\n}");
}

TEST(CUDictionary, SettingTwiceKeepsOneEntryWithLaterValue) {
    CUSharedPtr<CUMutableDictionary> dictionary = CUCreate<CUMutableDictionary>();
    CUSharedPtr<CUObject> first = Number(1);
    dictionary->SetObjectForKey(first, Key("k"));
    EXPECT_EQ(first->RetainCount(), 2);
    dictionary->SetObjectForKey(Number(2), Key("k"));
    EXPECT_EQ(dictionary->Count(), 1u);
    EXPECT_EQ(first->RetainCount(), 1);  // the old value lost its reference
    EXPECT_EQ(CUSharedPtr<CUNumber>(dictionary->ObjectForKey(Key("k")))->Int32Value(), 2);
}

TEST(CUDictionary, KeysAreCaseSensitiveCopiedAndNeedText) {
    CUSharedPtr<CUMutableDictionary> dictionary = CUCreate<CUMutableDictionary>();
    CUSharedPtr<CUStringWin> key = Key("Clip");
    dictionary->SetObjectForKey(Number(1), key);
    key->Assign(CUStringWin("Other"));  // changing the caller's key does not move the entry
    EXPECT_TRUE(dictionary->ObjectForKey(Key("Clip")));
    EXPECT_FALSE(dictionary->ObjectForKey(Key("clip")));
    EXPECT_FALSE(dictionary->ObjectForKey(nullptr));
    dictionary->SetObjectForKey(Number(2), nullptr);
    dictionary->SetObjectForKey(Number(3), CUCreate<CUStringWin>(CUStringWin::NoText()));
    EXPECT_EQ(dictionary->Count(), 1u);
}

}  // namespace
