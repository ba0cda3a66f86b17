#pragma once

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
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "core/system/FileDescriptor.h"

namespace orvik::test {

/// The path of a file in tests/fixtures.
inline std::string fixture(const std::string& name) {
  return std::string(ORVIK_FIXTURES) + "/" + name;
}

/// A WebSocket server over TLS on loopback that misbehaves as a test wants. Each connection runs
/// its script on a thread; the connection ends with the script, without a closing handshake.
class TestRelay {
  using tcp = boost::asio::ip::tcp;
  using Stream = boost::beast::websocket::stream<boost::asio::ssl::stream<tcp::socket>>;

 public:
  /// What a script does with one connection. Operations throw when the connection ends, and when
  /// the relay is destroyed.
  struct Connection {
    /// The next message from the client.
    std::string read() {
      boost::beast::flat_buffer buffer;
      stream.read(buffer);
      return boost::beast::buffers_to_string(buffer.data());
    }
    void write(const std::string& message, bool isText = true) {
      stream.text(isText);
      stream.write(boost::asio::buffer(message));
    }
    /// Bytes that are no message: a frame, or a part of one.
    void writeBytes(const std::string& bytes) {
      boost::asio::write(stream.next_layer(), boost::asio::buffer(bytes));
    }
    /// Does nothing, not even answer control frames, until the relay is destroyed.
    void hang() { relay.ended.wait(); }

    TestRelay& relay;
    Stream& stream;
  };
  using Script = std::function<void(Connection&)>;

  struct Options {
    std::string certificate = "localhost";
    /// Accepts connections without a word of TLS, or goes silent right after it.
    bool isMute = false;
    bool isMuteAfterTLS = false;
  };

  TestRelay(Script connected, Options chosen)
      : script(std::move(connected)), options(std::move(chosen)) {
    using boost::asio::ssl::context;
    tls.use_certificate_file(fixture(options.certificate + ".pem"), context::pem);
    tls.use_private_key_file(fixture(options.certificate + ".key.pem"), context::pem);
    threads.emplace_back([this] { acceptAll(); });
  }
  explicit TestRelay(Script connected) : TestRelay(std::move(connected), Options()) {}
  TestRelay(const TestRelay&) = delete;
  TestRelay& operator=(const TestRelay&) = delete;
  ~TestRelay() {
    {
      const std::lock_guard guard(lock);
      isEnding = true;
      for (const Served& client : clients) {
        ::shutdown(client.descriptor.get(), SHUT_RDWR);
      }
      ::shutdown(acceptor.native_handle(), SHUT_RDWR);
    }
    end.set_value();
    // The accepting thread is the first, and adds none once it has seen the end.
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  /// The base URL, by host name.
  [[nodiscard]] std::string url() const {
    return "wss://localhost:" + std::to_string(acceptor.local_endpoint().port());
  }
  /// Connections accepted so far.
  [[nodiscard]] int connectionCount() const { return count; }

 private:
  struct Served {
    /// Its thread's alone.
    Stream stream;
    /// Another one for the same socket, until that is closed.
    FileDescriptor descriptor;
  };

  void serve(Served& client) {
    Connection connection{*this, client.stream};
    try {
      if (!options.isMute) {
        client.stream.next_layer().handshake(boost::asio::ssl::stream_base::server);
      }
      if (options.isMute || options.isMuteAfterTLS) {
        connection.hang();
      }
      client.stream.accept();
      script(connection);
    } catch (const std::exception&) {  // the client has left
    }
    const std::lock_guard guard(lock);
    boost::beast::get_lowest_layer(client.stream).close();
    client.descriptor = FileDescriptor();
  }
  void acceptAll() {
    for (;;) {
      boost::system::error_code error;
      tcp::socket socket = acceptor.accept(error);
      const std::lock_guard guard(lock);
      if (error || isEnding) {
        return;
      }
      ++count;
      FileDescriptor descriptor(::dup(socket.native_handle()));
      clients.push_back({Stream(std::move(socket), tls), std::move(descriptor)});
      threads.emplace_back([this, &client = clients.back()] { serve(client); });
    }
  }

  const Script script;
  const Options options;
  boost::asio::io_context context;
  boost::asio::ssl::context tls{boost::asio::ssl::context::tls_server};
  tcp::acceptor acceptor{context, {boost::asio::ip::address_v4::loopback(), 0}};
  std::atomic<int> count = 0;
  std::promise<void> end;
  const std::shared_future<void> ended = end.get_future();
  std::mutex lock;
  bool isEnding = false;
  /// To be shut down at the end, as far as they are open.
  std::list<Served> clients;
  std::list<std::thread> threads;
};

}  // namespace orvik::test
