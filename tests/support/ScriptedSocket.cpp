#include "tests/support/ScriptedSocket.h"

namespace orvik::test {

asio::awaitable<void> ScriptedSocket::perform(Behaviour& behaviour) {
  bool hasOutlived = false;
  co_await changed.until([&] {
    hasOutlived = hasOutlived || (isEnded && outlivesItsEnd);
    return behaviour != Behaviour::hangs || (isEnded && !outlivesItsEnd);
  });
  if (behaviour == Behaviour::fails || (isEnded && !hasOutlived)) {
    throw boost::system::system_error(asio::error::connection_reset);
  }
}

asio::awaitable<void> ScriptedSocket::send(std::string text) {
  co_await perform(sending);
  sent.push_back(text);
  if (onSend) {
    onSend(text);
  }
}

asio::awaitable<WebSocketMessage> ScriptedSocket::receive() {
  co_await changed.until([this] { return !inbox.empty() || isEnded; });
  if (inbox.empty()) {
    throw boost::system::system_error(asio::error::connection_reset);
  }
  WebSocketMessage message = std::move(inbox.front());
  inbox.pop_front();
  co_return message;
}

void ScriptedSocket::close(std::uint16_t code) {
  closedWith.push_back(code);
  if (onClose) {
    onClose(code);
  }
  isEnded = true;
  changed.notify();
  if (acknowledgesClose) {
    observer->didComplete(number);
  }
}

void ScriptedSocket::says(std::string text, bool isText) {
  inbox.push_back({isText, std::move(text)});
  changed.notify();
}

void ScriptedSocket::release() {
  sending = Behaviour::works;
  changed.notify();
}

void ScriptedSocket::ends(std::optional<std::uint16_t> code) {
  peerCode = code;
  isEnded = true;
  changed.notify();
  observer->didComplete(number);
}

std::shared_ptr<WebSocketTask> ScriptedSession::webSocketTask(
    const std::string& url, asio::any_io_executor executor,
    std::shared_ptr<WebSocketObserver> observer) {
  sockets.push_back(std::make_shared<ScriptedSocket>(static_cast<int>(sockets.size()), url,
                                                     executor, std::move(observer)));
  if (onNew) {
    onNew(socket());
  }
  return sockets.back();
}

}  // namespace orvik::test
