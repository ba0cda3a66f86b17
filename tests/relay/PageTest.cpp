#include <boost/asio/read_until.hpp>

#include "relay/HTTPAnswer.h"
#include "tests/relay/RunningRelay.h"
#include "tests/support/Table.h"
#include "tests/support/TestRelay.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using testing::HasSubstr;
using testing::StartsWith;

/// A relay with a page, asked over plain TCP.
class PageTest : public RunningRelay {
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
    makeServer();
    endpoint = listen({});
    server->serve(Page::read(folder.path / "dist"));
    serve();
  }

  struct Client {
    explicit Client(PageTest& relayTest) : test(relayTest) { socket.connect(test.endpoint); }
    void send(const std::string& bytes) { asio::write(socket, asio::buffer(bytes)); }
    /// Reads on to this text.
    std::string read(const std::string& text) {
      std::string all;
      auto buffer = asio::dynamic_buffer(all);
      test.await(asio::async_read_until(socket, buffer, text, asio::use_awaitable));
      return all;
    }
    /// Reads on to the end of the connection.
    std::string rest() { return test.exchange(socket, ""); }

    PageTest& test;
    tcp::socket socket{test.context};
  };

  std::string answer(const std::string& head) {
    Client client(*this);
    client.send(head + "\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    return client.rest();
  }

  static constexpr std::size_t large = 8UL << 20U;
  const std::string html = "<!doctype html>" + std::string(1000, ' ');
  tcp::endpoint endpoint;
};

/// The status of an answer and this field of it, or its body.
std::string part(const std::string& answer, const std::string& field) {
  const std::size_t body = answer.find("\r\n\r\n");
  const std::string fields = answer.substr(0, body + 2);
  const std::size_t at = fields.find("\r\n" + field + ": ") + field.size() + 4;
  return answer.substr(9, 4) + (field == "body" ? answer.substr(body + 4)
                                                : fields.substr(at, fields.find('\r', at) - at));
}

TEST_F(PageTest, AnswersEachRequestAsItShould) {
  const std::string page = answer("GET /orvik/p HTTP/1.1");
  EXPECT_THAT(page, HasSubstr("connect-src 'self' wss://relay.example:1;"));
  EXPECT_THAT(page, testing::Not(HasSubstr("Strict-Transport-Security")));
  const std::string packed = answer("GET /orvik/p HTTP/1.1\r\nAccept-Encoding: br, gzip;q=0.5");
  EXPECT_LT(part(packed, "body").size(), 100U);
  const std::string known = "\r\nIf-None-Match: \"a\", W/" + part(page, "ETag").substr(4);
  test::Parsers parsers;
  for (const std::string field : {"body", "Content-Type", "Content-Length", "Content-Encoding",
                                  "Cache-Control", "Allow", "X-Content-Type-Options"}) {
    parsers[field] = [=, this](std::string_view request) {
      std::string head(request);
      const bool isKnown = head.ends_with(" known");
      head = isKnown ? head.substr(0, head.size() - 6) + known : head;
      const std::string found = part(answer(head), field);
      return found == "200 " + html          ? "200 page"
             : found == part(packed, "body") ? "200 packed page"
                                             : found;
    };
  }
  test::expectTable("relay/page-requests.txt", parsers);
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
  advance(limits.requestWait - 1s);
  idle.send(request);
  idle.read("run()");
  advance(limits.requestWait);
  EXPECT_EQ(idle.rest(), "");

  Client slow(*this);
  slow.send("GET /orvik/a/large-1.png HTTP/1.1\r\nHost: localhost\r\n\r\n");
  slow.read("\r\n\r\n");
  advance(limits.answerTime);
  EXPECT_LT(slow.rest().size(), large);
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
