#pragma once

#include <functional>
#include <memory>
#include <string>

namespace orvik::test {

/// A WebSocket server over TLS on loopback that misbehaves as a test wants. Each connection runs
/// its script on a thread; the connection ends with the script, without a closing handshake.
class TestRelay {
 public:
  /// What a script does with one connection. Operations throw when the connection ends, and when
  /// the relay is destroyed.
  class Connection {
   public:
    virtual ~Connection() = default;
    /// The next message from the client.
    virtual std::string read() = 0;
    virtual void write(const std::string& message, bool isText = true) = 0;
    /// Bytes that are no message: a frame, or a part of one.
    virtual void writeBytes(const std::string& bytes) = 0;
    /// Does nothing, not even answer control frames, until the relay is destroyed.
    virtual void hang() = 0;
  };
  using Script = std::function<void(Connection&)>;

  struct Options {
    std::string certificate = "localhost";
    /// Accepts connections without a word of TLS, or goes silent right after it.
    bool isMute = false;
    bool isMuteAfterTLS = false;
  };

  TestRelay(Script script, const Options& options);
  explicit TestRelay(Script script) : TestRelay(std::move(script), Options()) {}
  ~TestRelay();

  /// The base URL, by host name.
  [[nodiscard]] std::string url() const;
  /// Connections accepted so far.
  [[nodiscard]] int connectionCount() const;

 private:
  struct State;
  std::shared_ptr<State> state;
};

/// The path of a file in tests/fixtures.
[[nodiscard]] std::string fixture(const std::string& name);

}  // namespace orvik::test
