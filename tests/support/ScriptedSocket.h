#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/async/Notifier.h"
#include "core/connection/WebSocketTask.h"

namespace orvik::test {

/// A connection that does what a test says, and remembers what was asked of it.
class ScriptedSocket final : public WebSocketTask {
 public:
  enum class Behaviour { works, fails, hangs };

  ScriptedSocket(int number, std::string url, const asio::any_io_executor& executor,
                 std::shared_ptr<WebSocketObserver> observer)
      : url(std::move(url)), number(number), observer(std::move(observer)), changed(executor) {}

  [[nodiscard]] int identifier() const override { return number; }
  asio::awaitable<void> connect() override { return perform(connecting); }
  asio::awaitable<void> send(std::string text) override {
    co_await perform(sending);
    sent.push_back(text);
    if (onSend) {
      onSend(text);
    }
  }
  asio::awaitable<WebSocketMessage> receive() override {
    const std::function<bool()> isOver = [this] { return !inbox.empty() || isEnded; };
    co_await changed.until(isOver);
    if (inbox.empty()) {
      throw boost::system::system_error(asio::error::connection_reset);
    }
    WebSocketMessage message = std::move(inbox.front());
    inbox.pop_front();
    co_return message;
  }
  void close(std::uint16_t code) override {
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
  [[nodiscard]] std::optional<std::uint16_t> receivedCloseCode() const override { return peerCode; }

  /// The relay says something.
  void says(std::string text, bool isText = true) {
    inbox.push_back({isText, std::move(text)});
    changed.notify();
  }
  /// Sends that hang go on.
  void release() {
    sending = Behaviour::works;
    changed.notify();
  }
  /// The connection ends from the other side.
  void ends(std::optional<std::uint16_t> code = std::nullopt) {
    peerCode = code;
    isEnded = true;
    changed.notify();
    observer->didComplete(number);
  }

  const std::string url;
  Behaviour connecting = Behaviour::works;
  Behaviour sending = Behaviour::works;
  bool acknowledgesClose = true;
  /// A send that hangs goes on hanging when the connection has ended, until it may go on.
  bool outlivesItsEnd = false;
  /// Called with every text that is sent.
  std::function<void(const std::string&)> onSend;
  /// Called when the client closes it.
  std::function<void(std::uint16_t)> onClose;
  std::vector<std::string> sent;
  std::vector<std::uint16_t> closedWith;

 private:
  asio::awaitable<void> perform(Behaviour& behaviour) {
    bool hasOutlived = false;
    const std::function<bool()> isOver = [&] {
      hasOutlived = hasOutlived || (isEnded && outlivesItsEnd);
      return behaviour != Behaviour::hangs || (isEnded && !outlivesItsEnd);
    };
    co_await changed.until(isOver);
    if (behaviour == Behaviour::fails || (isEnded && !hasOutlived)) {
      throw boost::system::system_error(asio::error::connection_reset);
    }
  }

  const int number;
  const std::shared_ptr<WebSocketObserver> observer;
  Notifier changed;
  std::deque<WebSocketMessage> inbox;
  bool isEnded = false;
  std::optional<std::uint16_t> peerCode;
};

class ScriptedSession final : public WebSocketSession {
 public:
  [[nodiscard]] std::shared_ptr<WebSocketTask> webSocketTask(
      const std::string& url, asio::any_io_executor executor,
      std::shared_ptr<WebSocketObserver> observer) override {
    sockets.push_back(std::make_shared<ScriptedSocket>(static_cast<int>(sockets.size()), url,
                                                       executor, std::move(observer)));
    if (onNew) {
      onNew(socket());
    }
    return sockets.back();
  }

  /// Every connection so far, and the newest of them.
  std::vector<std::shared_ptr<ScriptedSocket>> sockets;
  [[nodiscard]] ScriptedSocket& socket() const { return *sockets.back(); }
  /// Prepares each new connection.
  std::function<void(ScriptedSocket&)> onNew;
};

}  // namespace orvik::test
