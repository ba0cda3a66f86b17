#include "core/connection/BeastWebSocket.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <array>
#include <deque>
#include <functional>
#include <span>
#include <utility>

#include "core/BuildConstants.h"
#include "core/async/Notifier.h"
#include "core/async/Timeout.h"
#include "core/connection/NameLookup.h"
#include "core/connection/WebSocketURL.h"
#include "core/system/TrustedRoots.h"
#include "core/values/SecretBytes.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

namespace beast = boost::beast;
namespace websocket = beast::websocket;
using Stream = websocket::stream<asio::ssl::stream<asio::ip::tcp::socket>>;

/// Messages taken from the network before anybody has asked for them.
constexpr std::size_t inboxSize = 16;
/// Name look-up, TCP, TLS and upgrade together.
constexpr std::chrono::seconds connectLimit{60};
/// One address of several: a network that swallows packets must not use up the whole limit.
constexpr std::chrono::seconds addressLimit{10};
/// A closing handshake that takes longer is given up.
constexpr std::chrono::seconds closingLimit{5};

/// A message on its way out, shared by its sender, who may stop waiting, and the writer.
struct Outbound {
  enum class Progress { queued, writing, sent, failed };
  /// The first that a program sends proves who it is.
  SecretText text;
  Progress progress = Progress::queued;
  boost::system::error_code error;
};

/// As relays and browsers show it.
std::string fingerprintOf(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (certificate == nullptr || X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) {
    return {};
  }
  std::string text;
  for (const unsigned char byte : std::span(digest).first(size)) {
    text += text.empty() ? "" : ":";
    appendHex(byte, text);
  }
  return text;
}

class BeastWebSocketTask final : public WebSocketTask,
                                 public std::enable_shared_from_this<BeastWebSocketTask> {
 public:
  BeastWebSocketTask(int number, const std::string& url, asio::any_io_executor taskExecutor,
                     asio::ssl::context& context, std::shared_ptr<const ServerTrust> trusted,
                     std::shared_ptr<Clock> clock, std::size_t messageLimit,
                     std::shared_ptr<WebSocketObserver> observer)
      : number(number),
        url(WebSocketURL::parse(url)),
        executor(std::move(taskExecutor)),
        trusted(std::move(trusted)),
        clock(std::move(clock)),
        messageLimit(messageLimit),
        observer(std::move(observer)),
        stream(executor, context),
        changed(executor) {}

  [[nodiscard]] int identifier() const override { return number; }
  asio::awaitable<void> connect() override;
  asio::awaitable<void> send(std::string text) override;
  asio::awaitable<WebSocketMessage> receive() override;
  void close(std::uint16_t code) override;
  [[nodiscard]] std::optional<std::uint16_t> receivedCloseCode() const override {
    return receivedCode;
  }

 private:
  enum class Phase { idle, connecting, open, ended };

  asio::awaitable<void> establish();
  asio::awaitable<void> connectToHost();
  void configureTLS();
  void configureWebSocket();
  asio::awaitable<void> readMessages();
  asio::awaitable<void> writeMessages();
  asio::awaitable<void> cutUnlessEnded();
  void boundClosing();
  void cut();
  void end(boost::system::error_code reason);

  const int number;
  const std::optional<WebSocketURL> url;
  const asio::any_io_executor executor;
  const std::shared_ptr<const ServerTrust> trusted;
  const std::shared_ptr<Clock> clock;
  const std::size_t messageLimit;
  const std::shared_ptr<WebSocketObserver> observer;

  Stream stream;
  Phase phase = Phase::idle;
  boost::system::error_code endReason;
  std::deque<WebSocketMessage> inbox;
  std::deque<std::shared_ptr<Outbound>> outbox;
  std::optional<std::uint16_t> requestedCode;
  std::optional<std::uint16_t> receivedCode;
  bool closingIsBounded = false;
  /// Notified whenever any of the above changes.
  Notifier changed;
};

asio::awaitable<void> BeastWebSocketTask::connect() {
  const auto self = shared_from_this();
  if (phase == Phase::idle) {
    phase = Phase::connecting;
    std::exception_ptr failure;
    try {
      co_await withTimeout(*clock, connectLimit, establish());
    } catch (...) {
      failure = std::current_exception();
    }
    if (failure) {
      end(asio::error::not_connected);
      std::rethrow_exception(failure);
    }
  }
  if (phase != Phase::connecting) {
    throw boost::system::system_error(asio::error::operation_aborted);
  }
  phase = Phase::open;
  asio::co_spawn(executor, readMessages(), [self](const std::exception_ptr&) {});
  asio::co_spawn(executor, writeMessages(), [self](const std::exception_ptr&) {});
}

asio::awaitable<void> BeastWebSocketTask::establish() {
  if (!url) {
    throw boost::system::system_error(asio::error::invalid_argument);
  }
  co_await connectToHost();
  configureTLS();
  co_await stream.next_layer().async_handshake(asio::ssl::stream_base::client, asio::use_awaitable);
  configureWebSocket();
  co_await stream.async_handshake(url->hostHeader(), url->target, asio::use_awaitable);
}

asio::awaitable<void> BeastWebSocketTask::connectToHost() {
  auto& socket = beast::get_lowest_layer(stream);
  const auto endpoints = co_await lookUp(clock, connectLimit, url->host, url->port);
  std::exception_ptr failure =
      std::make_exception_ptr(boost::system::system_error(asio::error::host_not_found));
  for (const auto& endpoint : endpoints) {
    if (phase != Phase::connecting) {
      break;
    }
    boost::system::error_code ignored;
    socket.close(ignored);
    failure = co_await failureOf(
        withTimeout(*clock, addressLimit, socket.async_connect(endpoint, asio::use_awaitable)));
    if (!failure) {
      socket.set_option(asio::ip::tcp::no_delay(true), ignored);
      co_return;
    }
  }
  std::rethrow_exception(failure);
}

void BeastWebSocketTask::configureTLS() {
  auto& tls = stream.next_layer();
  // Against a name and against an address alike.
  tls.set_verify_callback(
      [trusted = trusted, isOfHost = asio::ssl::host_name_verification(url->host)](
          bool isSigned, asio::ssl::verify_context& verification) {
        X509_STORE_CTX* const store = verification.native_handle();
        const std::string fingerprint = fingerprintOf(X509_STORE_CTX_get0_cert(store));
        if (!trusted->fingerprint.empty() && fingerprint == trusted->fingerprint) {
          X509_STORE_CTX_set_error(store, X509_V_OK);
          return true;
        }
        const bool isTrusted = isOfHost(isSigned, verification);
        if (!isTrusted && trusted->onRefused) {
          trusted->onRefused(fingerprint);
        }
        return isTrusted;
      });
  // Addresses are no server names. The library's macro for this casts in C's way.
  if (!url->hasAddress() &&
      SSL_ctrl(tls.native_handle(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
               const_cast<char*>(url->host.c_str())) != 1) {
    throw boost::system::system_error(asio::error::invalid_argument);
  }
  constexpr std::array<unsigned char, 9> http = {8, 'h', 't', 't', 'p', '/', '1', '.', '1'};
  SSL_set_alpn_protos(tls.native_handle(), http.data(), http.size());
}

void BeastWebSocketTask::configureWebSocket() {
  stream.read_message_max(0);
  stream.text(true);
  stream.set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
    request.set(beast::http::field::user_agent, std::string("Orvik/") + build::version);
  }));
  stream.control_callback([this](websocket::frame_type kind, beast::string_view /*payload*/) {
    if (kind == websocket::frame_type::close) {
      receivedCode = stream.reason().code;
      changed.notify();
      boundClosing();
    }
  });
}

asio::awaitable<void> BeastWebSocketTask::send(std::string text) {
  const auto self = shared_from_this();
  // First: what cannot be sent is overwritten as well.
  const auto message = std::make_shared<Outbound>(Outbound{SecretText(std::move(text)), {}, {}});
  if (phase != Phase::open || requestedCode || receivedCode) {
    throw boost::system::system_error(asio::error::not_connected);
  }
  outbox.push_back(message);
  changed.notify();
  // Named, as everything with a destructor is that a co_await takes: GCC 12 destroys some
  // temporaries of such an expression twice.
  const std::function<bool()> isDone = [message] {
    return message->progress == Outbound::Progress::sent ||
           message->progress == Outbound::Progress::failed;
  };
  const std::exception_ptr gaveUp = co_await failureOf(changed.until(isDone));
  if (gaveUp) {
    // What has not begun is not sent behind the back of a sender who has left.
    if (message->progress == Outbound::Progress::queued) {
      std::erase(outbox, message);
    }
    std::rethrow_exception(gaveUp);
  }
  if (message->progress == Outbound::Progress::failed) {
    throw boost::system::system_error(message->error);
  }
}

asio::awaitable<WebSocketMessage> BeastWebSocketTask::receive() {
  const auto self = shared_from_this();
  // Nothing follows a close frame, and what it says does not wait for the end of the handshake,
  // for which the other side takes its time.
  co_await changed.until(
      [this] { return !inbox.empty() || receivedCode || phase == Phase::ended; });
  if (inbox.empty()) {
    throw boost::system::system_error(
        phase == Phase::ended ? endReason : boost::system::error_code(websocket::error::closed));
  }
  WebSocketMessage message = std::move(inbox.front());
  inbox.pop_front();
  changed.notify();
  co_return message;
}

void BeastWebSocketTask::close(std::uint16_t code) {
  if (phase == Phase::ended) {
    observer->didComplete(number);
    return;
  }
  if (requestedCode) {
    return;
  }
  requestedCode = code;
  if (phase == Phase::open) {
    changed.notify();
    boundClosing();
  } else {
    cut();
    end(asio::error::operation_aborted);
  }
}

asio::awaitable<void> BeastWebSocketTask::readMessages() {
  const auto self = shared_from_this();
  for (;;) {
    co_await changed.until(
        [this] { return inbox.size() < inboxSize || requestedCode || phase == Phase::ended; });
    // In pieces, to cut off whoever sends too much: the library's own limit would first try to
    // part in peace, with a peer that may never answer.
    beast::flat_buffer buffer;
    do {
      const auto [error, size] = co_await stream.async_read_some(
          buffer, messageLimit + 1 - buffer.size(), asio::as_tuple(asio::use_awaitable));
      if (error || buffer.size() > messageLimit) {
        end(error ? error : boost::system::error_code(asio::error::message_size));
        co_return;
      }
    } while (!stream.is_message_done());
    // Nobody asks for messages any more once the connection is being closed.
    if (requestedCode) {
      continue;
    }
    inbox.push_back({stream.got_text(), beast::buffers_to_string(buffer.data())});
    changed.notify();
  }
}

asio::awaitable<void> BeastWebSocketTask::writeMessages() {
  const auto self = shared_from_this();
  for (;;) {
    co_await changed.until(
        [this] { return !outbox.empty() || requestedCode || phase == Phase::ended; });
    if (phase == Phase::ended || receivedCode) {
      co_return;  // a close frame is answered by the library
    }
    if (requestedCode) {
      const websocket::close_reason reason(*requestedCode);
      co_await stream.async_close(reason, asio::as_tuple(asio::use_awaitable));
      co_return;
    }
    const auto message = outbox.front();
    message->progress = Outbound::Progress::writing;
    const auto [error, size] = co_await stream.async_write(asio::buffer(message->text.text()),
                                                           asio::as_tuple(asio::use_awaitable));
    message->progress = error ? Outbound::Progress::failed : Outbound::Progress::sent;
    message->error = error;
    std::erase(outbox, message);
    changed.notify();
  }
}

/// Sees to it that a closing handshake which the other side never finishes ends all the same.
void BeastWebSocketTask::boundClosing() {
  if (!std::exchange(closingIsBounded, true)) {
    const auto self = shared_from_this();
    asio::co_spawn(executor, cutUnlessEnded(), [self](const std::exception_ptr&) {});
  }
}

asio::awaitable<void> BeastWebSocketTask::cutUnlessEnded() {
  using namespace asio::experimental::awaitable_operators;
  co_await (changed.until([this] { return phase == Phase::ended; }) ||
            clock->sleepFor(closingLimit));
  end(asio::error::timed_out);
}

void BeastWebSocketTask::cut() {
  boost::system::error_code ignored;
  beast::get_lowest_layer(stream).close(ignored);
}

void BeastWebSocketTask::end(boost::system::error_code reason) {
  if (phase == Phase::ended) {
    return;
  }
  phase = Phase::ended;
  endReason = reason;
  cut();
  for (const auto& message : outbox) {
    message->progress = Outbound::Progress::failed;
    message->error = reason;
  }
  outbox.clear();
  changed.notify();
  observer->didComplete(number);
}

}  // namespace

struct BeastWebSocketSession::Trust {
  asio::ssl::context context{asio::ssl::context::tls_client};
  std::shared_ptr<const ServerTrust> trusted;
  int lastTask = 0;
};

BeastWebSocketSession::BeastWebSocketSession(std::shared_ptr<Clock> clock,
                                             const ServerTrust& trusted, std::size_t messageLimit)
    : clock(std::move(clock)), trust(std::make_unique<Trust>()), messageLimit(messageLimit) {
  trust->trusted = std::make_shared<const ServerTrust>(trusted);
  auto& context = trust->context;
  if (SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION) != 1) {
    throw std::runtime_error("TLS could not be set up");
  }
  context.set_verify_mode(asio::ssl::verify_peer);
  trustSystemRoots(*context.native_handle());
  if (trusted.certificates) {
    boost::system::error_code error;
    context.load_verify_file(trusted.certificates->string(), error);
    if (error) {
      throw std::runtime_error("no certificates can be read from " +
                               trusted.certificates->string());
    }
  }
}

BeastWebSocketSession::~BeastWebSocketSession() = default;

std::shared_ptr<WebSocketTask> BeastWebSocketSession::webSocketTask(
    const std::string& url, asio::any_io_executor executor,
    std::shared_ptr<WebSocketObserver> observer) {
  return std::make_shared<BeastWebSocketTask>(++trust->lastTask, url, std::move(executor),
                                              trust->context, trust->trusted, clock, messageLimit,
                                              std::move(observer));
}

}  // namespace orvik
