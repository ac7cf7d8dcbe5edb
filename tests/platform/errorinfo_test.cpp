#include "ondrel/platform/errorinfo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComObject;
using ondrel::platform::ComPtr;

// Takes the thread's error object away for the test and puts it back afterwards.
class ThreadErrorInfoGuard {
 public:
  ThreadErrorInfoGuard() { GetErrorInfo(0, saved_.GetAddressOf()); }
  ~ThreadErrorInfoGuard() { SetErrorInfo(0, saved_.Get()); }
  ThreadErrorInfoGuard(const ThreadErrorInfoGuard&) = delete;
  ThreadErrorInfoGuard& operator=(const ThreadErrorInfoGuard&) = delete;

 private:
  ComPtr<IErrorInfo> saved_;
};

// An error object of the test's own that reports its destruction.
class FlaggedErrorInfo final : public ComObject<IErrorInfo> {
 public:
  explicit FlaggedErrorInfo(bool* destroyed) : destroyed_(destroyed) {}
  ~FlaggedErrorInfo() override { *destroyed_ = true; }
  HRESULT GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetDescription(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetHelpContext(DWORD*) override { return E_NOTIMPL; }

 private:
  bool* destroyed_;
};

void* const kSentinel = reinterpret_cast<void*>(std::uintptr_t{0x5A5A});

ComPtr<IErrorInfo> TakeErrorInfo(HRESULT expected) {
  ComPtr<IErrorInfo> taken;
  EXPECT_EQ(expected, GetErrorInfo(0, taken.GetAddressOf()));
  return taken;
}

TEST(ErrorInfo, RoundTripTakesTheObjectAndGettersCopy) {
  ThreadErrorInfoGuard guard;
  ComPtr<ICreateErrorInfo> create;
  ASSERT_EQ(S_OK, CreateErrorInfo(create.GetAddressOf()));
  const std::u16string description = u"<exception Message=\"No \"file\"\r\n\">";
  std::u16string source = u"Ondrel.Test";
  std::u16string mutableDescription = description;
  EXPECT_EQ(S_OK, create->SetGUID(IID_ISupportErrorInfo));
  EXPECT_EQ(S_OK, create->SetSource(source.data()));
  EXPECT_EQ(S_OK, create->SetDescription(mutableDescription.data()));
  EXPECT_EQ(S_OK, create->SetHelpContext(42));
  mutableDescription[0] = u'!';  // the object keeps its own copy

  ComPtr<IErrorInfo> set;
  ASSERT_EQ(S_OK, create.As(&set));
  ASSERT_EQ(S_OK, SetErrorInfo(0, set.Get()));
  const ComPtr<IErrorInfo> info = TakeErrorInfo(S_OK);
  EXPECT_EQ(set.Get(), info.Get());
  EXPECT_EQ(nullptr, TakeErrorInfo(S_FALSE).Get()) << "taking the object clears it";

  GUID guid{};
  DWORD context = 0;
  BStr first, second, gotSource;
  EXPECT_EQ(S_OK, info->GetGUID(&guid));
  EXPECT_EQ(S_OK, info->GetHelpContext(&context));
  EXPECT_EQ(S_OK, info->GetSource(gotSource.Out()));
  EXPECT_EQ(S_OK, info->GetDescription(first.Out()));
  EXPECT_EQ(S_OK, info->GetDescription(second.Out()));
  EXPECT_EQ(IID_ISupportErrorInfo, guid);
  EXPECT_EQ(42u, context);
  EXPECT_EQ(source, gotSource.View());
  EXPECT_EQ(description, first.View());
  EXPECT_EQ(description, second.View());
  EXPECT_NE(first.Get(), second.Get()) << "each getter hands out a new BSTR";
}

TEST(ErrorInfo, NewObjectAnswersTwoInterfacesAndKeepsNullApartFromEmpty) {
  const long before = ondrel::platform::ComObjectsAndLocks();
  ComPtr<ICreateErrorInfo> create;
  ASSERT_EQ(S_OK, CreateErrorInfo(create.GetAddressOf()));
  // Error objects belong to the platform: one left unread must not keep a library loaded.
  EXPECT_EQ(before, ondrel::platform::ComObjectsAndLocks());
  ComPtr<IErrorInfo> info;
  ASSERT_EQ(S_OK, create.As(&info));
  BStr text;
  EXPECT_EQ(S_OK, info->GetDescription(text.Out()));
  EXPECT_TRUE(text.IsNull()) << "a new object holds no text";
  GUID guid = IID_IUnknown;
  EXPECT_EQ(S_OK, info->GetGUID(&guid));
  EXPECT_EQ(GUID_NULL, guid);

  std::u16string empty;
  EXPECT_EQ(S_OK, create->SetDescription(empty.data()));
  EXPECT_EQ(S_OK, info->GetDescription(text.Out()));
  ASSERT_FALSE(text.IsNull());
  EXPECT_EQ(0u, text.Length());
  EXPECT_EQ(S_OK, create->SetDescription(nullptr));
  EXPECT_EQ(S_OK, info->GetDescription(text.Out()));
  EXPECT_TRUE(text.IsNull());
  EXPECT_EQ(E_POINTER, info->GetDescription(nullptr));
  EXPECT_EQ(E_POINTER, info->GetGUID(nullptr));

  // One object behind both interfaces, and no others.
  ComPtr<IUnknown> fromCreate, fromInfo;
  ASSERT_EQ(S_OK, create.As(&fromCreate));
  ASSERT_EQ(S_OK, info.As(&fromInfo));
  EXPECT_EQ(fromCreate.Get(), fromInfo.Get());
  void* out = kSentinel;
  EXPECT_EQ(E_NOINTERFACE, create->QueryInterface(IID_ISupportErrorInfo, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(E_POINTER, CreateErrorInfo(nullptr));
}

TEST(ErrorInfo, ThreadHoldsOneReference) {
  ThreadErrorInfoGuard guard;
  bool firstDestroyed = false, secondDestroyed = false;
  ASSERT_EQ(S_OK, SetErrorInfo(0, ComPtr<FlaggedErrorInfo>::Make(&firstDestroyed).Get()));
  EXPECT_FALSE(firstDestroyed);
  ASSERT_EQ(S_OK, SetErrorInfo(0, ComPtr<FlaggedErrorInfo>::Make(&secondDestroyed).Get()));
  EXPECT_TRUE(firstDestroyed) << "a new object replaces and releases the old";

  IErrorInfo* taken = nullptr;
  ASSERT_EQ(S_OK, GetErrorInfo(0, &taken));
  EXPECT_FALSE(secondDestroyed);
  taken->Release();
  EXPECT_TRUE(secondDestroyed) << "the caller's reference was the last one";

  bool thirdDestroyed = false;
  ASSERT_EQ(S_OK, SetErrorInfo(0, ComPtr<FlaggedErrorInfo>::Make(&thirdDestroyed).Get()));
  ASSERT_EQ(S_OK, SetErrorInfo(0, nullptr));
  EXPECT_TRUE(thirdDestroyed);
  EXPECT_EQ(nullptr, TakeErrorInfo(S_FALSE).Get());
}

TEST(ErrorInfo, BadArgumentsLeaveTheThreadsObject) {
  ThreadErrorInfoGuard guard;
  bool destroyed = false;
  ComPtr<FlaggedErrorInfo> info = ComPtr<FlaggedErrorInfo>::Make(&destroyed);
  ASSERT_EQ(S_OK, SetErrorInfo(0, info.Get()));
  EXPECT_EQ(E_INVALIDARG, SetErrorInfo(1, nullptr));
  EXPECT_EQ(E_POINTER, GetErrorInfo(0, nullptr));
  IErrorInfo* out = static_cast<IErrorInfo*>(kSentinel);
  EXPECT_EQ(E_INVALIDARG, GetErrorInfo(1, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(info.Get(), TakeErrorInfo(S_OK).Get());
}

TEST(ErrorInfo, EachThreadSeesOnlyItsOwn) {
  ThreadErrorInfoGuard guard;
  bool mainDestroyed = false, workerDestroyed = false;
  ComPtr<FlaggedErrorInfo> mainInfo = ComPtr<FlaggedErrorInfo>::Make(&mainDestroyed);
  ASSERT_EQ(S_OK, SetErrorInfo(0, mainInfo.Get()));
  HRESULT workerSaw = E_FAIL;
  std::thread worker([&] {
    IErrorInfo* seen = static_cast<IErrorInfo*>(kSentinel);
    workerSaw = GetErrorInfo(0, &seen);
    if (seen != nullptr) workerSaw = E_UNEXPECTED;
    // Left on the thread, to be released when the thread ends.
    SetErrorInfo(0, ComPtr<FlaggedErrorInfo>::Make(&workerDestroyed).Get());
  });
  worker.join();
  EXPECT_EQ(S_FALSE, workerSaw);
  EXPECT_TRUE(workerDestroyed) << "a thread's object goes with the thread";
  EXPECT_EQ(mainInfo.Get(), TakeErrorInfo(S_OK).Get());
  EXPECT_FALSE(mainDestroyed);
}

}  // namespace
