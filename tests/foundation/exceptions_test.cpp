#include "foundation/exceptions.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "ondrel/platform/errorinfo.h"
#include "test_files.h"

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComObject;
using ondrel::platform::ComPtr;
using foundation_test::WhatOf;

std::u16string Serialized(const MyException& exception) { return BStr::Attach(exception.Serialize()).ToString(); }

// An outside object whose failing method leaves error information, as the workstation objects do.
struct IFakeService : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("5A1C0DE0-0000-4000-8000-00000000F001");
  virtual HRESULT DoWork() = 0;

 protected:
  ~IFakeService() = default;
};
inline constexpr IID kOtherIid = MakeGuid("5A1C0DE0-0000-4000-8000-00000000F002");

class FakeService : public ComObject<IFakeService, ISupportErrorInfo> {
 public:
  explicit FakeService(bool supportsErrorInfo) : supportsErrorInfo_(supportsErrorInfo) {}
  HRESULT DoWork() override { return E_FAIL; }
  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override {
    return supportsErrorInfo_ && riid == IFakeService::kIid ? S_OK : S_FALSE;
  }

 private:
  bool supportsErrorInfo_;
};

// The object's identity, as the core holds it.
IUnknown* Unknown(FakeService* service) { return static_cast<IFakeService*>(service); }

// An object that knows nothing of error information.
class PlainService : public ComObject<IFakeService> {
 public:
  HRESULT DoWork() override { return E_FAIL; }
};

// Leaves `description` as the thread's error information, and clears whatever is left at the end.
class ThreadErrorInfo {
 public:
  explicit ThreadErrorInfo(const char16_t* description) {
    ComPtr<ICreateErrorInfo> create;
    EXPECT_EQ(CreateErrorInfo(create.GetAddressOf()), S_OK);
    create->SetDescription(const_cast<LPOLESTR>(description));
    ComPtr<IErrorInfo> info;
    EXPECT_EQ(create.As(&info), S_OK);
    EXPECT_EQ(SetErrorInfo(0, info.Get()), S_OK);
  }
  ~ThreadErrorInfo() { SetErrorInfo(0, nullptr); }
  ThreadErrorInfo(const ThreadErrorInfo&) = delete;
  ThreadErrorInfo& operator=(const ThreadErrorInfo&) = delete;

  static bool Pending() {
    ComPtr<IErrorInfo> info;
    const bool pending = GetErrorInfo(0, info.GetAddressOf()) == S_OK;
    if (pending) SetErrorInfo(0, info.Get());
    return pending;
  }
};

constexpr char16_t kRemoteText[] = u"<exception Message=\"Store failed\" SqlErrors=\"2601\"></exception>";

TEST(MyExceptionTest, ThreeLevelsSerialiseAsNestedElements) {
  const MyException inner("Cannot read the tag.");
  const MyException middle("Cannot parse the file.", inner);
  const MyException outer(u"Cannot show the image.", middle);
  EXPECT_EQ(Serialized(outer),
            u"<exception Message=\"Cannot show the image.\"><exception Message=\"Cannot parse the file.\">"
            u"<exception Message=\"Cannot read the tag.\"></exception></exception></exception>");
  EXPECT_EQ(Serialized(inner), u"<exception Message=\"Cannot read the tag.\"></exception>");
}

TEST(MyExceptionTest, MessageGoesThroughUnescapedAndWidened) {
  const MyException exception("a \"quoted\" <b> & c\r\nnext \xB0");
  EXPECT_EQ(Serialized(exception),
            u"<exception Message=\"a \"quoted\" <b> & c\r\nnext \u00B0\"></exception>");
  EXPECT_STREQ(MyException(u"40 \u00B0").what(), "40 \xB0");
}

TEST(MyExceptionTest, NullMessageReadsUnknownException) {
  const MyException exception(static_cast<const char*>(nullptr));
  EXPECT_STREQ(exception.what(), "Unknown exception");
  EXPECT_EQ(Serialized(exception), u"<exception Message=\"Unknown exception\"></exception>");
  EXPECT_STREQ(MyException(std::string()).what(), "");
}

TEST(SerializableExceptionTest, TakesTheDescriptionTheObjectLeft) {
  const ComPtr<FakeService> service = ComPtr<FakeService>::Make(true);
  const ThreadErrorInfo error(kRemoteText);
  const SerializableException exception("COM method failed.", Unknown(service.Get()), IFakeService::kIid);
  EXPECT_STREQ(exception.what(), "COM method failed.");
  EXPECT_EQ(exception.Details(), kRemoteText);
  EXPECT_EQ(Serialized(exception), kRemoteText);
  EXPECT_FALSE(ThreadErrorInfo::Pending()) << "the description is taken from the thread";
}

TEST(SerializableExceptionTest, WithoutDescriptionSerialisesToNull) {
  const ComPtr<FakeService> supporting = ComPtr<FakeService>::Make(true);
  const ComPtr<FakeService> refusing = ComPtr<FakeService>::Make(false);
  const ComPtr<PlainService> plain = ComPtr<PlainService>::Make();
  struct Row {
    const char* what;
    IUnknown* object;
    IID iid;
    bool errorLeft;
    bool errorStillPending;
  };
  const Row rows[] = {
      {"null object", nullptr, IFakeService::kIid, true, true},
      {"object without ISupportErrorInfo", plain.Get(), IFakeService::kIid, true, true},
      {"object that does not support the interface", Unknown(refusing.Get()), IFakeService::kIid, true, true},
      {"supporting object asked for another interface", Unknown(supporting.Get()), kOtherIid, true, true},
      {"supporting object but no error left", Unknown(supporting.Get()), IFakeService::kIid, false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::optional<ThreadErrorInfo> error;
    if (row.errorLeft) error.emplace(kRemoteText);
    const SerializableException exception("COM method failed.", row.object, row.iid);
    EXPECT_EQ(exception.Details(), u"");
    const BStr text = BStr::Attach(exception.Serialize());
    EXPECT_TRUE(text.IsNull());
    EXPECT_EQ(ThreadErrorInfo::Pending(), row.errorStillPending);
  }
}

TEST(SerializableExceptionTest, CopyPathSlicesAndOwningPathKeepsDetails) {
  const SerializableException remote("Store failed locally.", std::u16string(kRemoteText));

  const MyException copied("Cannot save the series.", remote);
  EXPECT_EQ(Serialized(copied), u"<exception Message=\"Cannot save the series.\">"
                                u"<exception Message=\"Store failed locally.\"></exception></exception>");
  EXPECT_EQ(copied.Inner()->Details(), u"");

  const MyException owning("Cannot save the series.", std::make_unique<SerializableException>(remote));
  EXPECT_EQ(Serialized(owning),
            std::u16string(u"<exception Message=\"Cannot save the series.\">") + kRemoteText + u"</exception>");

  const MyException recopied(owning);
  EXPECT_EQ(Serialized(recopied), Serialized(copied)) << "copying the whole chain slices it too";

  const MyException emptyDetail("Outer.", std::make_unique<SerializableException>("Inner.", std::u16string()));
  EXPECT_EQ(Serialized(emptyDetail), u"<exception Message=\"Outer.\"></exception>");
}

TEST(ReportTextTest, ChainOutermostFirstWithDetails) {
  EXPECT_EQ(ReportText(MyException("Only one.")), u"Only one.");

  const MyException chain("Outer \xB0.", std::make_unique<MyException>(
                                             "Middle.", std::make_unique<SerializableException>(
                                                            "Inner.", std::u16string(u"remote detail"))));
  EXPECT_EQ(ReportText(chain), u"Outer \u00B0.\r\nMiddle.\r\nInner.\r\nremote detail");

  // An inner failure with nothing to say adds no empty line.
  EXPECT_EQ(ReportText(MyException("Outer.", MyException(""))), u"Outer.");
}

TEST(ThrowIdiomTest, NamesTheBareSourceFileAndLine) {
  int line = 0;
  std::string what = WhatOf([&] {
    line = __LINE__ + 1;
    THROW_MY_EXCEPTION("The buffer is too small.");
  });
  EXPECT_EQ(what, "The buffer is too small. File=exceptions_test.cpp, Line=" + std::to_string(line));
  what = WhatOf([&] {
    line = __LINE__ + 1;
    THROW_MY_EXCEPTION_F(256, "Cannot find the %s setting key.", "DICOMfiles");
  });
  EXPECT_EQ(what, "Cannot find the DICOMfiles setting key. File=exceptions_test.cpp, Line=" + std::to_string(line));
  EXPECT_EQ(WhatOf([] { ThrowFormatted("m", "no_folder.cpp", 7); }), "m File=no_folder.cpp, Line=7");
}

TEST(ThrowIdiomTest, BuffersCutLongMessages) {
  const std::string longText(2000, 'x');
  EXPECT_EQ(WhatOf([&] { ThrowFormattedMessage(256, "/src/a.cpp", 3, "%s", longText.c_str()); }),
            std::string(255, 'x') + " File=a.cpp, Line=3");
  EXPECT_EQ(WhatOf([&] { ThrowFormatted(longText.c_str(), "/src/a.cpp", 3); }), std::string(1023, 'x'));
}

TEST(ThrowIdiomTest, ComFailureCarriesTheObjectsDescription) {
  const ComPtr<FakeService> service = ComPtr<FakeService>::Make(true);
  const ThreadErrorInfo error(kRemoteText);
  int line = 0;
  try {
    line = __LINE__ + 1;
    CHECK_COM_CALL(service->DoWork(), Unknown(service.Get()), IFakeService::kIid);
    ADD_FAILURE() << "a failed call must throw";
  } catch (const SerializableException& e) {
    EXPECT_EQ(std::string(e.what()),
              "COM method failed. HRESULT=80004005, File=exceptions_test.cpp, Line=" + std::to_string(line));
    EXPECT_EQ(e.Details(), kRemoteText);
  }
  EXPECT_NO_THROW(CHECK_COM_CALL(S_FALSE, Unknown(service.Get()), IFakeService::kIid));
}

TEST(CheckedArithmeticTest, OverflowLeavesTheResultUntouched) {
  struct Row {
    bool add;
    ULONG a;
    ULONG b;
    HRESULT expected;
    ULONG result;
  };
  const Row rows[] = {
      {true, 0xFFFFFFFEu, 1, S_OK, 0xFFFFFFFFu},
      {true, 0xFFFFFFFFu, 1, INTSAFE_E_ARITHMETIC_OVERFLOW, 12345},
      {false, 0x10000u, 0xFFFFu, S_OK, 0xFFFF0000u},
      {false, 0x10000u, 0x10000u, INTSAFE_E_ARITHMETIC_OVERFLOW, 12345},
      {false, 0xFFFFFFFFu, 0, S_OK, 0},
  };
  for (const Row& row : rows) {
    ULONG result = 12345;
    EXPECT_EQ(row.add ? ULongAdd(row.a, row.b, &result) : ULongMult(row.a, row.b, &result), row.expected);
    EXPECT_EQ(result, row.result) << row.a << (row.add ? " + " : " * ") << row.b;
  }
}

}  // namespace
