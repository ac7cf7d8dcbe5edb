#include "ondrel/platform/com.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

namespace {

using ondrel::platform::ComObject;
using ondrel::platform::ComObjectsAndLocks;
using ondrel::platform::ComPtr;

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

struct IColoured : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A40003");
  virtual int Colour() = 0;

 protected:
  ~IColoured() = default;
};

class Square final : public ComObject<IPolygon, IColoured> {
 public:
  explicit Square(bool* destroyed = nullptr) : destroyed_(destroyed) {}
  ~Square() override {
    if (destroyed_) *destroyed_ = true;
  }
  int Sides() override { return 4; }
  int Colour() override { return 7; }

 private:
  bool* destroyed_;
};

constexpr CLSID kSquareClass = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A4C001");
constexpr CLSID kOtherClass = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A4C002");
constexpr CLSID kNeverRegistered = MakeGuid("6C1D0E2A-1F35-4C7B-9E0A-3B52D1A4C0FF");

// Removes a class from the process-wide table when the test ends.
class ClassRemoval {
 public:
  explicit ClassRemoval(REFCLSID clsid) : clsid_(clsid) {}
  ~ClassRemoval() { RemoveClassFromTable(clsid_); }
  ClassRemoval(const ClassRemoval&) = delete;
  ClassRemoval& operator=(const ClassRemoval&) = delete;

 private:
  CLSID clsid_;
};

// A factory that answers every request with a fixed failure, or, when `reenter` is set, removes its
// own class and creates a Square through the table while it runs.
class TestFactory final : public ComObject<IClassFactory> {
 public:
  TestFactory(HRESULT answer, bool* destroyed, bool reenter = false)
      : ComObject(NotCounted{}), answer_(answer), destroyed_(destroyed), reenter_(reenter) {}
  ~TestFactory() override { *destroyed_ = true; }
  HRESULT CreateInstance(IUnknown*, REFIID riid, void** ppv) override {
    if (!reenter_) {
      *ppv = this;  // a misbehaving factory: the table must still hand out null
      return answer_;
    }
    bool* destroyed = destroyed_;
    EXPECT_EQ(S_OK, RemoveClassFromTable(kOtherClass));
    EXPECT_FALSE(*destroyed) << "the factory must outlive its removal while it runs";
    return CoCreateInstance(kSquareClass, nullptr, CLSCTX_INPROC_SERVER, riid, ppv);
  }
  HRESULT LockServer(BOOL) override { return S_OK; }

 private:
  HRESULT answer_;
  bool* destroyed_;
  bool reenter_;
};

void* const kSentinel = reinterpret_cast<void*>(std::uintptr_t{0x5A5A});

std::u16string GuidText(const GUID& guid) {
  OLECHAR text[39];
  EXPECT_EQ(39, StringFromGUID2(guid, text, 39));
  return text;
}

TEST(Guid, TextIsUpperCaseInBracesAndReadsBack) {
  struct Row {
    GUID guid;
    const char16_t* text;
  };
  // The published identifiers of IUnknown, IClassFactory and IErrorInfo, written field by field.
  const Row rows[] = {
      {{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}, u"{00000000-0000-0000-C000-000000000046}"},
      {{0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}, u"{00000001-0000-0000-C000-000000000046}"},
      {{0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}},
       u"{1CF2B120-547D-101B-8E65-08002B2BD119}"},
  };
  EXPECT_EQ(rows[0].guid, IID_IUnknown);
  EXPECT_EQ(rows[1].guid, IID_IClassFactory);
  for (const Row& row : rows) {
    EXPECT_EQ(row.text, GuidText(row.guid));
    std::u16string lower = row.text;
    for (char16_t& c : lower)
      if (c >= u'A' && c <= u'F') c = static_cast<char16_t>(c - u'A' + u'a');
    for (const std::u16string& text : {std::u16string(row.text), lower}) {
      CLSID read{};
      EXPECT_EQ(S_OK, CLSIDFromString(text.c_str(), &read));
      EXPECT_EQ(row.guid, read);
    }
  }
  OLECHAR small[38] = {u'x'};
  EXPECT_EQ(0, StringFromGUID2(IID_IUnknown, small, 38));
  EXPECT_EQ(u'x', small[0]);
}

TEST(Guid, MalformedTextIsRefusedAndLeavesTheResult) {
  const char16_t* rows[] = {
      u"",
      u"00000000-0000-0000-C000-000000000046",     // no braces
      u"{00000000-0000-0000-C000-000000000046",    // no closing brace
      u"{00000000-0000-0000-C000-000000000046}x",  // trailing character
      u"{0000000-00000-0000-C000-000000000046}",   // dash out of place
      u"{0000000G-0000-0000-C000-000000000046}",   // not a hex digit
      u"{00000000-0000-0000-C000-00000000046}",    // one digit short
  };
  for (const char16_t* text : rows) {
    CLSID read = IID_IClassFactory;
    EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromString(text, &read)) << std::u16string(text).size();
    EXPECT_EQ(IID_IClassFactory, read);
  }
  CLSID read{};
  EXPECT_EQ(E_POINTER, CLSIDFromString(nullptr, &read));
  EXPECT_EQ(E_POINTER, CLSIDFromString(u"{00000000-0000-0000-C000-000000000046}", nullptr));
}

TEST(ComObject, LastReleaseDestroysAndModuleCountFollows) {
  const long before = ComObjectsAndLocks();
  bool destroyed = false;
  {
    ComPtr<Square> square = ComPtr<Square>::Make(&destroyed);
    EXPECT_EQ(before + 1, ComObjectsAndLocks());
    ComPtr<Square> copy = square;
    EXPECT_EQ(3u, square->AddRef());
    EXPECT_EQ(2u, square->Release());
    copy.Reset();
    EXPECT_EQ(2u, square->AddRef());
    EXPECT_EQ(1u, square->Release());
    EXPECT_FALSE(destroyed);
  }
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(before, ComObjectsAndLocks());
}

TEST(ComObject, QueryInterfaceKeepsIdentityAndAnswersTheChain) {
  ComPtr<Square> square = ComPtr<Square>::Make();
  IPolygon* polygon = square.Get();
  IColoured* coloured = square.Get();

  ComPtr<IUnknown> fromPolygon, fromColoured;
  ASSERT_EQ(S_OK, polygon->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(fromPolygon.GetAddressOf())));
  ASSERT_EQ(S_OK, coloured->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(fromColoured.GetAddressOf())));
  EXPECT_EQ(fromPolygon.Get(), fromColoured.Get());

  ComPtr<IShape> shape;
  ASSERT_EQ(S_OK, coloured->QueryInterface(IShape::kIid, reinterpret_cast<void**>(shape.GetAddressOf())));
  EXPECT_EQ(static_cast<IShape*>(polygon), shape.Get());
  EXPECT_EQ(4, shape->Sides());
  ComPtr<IColoured> back;
  ASSERT_EQ(S_OK, shape.As(&back));
  EXPECT_EQ(7, back->Colour());
  EXPECT_EQ(6u, square->AddRef());  // square, two IUnknowns, shape, back, and this one
  square->Release();

  void* out = kSentinel;
  EXPECT_EQ(E_NOINTERFACE, polygon->QueryInterface(IID_IClassFactory, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(E_POINTER, polygon->QueryInterface(IID_IUnknown, nullptr));
  EXPECT_EQ(6u, square->AddRef()) << "a failed query must not keep a reference";
  square->Release();
}

TEST(ClassTable, FailuresComeInOrderAndLeaveNull) {
  ComPtr<Square> square = ComPtr<Square>::Make();
  IUnknown* outer = static_cast<IPolygon*>(square.Get());
  void* out = kSentinel;
  EXPECT_EQ(E_POINTER, CoCreateInstance(kNeverRegistered, nullptr, CLSCTX_ALL, IID_IUnknown, nullptr));
  EXPECT_EQ(MakeHResult(0x80040110), CoCreateInstance(kNeverRegistered, outer, CLSCTX_ALL, IID_IUnknown, &out));
  EXPECT_EQ(nullptr, out);
  out = kSentinel;
  EXPECT_EQ(MakeHResult(0x80040154), CoCreateInstance(kNeverRegistered, nullptr, CLSCTX_ALL, IID_IUnknown, &out));
  EXPECT_EQ(nullptr, out);
  out = kSentinel;
  EXPECT_EQ(REGDB_E_CLASSNOTREG, CoGetClassObject(kNeverRegistered, CLSCTX_ALL, nullptr, IID_IClassFactory, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(S_FALSE, RemoveClassFromTable(kNeverRegistered));
  EXPECT_EQ(E_POINTER, RegisterClassInTable(kNeverRegistered, nullptr, nullptr));
}

TEST(ClassTable, CreatesRegisteredClassesThroughTheirFactory) {
  ClassRemoval removal(kSquareClass);
  ASSERT_EQ(S_OK, ondrel::platform::RegisterComClass<Square>(kSquareClass, nullptr));
  const long before = ComObjectsAndLocks();

  ComPtr<IColoured> coloured;
  ASSERT_EQ(S_OK, CoCreateInstance(kSquareClass, nullptr, CLSCTX_INPROC_SERVER, IColoured::kIid,
                                   reinterpret_cast<void**>(coloured.GetAddressOf())));
  EXPECT_EQ(7, coloured->Colour());
  EXPECT_EQ(before + 1, ComObjectsAndLocks());
  coloured.Reset();
  void* out = kSentinel;
  EXPECT_EQ(E_NOINTERFACE, CoCreateInstance(kSquareClass, nullptr, CLSCTX_ALL, IID_IClassFactory, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(before, ComObjectsAndLocks()) << "objects that answered nothing must be gone";

  ComPtr<IClassFactory> factory;
  ASSERT_EQ(S_OK, CoGetClassObject(kSquareClass, CLSCTX_ALL, nullptr, IID_IClassFactory,
                                   reinterpret_cast<void**>(factory.GetAddressOf())));
  out = kSentinel;
  EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(factory.Get(), IID_IUnknown, &out));
  EXPECT_EQ(nullptr, out);
  factory->LockServer(TRUE);
  EXPECT_EQ(before + 1, ComObjectsAndLocks());
  factory->LockServer(FALSE);
  EXPECT_EQ(before, ComObjectsAndLocks());
}

TEST(ClassTable, ProgIdRoundTripInTaskMemory) {
  ClassRemoval removal(kSquareClass);
  ASSERT_EQ(S_OK, ondrel::platform::RegisterComClass<Square>(kSquareClass, u"Ondrel.Square.1"));
  LPOLESTR progId = nullptr;
  ASSERT_EQ(S_OK, ProgIDFromCLSID(kSquareClass, &progId));
  // Task memory can grow in place of the caller: realloc keeps the text, free releases it.
  progId = static_cast<LPOLESTR>(CoTaskMemRealloc(progId, 256));
  ASSERT_NE(nullptr, progId);
  EXPECT_EQ(std::u16string(u"Ondrel.Square.1"), progId);
  CoTaskMemFree(progId);
  EXPECT_EQ(nullptr, CoTaskMemRealloc(CoTaskMemAlloc(8), 0));

  CLSID clsid{};
  EXPECT_EQ(S_OK, CLSIDFromProgID(u"ondrel.SQUARE.1", &clsid));
  EXPECT_EQ(kSquareClass, clsid);
  EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromProgID(u"Ondrel.Square", &clsid));

  // Registering again replaces the entry, ProgID included.
  ASSERT_EQ(S_OK, ondrel::platform::RegisterComClass<Square>(kSquareClass, u"Ondrel.Square.2"));
  EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromProgID(u"Ondrel.Square.1", &clsid));
  EXPECT_EQ(S_OK, CLSIDFromProgID(u"Ondrel.Square.2", &clsid));
  ASSERT_EQ(S_OK, ondrel::platform::RegisterComClass<Square>(kSquareClass, nullptr));
  progId = reinterpret_cast<LPOLESTR>(kSentinel);
  EXPECT_EQ(REGDB_E_CLASSNOTREG, ProgIDFromCLSID(kSquareClass, &progId));
  EXPECT_EQ(nullptr, progId);
  EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromProgID(u"Ondrel.Square.2", &clsid));

  EXPECT_EQ(S_OK, RemoveClassFromTable(kSquareClass));
  EXPECT_EQ(S_FALSE, RemoveClassFromTable(kSquareClass));
  EXPECT_EQ(REGDB_E_CLASSNOTREG, ProgIDFromCLSID(kSquareClass, &progId));
}

TEST(ClassTable, HoldsTheFactoryAndPassesOnItsRefusal) {
  ClassRemoval removal(kOtherClass);
  bool destroyed = false;
  ASSERT_EQ(S_OK, RegisterClassInTable(kOtherClass, u"Ondrel.Refusing",
                                       ComPtr<TestFactory>::Make(CLASS_E_CLASSNOTAVAILABLE, &destroyed).Get()));
  EXPECT_FALSE(destroyed) << "the table keeps a reference";
  void* out = kSentinel;
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, CoCreateInstance(kOtherClass, nullptr, CLSCTX_ALL, IID_IUnknown, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(S_OK, RemoveClassFromTable(kOtherClass));
  EXPECT_TRUE(destroyed);
}

TEST(ClassTable, FactoryMayUseTheTableWhileItRuns) {
  ClassRemoval squareRemoval(kSquareClass), otherRemoval(kOtherClass);
  ASSERT_EQ(S_OK, ondrel::platform::RegisterComClass<Square>(kSquareClass, nullptr));
  bool destroyed = false;
  ASSERT_EQ(S_OK, RegisterClassInTable(kOtherClass, nullptr, ComPtr<TestFactory>::Make(S_OK, &destroyed, true).Get()));
  ComPtr<IShape> shape;
  // Created on a thread of its own, so that a table kept locked while the factory runs fails the test
  // instead of hanging it.
  std::promise<HRESULT> created;
  std::future<HRESULT> result = created.get_future();
  std::thread creator([&] {
    created.set_value(CoCreateInstance(kOtherClass, nullptr, CLSCTX_ALL, IShape::kIid,
                                       reinterpret_cast<void**>(shape.GetAddressOf())));
  });
  if (result.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
    ADD_FAILURE() << "creation never returned: the class table stayed locked while the factory ran";
    std::abort();
  }
  creator.join();
  ASSERT_EQ(S_OK, result.get());
  EXPECT_EQ(4, shape->Sides());
  EXPECT_TRUE(destroyed) << "removed during creation, released once creation ended";
}

}  // namespace
