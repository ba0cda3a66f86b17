#pragma once

#include <memory>

namespace orvik {

/// Gives an object back with the function that its library has for that.
template <auto release>
struct ReleaseWith {
  template <typename Object>
  void operator()(Object* object) const {
    release(object);
  }
};

/// Owns an object of a C library: `CHandle<DIR, closedir>`.
template <typename Object, auto release>
using CHandle = std::unique_ptr<Object, ReleaseWith<release>>;

}  // namespace orvik
