#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "core/values/Base64.h"
#include "tests/relay/RunningRelay.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using testing::StartsWith;
namespace beast = boost::beast;

class RelayServerTest : public RunningRelay {
 protected:
  RelayServerTest() {
    limits.unauthenticatedPerAddress = 3;
    limits.macMessages = limits.macBytes = {1e12, 1e12};
  }

  void SetUp() override {
    const Certificate certificate = Certificate::keptIn(folder.path, {}, SystemClock().unixNow());
    // Like real ones: the chain of trust and the host name are checked.
    trust.load_verify_file(certificate.file.string());
    trust.set_verify_mode(asio::ssl::verify_peer);
    server.emplace(context, loopback, certificate, clock, store, limits);
    serve();
  }

  tcp::socket connect(int receiveBuffer = 0) {
    tcp::socket socket(context, tcp::v4());
    if (receiveBuffer > 0) {
      socket.set_option(tcp::socket::receive_buffer_size(receiveBuffer));
    }
    socket.connect(server->endpoint());
    return socket;
  }

  std::string http(const std::string& request) {
    asio::ssl::stream<tcp::socket> stream(connect(), trust);
    await(stream.async_handshake(asio::ssl::stream_base::client, asio::use_awaitable));
    return exchange(stream, request);
  }

  static std::string path(const std::string& role, char identifier) {
    return "/v1/" + role + "/" + base64URL(Bytes(16, static_cast<std::uint8_t>(identifier)));
  }
  static std::string auth(char token) {
    return R"({"auth":")" + base64URL(Bytes(32, static_cast<std::uint8_t>(token))) + R"("})";
  }

  class Client {
   public:
    Client(RelayServerTest& relayTest, const std::string& role, std::optional<char> token = {},
           int receiveBuffer = 0)
        : test(relayTest), socket(test.connect(receiveBuffer), test.trust) {
      socket.next_layer().set_verify_callback(asio::ssl::host_name_verification("localhost"));
      test.await(
          socket.next_layer().async_handshake(asio::ssl::stream_base::client, asio::use_awaitable));
      test.await(
          socket.async_handshake("localhost", "/prefix" + path(role, 'a'), asio::use_awaitable));
      if (token) {
        send(auth(*token));
      }
    }

    void send(const std::string& text) {
      test.await(socket.async_write(asio::buffer(text), asio::use_awaitable));
    }

    /// The next message, or "closed" with the code.
    std::string next() {
      std::string text;
      auto buffer = asio::dynamic_buffer(text);
      const auto [error, size] = test.await(socket.async_read(buffer, asTuple));
      return error ? "closed " + std::to_string(socket.reason().code) : text;
    }

    static constexpr int pingSize = 125;
    void pingFrame() {
      const beast::websocket::ping_data payload(pingSize, 'x');
      test.await(socket.async_ping(payload, asio::use_awaitable));
    }

    tcp::socket& tcpSocket() { return socket.next_layer().next_layer(); }

   private:
    RelayServerTest& test;
    beast::websocket::stream<asio::ssl::stream<tcp::socket>> socket;
  };

  asio::ssl::context trust{asio::ssl::context::tls_client};
};

TEST_F(RelayServerTest, ForwardsToEveryPhone) {
  Client mac(*this, "mac", 't');
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  Client first(*this, "phone", 't');
  Client second(*this, "phone", 't');
  EXPECT_EQ(first.next(), R"({"mac":true})");
  EXPECT_EQ(second.next(), R"({"mac":true})");
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":1})");
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":2})");
  first.send(R"({"active":true})");
  EXPECT_EQ(mac.next(), R"({"active":1,"viewers":2})");
  for (const std::size_t size : {std::size_t{0}, std::size_t{200'000}, limits.macMessage}) {
    const std::string envelope(size, 'x');
    mac.send(envelope);
    EXPECT_EQ(first.next(), envelope);
    EXPECT_EQ(second.next(), envelope);
  }
  first.tcpSocket().close();
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":1})");
  Client again(*this, "mac", 't');
  EXPECT_EQ(mac.next(), "closed 4000");
  EXPECT_EQ(again.next(), R"({"active":0,"viewers":1})");
  server->stop();
  EXPECT_EQ(again.next(), "closed 1001");
  EXPECT_EQ(second.next(), "closed 1001");
}

TEST_F(RelayServerTest, ClosesWithTheReason) {
  Client mac(*this, "mac", 't');
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  for (const std::string role : {"mac", "phone"}) {
    EXPECT_EQ(Client(*this, role, 'u').next(), "closed 4403");
    Client early(*this, role);
    early.send("ping");
    EXPECT_EQ(early.next(), "closed 4400");
    Client big(*this, role);
    big.send(std::string(limits.phoneMessage + 1, 'x'));
    EXPECT_EQ(big.next(), "closed 1009");
  }
  // Sent to its end before the close code is read.
  mac.send(std::string(8 * limits.macMessage, 'x'));
  EXPECT_EQ(mac.next(), "closed 1009");
}

TEST_F(RelayServerTest, EndsWhoeverTakesTooLong) {
  tcp::socket silent = connect();
  asio::ssl::stream<tcp::socket> slow(connect(), trust);
  await(slow.async_handshake(asio::ssl::stream_base::client, asio::use_awaitable));
  clock->advance(limits.upgradeTime - 1s);
  Client mute(*this, "phone");
  tcp::socket refused = connect();
  EXPECT_EQ(exchange(refused, ""), "") << "one more than one address may have";
  clock->advance(1s);
  EXPECT_EQ(exchange(silent, ""), "");
  EXPECT_EQ(exchange(slow, "GET / HTTP/1.1\r\n"), "");
  clock->advance(limits.authenticationTime - 1s);
  EXPECT_EQ(mute.next(), "closed 4400");
  Client mac(*this, "mac", 't');
  Client deaf(*this, "phone", 't');
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":1})");
  clock->advance(limits.idleTime - 1s);
  mac.pingFrame();
  clock->advance(1s);
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  clock->advance(limits.closingTime);
  // It never answers the closing handshake, and its socket is cut nevertheless.
  EXPECT_GT(exchange(deaf.tcpSocket(), "").size(), 0U);
}

TEST_F(RelayServerTest, ASlowPhoneDelaysNobody) {
  Client mac(*this, "mac", 't');
  Client slow(*this, "phone", 't', 64 * 1024);
  Client quick(*this, "phone", 't');
  EXPECT_EQ(quick.next(), R"({"mac":true})");
  for (const std::string viewers : {"0", "1", "2"}) {
    EXPECT_EQ(mac.next(), R"({"active":0,"viewers":)" + viewers + "}");
  }
  const std::string envelope(100'000, 'x');
  int sent = 0;
  for (bool isSlowThere = true; isSlowThere;) {
    ASSERT_LT(++sent, 1000) << "more is kept for a slow phone than it may be";
    mac.send(envelope);
    EXPECT_EQ(quick.next(), envelope);
    mac.send("ping");
    for (std::string told = mac.next(); told != "pong"; told = mac.next()) {
      EXPECT_EQ(told, R"({"active":0,"viewers":1})");
      isSlowThere = false;
    }
  }
  EXPECT_EQ(slow.next(), R"({"mac":true})");
  int received = 0;
  std::string last = slow.next();
  for (; last == envelope; last = slow.next()) {
    ++received;
  }
  EXPECT_EQ(last, "closed 1013");
  EXPECT_LT(received, sent);
}

TEST_F(RelayServerTest, AnswersOrEndsWhatIsNoWebSocket) {
  const std::string end = " HTTP/1.1\r\nHost: localhost\r\n";
  const std::string upgrade =
      "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
      "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n";
  const std::string mac = path("mac", 'a');
  EXPECT_THAT(http("GET /healthz" + end + "Connection: close\r\n\r\n"),
              testing::AllOf(StartsWith("HTTP/1.1 200"), testing::EndsWith("\r\n\r\nok\n")));
  for (const auto& [request, status] : {std::pair{"POST /healthz" + end, "404"},
                                        {"GET /" + end, "404"},
                                        {"GET " + mac + end, "404"},
                                        {"GET /v1/mac/x" + end + upgrade, "404"},
                                        {"GET " + mac + end + upgrade + "\r\nmore", "400"},
                                        {"GET " + mac + end + std::string(9000, 'x'), "400"},
                                        {std::string("\0\r\n", 3), "400"}}) {
    EXPECT_THAT(http(request + "\r\n"), StartsWith(std::string("HTTP/1.1 ") + status)) << request;
  }
  tcp::socket garbage = connect();
  EXPECT_LT(exchange(garbage, "GET / HTTP/1.1\r\n\r\n").size(), 100U);
}

}  // namespace
}  // namespace orvik::relay
