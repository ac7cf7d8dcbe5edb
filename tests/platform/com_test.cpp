#include "ondrel/platform/com.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <tuple>

#include "ondrel/platform/errorinfo.h"

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComObject;
using ondrel::platform::ComObjectsAndLocks;
using ondrel::platform::ComPtr;
using ondrel::platform::RegisterComClass;

struct IShape : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A40001");
  virtual int Sides() = 0;

 protected:
  ~IShape() = default;
};

struct IPolygon : IShape {
  using BaseInterface = IShape;
  static constexpr IID kIid = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A40002");

 protected:
  ~IPolygon() = default;
};

// A chain (IPolygon over IShape) beside a second interface.
class Square final : public ComObject<IPolygon, ISupportErrorInfo> {
 public:
  int Sides() override { return 4; }
  HRESULT InterfaceSupportsErrorInfo(REFIID) override { return S_OK; }
};

constexpr CLSID kSquareClass = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A4C001");
constexpr CLSID kOtherClass = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A4C002");
constexpr CLSID kNeverRegistered = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A4C0FF");
void* const kSentinel = reinterpret_cast<void*>(std::uintptr_t{0x5A5A});

template <class T>
ULONG References(T* object) {
  object->AddRef();
  return object->Release();
}

template <class T>
void** Out(ComPtr<T>& pointer) {
  return reinterpret_cast<void**>(pointer.GetAddressOf());
}

struct ClassRemoval {
  CLSID clsid;
  ~ClassRemoval() { RemoveClassFromTable(clsid); }
};

// Removes its own class and creates a Square through the table while it runs.
class TestFactory final : public ComObject<IClassFactory> {
 public:
  explicit TestFactory(bool* destroyed) : ComObject(NotCounted{}), destroyed_(destroyed) {}
  ~TestFactory() override { *destroyed_ = true; }
  HRESULT CreateInstance(IUnknown*, REFIID riid, void** ppv) override {
    bool* destroyed = destroyed_;
    EXPECT_EQ(S_OK, RemoveClassFromTable(kOtherClass));
    EXPECT_FALSE(*destroyed) << "the factory must outlive its removal while it runs";
    return CoCreateInstance(kSquareClass, nullptr, CLSCTX_INPROC_SERVER, riid, ppv);
  }
  HRESULT LockServer(BOOL) override { return S_OK; }

 private:
  bool* destroyed_;
};

TEST(Guid, TextIsUpperCaseInBracesAndReadsBackInEitherCase) {
  OLECHAR text[39];
  ASSERT_EQ(39, StringFromGUID2(IID_IErrorInfo, text, 39));
  EXPECT_EQ(std::u16string(u"{1CF2B120-547D-101B-8E65-08002B2BD119}"), text);  // as published
  CLSID read{};
  EXPECT_EQ(S_OK, CLSIDFromString(u"{1cf2b120-547d-101b-8e65-08002b2bd119}", &read));
  EXPECT_EQ(IID_IErrorInfo, read);
}

TEST(ComObject, CountsReferencesKeepsIdentityAndAnswersTheChain) {
  const long before = ComObjectsAndLocks();
  Square* square = new Square();
  EXPECT_EQ(1u, square->AddRef()) << "an object starts with no reference";
  {
    ComPtr<IUnknown> fromPolygon, fromSupport;
    ComPtr<IShape> shape;
    ASSERT_EQ(S_OK, static_cast<IPolygon*>(square)->QueryInterface(IID_IUnknown, Out(fromPolygon)));
    ASSERT_EQ(S_OK, static_cast<ISupportErrorInfo*>(square)->QueryInterface(IID_IUnknown, Out(fromSupport)));
    EXPECT_EQ(fromPolygon.Get(), fromSupport.Get());
    ASSERT_EQ(S_OK, fromSupport->QueryInterface(IShape::kIid, Out(shape)));
    EXPECT_EQ(static_cast<IShape*>(square), shape.Get());
    EXPECT_EQ(4, shape->Sides());
    void* out = kSentinel;
    EXPECT_EQ(E_NOINTERFACE, shape->QueryInterface(IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, shape->QueryInterface(IID_IUnknown, nullptr));
    EXPECT_EQ(5u, square->AddRef()) << "the test, two IUnknowns, shape and this; no failed query";
    EXPECT_EQ(4u, square->Release());
  }
  EXPECT_EQ(before + 1, ComObjectsAndLocks()) << "alive while referenced";
  EXPECT_EQ(0u, square->Release());
  EXPECT_EQ(before, ComObjectsAndLocks()) << "the last release destroys";
}

TEST(ClassTable, CreatesThroughTheFactoryRefusesWithNullAndKnowsProgIds) {
  const ClassRemoval removal{kSquareClass};
  ASSERT_EQ(S_OK, RegisterComClass<Square>(kSquareClass, u"Ondrel.Square.1"));
  const ComPtr<Square> outer = ComPtr<Square>::Make();
  const long before = ComObjectsAndLocks();
  ComPtr<IShape> shape;
  ASSERT_EQ(S_OK, CoCreateInstance(kSquareClass, nullptr, CLSCTX_INPROC_SERVER, IShape::kIid, Out(shape)));
  EXPECT_EQ(4, shape->Sides());
  EXPECT_EQ(before + 1, ComObjectsAndLocks());
  shape.Reset();
  const std::tuple<const char*, CLSID, IUnknown*, IID, HRESULT> refusals[] = {
      {"unknown class", kNeverRegistered, nullptr, IID_IUnknown, MakeHResult(0x80040154)},
      {"aggregation", kSquareClass, static_cast<IShape*>(outer.Get()), IID_IUnknown, MakeHResult(0x80040110)},
      {"an interface the object lacks", kSquareClass, nullptr, IID_IClassFactory, E_NOINTERFACE},
  };
  for (const auto& [what, clsid, aggregate, iid, expected] : refusals) {
    void* out = kSentinel;
    EXPECT_EQ(expected, CoCreateInstance(clsid, aggregate, CLSCTX_ALL, iid, &out)) << what;
    EXPECT_EQ(nullptr, out) << what;
  }
  EXPECT_EQ(before, ComObjectsAndLocks()) << "objects that answered nothing are gone";
  EXPECT_EQ(S_FALSE, RemoveClassFromTable(kNeverRegistered));

  LPOLESTR progId = nullptr;
  ASSERT_EQ(S_OK, ProgIDFromCLSID(kSquareClass, &progId));
  EXPECT_EQ(std::u16string(u"Ondrel.Square.1"), progId);
  CoTaskMemFree(progId);
  CLSID clsid{};
  EXPECT_EQ(S_OK, CLSIDFromProgID(u"ondrel.SQUARE.1", &clsid));
  EXPECT_EQ(kSquareClass, clsid);
  EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromProgID(u"Ondrel.Square", &clsid));
  ASSERT_EQ(S_OK, RegisterComClass<Square>(kSquareClass, nullptr));  // replaces the entry
  EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromProgID(u"Ondrel.Square.1", &clsid));
  EXPECT_EQ(REGDB_E_CLASSNOTREG, ProgIDFromCLSID(kSquareClass, &progId));
  EXPECT_EQ(nullptr, progId);
}

TEST(ClassTable, FactoryMayUseTheTableWhileItRuns) {
  const ClassRemoval squareRemoval{kSquareClass}, otherRemoval{kOtherClass};
  bool destroyed = false;
  ASSERT_EQ(S_OK, RegisterComClass<Square>(kSquareClass, nullptr));
  ASSERT_EQ(S_OK, RegisterClassInTable(kOtherClass, nullptr, ComPtr<TestFactory>::Make(&destroyed).Get()));
  EXPECT_FALSE(destroyed) << "the table holds a reference";
  ComPtr<IShape> shape;
  // On a thread of its own, so that a table kept locked during the factory's call fails instead of hanging.
  auto created = std::async(std::launch::async, [&] {
    return CoCreateInstance(kOtherClass, nullptr, CLSCTX_ALL, IShape::kIid, Out(shape));
  });
  if (created.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
    ADD_FAILURE() << "the class table stayed locked while the factory ran";
    std::abort();
  }
  ASSERT_EQ(S_OK, created.get());
  EXPECT_EQ(4, shape->Sides());
  EXPECT_TRUE(destroyed) << "removed during creation, released once creation ended";
}

// Takes the thread's error object away for the test and puts it back afterwards.
struct ThreadErrorInfoGuard {
  ThreadErrorInfoGuard() { GetErrorInfo(0, saved.GetAddressOf()); }
  ~ThreadErrorInfoGuard() { SetErrorInfo(0, saved.Get()); }
  ComPtr<IErrorInfo> saved;
};

ComPtr<IErrorInfo> NewErrorInfo() {
  ComPtr<ICreateErrorInfo> create;
  ComPtr<IErrorInfo> info;
  EXPECT_EQ(S_OK, CreateErrorInfo(create.GetAddressOf()));
  EXPECT_EQ(S_OK, create.As(&info));
  return info;
}

TEST(ErrorInfo, RoundTripTakesTheObjectAndKeepsNullApartFromEmpty) {
  const ThreadErrorInfoGuard guard;
  const long before = ComObjectsAndLocks();
  const ComPtr<IErrorInfo> set = NewErrorInfo();
  EXPECT_EQ(before, ComObjectsAndLocks()) << "an unread error object must not keep a library loaded";
  ComPtr<ICreateErrorInfo> create;
  ASSERT_EQ(S_OK, set.As(&create));
  BStr first, second;
  EXPECT_EQ(S_OK, set->GetDescription(first.Out()));
  EXPECT_TRUE(first.IsNull()) << "a new object holds no text";
  create->SetDescription(std::u16string().data());
  EXPECT_EQ(S_OK, set->GetDescription(first.Out()));
  EXPECT_FALSE(first.IsNull()) << "an empty text is no null text";
  std::u16string text = u"<exception Message=\"No \"file\"\r\n\">";
  create->SetDescription(text.data());
  text[0] = u'!';  // the object keeps its own copy

  ASSERT_EQ(S_OK, SetErrorInfo(0, set.Get()));
  ComPtr<IErrorInfo> info;
  ASSERT_EQ(S_OK, GetErrorInfo(0, info.GetAddressOf()));
  EXPECT_EQ(set.Get(), info.Get());
  EXPECT_EQ(S_FALSE, GetErrorInfo(0, info.ReleaseAndGetAddressOf())) << "taking the object clears it";
  EXPECT_EQ(nullptr, info.Get());
  EXPECT_EQ(S_OK, set->GetDescription(first.Out()));
  EXPECT_EQ(S_OK, set->GetDescription(second.Out()));
  EXPECT_EQ(u"<exception Message=\"No \"file\"\r\n\">", first.View());
  EXPECT_NE(first.Get(), second.Get()) << "each getter hands out a new BSTR";
}

TEST(ErrorInfo, EachThreadHoldsOneReferenceToItsOwnAndItsOwnLastError) {
  const ThreadErrorInfoGuard guard;
  SetLastError(ERROR_ACCESS_DENIED);
  const ComPtr<IErrorInfo> first = NewErrorInfo(), second = NewErrorInfo();
  ASSERT_EQ(S_OK, SetErrorInfo(0, first.Get()));
  EXPECT_EQ(2u, References(first.Get()));
  ASSERT_EQ(S_OK, SetErrorInfo(0, second.Get()));
  EXPECT_EQ(1u, References(first.Get())) << "a new object replaces and releases the old";
  HRESULT workerSaw = E_FAIL;
  DWORD workerLastError = 99;
  std::thread([&] {
    workerLastError = GetLastError();
    SetLastError(ERROR_FILE_NOT_FOUND);
    IErrorInfo* seen = static_cast<IErrorInfo*>(kSentinel);
    workerSaw = GetErrorInfo(0, &seen) == S_FALSE && seen == nullptr ? S_FALSE : E_UNEXPECTED;
    SetErrorInfo(0, first.Get());  // left on the thread, released when it ends
  }).join();
  EXPECT_EQ(S_FALSE, workerSaw);
  EXPECT_EQ(ERROR_SUCCESS, workerLastError);
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_EQ(1u, References(first.Get())) << "a thread's object goes with the thread";
  IErrorInfo* out = nullptr;
  ASSERT_EQ(S_OK, GetErrorInfo(0, &out));
  EXPECT_EQ(second.Get(), out);
  EXPECT_EQ(2u, References(second.Get())) << "the thread's reference passes to the caller";
  out->Release();
  ASSERT_EQ(S_OK, SetErrorInfo(0, first.Get()));
  ASSERT_EQ(S_OK, SetErrorInfo(0, nullptr));
  EXPECT_EQ(1u, References(first.Get())) << "clearing releases";
}

}  // namespace
