#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/async/Clock.h"
#include "core/connection/WebSocketTask.h"

namespace orvik {

/// What a server is trusted by, besides the authorities that the system trusts.
struct ServerTrust {
  /// A file of further certificates (PEM): a relay at home makes its own.
  std::optional<std::filesystem::path> certificates = {};
  /// The SHA-256 fingerprint of a server's certificate, as "AB:CD:…", that is trusted whoever has
  /// signed it and whatever name it has. Empty without one.
  std::string fingerprint = {};
  /// Told of the fingerprint of a certificate that is refused.
  std::function<void(const std::string& fingerprint)> onRefused = {};
};

/// WebSocket over TLS. The relay's certificate and host name are verified against the system's
/// trust, plus what is given.
/// Takes at most 60 s to connect.
class BeastWebSocketSession final : public WebSocketSession {
 public:
  /// Bytes of one inbound message; a connection that brings more is ended. What a relay says to a
  /// computer has some 30 bytes.
  static constexpr std::size_t defaultMessageLimit = 64UL * 1024;

  /// Throws std::runtime_error when the file of certificates cannot be read.
  explicit BeastWebSocketSession(std::shared_ptr<Clock> clock, const ServerTrust& trusted = {},
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
