#include "relay/cluster/NATSConnection.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "relay/Signals.h"

namespace orvik::relay {

namespace {

using namespace std::chrono_literals;

constexpr auto tickInterval = 250ms;
/// Between two attempts to connect.
constexpr auto retryInterval = 1s;
/// When its user lacks a right: with each connection all other relays say everything again.
constexpr auto refusedInterval = 30s;
/// For one address to answer, for a write to be taken, and between two questions whether the other
/// side is there: a link that is cut without a word is noticed in three.
constexpr std::int64_t milliseconds = 1000;
constexpr int unansweredPings = 2;
/// After which nothing that it says and hears is refused any more.
constexpr auto acceptedAfter = 10s;

using LibraryOptions = CHandle<natsOptions, natsOptions_Destroy>;
using NATSMessage = CHandle<natsMsg, natsMsg_Destroy>;

bool isPort(const boost::urls::url_view& url) {
  const std::string_view digits = url.port();
  std::uint16_t port = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  return !url.has_port() ||
         (read.ec == std::errc() && read.ptr == digits.data() + digits.size() && port != 0);
}

/// Where the engine may be, and as whom.
struct Addresses {
  std::vector<std::string> urls;
  std::string user;
  std::string password;
  bool isSecure = false;

  /// Throws std::runtime_error with one line that holds no password.
  explicit Addresses(std::string_view text) {
    std::size_t comma = text.find(',');
    for (add(text.substr(0, comma), true); comma != std::string_view::npos;) {
      text.remove_prefix(comma + 1);
      comma = text.find(',');
      add(text.substr(0, comma), false);
    }
  }

 private:
  void add(std::string_view text, bool isFirst) {
    const auto parsed = boost::urls::parse_uri({text.data(), text.size()});
    const bool isAddress = parsed && (parsed->scheme() == "nats" || parsed->scheme() == "tls") &&
                           !parsed->encoded_host().empty() && isPort(*parsed) &&
                           (parsed->encoded_path().empty() || parsed->encoded_path() == "/") &&
                           !parsed->has_query() && !parsed->has_fragment() &&
                           (isFirst || !parsed->has_userinfo());
    if (!isAddress) {
      throw std::runtime_error(
          "--cluster: neither nats://HOST:PORT nor tls://HOST:PORT, with USER:PASSWORD@ at the "
          "first of several at most");
    }
    if (isFirst) {
      user = parsed->user();
      password = parsed->password();
    }
    isSecure = isSecure || parsed->scheme() == "tls";
    urls.push_back("nats://" + std::string(parsed->encoded_host()) + ":" +
                   (parsed->has_port() ? std::string(parsed->port()) : "4222"));
  }
};

void require(natsStatus status) {
  if (status == NATS_OK) {
    return;
  }
  natsStatus ignored{};
  const char* const detail = nats_GetLastError(&ignored);
  std::string words = detail != nullptr ? detail : "";
  // The place in the library stands in front: "(conn.c:2088): …".
  if (const auto end = words.find("): "); words.starts_with('(') && end != std::string::npos) {
    words.erase(0, end + 3);
  }
  throw std::runtime_error(words.empty() ? natsStatus_GetText(status) : words);
}

LibraryOptions optionsFor(const NATSConnection::Settings& settings) {
  const Addresses addresses(settings.addresses);
  natsOptions* made = nullptr;
  require(natsOptions_Create(&made));
  LibraryOptions options(made);
  std::vector<const char*> urls;
  urls.reserve(addresses.urls.size());
  for (const std::string& url : addresses.urls) {
    urls.push_back(url.c_str());
  }
  require(natsOptions_SetServers(made, urls.data(), static_cast<int>(urls.size())));
  if (!addresses.user.empty()) {
    require(natsOptions_SetUserInfo(made, addresses.user.c_str(), addresses.password.c_str()));
  }
  if (!settings.credentials.empty()) {
    require(natsOptions_SetUserCredentialsFromFiles(made, settings.credentials.c_str(), nullptr));
  }
  if (addresses.isSecure || !settings.trust.empty()) {
    require(natsOptions_SetSecure(made, true));
  }
  if (!settings.trust.empty()) {
    require(natsOptions_LoadCATrustedCertificates(made, settings.trust.c_str()));
  }
  require(natsOptions_SetName(made, "orvik-relay"));
  require(natsOptions_SetTimeout(made, 2 * milliseconds));
  require(natsOptions_SetWriteDeadline(made, 2 * milliseconds));
  require(natsOptions_SetPingInterval(made, milliseconds));
  require(natsOptions_SetMaxPingsOut(made, unansweredPings));
  // A new connection is made by whoever has this one: all of a failure goes one way.
  require(natsOptions_SetAllowReconnect(made, false));
  require(natsOptions_SetIgnoreDiscoveredServers(made, true));
  require(natsOptions_SetNoEcho(made, true));
  // No thread for each subscription.
  require(natsOptions_UseGlobalMessageDelivery(made, true));
  // The library would write to the standard error by itself.
  const auto ignore = [](natsConnection*, natsSubscription*, natsStatus, void*) {};
  require(natsOptions_SetErrorHandler(made, ignore, nullptr));
  return options;
}

void checkReadable(const char* option, const std::string& file) {
  if (!file.empty() && (!std::filesystem::is_regular_file(file) || !std::ifstream(file))) {
    throw std::runtime_error(std::string(option) + " " + file + ": cannot be read");
  }
}

}  // namespace

void NATSConnection::Settings::check() const {
  static_cast<void>(Addresses(addresses));
  checkReadable("--cluster-credentials", credentials);
  checkReadable("--cluster-trust", trust);
  try {
    static_cast<void>(optionsFor(*this));
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("--cluster: ") + error.what());
  }
}

NATSConnection::NATSConnection(Settings settings, std::size_t mostBytes, Receiver& receiver)
    : settings(std::move(settings)), mostBytes(mostBytes), receiver(receiver) {}

NATSConnection::~NATSConnection() { stop(); }

void NATSConnection::stop() {
  {
    const std::lock_guard guard(mutex);
    isEnding = true;
  }
  changed.notify_all();
  if (thread.joinable()) {
    thread.join();
  }
}

void NATSConnection::start() {
  thread = std::thread([this] {
    blockSignals();
    run();
  });
}

bool NATSConnection::send(Message message) {
  return enqueue({Command::Kind::send, std::move(message)});
}

void NATSConnection::join(std::string subject) {
  static_cast<void>(enqueue({Command::Kind::join, {.subject = std::move(subject)}}));
}

void NATSConnection::leave(std::string subject) {
  static_cast<void>(enqueue({Command::Kind::leave, {.subject = std::move(subject)}}));
}

bool NATSConnection::enqueue(Command command) {
  const Message& message = command.message;
  const std::size_t bytes = message.subject.size() + message.data.size();
  bool isFirst = false;
  {
    const std::lock_guard guard(mutex);
    // Whoever is subscribed to is bounded by others; what is sent is not.
    const bool isBounded = command.kind == Command::Kind::send;
    if (isBounded && (!told.isConnected || waitingBytes + bytes > mostBytes)) {
      ++told.refused;
      return false;
    }
    isFirst = waiting.empty();
    waitingBytes += bytes;
    waiting.push_back(std::move(command));
  }
  if (isFirst) {
    changed.notify_all();
  }
  return true;
}

NATSConnection::State NATSConnection::state() const {
  const std::lock_guard guard(mutex);
  State state = told;
  state.received = received;
  state.receivedBytes = receivedBytes;
  return state;
}

void NATSConnection::run() {
  auto next = std::chrono::steady_clock::now();
  for (;;) {
    std::vector<Command> commands;
    bool isLast = false;
    {
      std::unique_lock guard(mutex);
      changed.wait_until(guard, next, [this] { return isEnding || !waiting.empty(); });
      isLast = isEnding;
      commands.swap(waiting);
      waitingBytes = 0;
    }
    for (const Command& command : commands) {
      execute(command);
    }
    if (isLast) {
      break;
    }
    if (const auto now = std::chrono::steady_clock::now(); now >= next) {
      bool isNewlyLost = false;
      if (connection && isLost()) {
        // Its server may have ended, and the others have not.
        isNewlyLost = now >= made + acceptedAfter;
        disconnect();
        receiver.lost(failure);
      } else if (connection) {
        if (now >= made + acceptedAfter) {
          const std::lock_guard guard(mutex);
          told.refusal.clear();
        }
        receiver.tick();
      } else {
        connect();
      }
      std::chrono::milliseconds pause = tickInterval;
      if (isNewlyLost) {
        pause = 0ms;
      } else if (!connection) {
        pause = state().refusal.empty() ? retryInterval : refusedInterval;
      }
      next = std::chrono::steady_clock::now() + pause;
    }
  }
  // What has been sent before the end is on its way.
  if (connection) {
    static_cast<void>(natsConnection_FlushTimeout(connection.get(), milliseconds));
    disconnect();
  }
}

void NATSConnection::connect() {
  try {
    const LibraryOptions options = optionsFor(settings);
    natsConnection* opened = nullptr;
    require(natsConnection_Connect(&opened, options.get()));
    connection.reset(opened);
    if (natsConnection_HasHeaderSupport(opened) != NATS_OK) {
      connection.reset();
      throw std::runtime_error("the engine is too old: it knows no headers");
    }
    {
      const std::lock_guard guard(mutex);
      told.isConnected = true;
    }
    made = std::chrono::steady_clock::now();
    for (auto& [subject, subscription] : subscriptions) {
      subscribe(subject, subscription);
    }
    receiver.connected();
  } catch (const std::runtime_error& error) {
    {
      const std::lock_guard guard(mutex);
      told.refusal.clear();
    }
    receiver.lost(error.what());
  }
}

void NATSConnection::disconnect() {
  // First, so that nobody writes what is read then.
  natsConnection_Close(connection.get());
  const char* detail = nullptr;
  const bool isRefused =
      natsConnection_GetLastError(connection.get(), &detail) == NATS_NOT_PERMITTED;
  failure = detail != nullptr && *detail != '\0' ? detail : "the connection was lost";
  {
    const std::lock_guard guard(mutex);
    told.isConnected = false;
    ++told.lost;
    if (isRefused) {
      told.refusal = failure;
    }
    std::erase_if(waiting, [](const Command& each) { return each.kind == Command::Kind::send; });
  }
  for (auto& [subject, subscription] : subscriptions) {
    subscription.reset();
  }
  std::unique_lock guard(mutex);
  changed.wait(guard, [this] { return live == 0; });
  guard.unlock();
  connection.reset();
}

std::size_t NATSConnection::longestMessage() const {
  const std::int64_t most = connection ? natsConnection_GetMaxPayload(connection.get()) : 0;
  return static_cast<std::size_t>(std::max<std::int64_t>(most, 0));
}

bool NATSConnection::isLost() const {
  // One whose user may not say or hear all that is needed does not get more rights by itself.
  const char* ignored = nullptr;
  return natsConnection_IsClosed(connection.get()) ||
         natsConnection_GetLastError(connection.get(), &ignored) == NATS_NOT_PERMITTED;
}

void NATSConnection::execute(const Command& command) {
  switch (command.kind) {
    case Command::Kind::send:
      if (connection) {
        publish(command.message);
      }
      break;
    case Command::Kind::join: {
      const auto [place, isNew] = subscriptions.try_emplace(command.message.subject);
      if (isNew && connection) {
        subscribe(place->first, place->second);
      }
      break;
    }
    case Command::Kind::leave:
      subscriptions.erase(command.message.subject);
      break;
  }
}

void NATSConnection::publish(const Message& message) {
  natsMsg* made = nullptr;
  const char* const reply = message.reply.empty() ? nullptr : message.reply.c_str();
  if (natsMsg_Create(&made, message.subject.c_str(), reply, message.data.data(),
                     static_cast<int>(message.data.size())) != NATS_OK) {
    return;
  }
  const NATSMessage owned(made);
  if (message.after) {
    const std::string after = std::to_string(*message.after);
    // The engine compares what is expected before it agrees with its other servers, so two at the
    // same time would both be taken. Of one name it takes one.
    const std::string name = message.subject + "." + after;
    if (natsMsgHeader_Set(made, "Nats-Expected-Last-Subject-Sequence", after.c_str()) != NATS_OK ||
        natsMsgHeader_Set(made, "Nats-Msg-Id", name.c_str()) != NATS_OK) {
      return;
    }
  }
  // A failure is the connection's, which is noticed soon.
  if (natsConnection_PublishMsg(connection.get(), made) == NATS_OK) {
    const std::lock_guard guard(mutex);
    ++told.sent;
    told.sentBytes += message.data.size();
  }
}

void NATSConnection::subscribe(const std::string& subject, Subscription& to) {
  natsSubscription* made = nullptr;
  if (natsConnection_Subscribe(&made, connection.get(), subject.c_str(), receive, this) !=
      NATS_OK) {
    return;
  }
  {
    const std::lock_guard guard(mutex);
    ++live;
  }
  if (natsSubscription_SetOnCompleteCB(made, completed, this) != NATS_OK) {
    // The connection is gone already, and no message can come.
    completed(this);
  }
  to.reset(made);
}

void NATSConnection::completed(void* self) {
  auto& own = *static_cast<NATSConnection*>(self);
  // Within the lock: the object may be gone right after.
  const std::lock_guard guard(own.mutex);
  --own.live;
  own.changed.notify_all();
}

void NATSConnection::receive(natsConnection* /*connection*/, natsSubscription* /*subscription*/,
                             natsMsg* message, void* self) {
  const NATSMessage owned(message);
  auto& own = *static_cast<NATSConnection*>(self);
  const auto size = static_cast<std::size_t>(natsMsg_GetDataLength(message));
  ++own.received;
  own.receivedBytes += size;
  own.receiver.received(natsMsg_GetSubject(message), {natsMsg_GetData(message), size},
                        natsMsg_IsNoResponders(message));
}

}  // namespace orvik::relay
