#include "relay/Connection.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <utility>

#include "relay/Log.h"
#include "relay/Loop.h"
#include "relay/ProxyHeader.h"

namespace orvik::relay {

namespace {

constexpr const char* serverName = "orvik-relay";

}  // namespace

Connection::Connection(Loop& loopUsed, const Arrival& arrival)
    : loop(&loopUsed),
      socket(loopUsed.context),
      transport(arrival.descriptor.get(), arrival.tls.get()),
      address(arrival.address),
      opening(std::make_unique<Opening>(loopUsed.shared.limits)),
      inboundBytes(loopUsed.shared.limits.phoneBytes, now()),
      lastServed(now()),
      cutAt(lastServed + loopUsed.shared.limits.upgradeTime),
      family(arrival.family),
      service(arrival.service),
      phase(arrival.isProxied ? Phase::proxy : Phase::handshake) {}

void Connection::start(FileDescriptor descriptor) {
  if (!attach(std::move(descriptor))) {
    return;
  }
  if (transport.isTLS()) {
    // Who says nothing takes no turn.
    waitToRead();
  } else {
    readable();
  }
}

void Connection::beginHandshake() {
  isQueued = false;
  isShakingHands = true;
  if (phase == Phase::ended) {
    endHandshake();
    return;
  }
  turnEnds = now() + loop->turn();
  const Limits& limits = loop->shared.limits;
  if (turns == 0) {
    cutAt = now() + limits.upgradeTime;
  } else if (turns < limits.handshakeTurns) {
    // It may have waited for longer than that.
    cutAt = std::max(cutAt, turnEnds + limits.requestWait);
  }
  turns += turns < limits.handshakeTurns ? 1 : 0;
  readable();
}

void Connection::endHandshake() {
  if (std::exchange(isShakingHands, false)) {
    loop->endHandshake();
  }
}

bool Connection::attach(FileDescriptor descriptor) {
  boost::system::error_code error;
  socket.assign(asio::generic::stream_protocol(family, 0), descriptor.get(), error);
  if (error) {
    cut(CloseReason::connectionLost);
    return false;
  }
  static_cast<void>(descriptor.release());
  return true;
}

Instant Connection::now() const { return loop->now(); }

void Connection::waitToRead() {
  socket.async_wait(Socket::wait_read, [alive = self()](const boost::system::error_code& error) {
    if (!error) {
      alive->readable();
    }
  });
}

void Connection::waitToWrite() {
  if (isWaitingToWrite) {
    return;
  }
  isWaitingToWrite = true;
  socket.async_wait(Socket::wait_write, [alive = self()](const boost::system::error_code& error) {
    if (!error) {
      alive->writable();
    }
  });
}

void Connection::writable() {
  isWaitingToWrite = false;
  const bool isReadWaiting = std::exchange(readWantsWrite, false);
  flush();
  if (isReadWaiting) {
    readable();
  }
}

void Connection::readable() {
  // So many times before others have their turn.
  constexpr int turns = 4;
  if (!isAuthenticated) {
    lastServed = now();
  }
  for (int turn = 0; turn < turns; ++turn) {
    if (phase == Phase::handshake && !shakeHands()) {
      return;
    }
    if (phase == Phase::answer || phase == Phase::ended) {
      return;
    }
    const Transport::Result result = transport.read(loop->readBuffer);
    if (!takeWireBytes()) {
      return;
    }
    if (result.status == Transport::Status::wantsRead) {
      waitToRead();
      return;
    }
    if (result.status == Transport::Status::wantsWrite) {
      readWantsWrite = true;
      waitToWrite();
      return;
    }
    if (result.status != Transport::Status::done) {
      peerEnded(result.status == Transport::Status::failed);
      return;
    }
    loop->counters.add(Metric::bytesReceived, static_cast<std::int64_t>(result.size));
    if (!received(std::span(loop->readBuffer).first(result.size))) {
      return;
    }
    if (!transport.hasPending() && result.size < loop->readBuffer.size()) {
      waitToRead();
      return;
    }
  }
  if (transport.hasPending()) {
    asio::post(loop->context, [alive = self()] { alive->readable(); });
  } else {
    waitToRead();
  }
}

bool Connection::shakeHands() {
  if (transport.isTLS() && !isShakingHands) {
    isShakingHands = loop->mayShakeHands(self());
    isQueued = !isShakingHands;
    if (isQueued) {
      return false;
    }
    turnEnds = now() + loop->turn();
  }
  switch (transport.handshake()) {
    case Transport::Status::done:
      endHandshake();
      phase = Phase::request;
      return true;
    case Transport::Status::wantsRead:
      waitToRead();
      return false;
    case Transport::Status::wantsWrite:
      readWantsWrite = true;
      waitToWrite();
      return false;
    default:
      cut(CloseReason::handshakeFailed);
      return false;
  }
}

bool Connection::takeWireBytes() {
  const std::size_t bytes = transport.takeWireBytes();
  if (bytes > 0 && !inboundBytes.take(now(), static_cast<double>(bytes))) {
    if (phase != Phase::open) {
      // Who floods on after being told to stop is not waited for.
      cut(CloseReason::tooManyBytes);
      return false;
    }
    close(CloseReason::tooManyBytes);
  }
  return true;
}

bool Connection::received(std::span<char> bytes) {
  switch (phase) {
    case Phase::proxy:
      return takeProxyHeader({bytes.data(), bytes.size()});
    case Phase::request:
      return takeRequests({bytes.data(), bytes.size()});
    case Phase::open:
      takeFrames(bytes);
      return phase != Phase::ended;
    default:
      return phase == Phase::closing;
  }
}

bool Connection::takeProxyHeader(std::string_view bytes) {
  std::string& gathered = opening->proxyHeader.append(bytes);
  ProxyHeader header;
  switch (header.read(gathered)) {
    case ProxyHeader::Outcome::incomplete:
      return true;
    case ProxyHeader::Outcome::bad:
      cut(CloseReason::noProxyHeader);
      return false;
    case ProxyHeader::Outcome::header:
      break;
  }
  if (header.address) {
    if (const auto refusal = loop->shared.admission.locate(*header.address)) {
      cut(*refusal);
      return false;
    }
    address = header.address;
  }
  const std::string rest = gathered.substr(header.size);
  opening->proxyHeader.clear();
  phase = Phase::request;
  return takeRequests(rest);
}

bool Connection::takeRequests(std::string_view bytes) {
  switch (opening->requests.read(bytes)) {
    case RequestReader::Outcome::incomplete:
      return true;
    case RequestReader::Outcome::bad:
      answer(lineOfText(http::status::bad_request, "bad request\n"), false);
      return false;
    case RequestReader::Outcome::request:
      // From here on it may belong to another loop.
      takeRequest();
      return false;
  }
  return false;
}

void Connection::takeRequest() {
  RequestReader& reader = opening->requests;
  const HTTPRequest& request = reader.request();
  loop->counters.add(Metric::requests);
  if (service == Service::monitoring) {
    std::string body;
    HTTPAnswer response =
        monitoringAnswer(request, loop->shared.metrics, loop->shared.notReady, body);
    answer(std::move(response), false, std::move(body));
  } else if (!isUpgrade(request)) {
    HTTPAnswer response = answerTo(request, loop->shared.page.get(), transport.isTLS());
    // A body, which no request here needs, is not waited for; nor is a client that goes wrong.
    const bool mayStay = --opening->requestsLeft > 0 && request.keep_alive() && reader.isWhole() &&
                         response.result() < http::status::bad_request;
    answer(std::move(response), mayStay);
  } else if (reader.hasMore() || !isProperUpgrade(request)) {
    // A client that talks on before the upgrade is answered does not speak this protocol.
    answer(lineOfText(http::status::bad_request, "bad request\n"), false);
  } else {
    upgrade(request);
  }
}

void Connection::answer(HTTPAnswer response, bool stays, std::string body) {
  mayStay = stays;
  response.keep_alive(stays);
  response.set(http::field::server, serverName);
  afterAnswer = response.result() < http::status::bad_request ? CloseReason::requestsAnswered
                                                              : CloseReason::badRequest;
  phase = Phase::answer;
  cutAt = now() + loop->shared.limits.answerTime;
  outbound.append(headOf(response));
  if (body.empty()) {
    outbound.appendStatic({response.body().data(), response.body().size()});
  } else {
    outbound.append(std::move(body));
  }
  scheduleFlush();
}

void Connection::upgrade(const HTTPRequest& request) {
  const std::optional<Target> target = Target::of(viewOf(request.target()));
  if (!target) {
    answer(lineOfText(http::status::not_found, "not found\n"), false);
    return;
  }
  std::string greeting = upgradeAnswer(request);
  opening.reset();
  Loop& home = loop->shared.home(target->identifier);
  if (&home == loop) {
    open(*target, std::move(greeting));
    readable();
    return;
  }
  boost::system::error_code error;
  FileDescriptor descriptor(socket.release(error));
  if (error) {
    cut(CloseReason::connectionLost);
    return;
  }
  loop->counters.add(Metric::handedOver);
  const std::shared_ptr<Connection> alive = self();
  loop->remove(*this);
  loop = &home;
  socket = Socket(home.context);
  home.post([this, alive, descriptor = std::move(descriptor), target = *target,
             greeting = std::move(greeting)]() mutable {
    loop->add(alive);
    if (attach(std::move(descriptor))) {
      open(target, std::move(greeting));
      readable();
    }
  });
}

void Connection::open(const Target& target, std::string greeting) {
  phase = Phase::open;
  cutAt = Instant::max();
  session.emplace(target, *this, loop->switchboard, loop->shared.limits, now());
  outbound.append(std::move(greeting));
  scheduleFlush();
}

void Connection::takeFrames(std::span<char> bytes) {
  // Among the first messages is the token, of which the relay keeps its hash alone.
  const std::span<char> secret = isAuthenticated ? std::span<char>() : bytes;
  while (phase == Phase::open && !bytes.empty()) {
    std::optional<FrameEvent> event = frames.next(bytes, session->messageLimit());
    if (!event) {
      break;
    }
    take(*event);
  }
  wipe(secret.data(), secret.size());
  countBuffered();
  if (phase == Phase::open && holdsMuch()) {
    close(CloseReason::shortOfMemory);
  }
}

void Connection::take(FrameEvent& event) {
  using Kind = FrameEvent::Kind;
  const Instant at = now();
  switch (event.kind) {
    case Kind::text:
    case Kind::binary:
      loop->counters.add(Metric::messagesReceived);
      session->received(event.kind == Kind::text, event.message, at);
      if (!isAuthenticated) {
        event.message->forget();
      }
      noticeAuthentication(at);
      return;
    case Kind::ping:
      session->receivedControlFrame(at);
      // One answer waits at a time; of the pings meanwhile the latest is answered.
      latestPing = std::move(event.content);
      answerPing();
      return;
    case Kind::pong:
      session->receivedControlFrame(at);
      return;
    case Kind::close:
      // It gets its own code back.
      outbound.append(controlFrame(FrameKind::close, event.content.substr(0, 2)));
      finish(CloseReason::clientClosed);
      return;
    case Kind::failure:
      close(event.reason);
      return;
  }
}

void Connection::answerPing() {
  if (latestPing && !isPongWaiting) {
    isPongWaiting = true;
    outbound.append(controlFrame(FrameKind::pong, *latestPing));
    latestPing.reset();
    scheduleFlush();
  }
}

void Connection::noticeAuthentication(Instant at) {
  if (isAuthenticated || !session->isAuthenticated()) {
    return;
  }
  isAuthenticated = true;
  loop->counters.add(Metric::authenticated);
  loop->shared.admission.authenticate(address);
  inboundBytes = RateLimit(session->byteRate(), at);
}

void Connection::send(SharedText message) {
  if (phase != Phase::open) {
    return;
  }
  if (!outbound.push(message, loop->shared.limits)) {
    close(CloseReason::tooSlow);
    return;
  }
  loop->counters.add(Metric::messagesSent);
  countBuffered();
  if (holdsMuch()) {
    close(CloseReason::shortOfMemory);
  } else {
    scheduleFlush();
  }
}

void Connection::close(CloseReason why) {
  const CloseRow& row = rowOf(why);
  if (phase == Phase::closing || phase == Phase::ended) {
    return;
  }
  if (phase == Phase::answer) {
    mayStay = false;
    return;
  }
  if (phase != Phase::open) {
    cut(why);
    return;
  }
  if (why == CloseReason::tooSlow || why == CloseReason::shortOfMemory) {
    outbound.dropBehind(transport.begun());
  }
  outbound.append(closeFrame(row.code, row.words));
  finish(why);
}

bool Connection::mayClaim() { return loop->shared.admission.mayClaim(address, now()); }

void Connection::finish(CloseReason why) {
  note(why);
  phase = Phase::closing;
  cutAt = now() + loop->shared.limits.closingTime;
  countBuffered();
  scheduleFlush();
  // Not at once: the caller may be going through the list that this would change.
  asio::post(loop->context, [alive = self()] { alive->leave(); });
}

void Connection::cut(CloseReason why) {
  if (phase == Phase::ended) {
    return;
  }
  note(why);
  phase = Phase::ended;
  endHandshake();
  boost::system::error_code ignored;
  socket.close(ignored);
  asio::post(loop->context, [alive = self()] {
    alive->leave();
    if (alive->service == Service::clients) {
      alive->loop->shared.admission.leave(alive->address, alive->isAuthenticated);
    }
    if (alive->isAuthenticated) {
      alive->loop->counters.add(Metric::authenticated, -1);
    }
    alive->outbound = OutboundQueue();
    alive->frames = FrameReader();
    alive->countBuffered();
    alive->loop->remove(*alive);
  });
}

void Connection::flush() {
  isFlushScheduled = false;
  if (phase == Phase::ended || phase == Phase::handshake || isWaitingToWrite) {
    return;
  }
  const std::size_t before = outbound.size();
  const Transport::Status status = transport.write(outbound, loop->writeRoom);
  loop->counters.add(Metric::bytesSent, static_cast<std::int64_t>(before - outbound.size()));
  countBuffered();
  if (status == Transport::Status::wantsWrite) {
    waitToWrite();
  } else if (status != Transport::Status::done) {
    cut(CloseReason::connectionLost);
  } else {
    sent();
  }
}

void Connection::sent() {
  isPongWaiting = false;
  if (phase == Phase::open) {
    answerPing();
  }
  if (phase == Phase::answer && mayStay) {
    phase = Phase::request;
    cutAt = now() + loop->shared.limits.requestWait;
    opening->requests.reset();
    // The next request may have come with this one.
    if (takeRequests({})) {
      readable();
    }
  } else if (phase == Phase::answer) {
    finish(afterAnswer);
    readable();
  } else if (phase == Phase::closing && !std::exchange(isSendingEnded, true)) {
    // Closing a socket with unread data resets the connection, and the reset overtakes what was
    // sent: the client's data is read to its end first.
    transport.endSending();
    if (hasPeerEnded) {
      cut(CloseReason::clientClosed);
    }
  }
}

void Connection::peerEnded(bool isLoss) {
  hasPeerEnded = true;
  const bool isUnsent = phase == Phase::closing && !isSendingEnded;
  if (isLoss || !isUnsent) {
    const bool isAnswered =
        phase == Phase::request && !isLoss && opening->requestsLeft < loop->shared.limits.requests;
    cut(phase == Phase::handshake ? CloseReason::handshakeFailed
        : isAnswered              ? CloseReason::requestsAnswered
                                  : CloseReason::connectionLost);
  }
}

void Connection::check(Instant at) {
  if (isQueued) {
    // It is the relay that lets it wait.
    return;
  }
  if (at >= cutAt) {
    cut(phase == Phase::closing  ? CloseReason::closingLate
        : phase == Phase::answer ? CloseReason::answerNotTaken
                                 : CloseReason::upgradeLate);
  } else if (!isAuthenticated && !isClosing() && service == Service::clients &&
             loop->shared.isCrowded && at >= lastServed + loop->patience()) {
    close(CloseReason::pushedOut);
  } else if (isShakingHands && loop->hasQueued() && at >= turnEnds) {
    // It goes on when it has said more, behind those that wait.
    endHandshake();
  } else if (phase == Phase::open) {
    session->check(at);
    noticeAuthentication(at);
  }
}

void Connection::note(CloseReason why) {
  if (reason) {
    return;
  }
  reason = why;
  loop->counters.ended(why);
  if (loop->shared.isVerbose) {
    log(Priority::info, (address ? address->to_string() : std::string("a client")) + ": " +
                            std::string(rowOf(why).words));
  }
}

void Connection::leave() {
  if (session) {
    const bool isLost = reason == CloseReason::connectionLost || reason == CloseReason::tooSlow ||
                        reason == CloseReason::shortOfMemory;
    session->ended(now(), isLost);
  }
}

void Connection::countBuffered() {
  const std::size_t present = outbound.size() + frames.unfinished();
  if (present != buffered) {
    loop->counters.add(Metric::bufferedBytes,
                       static_cast<std::int64_t>(present) - static_cast<std::int64_t>(buffered));
    buffered = present;
  }
}

bool Connection::holdsMuch() const {
  // Those with less get through: it is the others that have filled the memory.
  constexpr std::size_t share = 64 * Limits::kibibyte;
  return buffered > share && loop->isFull();
}

void Connection::scheduleFlush() {
  if (!std::exchange(isFlushScheduled, true)) {
    loop->flushLater(self());
  }
}

}  // namespace orvik::relay
