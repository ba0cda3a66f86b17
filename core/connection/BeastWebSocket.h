#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "core/async/Clock.h"
#include "core/connection/WebSocketTask.h"

namespace orvik {

/// WebSocket over TLS. The relay's certificate and host name are verified against the system's
/// trust, plus the certificates of one file when given: a relay at home makes its own.
/// Takes at most 60 s to connect.
class BeastWebSocketSession final : public WebSocketSession {
 public:
  /// Bytes of one inbound message; a connection that brings more is ended. What a relay says to a
  /// computer has some 30 bytes.
  static constexpr std::size_t defaultMessageLimit = 64UL * 1024;

  /// Throws std::runtime_error when `trustedCertificates` (PEM) cannot be read.
  explicit BeastWebSocketSession(
      std::shared_ptr<Clock> clock,
      const std::optional<std::filesystem::path>& trustedCertificates = std::nullopt,
      std::size_t messageLimit = defaultMessageLimit);
  ~BeastWebSocketSession() override;

  [[nodiscard]] std::shared_ptr<WebSocketTask> webSocketTask(
      const std::string& url, asio::any_io_executor executor,
      std::shared_ptr<WebSocketObserver> observer) override;

 private:
  struct Trust;
  std::shared_ptr<Clock> clock;
  std::unique_ptr<Trust> trust;
  std::size_t messageLimit;
};

}  // namespace orvik
