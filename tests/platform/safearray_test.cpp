#include "ondrel/platform/safearray.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComObject;
using ondrel::platform::ComPtr;

struct IThing : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("3E7A9C10-5B2D-4F61-8A0C-9D4E2B7F0001");

 protected:
  ~IThing() = default;
};

class Thing final : public ComObject<IThing> {
 public:
  explicit Thing(bool* destroyed) : destroyed_(destroyed) {}
  ~Thing() override { *destroyed_ = true; }

 private:
  bool* destroyed_;
};

ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

// Destroys an array at the end of a test, dropping one lock a test may have left; the test may
// destroy the array itself and reset the pointer.
struct ArrayGuard {
  SAFEARRAY* psa;
  ~ArrayGuard() {
    if (psa == nullptr) return;
    SafeArrayUnaccessData(psa);
    SafeArrayDestroy(psa);
  }
};

TEST(SafeArray, TypesGiveTheirSizesAndZeroedElements) {
  struct Row {
    VARTYPE vt;
    UINT size;
  };
  const Row rows[] = {
      {VT_I1, 1}, {VT_UI1, 1}, {VT_I2, 2}, {VT_UI2, 2}, {VT_BOOL, 2},
      {VT_I4, 4}, {VT_UI4, 4}, {VT_R4, 4}, {VT_R8, 8}, {VT_DATE, 8},
      {VT_BSTR, sizeof(void*)}, {VT_UNKNOWN, sizeof(void*)}, {VT_DISPATCH, sizeof(void*)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.vt);
    ArrayGuard guard{SafeArrayCreateVector(row.vt, 0, 3)};
    SAFEARRAY* psa = guard.psa;
    ASSERT_NE(nullptr, psa);
    EXPECT_EQ(1u, SafeArrayGetDim(psa));
    EXPECT_EQ(row.size, SafeArrayGetElemsize(psa));
    VARTYPE vt = VT_EMPTY;
    EXPECT_EQ(S_OK, SafeArrayGetVartype(psa, &vt));
    EXPECT_EQ(row.vt, vt);
    // The descriptor has the Windows shape a host reads: one dimension, the bound, the vartype flag.
    EXPECT_EQ(1, psa->cDims);
    EXPECT_EQ(row.size, psa->cbElements);
    EXPECT_EQ(3u, psa->rgsabound[0].cElements);
    EXPECT_EQ(0x0080, psa->fFeatures & 0x0080);
    EXPECT_EQ(row.vt == VT_BSTR ? 0x0100 : 0, psa->fFeatures & 0x0100);
    void* data = nullptr;
    ASSERT_EQ(S_OK, SafeArrayAccessData(psa, &data));
    EXPECT_EQ(psa->pvData, data);
    EXPECT_EQ(std::string(3 * row.size, '\0'), std::string(static_cast<const char*>(data), 3 * row.size));
  }
  for (VARTYPE unsupported : {VARTYPE{VT_EMPTY}, VARTYPE{1}, VARTYPE{12}, VARTYPE{0xFFFF}})
    EXPECT_EQ(nullptr, SafeArrayCreateVector(unsupported, 0, 1)) << unsupported;
  EXPECT_EQ(0u, SafeArrayGetDim(nullptr));
  EXPECT_EQ(S_OK, SafeArrayDestroy(nullptr));
}

TEST(SafeArray, BoundsOfEmptyAndOffsetVectors) {
  struct Row {
    LONG lower;
    ULONG count;
    LONG upper;
  };
  const Row rows[] = {{0, 0, -1}, {1, 0, 0}, {5, 3, 7}, {-2, 2, -1}, {0, 1, 0}, {INT_MIN, 0, INT_MAX}};
  for (const Row& row : rows) {
    ArrayGuard guard{SafeArrayCreateVector(VT_UI1, row.lower, row.count)};
    LONG lower = 0, upper = 0;
    ASSERT_EQ(S_OK, SafeArrayGetLBound(guard.psa, 1, &lower));
    ASSERT_EQ(S_OK, SafeArrayGetUBound(guard.psa, 1, &upper));
    EXPECT_EQ(row.lower, lower);
    EXPECT_EQ(row.upper, upper) << row.lower << " + " << row.count;
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetLBound(guard.psa, 0, &lower));
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetUBound(guard.psa, 2, &upper));
  }
  LONG bound = 0;
  EXPECT_EQ(E_INVALIDARG, SafeArrayGetUBound(nullptr, 1, &bound));
}

TEST(SafeArray, ElementsAreIndexedFromTheLowerBound) {
  ArrayGuard guard{SafeArrayCreateVector(VT_I4, 10, 3)};
  for (LONG index : {10, 11, 12}) {
    LONG value = index * -100;
    ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &index, &value));
  }
  LONG* data = nullptr;
  ASSERT_EQ(S_OK, SafeArrayAccessData(guard.psa, reinterpret_cast<void**>(&data)));
  EXPECT_EQ(-1000, data[0]);
  EXPECT_EQ(-1200, data[2]);
  ASSERT_EQ(S_OK, SafeArrayUnaccessData(guard.psa));
  LONG index = 11, value = 0;
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &index, &value));
  EXPECT_EQ(-1100, value);

  for (LONG bad : {9, 13, INT_MIN, INT_MAX}) {
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetElement(guard.psa, &bad, &value)) << bad;
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayPutElement(guard.psa, &bad, &value)) << bad;
  }
  // The distance from the lower bound must not wrap: INT_MIN is not three past INT_MAX - 1.
  ArrayGuard high{SafeArrayCreateVector(VT_I4, INT_MAX - 1, 3)};
  LONG wrapped = INT_MIN;
  EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetElement(high.psa, &wrapped, &value));
  EXPECT_EQ(E_INVALIDARG, SafeArrayGetElement(guard.psa, nullptr, &value));
  EXPECT_EQ(E_INVALIDARG, SafeArrayGetElement(guard.psa, &index, nullptr));
  EXPECT_EQ(E_INVALIDARG, SafeArrayPutElement(guard.psa, &index, nullptr));
}

TEST(SafeArray, BstrElementsAreCopiedInAndOut) {
  ArrayGuard guard{SafeArrayCreateVector(VT_BSTR, 1, 2)};
  LONG first = 1, second = 2;
  {
    BStr ours(u"CT");
    ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &first, ours.Get()));
    const BSTR* held = static_cast<const BSTR*>(guard.psa->pvData);
    EXPECT_NE(ours.Get(), held[0]);
  }  // the caller's text is freed; the array's copy must live on
  BStr a, b;
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &first, a.Out()));
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &first, b.Out()));
  EXPECT_EQ(u"CT", a.View());
  EXPECT_NE(a.Get(), b.Get()) << "each read is the caller's own copy";

  const BStr odd = BStr::Attach(SysAllocStringByteLen("MRI", 3));
  ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &first, odd.Get()));  // replaces, freeing "CT"
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &first, a.Out()));
  EXPECT_EQ(3u, SysStringByteLen(a.Get()));
  EXPECT_EQ(0, std::memcmp("MRI", a.Get(), 3));

  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &second, a.Out()));
  EXPECT_TRUE(a.IsNull()) << "elements start as null BSTRs";
  const BStr empty(u"");
  ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &second, empty.Get()));
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &second, a.Out()));
  EXPECT_FALSE(a.IsNull());
  ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &second, nullptr));
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &second, a.Out()));
  EXPECT_TRUE(a.IsNull());
}

TEST(SafeArray, InterfaceElementsAreCountedAndReleased) {
  bool destroyed = false;
  ArrayGuard guard{SafeArrayCreateVector(VT_UNKNOWN, 0, 2)};
  LONG index = 0;
  {
    ComPtr<Thing> thing = ComPtr<Thing>::Make(&destroyed);
    ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &index, static_cast<IUnknown*>(thing.Get())));
    EXPECT_EQ(2u, References(thing.Get()));
    IUnknown* got = nullptr;
    ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &index, &got));
    EXPECT_EQ(static_cast<IUnknown*>(thing.Get()), got);
    EXPECT_EQ(3u, References(thing.Get()));
    got->Release();
  }
  EXPECT_FALSE(destroyed) << "the array holds its own reference";

  // Putting the only holder's object again must not release it before taking the new reference.
  IUnknown* held = static_cast<IUnknown**>(guard.psa->pvData)[0];
  ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &index, held));
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(1u, References(held));

  ASSERT_EQ(S_OK, SafeArrayDestroy(guard.psa));
  guard.psa = nullptr;
  EXPECT_TRUE(destroyed);

  bool replacedDestroyed = false;
  ArrayGuard other{SafeArrayCreateVector(VT_UNKNOWN, 0, 1)};
  ASSERT_EQ(S_OK, SafeArrayPutElement(other.psa, &index, static_cast<IUnknown*>(ComPtr<Thing>::Make(&replacedDestroyed).Get())));
  ASSERT_EQ(S_OK, SafeArrayPutElement(other.psa, &index, nullptr));
  EXPECT_TRUE(replacedDestroyed);
}

TEST(SafeArray, LockedArrayIsNotDestroyed) {
  ArrayGuard guard{SafeArrayCreateVector(VT_BSTR, 0, 1)};
  LONG index = 0;
  const BStr text(u"kept");
  ASSERT_EQ(S_OK, SafeArrayPutElement(guard.psa, &index, text.Get()));
  void* data = nullptr;
  ASSERT_EQ(S_OK, SafeArrayAccessData(guard.psa, &data));
  ASSERT_EQ(S_OK, SafeArrayAccessData(guard.psa, &data));
  EXPECT_EQ(DISP_E_ARRAYISLOCKED, SafeArrayDestroy(guard.psa));
  ASSERT_EQ(S_OK, SafeArrayUnaccessData(guard.psa));
  EXPECT_EQ(DISP_E_ARRAYISLOCKED, SafeArrayDestroy(guard.psa)) << "locks nest";
  BStr read;
  ASSERT_EQ(S_OK, SafeArrayGetElement(guard.psa, &index, read.Out()));
  EXPECT_EQ(u"kept", read.View());
  ASSERT_EQ(S_OK, SafeArrayUnaccessData(guard.psa));
  EXPECT_EQ(E_UNEXPECTED, SafeArrayUnaccessData(guard.psa));
  EXPECT_EQ(S_OK, SafeArrayDestroy(guard.psa));
  guard.psa = nullptr;
}

}  // namespace
