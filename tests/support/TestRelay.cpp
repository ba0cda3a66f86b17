#include "tests/support/TestRelay.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <sys/socket.h>

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

namespace orvik::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;
using Stream = beast::websocket::stream<asio::ssl::stream<tcp::socket>>;

std::string fixture(const std::string& name) { return std::string(ORVIK_FIXTURES) + "/" + name; }

struct TestRelay::State {
  Script script;
  Options options;
  asio::io_context context;
  asio::ssl::context tls{asio::ssl::context::tls_server};
  tcp::acceptor acceptor{context, {asio::ip::address_v4::loopback(), 0}};
  std::atomic<int> connectionCount = 0;
  std::mutex lock;
  std::condition_variable ended;
  bool isEnding = false;
  /// To be shut down at the end, as far as they are open.
  std::list<Stream> streams;
  std::list<std::thread> threads;

  void waitForEnd() {
    std::unique_lock guard(lock);
    ended.wait(guard, [this] { return isEnding; });
  }
  void serve(Stream& stream);
  void acceptAll();
};

namespace {

class BeastConnection final : public TestRelay::Connection {
 public:
  BeastConnection(Stream& stream, std::function<void()> waitForEnd)
      : stream(stream), waitForEnd(std::move(waitForEnd)) {}

  std::string read() override {
    beast::flat_buffer buffer;
    stream.read(buffer);
    return beast::buffers_to_string(buffer.data());
  }
  void write(const std::string& message, bool isText) override {
    stream.text(isText);
    stream.write(asio::buffer(message));
  }
  void writeBytes(const std::string& bytes) override {
    asio::write(stream.next_layer(), asio::buffer(bytes));
  }
  void hang() override { waitForEnd(); }

 private:
  Stream& stream;
  std::function<void()> waitForEnd;
};

}  // namespace

void TestRelay::State::serve(Stream& stream) {
  try {
    if (!options.isMute) {
      stream.next_layer().handshake(asio::ssl::stream_base::server);
    }
    if (options.isMute || options.isMuteAfterTLS) {
      waitForEnd();
    }
    stream.accept();
    BeastConnection connection(stream, [this] { waitForEnd(); });
    script(connection);
  } catch (const std::exception&) {  // the client has left
  }
  const std::lock_guard guard(lock);
  beast::get_lowest_layer(stream).close();
}

void TestRelay::State::acceptAll() {
  for (;;) {
    boost::system::error_code error;
    tcp::socket socket = acceptor.accept(error);
    const std::lock_guard guard(lock);
    if (error || isEnding) {
      return;
    }
    ++connectionCount;
    Stream& stream = streams.emplace_back(std::move(socket), tls);
    threads.emplace_back([this, &stream] { serve(stream); });
  }
}

TestRelay::TestRelay(Script script, const Options& options) : state(std::make_shared<State>()) {
  state->script = std::move(script);
  state->options = options;
  state->tls.use_certificate_file(fixture(options.certificate + ".pem"), asio::ssl::context::pem);
  state->tls.use_private_key_file(fixture(options.certificate + ".key.pem"),
                                  asio::ssl::context::pem);
  state->threads.emplace_back([this] { state->acceptAll(); });
}

TestRelay::~TestRelay() {
  {
    const std::lock_guard guard(state->lock);
    state->isEnding = true;
    for (Stream& stream : state->streams) {
      ::shutdown(beast::get_lowest_layer(stream).native_handle(), SHUT_RDWR);
    }
    ::shutdown(state->acceptor.native_handle(), SHUT_RDWR);
  }
  state->ended.notify_all();
  // The accepting thread is the first, and adds none once it has seen the end.
  for (std::thread& thread : state->threads) {
    thread.join();
  }
}

std::string TestRelay::url() const {
  return "wss://localhost:" + std::to_string(state->acceptor.local_endpoint().port());
}

int TestRelay::connectionCount() const { return state->connectionCount; }

}  // namespace orvik::test
