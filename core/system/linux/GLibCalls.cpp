#include "core/system/linux/GLibCalls.h"

#include <utility>

namespace orvik {

namespace {

/// How long a call may take to end when it is to end: most do at once, some ask a service to.
constexpr std::chrono::seconds ending{1};

/// Becomes true when the time is over.
class Timer {
 public:
  Timer(GMainContext* context, std::chrono::milliseconds limit)
      : source(g_timeout_source_new(static_cast<guint>(limit.count()))) {
    g_source_set_callback(source, &Timer::end, this, nullptr);
    g_source_attach(source, context);
  }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  ~Timer() {
    g_source_destroy(source);
    g_source_unref(source);
  }

  [[nodiscard]] bool isOver() const { return over; }

 private:
  static gboolean end(gpointer self) {
    static_cast<Timer*>(self)->over = true;
    return G_SOURCE_REMOVE;
  }

  GSource* source;
  bool over = false;
};

}  // namespace

GLibCalls::GLibCalls() : context(g_main_context_new()) {
  g_main_context_push_thread_default(context.get());
}

GLibCalls::~GLibCalls() {
  // What has been put off until the context is idle holds references.
  while (g_main_context_iteration(context.get(), FALSE) != FALSE) {
  }
  g_main_context_pop_thread_default(context.get());
}

GObjectHolder<GAsyncResult> GLibCalls::await(std::chrono::milliseconds limit, const Start& start,
                                             const Cancel& cancel) {
  const GObjectHolder<GCancellable> cancellable(g_cancellable_new());
  start(cancellable.get(), &GLibCalls::keepResult, this);
  if (!workUntilResult(limit)) {
    cancel(cancellable.get());
    workUntilResult(ending);
  }
  return std::move(result);
}

bool GLibCalls::workUntilResult(std::chrono::milliseconds limit) {
  const Timer timer(context.get(), limit);
  while (!result && !timer.isOver()) {
    g_main_context_iteration(context.get(), TRUE);
  }
  return result != nullptr;
}

void GLibCalls::keepResult(GObject* /*source*/, GAsyncResult* ended, gpointer self) {
  static_cast<GLibCalls*>(self)->result.reset(G_ASYNC_RESULT(g_object_ref(ended)));
}

}  // namespace orvik
