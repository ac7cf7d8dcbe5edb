// The OLE automation types: BSTRs, SAFEARRAYs and automation dates.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/platform/oleauto.h"
#include "ondrel/platform/safearray.h"

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComObjectsAndLocks;
using ondrel::platform::ComPtr;

TEST(Bstr, LengthsAndBytesFollowTheLayout) {
  const std::tuple<const char*, std::function<BSTR()>, std::string> rows[] = {  // bytes in little-endian UTF-16
      {"plain text", [] { return SysAllocString(u"abc"); }, std::string("a\0b\0c\0", 6)},
      {"empty text", [] { return SysAllocString(u""); }, ""},
      {"embedded nulls", [] { return SysAllocStringLen(u"a\0b", 3); }, std::string("a\0\0\0b\0", 6)},
      {"first characters only", [] { return SysAllocStringLen(u"abcdef", 2); }, std::string("a\0b\0", 4)},
      {"zeroes for no source", [] { return SysAllocStringLen(nullptr, 2); }, std::string(4, '\0')},
      {"odd byte count", [] { return SysAllocStringByteLen("abc", 3); }, "abc"},
      {"a copy of an odd byte count",
       [] { const BStr odd = BStr::Attach(SysAllocStringByteLen("ab", 1)); return BStr(odd).Detach(); }, "a"},
  };
  for (const auto& [holds, make, bytes] : rows) {
    const BStr b = BStr::Attach(make());
    ASSERT_FALSE(b.IsNull()) << holds;
    const char* text = reinterpret_cast<const char*>(b.Get());
    DWORD prefix;
    std::memcpy(&prefix, text - 4, 4);
    EXPECT_EQ(bytes.size(), prefix) << holds;
    EXPECT_EQ(bytes.size(), SysStringByteLen(b.Get())) << holds;
    EXPECT_EQ(bytes.size() / 2, SysStringLen(b.Get())) << holds;
    EXPECT_EQ(bytes + std::string(2, '\0'), std::string(text, bytes.size() + 2)) << holds << ": two nulls follow";
  }
}

TEST(Bstr, NullStaysApartFromEmptyAndHugeLengthsAreRefused) {
  EXPECT_EQ(nullptr, SysAllocString(nullptr));
  EXPECT_EQ(0u, SysStringLen(nullptr));
  const BStr empty(u""), null;
  EXPECT_FALSE(BStr(empty).IsNull());
  EXPECT_TRUE(BStr(null).IsNull());
  EXPECT_EQ(nullptr, SysAllocStringLen(nullptr, 0x7FFFFFFFu));  // fits the count, not the block
  EXPECT_EQ(nullptr, SysAllocStringByteLen(nullptr, 0xFFFFFFFFu));
  BSTR b = SysAllocString(u"longer text");
  ASSERT_TRUE(SysReAllocString(&b, b + 7));  // from its own text
  EXPECT_EQ(u"text", std::u16string(b, SysStringLen(b)));
  EXPECT_FALSE(SysReAllocStringLen(&b, nullptr, 0x80000000u));
  EXPECT_EQ(u"text", std::u16string(b, SysStringLen(b))) << "a failure keeps the old text";
  ASSERT_TRUE(SysReAllocString(&b, nullptr));
  EXPECT_EQ(nullptr, b);
}

// An interface element; the module's count of live objects tells whether it is destroyed.
class Thing final : public ondrel::platform::ComObject<ISupportErrorInfo> {
 public:
  HRESULT InterfaceSupportsErrorInfo(REFIID) override { return S_FALSE; }
};

ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

// Destroys an array at the end of a test, dropping one lock a test may have left.
using Array = std::unique_ptr<SAFEARRAY, decltype([](SAFEARRAY* psa) {
                                SafeArrayUnaccessData(psa);
                                SafeArrayDestroy(psa);
                              })>;

TEST(SafeArray, TypesGiveTheirSizesAndFlags) {
  const std::pair<VARTYPE, UINT> rows[] = {
      {VT_I1, 1}, {VT_UI1, 1}, {VT_I2, 2}, {VT_UI2, 2}, {VT_BOOL, 2}, {VT_I4, 4}, {VT_UI4, 4}, {VT_R4, 4},
      {VT_R8, 8}, {VT_DATE, 8}, {VT_BSTR, sizeof(void*)}, {VT_UNKNOWN, sizeof(void*)}, {VT_DISPATCH, sizeof(void*)}};
  for (const auto& [type, size] : rows) {
    const Array array(SafeArrayCreateVector(type, 0, 3));
    ASSERT_NE(nullptr, array) << type;
    VARTYPE vt = VT_EMPTY;
    EXPECT_EQ(S_OK, SafeArrayGetVartype(array.get(), &vt));
    EXPECT_EQ(type, vt);
    // The descriptor in the Windows shape a host reads, with the FADF_HAVEVARTYPE and FADF_BSTR flags.
    EXPECT_EQ(size, SafeArrayGetElemsize(array.get())) << type;
    EXPECT_EQ(type == VT_BSTR ? 0x0180 : 0x0080, array->fFeatures & 0x0180) << type;
  }
  EXPECT_EQ(nullptr, SafeArrayCreateVector(VT_EMPTY, 0, 1));
}

TEST(SafeArray, BoundsAndIndexesCountFromTheLowerBound) {
  // Lower bound, count and upper bound; an empty vector ends one below where it starts.
  const std::tuple<LONG, ULONG, LONG> rows[] = {{0, 0, -1}, {1, 0, 0}, {5, 3, 7}, {-2, 2, -1}, {INT_MIN, 0, INT_MAX}};
  for (const auto& [lower, count, upper] : rows) {
    const Array array(SafeArrayCreateVector(VT_UI1, lower, count));
    LONG bounds[2] = {};
    ASSERT_EQ(S_OK, SafeArrayGetLBound(array.get(), 1, &bounds[0]));
    ASSERT_EQ(S_OK, SafeArrayGetUBound(array.get(), 1, &bounds[1]));
    EXPECT_EQ(lower, bounds[0]);
    EXPECT_EQ(upper, bounds[1]) << lower << " + " << count;
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetUBound(array.get(), 2, &bounds[1]));
  }
  const Array array(SafeArrayCreateVector(VT_I4, 10, 3));
  LONG index = 12, value = -1200, read = 0;
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &index, &value));
  EXPECT_EQ(-1200, static_cast<const LONG*>(array->pvData)[2]) << "index 12 is the third element";
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &index, &read));
  EXPECT_EQ(-1200, read);
  for (LONG bad : {9, 13}) {
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetElement(array.get(), &bad, &read)) << bad;
    EXPECT_EQ(DISP_E_BADINDEX, SafeArrayPutElement(array.get(), &bad, &value)) << bad;
  }
  // The distance from the lower bound must not wrap: INT_MIN is not three past INT_MAX - 1.
  const Array high(SafeArrayCreateVector(VT_I4, INT_MAX - 1, 3));
  LONG wrapped = INT_MIN;
  EXPECT_EQ(DISP_E_BADINDEX, SafeArrayGetElement(high.get(), &wrapped, &read));
}

TEST(SafeArray, BstrElementsAreCopiedInAndOutAndALockedArrayStays) {
  Array array(SafeArrayCreateVector(VT_BSTR, 1, 2));
  LONG first = 1, second = 2;
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &first, BStr(u"CT").Get()));  // freed right after
  BStr a, b;
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &first, a.Out()));
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &first, b.Out()));
  EXPECT_EQ(u"CT", a.View());
  EXPECT_NE(a.Get(), b.Get()) << "each read is the caller's own copy";
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &second, a.Out()));
  EXPECT_TRUE(a.IsNull()) << "elements start as null BSTRs";
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &second, BStr(u"").Get()));
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &second, a.Out()));
  EXPECT_FALSE(a.IsNull()) << "an empty text stays apart from null";

  void* data = nullptr;
  ASSERT_EQ(S_OK, SafeArrayAccessData(array.get(), &data));
  EXPECT_EQ(array->pvData, data);
  ASSERT_EQ(S_OK, SafeArrayAccessData(array.get(), &data));
  // Should an array be destroyed all the same, the guard lets go of it rather than free it twice.
  ASSERT_EQ(DISP_E_ARRAYISLOCKED, SafeArrayDestroy(array.get())) << (array.release(), "destroyed while locked");
  ASSERT_EQ(S_OK, SafeArrayUnaccessData(array.get()));
  ASSERT_EQ(DISP_E_ARRAYISLOCKED, SafeArrayDestroy(array.get())) << (array.release(), "locks nest");
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &first, a.Out()));
  EXPECT_EQ(u"CT", a.View()) << "a locked array keeps its elements";
  ASSERT_EQ(S_OK, SafeArrayUnaccessData(array.get()));
  EXPECT_EQ(E_UNEXPECTED, SafeArrayUnaccessData(array.get()));
  EXPECT_EQ(S_OK, SafeArrayDestroy(array.release()));
}

TEST(SafeArray, InterfaceElementsAreCountedAndReleased) {
  const long before = ComObjectsAndLocks();
  Array array(SafeArrayCreateVector(VT_UNKNOWN, 0, 2));
  LONG index = 0, other = 1;
  IUnknown* thing = static_cast<ISupportErrorInfo*>(new Thing());
  thing->AddRef();
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &index, thing));
  IUnknown* got = nullptr;
  ASSERT_EQ(S_OK, SafeArrayGetElement(array.get(), &index, &got));
  EXPECT_EQ(thing, got);
  EXPECT_EQ(3u, References(thing)) << "the test, the array and the read";
  got->Release();
  thing->Release();
  // Putting the only holder's object again must not release it before taking the new reference.
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &index, thing));
  ASSERT_EQ(before + 1, ComObjectsAndLocks()) << "still held by the array";
  EXPECT_EQ(1u, References(thing));
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &other,  // an object only the array holds
                                      static_cast<ISupportErrorInfo*>(ComPtr<Thing>::Make().Get())));
  ASSERT_EQ(S_OK, SafeArrayPutElement(array.get(), &other, nullptr));
  EXPECT_EQ(before + 1, ComObjectsAndLocks()) << "a replaced element is released";
  ASSERT_EQ(S_OK, SafeArrayDestroy(array.release()));
  EXPECT_EQ(before, ComObjectsAndLocks()) << "destroying the array releases its elements";
}

SYSTEMTIME Make(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int ms = 0) {
  const auto w = [](int field) { return static_cast<WORD>(field); };
  return {w(year), w(month), 0, w(day), w(hour), w(minute), w(second), w(ms)};
}

// "Y-M-D h:m:s.ms weekday" of a date value, or "refused".
std::string Calendar(DATE value) {
  SYSTEMTIME t{};
  t.wMilliseconds = 123;
  if (!VariantTimeToSystemTime(value, &t)) return "refused";
  char text[64];
  std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d.%d w%d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                t.wSecond, t.wMilliseconds, t.wDayOfWeek);
  return text;
}

TEST(VariantTime, KnownDatesBothWaysRoundedToTheSecondWithinTheYears) {
  // Values and weekdays (0 = Sunday) from Python: (date(y, m, d) - date(1899, 12, 30)).days plus or,
  // before the epoch, minus the seconds of the day / 86400; weekday = isoweekday() % 7.
  const std::tuple<const char*, SYSTEMTIME, double, const char*> rows[] = {
      {"the day before the epoch, 06:00", Make(1899, 12, 29, 6), -1.25, "1899-12-29 6:0:0.0 w5"},
      {"last representable second", Make(9999, 12, 31, 23, 59, 59), 2958465.999988426, "9999-12-31 23:59:59.0 w5"},
      {"milliseconds are ignored", Make(2014, 3, 9, 21, 5, 7, 999), 41707.87855324074, "2014-3-9 21:5:7.0 w0"},
      {"a day past the month's end rolls over", Make(2014, 2, 30), 41700.0, "2014-3-2 0:0:0.0 w0"},
  };
  for (const auto& [what, time, expected, calendar] : rows) {
    DATE value = -1e9;
    ASSERT_TRUE(SystemTimeToVariantTime(&time, &value)) << what;
    EXPECT_DOUBLE_EQ(value, expected) << what;
    EXPECT_EQ(Calendar(expected), calendar) << what;
  }
  for (const SYSTEMTIME& t : {Make(2014, 0, 1), Make(2014, 13, 1), Make(2014, 1, 0), Make(2014, 1, 32),
                              Make(2014, 1, 1, 24), Make(2014, 1, 1, 0, 60), Make(2014, 1, 1, 0, 0, 60),
                              Make(99, 12, 31), Make(10000, 1, 1)}) {
    DATE value = 42.0;
    EXPECT_FALSE(SystemTimeToVariantTime(&t, &value)) << t.wYear << "-" << t.wMonth << "-" << t.wDay;
  }
  constexpr double kSecond = 1.0 / 86400.0;
  // Back to the calendar rounded to the second: 23:59:59.9 is the next midnight; before the epoch the
  // fraction still counts forward; the last value below the end rounds into the year 10000.
  const std::pair<double, const char*> rounded[] = {
      {41707.0 + 0.4 * kSecond, "2014-3-9 0:0:0.0 w0"},      {41707.0 + 0.6 * kSecond, "2014-3-9 0:0:1.0 w0"},
      {41707.0 + 86399.9 * kSecond, "2014-3-10 0:0:0.0 w1"}, {-1.99999999, "1899-12-30 0:0:0.0 w6"},
      {-657434.5, "100-1-1 12:0:0.0 w5"},                    {-657435.0, "refused"},
      {2958465.9999999, "refused"},                          {2958466.0, "refused"},
      {std::numeric_limits<double>::quiet_NaN(), "refused"}, {std::numeric_limits<double>::infinity(), "refused"},
  };
  for (const auto& [value, calendar] : rounded) EXPECT_EQ(Calendar(value), calendar) << value;
}

// Every day from 0100-01-01 to 9999-12-31 against a plain Gregorian calendar, each at another second of
// the day (a stride prime to 86400 reaches every second), both ways, with the weekday cycle.
TEST(VariantTime, EveryRepresentableDayAgreesWithAPlainCalendar) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int year = 100, month = 1, day = 1, weekday = 5;  // 0100-01-01 was a Friday
  for (long index = -657434; index <= 2958465; ++index) {
    const int second = static_cast<int>((index * 7919 % 86400 + 86400) % 86400);
    const double expected = static_cast<double>(index) + (index < 0 ? -1 : 1) * second / 86400.0;
    SYSTEMTIME time = Make(year, month, day, second / 3600, second / 60 % 60, second % 60), back{};
    time.wDayOfWeek = static_cast<WORD>(weekday);
    DATE value = 0;
    if (!SystemTimeToVariantTime(&time, &value) || std::abs(value - expected) > 1e-6 ||
        !VariantTimeToSystemTime(expected, &back) || std::memcmp(&time, &back, sizeof time) != 0) {
      ADD_FAILURE() << "day " << index << " (" << year << "-" << month << "-" << day << " w" << weekday << ") second "
                    << second << ": got " << Calendar(expected) << ", " << value;
      break;
    }
    weekday = (weekday + 1) % 7;
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    if (++day > (month == 2 && leap ? 29 : kDays[month - 1])) {
      day = 1;
      if (++month > 12) month = 1, ++year;
    }
  }
  EXPECT_EQ(year, 10000);
}

}  // namespace
