#include "streams/DataSourceStreamProperties.h"

#include <gtest/gtest.h>

#include <string>

#include "module/StringTable.h"
#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"

namespace qz_dsc {
namespace {

using qz_com::ComPtr;
using qz_com::ComVariant;

constexpr PropertyLabel kTestLabels[] = {{L"Name", IDS_NAME}, {L"Count", IDS_SAMPLE_COUNT}};

std::wstring TakeBstr(BSTR b) {
  std::wstring s(b, SysStringLen(b));
  SysFreeString(b);
  return s;
}

class PropertySetTest : public ::testing::Test {
 protected:
  PropertySetTest() { set.Attach(DataSourceStreamProperties::Create(kTestLabels)); }
  HRESULT Set(const wchar_t* key, const ComVariant& value) { return set->SetProperty(key, &value); }
  ComPtr<DataSourceStreamProperties> set;
};

TEST_F(PropertySetTest, CountsReferencesAndAnswersItsInterfaces) {
  EXPECT_EQ(set->AddRef(), 2u);
  EXPECT_EQ(set->Release(), 1u);
  ComPtr<IQZPropertySet> asSet;
  ASSERT_EQ(set.As(&asSet), S_OK);
  EXPECT_EQ(static_cast<void*>(asSet.Get()), static_cast<void*>(set.Get()));
  void* unknown = nullptr;
  ASSERT_EQ(set->QueryInterface(uuidof<IUnknown>(), &unknown), S_OK);
  static_cast<IUnknown*>(unknown)->Release();
  void* other = &unknown;
  EXPECT_EQ(set->QueryInterface(GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
}

TEST_F(PropertySetTest, SetAppendsThenReplacesInPlaceKeepingText) {
  ASSERT_EQ(Set(L"Name", ComVariant(L"speed")), S_OK);
  ASSERT_EQ(Set(L"Count", ComVariant(std::int32_t{4})), S_OK);
  ASSERT_EQ(set->SetPropertyText(L"Name", L"Stream name"), S_OK);
  ASSERT_EQ(Set(L"Name", ComVariant(2.5)), S_OK);

  UINT count = 0;
  ASSERT_EQ(set->GetPropertyCount(&count), S_OK);
  EXPECT_EQ(count, 2u);
  BSTR name = nullptr;
  ASSERT_EQ(set->GetPropertyName(0, &name), S_OK);
  EXPECT_EQ(TakeBstr(name), L"Name");
  ComVariant value(L"to be cleared");
  ASSERT_EQ(set->GetProperty(L"Name", &value), S_OK);
  EXPECT_EQ(value.vt, VT_R8);
  EXPECT_EQ(value.dblVal, 2.5);
  BSTR text = nullptr;
  ASSERT_EQ(set->GetPropertyText(L"Name", &text), S_OK);
  EXPECT_EQ(TakeBstr(text), L"Stream name");
}

TEST_F(PropertySetTest, KeysCompareExactlyAndTheFirstEqualKeyWins) {
  ASSERT_EQ(Set(L"Name", ComVariant(std::int32_t{1})), S_OK);
  ASSERT_EQ(Set(L"name", ComVariant(std::int32_t{2})), S_OK);
  ASSERT_EQ(Set(L"Name ", ComVariant(std::int32_t{3})), S_OK);
  UINT count = 0;
  ASSERT_EQ(set->GetPropertyCount(&count), S_OK);
  EXPECT_EQ(count, 3u);
  ComVariant value;
  ASSERT_EQ(set->GetProperty(L"Name", &value), S_OK);
  EXPECT_EQ(value.lVal, 1);
  ASSERT_EQ(set->GetProperty(L"name", &value), S_OK);
  EXPECT_EQ(value.lVal, 2);
  EXPECT_EQ(set->GetProperty(L"Nam", &value), E_INVALIDARG);
}

TEST_F(PropertySetTest, SettingAnEntryToItsOwnValueKeepsIt) {
  ASSERT_EQ(Set(L"Name", ComVariant(L"speed")), S_OK);
  ComVariant own;
  ASSERT_EQ(set->GetProperty(L"Name", &own), S_OK);
  ASSERT_EQ(set->SetProperty(L"Name", &own), S_OK);
  ComVariant back;
  ASSERT_EQ(set->GetProperty(L"Name", &back), S_OK);
  EXPECT_EQ(back.Text(), L"speed");
}

TEST_F(PropertySetTest, MissingTextComesFromTheLabelTableAndStays) {
  ASSERT_EQ(Set(L"Count", ComVariant(std::int32_t{4})), S_OK);
  ASSERT_EQ(Set(L"Other", ComVariant(std::int32_t{5})), S_OK);
  BSTR text = nullptr;
  ASSERT_EQ(set->GetPropertyText(L"Count", &text), S_OK);
  EXPECT_EQ(TakeBstr(text), L"Sample count");
  EXPECT_EQ(set->GetPropertyText(L"Other", &text), E_FAIL);
  ASSERT_EQ(set->SetPropertyText(L"Other", L"Fifth"), S_OK);
  ASSERT_EQ(set->GetPropertyText(L"Other", &text), S_OK);
  EXPECT_EQ(TakeBstr(text), L"Fifth");
}

TEST_F(PropertySetTest, ErrorPathsLeaveOutputsUntouched) {
  ASSERT_EQ(Set(L"Name", ComVariant(L"speed")), S_OK);
  ComVariant value(std::int32_t{77});
  EXPECT_EQ(set->GetProperty(L"Unknown", &value), E_INVALIDARG);
  EXPECT_EQ(set->GetProperty(nullptr, &value), E_INVALIDARG);
  EXPECT_EQ(value.vt, VT_I4);
  EXPECT_EQ(value.lVal, 77);
  EXPECT_EQ(set->GetProperty(L"Name", nullptr), E_POINTER);
  EXPECT_EQ(set->SetProperty(L"Name", nullptr), E_POINTER);
  EXPECT_EQ(set->SetProperty(nullptr, &value), E_INVALIDARG);
  EXPECT_EQ(set->GetPropertyCount(nullptr), E_POINTER);

  BSTR out = reinterpret_cast<BSTR>(&value);
  EXPECT_EQ(set->GetPropertyText(L"Name", nullptr), E_POINTER);
  EXPECT_EQ(set->GetPropertyText(L"Unknown", &out), E_INVALIDARG);
  EXPECT_EQ(set->SetPropertyText(L"Unknown", L"x"), E_INVALIDARG);
  EXPECT_EQ(set->SetPropertyText(L"Name", nullptr), E_POINTER);
  EXPECT_EQ(set->GetPropertyName(0, nullptr), E_POINTER);
  EXPECT_EQ(set->GetPropertyName(1, &out), E_INVALIDARG);  // index == count
  EXPECT_EQ(out, reinterpret_cast<BSTR>(&value));
}

}  // namespace
}  // namespace qz_dsc
