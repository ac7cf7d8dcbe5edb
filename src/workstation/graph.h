// The lifetime and the properties of the workstation's information objects.
//
// Objects linked into one graph (patient, studies, series, images) form a family that counts the
// references to all of its members together: the graph lives while anyone holds any of its objects,
// and dies as a whole. So an image keeps its series alive and a series its images, without the
// reference cycle that two-way links between ordinary COM objects would make.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ondrel/workstation.h"

namespace ondrel::workstation {

class GraphNode;

struct Family {
  ULONG references = 0;
  std::vector<GraphNode*> members;
};

class GraphNode {
 public:
  GraphNode();
  virtual ~GraphNode();
  GraphNode(const GraphNode&) = delete;
  GraphNode& operator=(const GraphNode&) = delete;

  ULONG AddFamilyReference();
  ULONG ReleaseFamilyReference();
  // The object as the IUnknown of its interface.
  virtual IUnknown* Unknown() = 0;

 protected:
  // Makes `child` one of this node's children, last in order, taking it from a former parent, and
  // joins the two families. S_FALSE when it is a child here already.
  HRESULT Adopt(GraphNode& child);
  GraphNode* Parent() const;
  std::vector<GraphNode*> Children() const;
  // The children as a new VT_UNKNOWN vector from index 0.
  HRESULT ChildVector(SAFEARRAY** result) const;

  template <class ChildImpl, class ChildInterface>
  HRESULT AdoptChild(ChildInterface* child) {
    if (child == nullptr) return E_POINTER;
    auto* impl = dynamic_cast<ChildImpl*>(child);
    // Only objects of this library can be linked: a foreign object has no family to join.
    return impl != nullptr ? Adopt(*impl) : E_INVALIDARG;
  }
  template <class ParentImpl, class ParentInterface>
  HRESULT GetParentAs(ParentInterface** parent) const {
    if (parent == nullptr) return E_POINTER;
    auto* impl = dynamic_cast<ParentImpl*>(Parent());
    *parent = impl;
    if (impl == nullptr) return OLE_E_BLANK;
    impl->AddRef();
    return S_OK;
  }

 private:
  static void JoinLocked(GraphNode& a, GraphNode& b);

  Family* family_;
  GraphNode* parent_ = nullptr;
  std::vector<GraphNode*> children_;
};

// A COM object of the graph that implements one interface.
template <class Interface>
class GraphObject : public Interface, public GraphNode {
 public:
  HRESULT QueryInterface(REFIID riid, void** ppvObject) override {
    if (ppvObject == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == Interface::kIid) {
      *ppvObject = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    *ppvObject = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return AddFamilyReference(); }
  ULONG Release() override { return ReleaseFamilyReference(); }
  IUnknown* Unknown() override { return static_cast<Interface*>(this); }
};

// Property values; empty means never set ("not available").
using TextProperty = std::optional<std::u16string>;
template <class T>
using ScalarProperty = std::optional<T>;
using PairProperty = std::optional<std::pair<double, double>>;

HRESULT GetProperty(const TextProperty& property, BSTR* value);
HRESULT SetProperty(TextProperty& property, BSTR value);
HRESULT GetProperty(const PairProperty& property, double* first, double* second);
HRESULT SetProperty(PairProperty& property, double first, double second);

template <class T>
HRESULT GetProperty(const ScalarProperty<T>& property, T* value) {
  if (value == nullptr) return E_POINTER;
  *value = property.value_or(T{});
  return property ? S_OK : kPropertyNotAvailable;
}
// A slope: 1.0 while not available.
struct SlopeProperty {
  std::optional<double> value;
};
inline HRESULT GetProperty(const SlopeProperty& property, double* value) {
  if (value == nullptr) return E_POINTER;
  *value = property.value.value_or(1.0);
  return property.value ? S_OK : kPropertyNotAvailable;
}
inline HRESULT SetProperty(SlopeProperty& property, double value) {
  property.value = value;
  return S_OK;
}

template <class T>
HRESULT SetProperty(ScalarProperty<T>& property, T value) {
  property = value;
  return S_OK;
}

}  // namespace ondrel::workstation

// Member declarations and definitions of a property list (see ondrel/workstation.h).
#define ONDREL_STORAGE_TEXT TextProperty
#define ONDREL_STORAGE_USHORT ScalarProperty<USHORT>
#define ONDREL_STORAGE_SHORT ScalarProperty<SHORT>
#define ONDREL_STORAGE_LONG ScalarProperty<LONG>
#define ONDREL_STORAGE_DOUBLE ScalarProperty<double>
#define ONDREL_STORAGE_SLOPE SlopeProperty
#define ONDREL_STORAGE_DATE ScalarProperty<DATE>
#define ONDREL_STORAGE_BOOL ScalarProperty<VARIANT_BOOL>
#define ONDREL_STORAGE_PAIR PairProperty

#define ONDREL_IMPLEMENT_PROPERTY_PAIR(Name)                                                                    \
  HRESULT Get##Name(double* first, double* second) override { return GetProperty(Name##_, first, second); } \
  HRESULT Set##Name(double first, double second) override { return SetProperty(Name##_, first, second); }  \
  PairProperty Name##_;
#define ONDREL_IMPLEMENT_PROPERTY_SCALAR(Kind, Name)                                                   \
  HRESULT Get##Name(ONDREL_PROPERTY_TYPE_##Kind* value) override { return GetProperty(Name##_, value); } \
  HRESULT Set##Name(ONDREL_PROPERTY_TYPE_##Kind value) override { return SetProperty(Name##_, value); }  \
  ONDREL_STORAGE_##Kind Name##_;
#define ONDREL_IMPLEMENT_PROPERTY_TEXT(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(TEXT, Name)
#define ONDREL_IMPLEMENT_PROPERTY_USHORT(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(USHORT, Name)
#define ONDREL_IMPLEMENT_PROPERTY_SHORT(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(SHORT, Name)
#define ONDREL_IMPLEMENT_PROPERTY_LONG(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(LONG, Name)
#define ONDREL_IMPLEMENT_PROPERTY_DOUBLE(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(DOUBLE, Name)
#define ONDREL_IMPLEMENT_PROPERTY_SLOPE(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(SLOPE, Name)
#define ONDREL_IMPLEMENT_PROPERTY_DATE(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(DATE, Name)
#define ONDREL_IMPLEMENT_PROPERTY_BOOL(Name) ONDREL_IMPLEMENT_PROPERTY_SCALAR(BOOL, Name)
#define ONDREL_IMPLEMENT_PROPERTY(Kind, Name) ONDREL_IMPLEMENT_PROPERTY_##Kind(Name)
