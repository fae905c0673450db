#include "qz_com/qz_com.h"
#include "qz_com/ComPtr.h"
#include "qz_com/ComError.h"
#include "qz_com/ComVariant.h"
#include "qz_com/OleAuto.h"

#include <gtest/gtest.h>

#include <atomic>

struct IFoo : IUnknown {
  virtual int Foo() = 0;
};
struct IBar : IUnknown {
  virtual int Bar() = 0;
};
QZ_DEFINE_UUIDOF(IFoo, 0x11111111, 0x1111, 0x1111, 1, 2, 3, 4, 5, 6, 7, 8)
QZ_DEFINE_UUIDOF(IBar, 0x22222222, 0x2222, 0x2222, 1, 2, 3, 4, 5, 6, 7, 8)
struct IOther : IUnknown {};
QZ_DEFINE_UUIDOF(IOther, 0x33333333, 0x3333, 0x3333, 1, 2, 3, 4, 5, 6, 7, 8)

namespace {

class FooBar final : public IFoo, public IBar {
 public:
  HRESULT QueryInterface(REFIID riid, void** ppv) override {
    return qz_com::QueryInterfaceTable<FooBar, IFoo, IBar>(this, riid, ppv);
  }
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    ULONG n = --m_refs;
    if (n == 0) delete this;
    return n;
  }
  int Foo() override { return 1; }
  int Bar() override { return 2; }
  static std::atomic<int> s_alive;
  FooBar() { ++s_alive; }
  ~FooBar() { --s_alive; }

 private:
  std::atomic<ULONG> m_refs{1};
};
std::atomic<int> FooBar::s_alive{0};

TEST(QzCom, QueryInterfaceTableAnswersListedInterfacesOnly) {
  FooBar* obj = new FooBar;
  void* p = reinterpret_cast<void*>(1);
  EXPECT_EQ(obj->QueryInterface(uuidof<IOther>(), &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(obj->QueryInterface(uuidof<IBar>(), nullptr), E_POINTER);
  ASSERT_EQ(obj->QueryInterface(uuidof<IBar>(), &p), S_OK);
  EXPECT_EQ(static_cast<IBar*>(p)->Bar(), 2);
  ASSERT_EQ(obj->QueryInterface(uuidof<IUnknown>(), &p), S_OK);
  EXPECT_EQ(p, static_cast<IUnknown*>(static_cast<IFoo*>(obj)));
  // Two references were handed out; release them and the creator's.
  EXPECT_EQ(obj->Release(), 2u);
  EXPECT_EQ(obj->Release(), 1u);
  obj->Release();
  EXPECT_EQ(FooBar::s_alive.load(), 0);
}

TEST(QzCom, ComPtrCountsReferences) {
  qz_com::ComPtr<IFoo> foo;
  foo.Attach(new FooBar);
  {
    qz_com::ComPtr<IBar> bar;
    ASSERT_EQ(foo.As(&bar), S_OK);
    EXPECT_EQ(bar->Bar(), 2);
    qz_com::ComPtr<IBar> copy = bar;
    qz_com::ComPtr<IOther> other;
    EXPECT_EQ(foo.As(&other), E_NOINTERFACE);
    EXPECT_FALSE(other);
  }
  EXPECT_EQ(FooBar::s_alive.load(), 1);
  foo.Reset();
  EXPECT_EQ(FooBar::s_alive.load(), 0);
}

TEST(QzCom, BstrKeepsLengthAndEmbeddedNul) {
  BSTR b = SysAllocStringLen(L"a\0b", 3);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(SysStringLen(b), 3u);
  EXPECT_EQ(SysStringByteLen(b), 3u * sizeof(wchar_t));
  EXPECT_EQ(b[1], L'\0');
  EXPECT_EQ(b[3], L'\0');
  SysFreeString(b);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  SysFreeString(nullptr);
}

TEST(QzCom, VariantCopyDuplicatesStrings) {
  qz_com::ComVariant text(std::wstring(L"hello"));
  VARIANT copy;
  VariantInit(&copy);
  ASSERT_EQ(VariantCopy(&copy, &text), S_OK);
  EXPECT_EQ(copy.vt, VT_BSTR);
  EXPECT_NE(copy.bstrVal, text.bstrVal);
  EXPECT_EQ(std::wstring(copy.bstrVal), L"hello");
  EXPECT_EQ(VariantClear(&copy), S_OK);
  EXPECT_EQ(copy.vt, VT_EMPTY);

  VARIANT bad;
  VariantInit(&bad);
  bad.vt = 0x4000;
  EXPECT_EQ(VariantClear(&bad), E_INVALIDARG);
}

TEST(QzCom, ComVariantHoldsEachType) {
  EXPECT_EQ(qz_com::ComVariant(std::int32_t{7}).vt, VT_I4);
  EXPECT_EQ(qz_com::ComVariant(std::int64_t{7}).llVal, 7);
  EXPECT_EQ(qz_com::ComVariant(2.5).dblVal, 2.5);
  EXPECT_EQ(qz_com::ComVariant(true).boolVal, VARIANT_TRUE);
  qz_com::ComVariant a(L"x");
  qz_com::ComVariant b = a;
  qz_com::ComVariant c = std::move(a);
  EXPECT_EQ(a.vt, VT_EMPTY);
  EXPECT_EQ(b.Text(), L"x");
  EXPECT_EQ(c.Text(), L"x");
  b = c;
  EXPECT_EQ(b.Text(), L"x");
  EXPECT_EQ(qz_com::ComVariant(2.5).Text(), L"");
}

TEST(QzCom, ComErrorCarriesItsHresult) {
  try {
    qz_com::ThrowIfFailed(E_OUTOFMEMORY);
    FAIL() << "no exception";
  } catch (const qz_com::ComError& e) {
    EXPECT_EQ(e.Error(), E_OUTOFMEMORY);
  }
  EXPECT_NO_THROW(qz_com::ThrowIfFailed(S_FALSE));
}

}  // namespace
