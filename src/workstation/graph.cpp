#include "workstation/graph.h"

#include <algorithm>

namespace ondrel::workstation {
namespace {

// One lock for every family: links and counts change together, and these objects are made and
// read far less often than pixels are, so contention does not matter.
std::mutex& GraphMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

GraphNode::GraphNode() : family_(new Family) { family_->members.push_back(this); }

GraphNode::~GraphNode() = default;

ULONG GraphNode::AddFamilyReference() {
  const std::lock_guard lock(GraphMutex());
  return ++family_->references;
}

ULONG GraphNode::ReleaseFamilyReference() {
  std::vector<GraphNode*> doomed;
  Family* family = nullptr;
  ULONG left = 0;
  {
    const std::lock_guard lock(GraphMutex());
    left = --family_->references;
    if (left == 0) {
      family = family_;
      doomed.swap(family_->members);
    }
  }
  for (GraphNode* member : doomed) delete member;
  delete family;
  return left;
}

void GraphNode::JoinLocked(GraphNode& a, GraphNode& b) {
  Family* big = a.family_;
  Family* small = b.family_;
  if (big == small) return;
  if (big->members.size() < small->members.size()) std::swap(big, small);
  for (GraphNode* member : small->members) {
    member->family_ = big;
    big->members.push_back(member);
  }
  big->references += small->references;
  delete small;
}

HRESULT GraphNode::Adopt(GraphNode& child) {
  const std::lock_guard lock(GraphMutex());
  if (child.parent_ == this) return S_FALSE;
  if (child.parent_ != nullptr) std::erase(child.parent_->children_, &child);
  child.parent_ = this;
  children_.push_back(&child);
  JoinLocked(*this, child);
  return S_OK;
}

GraphNode* GraphNode::Parent() const {
  const std::lock_guard lock(GraphMutex());
  return parent_;
}

std::vector<GraphNode*> GraphNode::Children() const {
  const std::lock_guard lock(GraphMutex());
  return children_;
}

HRESULT GraphNode::ChildVector(SAFEARRAY** result) const {
  if (result == nullptr) return E_POINTER;
  const std::vector<GraphNode*> children = Children();
  *result = SafeArrayCreateVector(VT_UNKNOWN, 0, static_cast<ULONG>(children.size()));
  if (*result == nullptr) return E_OUTOFMEMORY;
  for (LONG i = 0; i < static_cast<LONG>(children.size()); ++i) {
    const HRESULT hr = SafeArrayPutElement(*result, &i, children[static_cast<std::size_t>(i)]->Unknown());
    if (FAILED(hr)) {
      SafeArrayDestroy(*result);
      *result = nullptr;
      return hr;
    }
  }
  return S_OK;
}

HRESULT GetProperty(const TextProperty& property, BSTR* value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  if (!property) return kPropertyNotAvailable;
  *value = SysAllocStringLen(property->data(), static_cast<UINT>(property->size()));
  return *value != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT SetProperty(TextProperty& property, BSTR value) {
  property = value != nullptr ? std::u16string(value, SysStringLen(value)) : std::u16string();
  return S_OK;
}

HRESULT GetProperty(const PairProperty& property, double* first, double* second) {
  if (first == nullptr || second == nullptr) return E_POINTER;
  *first = property ? property->first : 0.0;
  *second = property ? property->second : 0.0;
  return property ? S_OK : kPropertyNotAvailable;
}

HRESULT SetProperty(PairProperty& property, double first, double second) {
  property = std::make_pair(first, second);
  return S_OK;
}

}  // namespace ondrel::workstation
