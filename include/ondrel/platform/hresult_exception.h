// The platform's own failure, raised where a Windows library would raise an HRESULT (AtlThrow):
// memory exhaustion while building a BSTR, a code-page conversion that can't be done. It is not one of
// the core's exceptions, so it reaches the interface frame as an unknown error.
#pragma once

#include <exception>

#include "ondrel/platform/wintypes.h"

namespace ondrel::platform {

class HResultException : public std::exception {
 public:
  explicit HResultException(HRESULT hr) : hr_(hr) {}
  HRESULT Result() const { return hr_; }
  const char* what() const noexcept override { return "The platform raised a failure HRESULT."; }

 private:
  HRESULT hr_;
};

// Throws HResultException(hr) when hr is a failure.
inline void ThrowIfFailed(HRESULT hr) {
  if (FAILED(hr)) throw HResultException(hr);
}

}  // namespace ondrel::platform
