// The owner of one object of CoreFoundation's kind, which a call hands over in an argument.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace velmora {

template <typename Reference>
class OwnedReference {
 public:
  OwnedReference() = default;
  OwnedReference(const OwnedReference&) = delete;
  OwnedReference& operator=(const OwnedReference&) = delete;
  ~OwnedReference() {
    if (reference_ != nullptr) CFRelease(reference_);
  }

  Reference* out() { return &reference_; }
  Reference get() const { return reference_; }

 private:
  Reference reference_ = nullptr;
};

}  // namespace velmora
