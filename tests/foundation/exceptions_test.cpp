#include "foundation/exceptions.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>

#include "ondrel/platform/errorinfo.h"
#include "test_files.h"

namespace {

using foundation_test::WhatOf;
using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

std::u16string Serialized(const MyException& exception) { return BStr::Attach(exception.Serialize()).ToString(); }

constexpr IID kCall = MakeGuid("5A1C0DE0-0000-4000-8000-00000000F001");

// An outside object that leaves error information for failed calls on `kCall` only.
struct Service final : ondrel::platform::ComObject<ISupportErrorInfo> {
  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override { return riid == kCall ? S_OK : S_FALSE; }
};

// Leaves `description` as the thread's error information; clears what is left at the end.
struct ThreadError {
  explicit ThreadError(const char16_t* description) {
    ComPtr<ICreateErrorInfo> create;
    ComPtr<IErrorInfo> info;
    CreateErrorInfo(create.GetAddressOf());
    create->SetDescription(const_cast<LPOLESTR>(description));
    create.As(&info);
    SetErrorInfo(0, info.Get());
  }
  ~ThreadError() { SetErrorInfo(0, nullptr); }
};

constexpr char16_t kRemote[] = u"<exception Message=\"Store failed\" SqlErrors=\"2601\"></exception>";

TEST(MyExceptionTest, SerialisesAsNestedElementsUnescapedAndWidened) {
  const MyException inner("a \"quoted\" <b> & c\r\nnext \xB0");
  const MyException outer(u"Cannot show the image.", MyException("Cannot parse the file.", inner));
  EXPECT_EQ(Serialized(outer),
            u"<exception Message=\"Cannot show the image.\"><exception Message=\"Cannot parse the file.\">"
            u"<exception Message=\"a \"quoted\" <b> & c\r\nnext \u00B0\"></exception></exception></exception>");
  EXPECT_STREQ(MyException(u"40 \u00B0").what(), "40 \xB0");
  EXPECT_STREQ(MyException(static_cast<const char*>(nullptr)).what(), "Unknown exception");
}

TEST(SerializableExceptionTest, TakesTheDescriptionOnlyWhereTheObjectSupportsIt) {
  const ComPtr<Service> supporting = ComPtr<Service>::Make();
  ComPtr<ICreateErrorInfo> plain;  // an object without ISupportErrorInfo
  CreateErrorInfo(plain.GetAddressOf());
  const std::tuple<const char*, IUnknown*, IID, bool, const char16_t*> rows[] = {
      // what, object, interface of the failed call, error left, details and serialised text (null when empty)
      {"a supporting object", supporting.Get(), kCall, true, kRemote},
      {"no object", nullptr, kCall, true, u""},
      {"an object without ISupportErrorInfo", plain.Get(), kCall, true, u""},
      {"an object that does not support the call", supporting.Get(), IID_IUnknown, true, u""},
      {"a supporting object that left no error", supporting.Get(), kCall, false, u""},
  };
  for (const auto& [what, object, iid, errorLeft, details] : rows) {
    std::optional<ThreadError> error;
    if (errorLeft) error.emplace(kRemote);
    const SerializableException exception("COM method failed.", object, iid);
    EXPECT_EQ(exception.Details(), details) << what;
    const BStr text = BStr::Attach(exception.Serialize());
    EXPECT_EQ(text.IsNull() ? u"(null)" : text.ToString(), *details ? details : u"(null)") << what;
    ComPtr<IErrorInfo> left;
    EXPECT_EQ(GetErrorInfo(0, left.GetAddressOf()) == S_OK, errorLeft && *details == u'\0')
        << what << ": the error is taken only when used";
  }
}

TEST(SerializableExceptionTest, CopyPathSlicesOwningPathKeepsDetailsForTextAndReport) {
  const SerializableException remote("Store failed locally.", std::u16string(kRemote));
  const MyException copied("Cannot save the series.", remote);
  EXPECT_EQ(Serialized(copied), u"<exception Message=\"Cannot save the series.\">"
                                u"<exception Message=\"Store failed locally.\"></exception></exception>");
  const MyException owning("Cannot save the series.", std::make_unique<SerializableException>(remote));
  EXPECT_EQ(Serialized(owning),
            std::u16string(u"<exception Message=\"Cannot save the series.\">") + kRemote + u"</exception>");
  EXPECT_EQ(Serialized(MyException(owning)), Serialized(copied)) << "copying the whole chain slices it too";
  // The report: outermost first, details after their message, no line for an empty inner message.
  EXPECT_EQ(ReportText(owning), u"Cannot save the series.\r\nStore failed locally.\r\n" + std::u16string(kRemote));
  EXPECT_EQ(ReportText(MyException("Outer.", MyException(""))), u"Outer.");
}

TEST(ThrowIdiomTest, NamesTheBareSourceFileAndLine) {
  int line = __LINE__ + 1;  // the message cut at its buffer of 16
  EXPECT_EQ(WhatOf([] { THROW_MY_EXCEPTION_F(16, "Cannot find the %s setting key.", "DICOMfiles"); }),
            "Cannot find the File=exceptions_test.cpp, Line=" + std::to_string(line));
  line = __LINE__ + 1;
  EXPECT_EQ(WhatOf([] { CHECK_COM_CALL(E_FAIL, nullptr, kCall); }),
            "COM method failed. HRESULT=80004005, File=exceptions_test.cpp, Line=" + std::to_string(line));
  EXPECT_NO_THROW(CHECK_COM_CALL(S_FALSE, nullptr, kCall));
}

TEST(CheckedArithmeticTest, OverflowLeavesTheResultUntouched) {
  ULONG result = 7;
  EXPECT_EQ(ULongMult(0x10000u, 0xFFFFu, &result), S_OK);
  EXPECT_EQ(ULongAdd(0xFFFFFFFFu, 1, &result), INTSAFE_E_ARITHMETIC_OVERFLOW);
  EXPECT_EQ(ULongMult(0x10000u, 0x10000u, &result), INTSAFE_E_ARITHMETIC_OVERFLOW);
  EXPECT_EQ(result, 0xFFFF0000u);
}

}  // namespace
