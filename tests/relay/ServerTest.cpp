#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <list>

#include "core/values/Base64.h"
#include "tests/relay/RunningRelay.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using testing::StartsWith;
namespace beast = boost::beast;

class ServerTest : public RunningRelay {
 protected:
  ServerTest() {
    limits.unauthenticatedPerAddress = 3;
    limits.macMessages = limits.macBytes = {1e12, 1e12};
  }

  void SetUp() override {
    const Certificate certificate = Certificate::keptIn(folder.path, {}, SystemClock().unixNow());
    // Like real ones: the chain of trust and the host name are checked.
    trust.load_verify_file(certificate.file.string());
    trust.set_verify_mode(asio::ssl::verify_peer);
    makeServer();
    server->use(makeTLSContext(certificate));
    endpoint = listen({.overTLS = true});
    proxied = listen({.isProxied = true});
    monitoring = listen({.service = Service::monitoring});
    serve();
  }

  tcp::socket connect(int receiveBuffer = 0) {
    tcp::socket socket(context, tcp::v4());
    if (receiveBuffer > 0) {
      socket.set_option(tcp::socket::receive_buffer_size(receiveBuffer));
    }
    socket.connect(endpoint);
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
    Client(ServerTest& relayTest, const std::string& role, std::optional<char> token = {},
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

    /// Sends so much of a message and not its end.
    void beginMessage(std::size_t size) {
      test.await(socket.async_write_some(false, asio::buffer(std::string(size, 'x')),
                                         asio::use_awaitable));
    }

    tcp::socket& tcpSocket() { return socket.next_layer().next_layer(); }

   private:
    ServerTest& test;
    beast::websocket::stream<asio::ssl::stream<tcp::socket>> socket;
  };

  /// What comes back for a request, over TCP alone.
  std::string asked(const tcp::endpoint& whom, const std::string& request) {
    tcp::socket socket(context);
    socket.connect(whom);
    return exchange(socket, request);
  }
  std::string monitored(const std::string& path) {
    return asked(monitoring, "GET " + path + " HTTP/1.1\r\nHost: a\r\n\r\n");
  }

  tcp::endpoint endpoint;
  tcp::endpoint proxied;
  tcp::endpoint monitoring;
  asio::ssl::context trust{asio::ssl::context::tls_client};
};

TEST_F(ServerTest, ForwardsToEveryPhone) {
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

TEST_F(ServerTest, ClosesWithTheReason) {
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

TEST_F(ServerTest, EndsWhoeverTakesTooLong) {
  tcp::socket silent = connect();
  asio::ssl::stream<tcp::socket> slow(connect(), trust);
  await(slow.async_handshake(asio::ssl::stream_base::client, asio::use_awaitable));
  advance(limits.upgradeTime - 1s);
  Client mute(*this, "phone");
  tcp::socket refused = connect();
  EXPECT_EQ(exchange(refused, ""), "") << "one more than one address may have";
  advance(1s);
  EXPECT_EQ(exchange(silent, ""), "");
  EXPECT_EQ(exchange(slow, "GET / HTTP/1.1\r\n"), "");
  advance(limits.authenticationTime - 1s);
  EXPECT_EQ(mute.next(), "closed 4400");
  Client mac(*this, "mac", 't');
  Client deaf(*this, "phone", 't');
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":1})");
  advance(limits.idleTime - 1s);
  mac.pingFrame();
  advance(1s);
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  advance(limits.closingTime);
  // It never answers the closing handshake, and its socket is cut nevertheless.
  EXPECT_GT(exchange(deaf.tcpSocket(), "").size(), 0U);
}

TEST_F(ServerTest, ASlowPhoneDelaysNobody) {
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

TEST_F(ServerTest, AnswersOrEndsWhatIsNoWebSocket) {
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

TEST_F(ServerTest, RefusesOldTLS) {
  const auto shakesHands = [this](int newest, const char* ciphers) {
    asio::ssl::context old(asio::ssl::context::tls_client);
    SSL_CTX_set_min_proto_version(old.native_handle(), 0);
    SSL_CTX_set_max_proto_version(old.native_handle(), newest);
    SSL_CTX_set_cipher_list(old.native_handle(), ciphers);
    asio::ssl::stream<tcp::socket> stream(connect(), old);
    const auto [error] = await(stream.async_handshake(asio::ssl::stream_base::client, asTuple));
    return !error;
  };
  EXPECT_TRUE(shakesHands(TLS1_3_VERSION, "DEFAULT"));
  EXPECT_TRUE(shakesHands(TLS1_2_VERSION, "DEFAULT"));
  EXPECT_FALSE(shakesHands(TLS1_2_VERSION, "AES128-SHA:ECDHE-ECDSA-AES128-SHA256"));
  EXPECT_FALSE(shakesHands(TLS1_1_VERSION, "DEFAULT:@SECLEVEL=0"));
}

TEST_F(ServerTest, BelievesAServerInFrontAboutAddresses) {
  const std::string header("\r\n\r\n\0\r\nQUIT\n\x21\x11\0\x0c\xc0\0\2\7\x7f\0\0\1\x12\x34\1\xbb",
                           28);
  const std::string request = "GET /healthz HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n";
  EXPECT_THAT(asked(proxied, header + request), testing::EndsWith("ok\n"));
  EXPECT_EQ(asked(proxied, request), "");
  std::list<tcp::socket> sameAddress;
  for (std::size_t i = 0; i < limits.unauthenticatedPerAddress; ++i) {
    sameAddress.emplace_back(context).connect(proxied);
    asio::write(sameAddress.back(),
                asio::buffer(header + "GET /healthz HTTP/1.1\r\nHost: a\r\n\r\n"));
    char first = 0;
    await(asio::async_read(sameAddress.back(), asio::buffer(&first, 1), asio::use_awaitable));
  }
  EXPECT_EQ(asked(proxied, header + request), "");
}

TEST_F(ServerTest, SaysHowItFaresAndClosesOverTime) {
  Client mac(*this, "mac", 't');
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  Client phone(*this, "phone", 't');
  EXPECT_EQ(phone.next(), R"({"mac":true})");
  EXPECT_THAT(monitored("/healthz"), testing::EndsWith("\nok\n"));
  EXPECT_THAT(monitored("/readyz"), StartsWith("HTTP/1.1 200"));
  EXPECT_THAT(monitored("/"), StartsWith("HTTP/1.1 404"));
  EXPECT_THAT(monitored("/metrics"),
              testing::AllOf(testing::HasSubstr("\norvik_relay_authenticated_connections 2\n"),
                             testing::HasSubstr("{reason=\"replaced\"} 0\n")));
  server->stop(10s);
  EXPECT_THAT(monitored("/readyz"),
              testing::AllOf(StartsWith("HTTP/1.1 503"), testing::EndsWith("shutting down\n")));
  boost::system::error_code refused;
  tcp::socket late(context);
  late.connect(endpoint, refused);
  EXPECT_TRUE(refused);
  advance(6s);
  const auto ended = [this] {
    const std::string text = monitored("/metrics");
    const std::string row = "{reason=\"shutting_down\"} ";
    return text.substr(text.find(row) + row.size(), 1);
  };
  EXPECT_EQ(ended(), "1");
  advance(4s);
  for (Client* client : {&mac, &phone}) {
    std::string last = client->next();
    while (!last.starts_with("closed")) {
      last = client->next();
    }
    EXPECT_EQ(last, "closed 1001");
  }
}

/// A relay that few may wait at.
class CrowdedServerTest : public ServerTest {
 protected:
  CrowdedServerTest() {
    limits.unauthenticated = 4;
    limits.bufferedBytes = 64 * Limits::kibibyte;
  }
};

TEST_F(CrowdedServerTest, SilentOnesMakeRoom) {
  std::list<tcp::socket> silent;
  for (std::uint8_t i = 2; i < 14; ++i) {
    tcp::socket& socket = silent.emplace_back(context, tcp::v4());
    socket.bind({asio::ip::address_v4({127, 0, 0, i}), 0});
    socket.connect(endpoint);
    socket.non_blocking(true);
  }
  // They end one after another, none before its time, and then others have their turn.
  const Instant start = clock->now();
  for (tcp::socket& socket : silent) {
    boost::system::error_code error = asio::error::would_block;
    while (error == asio::error::would_block) {
      ASSERT_LT(clock->now() - start, 1h);
      advance(1s);
      context.restart();
      context.run_for(1ms);
      char byte = 0;
      socket.read_some(asio::buffer(&byte, 1), error);
    }
  }
  EXPECT_GE(clock->now() - start, 3 * limits.crowdedTime);
  Client mac(*this, "mac", 't');
  EXPECT_EQ(mac.next(), R"({"active":0,"viewers":0})");
  EXPECT_THAT(monitored("/metrics"), testing::HasSubstr("{reason=\"pushed_out\"} 12\n"));
  // What all together have begun to send is bounded too.
  mac.beginMessage(100 * Limits::kibibyte);
  EXPECT_EQ(mac.next(), "closed 1013");
}

}  // namespace
}  // namespace orvik::relay
