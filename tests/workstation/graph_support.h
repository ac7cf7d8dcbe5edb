// Helpers of the tests that use the workstation's objects: the classes registered for the test's
// lifetime, a linked patient/study/series/image graph, and text conversions.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "foundation/exceptions.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"

namespace workstation_test {

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

// Registers the classes for a test and removes them afterwards.
struct ClassesRegistered {
  ClassesRegistered() { EXPECT_EQ(RegisterWorkstationClasses(), S_OK); }
  ~ClassesRegistered() { UnregisterWorkstationClasses(); }
};

template <class Interface>
ComPtr<Interface> Create(const CLSID& clsid) {
  ComPtr<Interface> object;
  EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, Interface::kIid, reinterpret_cast<void**>(object.GetAddressOf())),
            S_OK);
  return object;
}

struct Graph {
  ComPtr<IPatientInfoNW> patient = Create<IPatientInfoNW>(CLSID_PatientInfoNW);
  ComPtr<IStudyInfoNW> study = Create<IStudyInfoNW>(CLSID_StudyInfoNW);
  ComPtr<ISeriesInfoNW> series = Create<ISeriesInfoNW>(CLSID_SeriesInfoNW);
  ComPtr<IImageInfoNW> image = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  Graph() {
    EXPECT_EQ(patient->AddStudyToPatient(study.Get()), S_OK);
    EXPECT_EQ(study->AddSeriesToStudy(series.Get()), S_OK);
    EXPECT_EQ(series->AddImageToSeries(image.Get()), S_OK);
  }
};

inline std::u16string Wide(const BStr& text) { return text.IsNull() ? u"(null)" : std::u16string(text.Get(), text.Length()); }

template <class Object>
std::u16string ReadText(Object* object, HRESULT (Object::*getter)(BSTR*)) {
  BStr text;
  const HRESULT hr = (object->*getter)(text.Out());
  return hr == S_OK ? Wide(text) : u"(not available)";
}

// The objects of a child vector (GetSeriesImages, GetStudySeries, ...), which it destroys.
template <class Child>
std::vector<ComPtr<Child>> ChildrenOf(SAFEARRAY* array) {
  std::vector<ComPtr<Child>> children;
  LONG lower = 0;
  LONG upper = -1;
  SafeArrayGetLBound(array, 1, &lower);
  SafeArrayGetUBound(array, 1, &upper);
  for (LONG i = lower; i <= upper; ++i) {
    ComPtr<IUnknown> element;
    SafeArrayGetElement(array, &i, element.GetAddressOf());
    ComPtr<Child> child;
    element.As(&child);
    children.push_back(child);
  }
  SafeArrayDestroy(array);
  return children;
}

// The images of a series' vector.
inline std::vector<ComPtr<IImageInfoNW>> ImagesOf(ISeriesInfoNW* series) {
  SAFEARRAY* array = nullptr;
  EXPECT_EQ(series->GetSeriesImages(&array), S_OK);
  return ChildrenOf<IImageInfoNW>(array);
}

// The message of the MyException that `action` throws.
inline std::string MessageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const MyException& e) {
    return e.what();
  }
  return "(nothing was thrown)";
}

}  // namespace workstation_test
