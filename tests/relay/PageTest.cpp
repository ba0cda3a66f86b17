#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>

#include "relay/HTTPAnswer.h"
#include "relay/RelayServer.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestRelay.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// A relay with a page, asked over plain TCP. The clock stands still.
class PageTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder.path / "dist/a");
    std::filesystem::create_directories(folder.path / "dist/.hidden");
    folder.write("dist/index.html", html);
    folder.write("dist/a/main-1.js", "run()");
    folder.write("dist/a/large-1.png", std::string(large, 'x'));
    folder.write("dist/config.json", R"({"relay":"wss://relay.example:1/prefix"})");
    folder.write("dist/.hidden/key", "secret");
    folder.write("secret", "secret");
    const auto certificate =
        Certificate::read(test::fixture("localhost.pem"), test::fixture("localhost.key.pem"));
    server.emplace(context, loopback, certificate, clock);
    endpoint = server->listenPlain(loopback);
    server->serve(Page::read(folder.path / "dist"));
    serving = asio::co_spawn(context, server->run(), asio::use_future);
  }

  void TearDown() override {
    server->stop();
    until([this] { return serving.wait_for(0s) == std::future_status::ready; });
    serving.get();
  }

  void until(const std::function<bool()>& condition) {
    for (const auto end = SystemClock().now() + 20s; !condition();) {
      ASSERT_LT(SystemClock().now(), end) << "it never happens";
      context.restart();
      context.run_one_for(1ms);
    }
  }

  struct Client {
    explicit Client(PageTest& test) : test(test) {
      socket.connect(test.endpoint);
      socket.non_blocking(true);
    }
    void send(const std::string& bytes) { asio::write(socket, asio::buffer(bytes)); }
    /// Reads on to this text, or to the end of the connection where there is none.
    std::string read(const std::optional<std::string>& text = {}) {
      std::string all;
      test.until([&] {
        std::array<char, 4096> piece{};
        boost::system::error_code error;
        all.append(piece.data(), socket.read_some(asio::buffer(piece), error));
        return text ? all.find(*text) != std::string::npos
                    : error && error != asio::error::would_block;
      });
      return all;
    }

    PageTest& test;
    tcp::socket socket{test.context};
  };

  std::string answer(const std::string& head) {
    Client client(*this);
    client.send(head + "\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    return client.read();
  }

  static constexpr std::size_t large = 8UL << 20U;
  const std::string html = "<!doctype html>" + std::string(1000, ' ');
  const tcp::endpoint loopback{asio::ip::address_v4::loopback(), 0};
  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  test::TemporaryFolder folder;
  Limits limits;
  std::optional<RelayServer> server;
  tcp::endpoint endpoint;
  std::future<void> serving;
};

TEST_F(PageTest, AnswersEachRequestAsItShould) {
  const std::string page = answer("GET /orvik/p HTTP/1.1");
  EXPECT_THAT(page, HasSubstr("connect-src 'self' wss://relay.example:1;"));
  EXPECT_THAT(page, testing::Not(HasSubstr("Strict-Transport-Security")));
  const std::string packed = answer("GET /orvik/p HTTP/1.1\r\nAccept-Encoding: br, gzip;q=0.5");
  const std::string packedBody = packed.substr(packed.find("\r\n\r\n") + 4);
  EXPECT_LT(packedBody.size(), 100U);
  const std::size_t tag = page.find("ETag: ") + 6;
  const std::string known =
      "\r\nIf-None-Match: \"a\", W/" + page.substr(tag, page.find('\r', tag) - tag);
  struct Row {
    std::string head;
    std::string status;
    std::string field;
    std::string body;
  };
  for (const Row& row : std::initializer_list<Row>{
           {"GET /orvik/p", "200", "Content-Type: text/html; charset=utf-8", html},
           {"HEAD /orvik/p", "200", "Content-Length: " + std::to_string(html.size()), ""},
           {"GET /orvik/p HTTP/1.1\r\nAccept-Encoding: gzip", "200", "Content-Encoding: gzip",
            packedBody},
           {"GET /orvik/p?x=1", "200", "Cache-Control: no-cache", html},
           {"GET /orvik/p HTTP/1.1\r\nAccept-Encoding: gzip;q=0.0", "200", "Vary: Accept-E", html},
           {"GET /orvik/p HTTP/1.1" + known, "304", "Cache-Control: no-cache", ""},
           {"GET /orvik/p HTTP/1.1\r\nAccept-Encoding: gzip" + known, "200", "ETag: ", packedBody},
           {"GET /orvik/a/main-1.js", "200", "Cache-Control: public, max-age=31536000, immutable",
            "run()"},
           {"POST /orvik/p HTTP/1.1\r\nContent-Length: 9", "405", "Allow: GET, HEAD",
            "method not allowed\n"},
           {"GET /orvik/a/main-2.js", "404", "X-Content-Type-Options: nosniff", "not found\n"},
           {"GET /healthz", "200", "Content-Type: text/plain", "ok\n"}}) {
    const bool isWhole = row.head.find("HTTP/1.1") != std::string::npos;
    EXPECT_THAT(answer(row.head + (isWhole ? "" : " HTTP/1.1")),
                AllOf(StartsWith("HTTP/1.1 " + row.status), HasSubstr("\r\n" + row.field),
                      EndsWith("\r\n\r\n" + row.body)))
        << row.head;
  }
  for (const std::string path :
       {"/", "/orvik/", "/orvik/p/", "/orvik/index.html", "/orvik/../secret", "/orvik/a/../p",
        "/orvik/%2e%2e/secret", "//orvik/p", "/orvik/.hidden/key", "http://localhost/orvik/p"}) {
    EXPECT_THAT(answer("GET " + path + " HTTP/1.1"), StartsWith("HTTP/1.1 404 ")) << path;
  }
}

TEST_F(PageTest, BoundsAConnectionInTimeAndRequests) {
  const std::string request = "GET /orvik/a/main-1.js HTTP/1.1\r\nHost: localhost\r\n\r\n";
  Client idle(*this);
  Client busy(*this);
  for (std::size_t sent = 1; sent < limits.requests; ++sent) {
    busy.send(request);
    EXPECT_THAT(busy.read("run()"), testing::Not(HasSubstr("Connection: close")));
  }
  busy.send(request);
  EXPECT_THAT(busy.read("run()"), HasSubstr("Connection: close"));
  idle.send(request);
  idle.read("run()");
  clock->advance(limits.requestWait - 1s);
  idle.send(request);
  idle.read("run()");
  clock->advance(limits.requestWait);
  EXPECT_EQ(idle.read(), "");

  Client slow(*this);
  slow.send("GET /orvik/a/large-1.png HTTP/1.1\r\nHost: localhost\r\n\r\n");
  slow.read("\r\n\r\n");
  clock->advance(limits.answerTime);
  EXPECT_LT(slow.read().size(), large);
}

TEST_F(PageTest, RelaysWithoutTLSUnderTheSameRules) {
  Client phone(*this);
  phone.send(
      "GET /v1/phone/AAAAAAAAAAAAAAAAAAAAAA HTTP/1.1\r\nHost: localhost\r\n"
      "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
      "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n");
  EXPECT_THAT(phone.read("\r\n\r\n"), StartsWith("HTTP/1.1 101 "));
  // Frames masked with zeros, so that their text can be read.
  const auto frame = [](char kind, const std::string& text) {
    return kind + std::string(1, static_cast<char>(0x80U | text.size())) + std::string(4, '\0') +
           text;
  };
  phone.send(frame('\x81', R"({"auth":")" + std::string(43, 'A') + R"("})"));
  phone.send(frame('\x81', "ping"));
  phone.read("pong");
  std::string pings;
  while (static_cast<double>(pings.size()) <= limits.phoneBytes.burst) {
    pings += frame('\x89', std::string(125, 'x'));
  }
  phone.send(pings);
  clock->advance(limits.checkInterval);
  phone.read("\x03\xF0too many bytes");
}

TEST(Page, IsProtectedAlikeByTheExamplesForOtherServers) {
  const test::TemporaryFolder folder;
  folder.write("index.html", "");
  const Page page = Page::read(folder.path);
  for (const auto& [name, host] :
       {std::pair{"Caddyfile", "{http.request.hostport}"}, {"nginx.conf", "$http_host"}}) {
    std::stringstream example;
    example << std::ifstream(std::string(ORVIK_DOCS "/../packaging/web/") + name).rdbuf();
    const std::string own = std::string("connect-src 'self' wss://") + host;
    std::string text = example.str();
    ASSERT_THAT(text, HasSubstr(own));
    text.replace(text.find(own), own.size(), "connect-src 'self'");
    const HTTPAnswer answer = answerTo({http::verb::get, "/missing", 11}, &page, true);
    EXPECT_EQ(std::distance(answer.begin(), answer.end()), 9);
    for (const auto& field : answer) {
      const std::string line =
          std::string(field.name_string()) + " \"" + std::string(field.value()) + '"';
      if (!line.starts_with("Content-Type ") && !line.starts_with("Content-Length ")) {
        EXPECT_THAT(text, HasSubstr(line)) << name;
      }
    }
  }
}

TEST(Page, IsReadFromAFolderThatHoldsNothingElse) {
  const test::TemporaryFolder folder;
  const auto refusal = [&folder] {
    try {
      return static_cast<void>(Page::read(folder.path)), std::string("none");
    } catch (const Page::Unusable& error) {
      return std::string(error.what());
    }
  };
  EXPECT_THAT(refusal(), HasSubstr("no index.html"));
  folder.write("index.html", "");
  EXPECT_EQ(refusal(), "none");
  for (const std::string relay :
       {"no JSON", "[]", R"({"relay":1})", R"({"relay":"https://a"})", R"({"relay":"wss://"})",
        R"({"relay":"wss://a; script-src *"})", R"({"relay":"wss://a\r\nb"})"}) {
    folder.write("config.json", relay);
    EXPECT_THAT(refusal(), StartsWith("config.json ")) << relay;
  }
  folder.write("config.json", R"({"relay":"ws://[::1]:47480"})");
  EXPECT_THAT(Page::read(folder.path).policy("a"), HasSubstr("'self' ws://[::1]:47480;"));
  folder.write("config.json", R"({"relay":""})");
  for (const auto& [host, sources] :
       {std::pair{"a.example:1", " ws://a.example:1 wss://a.example:1;"},
        {"", ";"},
        {"a b", ";"},
        {"a;script-src *", ";"},
        {"a/b", ";"}}) {
    EXPECT_THAT(Page::read(folder.path).policy(host),
                HasSubstr(std::string("connect-src 'self'") + sources));
  }
  folder.write("a b", "");
  EXPECT_THAT(refusal(), HasSubstr("name"));
  std::filesystem::remove(folder.path / "a b");
  std::filesystem::resize_file(folder.write("large", ""), Page::mostBytes);
  EXPECT_THAT(refusal(), HasSubstr("more than a page"));
}

}  // namespace
}  // namespace orvik::relay
