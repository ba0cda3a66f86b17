#include "OrvikApp/platform/linux/EmbeddingTray.h"

#include <xcb/xfixes.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace orvik {

namespace {

/// The first screen's: the only one that displays have nowadays.
constexpr std::string_view selectionName = "_NET_SYSTEM_TRAY_S0";

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

}  // namespace

EmbeddingTray::EmbeddingTray(std::function<void()> changed) : changed(std::move(changed)) {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  // Displays of other kinds have no connection either, or not even the interface.
  connection = x11 == nullptr ? nullptr : x11->connection();
  if (connection == nullptr) {
    return;
  }
  const Owned<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
      connection,
      xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(selectionName.size()),
                      selectionName.data()),
      nullptr));
  if (atom) {
    selection = atom->atom;
    watch();
  }
}

void EmbeddingTray::watch() {
  const auto* extension = xcb_get_extension_data(connection, &xcb_xfixes_id);
  if (extension == nullptr || extension->present == 0) {
    return;
  }
  // The display takes no request of an extension before it knows the version.
  const Owned<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
      connection, xcb_xfixes_query_version(connection, 1, 0), nullptr));
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  xcb_xfixes_select_selection_input(connection, root, selection,
                                    XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                        XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                        XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
  news = static_cast<std::uint8_t>(extension->first_event + XCB_XFIXES_SELECTION_NOTIFY);
  qGuiApp->installNativeEventFilter(this);
}

bool EmbeddingTray::isPresent() const {
  if (selection == XCB_ATOM_NONE) {
    return false;
  }
  const Owned<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
      connection, xcb_get_selection_owner(connection, selection), nullptr));
  return owner && owner->owner != XCB_WINDOW_NONE;
}

bool EmbeddingTray::nativeEventFilter(const QByteArray& eventType, void* message,
                                      qintptr* /*result*/) {
  constexpr std::uint8_t sentByOthers = 0x80;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  if (eventType == "xcb_generic_event_t" && (event->response_type & ~sentByOthers) == news &&
      reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event)->selection == selection) {
    changed();
  }
  return false;
}

}  // namespace orvik
