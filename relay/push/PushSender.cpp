#include "relay/push/PushSender.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "core/BuildConstants.h"
#include "core/values/CHandle.h"
#include "relay/Log.h"
#include "relay/OpenSSLHandle.h"
#include "relay/Signals.h"
#include "relay/push/PushEncryption.h"
#include "relay/push/PushMessage.h"
#include "relay/push/PushVerdict.h"

namespace orvik::relay {

namespace ip = boost::asio::ip;

namespace {

using Easy = CHandle<CURL, curl_easy_cleanup>;
using Multi = CHandle<CURLM, curl_multi_cleanup>;
using Fields = CHandle<curl_slist, curl_slist_free_all>;

/// How long push services keep what they cannot deliver: as long as the relay keeps it.
constexpr const char* timeToLive = "TTL: 86400";
/// Pushes that fail alike are told no more often.
constexpr std::chrono::minutes lineInterval{10};

void append(Fields& fields, const std::string& field) {
  curl_slist* const longer = curl_slist_append(fields.get(), field.c_str());
  if (longer == nullptr) {
    throw std::bad_alloc();
  }
  static_cast<void>(fields.release());
  fields.reset(longer);
}

std::optional<ip::address> addressOf(const sockaddr& socket) {
  if (socket.sa_family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, &socket, sizeof v4);
    return ip::address_v4(ntohl(v4.sin_addr.s_addr));
  }
  if (socket.sa_family == AF_INET6) {
    sockaddr_in6 v6{};
    std::memcpy(&v6, &socket, sizeof v6);
    ip::address_v6::bytes_type bytes;
    std::ranges::copy(v6.sin6_addr.s6_addr, bytes.begin());
    return ip::address_v6(bytes);
  }
  return std::nullopt;
}

bool holdsCertificates(const std::string& file) {
  const OpenSSLHandle<X509_STORE, X509_STORE_free> store(X509_STORE_new());
  const bool isRead = store != nullptr && X509_STORE_load_file(store.get(), file.c_str()) == 1;
  ERR_clear_error();
  return isRead;
}

/// The library's own beginning and end, around every sender there is.
void beginLibrary() {
  struct Library {
    Library() {
      if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw std::runtime_error("libcurl cannot be used");
      }
    }
    ~Library() { curl_global_cleanup(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
  };
  static const Library library;
}

}  // namespace

/// One request. Its callbacks run on the sender's thread, from `Network::perform`.
struct PushSender::Transfer {
  Transfer(Push what, const Limits& limits, bool mayBeLocal)
      : push(std::move(what)), limits(limits), mayBeLocal(mayBeLocal) {
    if (easy == nullptr) {
      throw std::bad_alloc();
    }
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_URL, push.to.endpoint.c_str());
    set(CURLOPT_PROTOCOLS_STR, "https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    // Neither the environment's nor any other.
    set(CURLOPT_PROXY, "");
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(CURLOPT_TIMEOUT_MS,
        static_cast<long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(limits.pushTime).count()));
    set(CURLOPT_NOSIGNAL, 1L);
    // A name that is looked up for long would hold up all others at the request's end.
    set(CURLOPT_QUICK_EXIT, 1L);
    // One connection with many requests, where the service takes that.
    set(CURLOPT_PIPEWAIT, 1L);
    set(CURLOPT_USERAGENT, (std::string("orvik-relay/") + build::version).c_str());
    set(CURLOPT_OPENSOCKETFUNCTION, &Transfer::openSocket);
    set(CURLOPT_OPENSOCKETDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Transfer::takeBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, &Transfer::takeHeader);
    set(CURLOPT_HEADERDATA, this);
  }

  template <typename Value>
  void set(CURLoption option, Value value) {
    if (curl_easy_setopt(easy.get(), option, value) != CURLE_OK) {
      throw std::runtime_error("libcurl lacks an option: " + std::to_string(option));
    }
  }

  void post(std::string content, const std::string& authorization) {
    body = std::move(content);
    append(fields, timeToLive);
    append(fields, push.alert->isUrgent ? "Urgency: high" : "Urgency: normal");
    if (!push.alert->topic.empty()) {
      append(fields, "Topic: " + pushTopic(*push.alert, push.to));
    }
    append(fields, "Content-Encoding: aes128gcm");
    append(fields, "Content-Type: application/octet-stream");
    append(fields, "Authorization: " + authorization);
    append(fields, "Expect:");
    set(CURLOPT_HTTPHEADER, fields.get());
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    set(CURLOPT_POSTFIELDS, body.data());
  }

  /// Where the name has led to decides, not the name.
  static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* to) {
    auto& transfer = *static_cast<Transfer*>(self);
    const auto address = addressOf(to->addr);
    if (!address || (!transfer.mayBeLocal && !isPublic(*address))) {
      transfer.isForbidden = true;
      return CURL_SOCKET_BAD;
    }
    const int descriptor = ::socket(to->family, to->socktype, to->protocol);
    if (descriptor >= 0) {
      ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    return descriptor;
  }
  /// Answers say nothing that anybody needs: a long one is cut off.
  static std::size_t takeBody(const char*, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.bodyBytes += size * count;
    return transfer.bodyBytes > transfer.limits.pushAnswerBytes ? 0 : size * count;
  }
  static std::size_t takeHeader(const char*, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.headerBytes += size * count;
    return transfer.headerBytes > transfer.limits.pushHeaderBytes ? 0 : size * count;
  }

  [[nodiscard]] PushAnswer answer() const {
    PushAnswer answer;
    curl_off_t retryAfter = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    curl_easy_getinfo(easy.get(), CURLINFO_RETRY_AFTER, &retryAfter);
    if (retryAfter > 0) {
      constexpr curl_off_t longest = std::chrono::seconds(std::chrono::days(1)).count();
      answer.retryAfter = std::chrono::seconds(std::min(retryAfter, longest));
    }
    answer.isForbidden = answer.status == 0 && isForbidden;
    answer.trouble = curl_easy_strerror(result);
    return answer;
  }

  Push push;
  const Limits& limits;
  const bool mayBeLocal;
  Fields fields;
  std::string body;
  std::size_t bodyBytes = 0;
  std::size_t headerBytes = 0;
  bool isForbidden = false;
  CURLcode result = CURLE_OK;
  Easy easy{curl_easy_init()};
};

/// The requests that are under way.
struct PushSender::Network {
  Network() : multi((beginLibrary(), curl_multi_init())) {
    if (multi == nullptr) {
      throw std::bad_alloc();
    }
    // Idle ones are kept for the next push, and count among the descriptors too.
    constexpr long idleConnections = 32;
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, idleConnections);
  }
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  ~Network() {
    for (const auto& [easy, transfer] : transfers) {
      curl_multi_remove_handle(multi.get(), easy);
    }
  }

  void add(std::unique_ptr<Transfer> transfer) {
    CURL* const easy = transfer->easy.get();
    const auto place = transfers.emplace(easy, std::move(transfer)).first;
    if (curl_multi_add_handle(multi.get(), easy) != CURLM_OK) {
      transfers.erase(place);
      throw std::bad_alloc();
    }
  }
  /// The next that has ended, or null.
  std::unique_ptr<Transfer> ended() {
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi.get(), &left)) {
      if (message->msg == CURLMSG_DONE) {
        auto node = transfers.extract(message->easy_handle);
        node.mapped()->result = message->data.result;
        curl_multi_remove_handle(multi.get(), node.key());
        return std::move(node.mapped());
      }
    }
    return nullptr;
  }
  void perform() const {
    int running = 0;
    curl_multi_perform(multi.get(), &running);
  }
  void wait(Clock::Duration longest) const {
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(longest).count();
    curl_multi_poll(multi.get(), nullptr, 0, static_cast<int>(milliseconds), nullptr);
  }
  /// From any thread.
  void wakeUp() const { curl_multi_wakeup(multi.get()); }

  Multi multi;
  std::map<CURL*, std::unique_ptr<Transfer>> transfers;
};

bool holdAuthorities(const char* file, const char* folder) {
  std::error_code error;
  return (file != nullptr && std::filesystem::file_size(file, error) > 0 && !error) ||
         (folder != nullptr && std::filesystem::is_directory(folder, error) &&
          !std::filesystem::is_empty(folder, error) && !error);
}

bool PushSender::Settings::haveAuthorities() const {
  const curl_version_info_data* const library = curl_version_info(CURLVERSION_NOW);
  return !trust.empty() || holdAuthorities(library->cainfo, library->capath);
}

void PushSender::Settings::check() const {
  if (!VAPID::isSubject(subject)) {
    throw std::runtime_error("--push-subject: \"" + subject +
                             "\" is neither of the form mailto:NAME@HOST nor https://…");
  }
  static_cast<void>(PushServices(services));
  if (std::error_code error; !trust.empty() && !std::filesystem::is_regular_file(trust, error)) {
    throw std::runtime_error("--push-trust: there is no file " + trust);
  }
  if (!trust.empty() && !holdsCertificates(trust)) {
    throw std::runtime_error("--push-trust: no certificate can be read from " + trust);
  }
}

PushSender::PushSender(const Settings& settings, P256Key key, const Limits& limits,
                       std::shared_ptr<Clock> clock, Gone gone)
    : services((settings.check(),
                settings.services.empty() ? PushServices::wellKnown() : settings.services)),
      trust(settings.trust),
      limits(limits),
      clock(std::move(clock)),
      gone(std::move(gone)),
      vapid(std::move(key), settings.subject),
      key(vapid.publicKey()),
      queue(limits),
      nextLines(services.size(), this->clock->now()),
      network(std::make_unique<Network>()) {
  thread = std::thread([this] {
    blockSignals();
    run();
  });
}

PushSender::~PushSender() {
  {
    const std::lock_guard guard(mutex);
    isEnding = true;
  }
  network->wakeUp();
  thread.join();
}

bool PushSender::serves(const Subscription& subscription) const {
  const auto endpoint = Endpoint::of(subscription.endpoint, limits.endpointBytes);
  return endpoint && services.find(*endpoint);
}

void PushSender::push(const PushedAlert& alert, const std::vector<Subscription>& to) {
  const auto shared = std::make_shared<const PushedAlert>(alert);
  const Instant now = clock->now();
  {
    const std::lock_guard guard(mutex);
    for (const Subscription& subscription : to) {
      const auto endpoint = Endpoint::of(subscription.endpoint, limits.endpointBytes);
      const auto service = endpoint ? services.find(*endpoint) : std::nullopt;
      if (!service) {
        // The list has changed since it was kept.
        told.failed(PushFailure::unusable);
      } else {
        Push push{shared, subscription, *service, endpoint->origin(), services.isOneHost(*service),
                  now};
        const std::size_t bytes = push.memory();
        if (incomingBytes + queuedBytes + bytes > limits.pushBytes) {
          told.failed(PushFailure::queueFull);
        } else {
          incomingBytes += bytes;
          incoming.push_back(std::move(push));
        }
      }
    }
  }
  network->wakeUp();
}

void PushSender::forget(const Identifier& mac, const std::string& endpoint) {
  const auto parts = Endpoint::of(endpoint, limits.endpointBytes);
  if (!parts) {
    return;
  }
  const std::lock_guard guard(mutex);
  std::erase_if(incoming, [&](const Push& push) {
    const bool isMeant = push.alert->mac == mac && push.to.endpoint == endpoint;
    incomingBytes -= isMeant ? push.memory() : 0;
    return isMeant;
  });
  // What comes in from here on is wanted again.
  forgotten.push_back({mac, parts->origin(), endpoint});
}

void PushSender::leftOut(std::size_t count) { failed(PushFailure::tooMany, count); }

PushState PushSender::state() const {
  const std::lock_guard guard(mutex);
  PushState state = told;
  state.waiting += incoming.size();
  return state;
}

void PushSender::run() {
  const auto isOver = [this] {
    const std::lock_guard guard(mutex);
    return isEnding;
  };
  while (!isOver()) {
    try {
      takeIncoming();
      while (auto next = queue.next(clock->now())) {
        begin(*std::move(next));
      }
      network->perform();
      while (auto transfer = network->ended()) {
        const PushAnswer answer = transfer->answer();
        ended(std::move(transfer), answer);
      }
    } catch (const std::exception& error) {
      // No memory: one push less.
      log(Priority::error, std::string("pushing: ") + error.what());
    }
    constexpr Clock::Duration longest = std::chrono::seconds(1);
    const Clock::Duration pause = queue.nextDue().value_or(Instant::max()) - clock->now();
    network->wait(std::clamp(pause, Clock::Duration::zero(), longest));
  }
}

void PushSender::takeIncoming() {
  std::vector<Push> fresh;
  std::vector<Forgotten> unwanted;
  {
    const std::lock_guard guard(mutex);
    fresh.swap(incoming);
    unwanted.swap(forgotten);
    queuedBytes = queue.memory() + std::exchange(incomingBytes, 0);
  }
  for (const Forgotten& each : unwanted) {
    queue.forget(each.mac, each.origin, each.endpoint);
  }
  for (Push& push : fresh) {
    if (!queue.add(std::move(push))) {
      failed(PushFailure::queueFull);
    }
  }
  const std::lock_guard guard(mutex);
  told.waiting = queue.size();
  queuedBytes = queue.memory();
}

void PushSender::begin(Push push) {
  if (clock->now() - push.arrived >= limits.pushAge) {
    queue.ended(push, clock->now());
    failed(PushFailure::busy);
    return;
  }
  ++push.attempts;
  try {
    auto transfer = std::make_unique<Transfer>(push, limits, services.mayBeLocal(push.service));
    if (!trust.empty()) {
      transfer->set(CURLOPT_CAINFO, trust.c_str());
      // The system's folder is asked beside the file otherwise.
      transfer->set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    transfer->post(PushEncryption::encrypt(pushMessage(*push.alert), push.to),
                   vapid.authorization(push.origin, clock->unixNow()));
    network->add(std::move(transfer));
  } catch (const std::exception&) {
    // A key that has changed on the disk, or no memory.
    queue.ended(push, clock->now());
    failed(PushFailure::unusable);
  }
}

void PushSender::ended(std::unique_ptr<Transfer> transfer, const PushAnswer& answer) {
  Push& push = transfer->push;
  const Instant now = clock->now();
  const Clock::Duration age = now - push.arrived;
  if (answer.status != 0) {
    queue.answered(push, now, PushVerdict::pauseOf(answer, limits));
  } else {
    failed(PushFailure::noAnswer, queue.unanswered(push, now));
  }
  const PushVerdict verdict = PushVerdict::on(answer, push.attempts, age, limits);
  if (verdict.kind == PushVerdict::Kind::again) {
    queue.again(std::move(push), now + verdict.wait);
    return;
  }
  queue.ended(push, now);
  if (verdict.kind == PushVerdict::Kind::failed) {
    failed(verdict.failure);
    if (verdict.failure == PushFailure::gone) {
      gone(push.alert->mac, push.to.endpoint);
    } else {
      tell(push, answer);
    }
  } else {
    const std::lock_guard guard(mutex);
    ++told.sent;
    told.times.add(std::chrono::duration<double>(age).count());
  }
}

void PushSender::failed(PushFailure failure, std::uint64_t count) {
  const std::lock_guard guard(mutex);
  told.failed(failure, count);
}

void PushSender::tell(const Push& push, const PushAnswer& answer) {
  const Instant now = clock->now();
  Instant& next = nextLines.at(push.service);
  if (now < next) {
    return;
  }
  next = now + lineInterval;
  const std::string why = answer.isForbidden ? " is at an address of a local network"
                          : answer.status == 0
                              ? std::string(" does not answer (") + answer.trouble + ")"
                              : " answers " + std::to_string(answer.status);
  log(Priority::warning, "an alert was not pushed: " + push.origin + why);
}

}  // namespace orvik::relay
