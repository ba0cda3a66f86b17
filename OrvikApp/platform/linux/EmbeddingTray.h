#pragma once

#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <cstdint>
#include <functional>

namespace orvik {

/// The tray of an X display: a panel that embeds the icons' windows, and says that it is there by
/// owning a selection, as the system tray protocol of freedesktop.org has it. Main thread only.
class EmbeddingTray final : public QAbstractNativeEventFilter {
 public:
  /// `changed` is called when such a panel has appeared or gone, in the midst of the toolkit's work
  /// on the event: what it wants to do with the display has to wait.
  explicit EmbeddingTray(std::function<void()> changed);

  /// Whether there is one now; never without an X display.
  [[nodiscard]] bool isPresent() const;

  bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

 private:
  void watch();

  const std::function<void()> changed;
  xcb_connection_t* connection = nullptr;
  xcb_atom_t selection = XCB_ATOM_NONE;
  /// The display's number for the news about owners; no event has the number zero.
  std::uint8_t news = 0;
};

}  // namespace orvik
