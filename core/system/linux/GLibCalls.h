#pragma once

#include <gio/gio.h>

#include <chrono>
#include <functional>
#include <memory>

namespace orvik {

/// A reference to an object of GLib's, given up at its end.
struct ReleaseGObject {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using GObjectHolder = std::unique_ptr<Object, ReleaseGObject>;

/// Makes asynchronous calls of GLib's libraries, one at a time, and waits for each, but never
/// longer than it is told. While this lives, its main context is the one of the calling thread, to
/// which it belongs.
class GLibCalls {
 public:
  /// Starts a call, which reports its end to the callback.
  using Start = std::function<void(GCancellable*, GAsyncReadyCallback, gpointer)>;
  using Cancel = std::function<void(GCancellable*)>;

  GLibCalls();
  GLibCalls(const GLibCalls&) = delete;
  GLibCalls& operator=(const GLibCalls&) = delete;
  ~GLibCalls();

  /// The result of a call. When there is none within `limit`, `cancel` is to end the call, and
  /// gets a little time for it; null when the call has not even ended then: it never will, since
  /// nothing lets it work any more.
  [[nodiscard]] GObjectHolder<GAsyncResult> await(std::chrono::milliseconds limit,
                                                  const Start& start,
                                                  const Cancel& cancel = g_cancellable_cancel);

 private:
  /// Lets GLib work until there is a result; false when there is none in time.
  bool workUntilResult(std::chrono::milliseconds limit);
  static void keepResult(GObject* source, GAsyncResult* ended, gpointer self);

  struct ReleaseContext {
    void operator()(GMainContext* released) const { g_main_context_unref(released); }
  };

  std::unique_ptr<GMainContext, ReleaseContext> context;
  GObjectHolder<GAsyncResult> result;
};

}  // namespace orvik
