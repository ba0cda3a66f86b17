#pragma once

// As Clang's documentation of automatic reference counting declares them.
extern "C" void* objc_autoreleasePoolPush();
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace orvik {

/// Frees at its end what the system's frameworks have set aside on this thread meanwhile. Threads
/// that are not the system's own have nobody else who does, and would gather it until they end.
class AutoreleasePool {
 public:
  AutoreleasePool() : pool(objc_autoreleasePoolPush()) {}
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;
  ~AutoreleasePool() { objc_autoreleasePoolPop(pool); }

 private:
  void* pool;
};

}  // namespace orvik
