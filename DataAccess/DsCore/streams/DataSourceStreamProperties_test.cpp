#include "streams/DataSourceStreamProperties.h"

#include <gtest/gtest.h>

#include <string>

#include "module/StringTable.h"
#include "qz_com/ComPtr.h"
#include "qz_com/ComVariant.h"

namespace qz_dsc {
namespace {

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
  std::wstring Text(const wchar_t* key) {
    BSTR b = nullptr;
    EXPECT_EQ(set->GetPropertyText(key, &b), S_OK) << key;
    return b != nullptr ? TakeBstr(b) : L"";
  }
  qz_com::ComPtr<DataSourceStreamProperties> set;
};

TEST_F(PropertySetTest, ReplacingKeepsPlaceAndTextFirstEqualKeyWins) {
  ASSERT_EQ(Set(L"Name", ComVariant(L"speed")), S_OK);
  ASSERT_EQ(Set(L"name", ComVariant(std::int32_t{2})), S_OK);  // keys are case-sensitive
  ASSERT_EQ(set->SetPropertyText(L"Name", L"Stream name"), S_OK);
  ASSERT_EQ(Set(L"Name", ComVariant(2.5)), S_OK);
  ComVariant own;
  ASSERT_EQ(set->GetProperty(L"Name", &own), S_OK);
  ASSERT_EQ(set->SetProperty(L"Name", &own), S_OK);

  UINT count = 0;
  ASSERT_EQ(set->GetPropertyCount(&count), S_OK);
  EXPECT_EQ(count, 2u);
  BSTR name = nullptr;
  ASSERT_EQ(set->GetPropertyName(0, &name), S_OK);
  EXPECT_EQ(TakeBstr(name), L"Name");
  ComVariant value(L"cleared first");
  ASSERT_EQ(set->GetProperty(L"Name", &value), S_OK);
  EXPECT_EQ(value.vt, VT_R8);
  EXPECT_EQ(value.dblVal, 2.5);
  EXPECT_EQ(Text(L"Name"), L"Stream name");
  EXPECT_EQ(set->GetProperty(L"Nam", &value), E_INVALIDARG);
}

TEST_F(PropertySetTest, MissingTextComesFromTheLabelTableAndStays) {
  ASSERT_EQ(Set(L"Count", ComVariant(std::int32_t{4})), S_OK);
  ASSERT_EQ(Set(L"Other", ComVariant(std::int32_t{5})), S_OK);
  EXPECT_EQ(Text(L"Count"), L"Sample count");
  BSTR text = nullptr;
  EXPECT_EQ(set->GetPropertyText(L"Other", &text), E_FAIL);  // no label for this key
  ASSERT_EQ(set->SetPropertyText(L"Other", L"Fifth"), S_OK);
  EXPECT_EQ(Text(L"Other"), L"Fifth");
}

TEST_F(PropertySetTest, ErrorPathsLeaveOutputsUntouched) {
  ASSERT_EQ(Set(L"Name", ComVariant(L"speed")), S_OK);
  ComVariant value(std::int32_t{77});
  EXPECT_EQ(set->GetProperty(L"Unknown", &value), E_INVALIDARG);
  EXPECT_EQ(set->GetProperty(nullptr, &value), E_INVALIDARG);
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
