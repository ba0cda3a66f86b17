#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>

#include "core/system/FileDescriptor.h"
#include "relay/Certificate.h"
#include "relay/SelfSigned.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {
namespace {

using testing::MatchesRegex;

/// What stands on standard error, and the exit code.
std::pair<std::string, int> failure(const std::string& arguments) {
  FILE* const pipe = popen((ORVIK_RELAY_PROGRAM " " + arguments + " 2>&1 >/dev/null").c_str(), "r");
  std::string text;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
    text += static_cast<char>(c);
  }
  return {text, WEXITSTATUS(pclose(pipe))};
}

TEST(RelayProgram, FailsWithOneLine) {
  const test::TemporaryFolder folder;
  const std::string state = "--state " + folder.path.string();
  const std::string file = folder.write("file", "text").string();
  const std::string certificate = "--certificate " + file;
  for (const std::string& arguments :
       {std::string("--listen here"),
        std::string("--unknown"),
        certificate,
        certificate + " --key " + file,
        certificate + " --key " + file + " " + state,
        "--state " + file,
        "--name '*' " + state,
        "--listen-plain 0.0.0.0:0 " + state,
        "--page " + file + " " + state,
        "--listen 192.0.2.1:1 " + state,
        std::string("--certificate /dev/zero --key /dev/zero"),
        "--proxy-protocol " + state,
        "--cluster nats://127.0.0.1:1 --store none " + state,
        "--cluster-name a " + state,
        "--max-connections 1000000 " + state,
        "--max-connections x " + state,
        "--max-unauthenticated 20 --max-connections 10 " + state,
        std::string("--memory 1000000 --check"),
        "--drain -1 " + state,
        "--drain nan " + state,
        "--config " + folder.path.string() + "/none",
        "--config " + folder.write("unknown", "colour = 1\n").string(),
        "--metrics unix: " + state,
        "--listen-plain unix:" + file + " " + state}) {
    const auto [text, code] = failure(arguments);
    EXPECT_EQ(code, 1) << arguments;
    EXPECT_THAT(text, MatchesRegex("orvik-relay: [^\n]+\n")) << arguments;
  }
}

TEST(RelayProgram, WarnsOfMetricsForEverybody) {
  const auto [text, code] = failure("--check --metrics 192.0.2.1:1");
  EXPECT_EQ(code, 0);
  EXPECT_THAT(text, MatchesRegex("orvik-relay: --metrics [^\n]+ for everybody [^\n]+\n"));
  EXPECT_EQ(failure("--check --metrics [::1]:1").first, "");
}

/// A relay as a service manager runs it, which says what it hears.
class ServedProgram {
 public:
  explicit ServedProgram(const test::TemporaryFolder& scratch) : folder(scratch) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (folder.path / "notify").string();
    std::memcpy(address.sun_path, path.data(), path.size());
    manager = FileDescriptor(::socket(AF_UNIX, SOCK_DGRAM, 0));
    EXPECT_EQ(::bind(manager.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const timeval patience{20, 0};
    ::setsockopt(manager.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    output = ::fdopen(ends[0], "r");
    child = ::fork();
    if (child == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::dup2(ends[1], STDERR_FILENO);
      ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
      ::setenv("WATCHDOG_USEC", "3000000", 1);
      const std::string config = "--config=" + (folder.path / "config").string();
      ::execl(ORVIK_RELAY_PROGRAM, "orvik-relay", config.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
  }
  ServedProgram(const ServedProgram&) = delete;
  ServedProgram& operator=(const ServedProgram&) = delete;
  ~ServedProgram() { std::fclose(output); }

  /// What the service manager hears next.
  std::string heard() const {
    std::array<char, 100> state{};
    const ssize_t size = ::recv(manager.get(), state.data(), state.size(), 0);
    return size < 0 ? "" : std::string(state.data(), static_cast<std::size_t>(size));
  }
  /// The next line that the program writes.
  std::string line() const {
    std::array<char, 1000> text{};
    return std::fgets(text.data(), text.size(), output) == nullptr ? "" : text.data();
  }
  void send(int signal) const { ::kill(child, signal); }
  int exitCode() const {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  const test::TemporaryFolder& folder;
  FileDescriptor manager;
  FILE* output = nullptr;
  pid_t child = 0;
};

/// The fingerprint that the certificate presented on a port has.
std::string presented(const std::string& port) {
  boost::asio::io_context context;
  boost::asio::ssl::context tls(boost::asio::ssl::context::tls_client);
  boost::asio::ssl::stream<boost::asio::ip::tcp::socket> stream(context, tls);
  stream.next_layer().connect(
      {boost::asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(std::stoi(port))});
  stream.handshake(boost::asio::ssl::stream_base::client);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(
      SSL_get1_peer_certificate(stream.native_handle()), X509_free);
  return fingerprintOf(*certificate);
}

TEST(RelayProgram, TellsItsManagerAndTakesNewCertificates) {
  const test::TemporaryFolder folder;
  const auto renew = [&folder] {
    const SelfSigned made = SelfSigned::make({"localhost"}, SystemClock().unixNow());
    folder.write("certificate", made.certificate);
    folder.write("key", made.key);
  };
  renew();
  const std::string path = folder.path.string();
  folder.write("config",
               "listen = \"127.0.0.1:0\"\nstore = \"none\"\nthreads = 2\ncertificate = \"" + path +
                   "/certificate\"\nkey = \"" + path + "/key\"\n");
  const ServedProgram relay(folder);
  std::string port = relay.line();
  port = port.substr(port.rfind(':') + 1);
  const std::string first = relay.line();
  EXPECT_EQ(relay.heard(), "READY=1");
  EXPECT_EQ(relay.heard(), "WATCHDOG=1");
  EXPECT_THAT(first, testing::EndsWith(presented(port) + "\n"));

  folder.write("key", "none");
  relay.send(SIGHUP);
  EXPECT_THAT(relay.line(), testing::HasSubstr("the certificate stays as it is: "));
  EXPECT_THAT(first, testing::EndsWith(presented(port) + "\n"));
  renew();
  relay.send(SIGHUP);
  const std::string second = relay.line();
  EXPECT_THAT(second, testing::EndsWith(presented(port) + "\n"));
  EXPECT_NE(second.substr(second.size() - 20), first.substr(first.size() - 20));

  relay.send(SIGTERM);
  std::string heard = relay.heard();
  while (heard == "WATCHDOG=1") {
    heard = relay.heard();
  }
  EXPECT_EQ(heard, "STOPPING=1");
  EXPECT_EQ(relay.exitCode(), 0);
}

}  // namespace
}  // namespace orvik::relay
