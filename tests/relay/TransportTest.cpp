#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>

#include "core/system/FileDescriptor.h"
#include "relay/SelfSigned.h"
#include "relay/TLSContext.h"
#include "relay/Transport.h"

namespace orvik::relay {
namespace {

/// A client that may do anything in TLS, and the relay's side of its connection.
class TransportTest : public testing::Test {
 protected:
  using Status = Transport::Status;

  void connect(int version, SSL_SESSION* session = nullptr) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0);
    near = FileDescriptor(ends[0]);
    far = FileDescriptor(ends[1]);
    SSL_CTX_set_max_proto_version(trust.get(), version);
    server.emplace(near.get(), context.get());
    client.reset(SSL_new(trust.get()));
    SSL_set_fd(client.get(), far.get());
    SSL_set_connect_state(client.get());
    if (session != nullptr) {
      SSL_set_session(client.get(), session);
    }
  }
  /// Both do what they can until the relay's side is done.
  Status shakeHands() {
    Status status = Status::wantsRead;
    for (int turn = 0; turn < 10 && status == Status::wantsRead; ++turn) {
      SSL_do_handshake(client.get());
      status = server->handshake();
    }
    SSL_do_handshake(client.get());
    return status;
  }
  std::string read() {
    const Transport::Result result = server->read(buffer);
    last = result.status;
    return {buffer.data(), result.size};
  }
  void say(std::string_view text) {
    EXPECT_EQ(SSL_write(client.get(), text.data(), static_cast<int>(text.size())),
              static_cast<int>(text.size()));
  }

  const SelfSigned made = SelfSigned::make({"localhost"}, SystemClock().unixNow());
  const TLSContext context = makeTLSContext({made.certificate, made.key, {}, {}, {}});
  const OpenSSLHandle<SSL_CTX, SSL_CTX_free> trust{SSL_CTX_new(TLS_client_method())};
  FileDescriptor near;
  FileDescriptor far;
  std::optional<Transport> server;
  OpenSSLHandle<SSL, SSL_free> client;
  std::array<char, 65536> buffer{};
  Status last = Status::done;
};

TEST_F(TransportTest, EndsAClientThatChangesItsKeysWithoutEnd) {
  connect(TLS1_3_VERSION);
  ASSERT_EQ(shakeHands(), Status::done);
  const auto changeKeys = [this](int times) {
    for (int i = 0; i < times; ++i) {
      SSL_key_update(client.get(), SSL_KEY_UPDATE_NOT_REQUESTED);
      SSL_do_handshake(client.get());
    }
  };
  changeKeys(8);
  say("x");
  int reads = 1;
  while (read() != "x" && reads < 20) {
    ++reads;
  }
  EXPECT_LT(reads, 20);
  changeKeys(500);
  for (reads = 0; reads < 10 && last != Status::failed; ++reads) {
    EXPECT_EQ(read(), "");
  }
  EXPECT_EQ(last, Status::failed);
  EXPECT_LT(server->takeWireBytes(), 17'000U) << "what is behind is not looked at";
}

TEST_F(TransportTest, RefusesToRenegotiate) {
  connect(TLS1_2_VERSION);
  ASSERT_EQ(shakeHands(), Status::done);
  EXPECT_EQ(SSL_CIPHER_is_aead(SSL_get_current_cipher(client.get())), 1);
  EXPECT_EQ(SSL_renegotiate(client.get()), 1);
  SSL_do_handshake(client.get());
  EXPECT_EQ(read(), "");
  EXPECT_NE(last, Status::done);
  EXPECT_NE(SSL_do_handshake(client.get()), 1);
  EXPECT_EQ(SSL_get_error(client.get(), -1), SSL_ERROR_SSL) << "it is told so";
}

TEST_F(TransportTest, DoesNotComputeWithLargePrimes) {
  connect(TLS1_3_VERSION);
  SSL_set1_groups_list(client.get(), "ffdhe2048");
  EXPECT_EQ(shakeHands(), Status::failed);
}

TEST_F(TransportTest, TakesNoEarlyData) {
  connect(TLS1_3_VERSION);
  ASSERT_EQ(shakeHands(), Status::done);
  OutboundQueue queue;
  queue.append("x");
  EXPECT_EQ(server->write(queue, buffer), Status::done);
  EXPECT_EQ(SSL_read(client.get(), buffer.data(), 1), 1) << "and its ticket before it";
  const OpenSSLHandle<SSL_SESSION, SSL_SESSION_free> session(
      SSL_SESSION_dup(SSL_get0_session(client.get())));
  EXPECT_EQ(SSL_SESSION_get_max_early_data(session.get()), 0U);
  // A client that does not care.
  SSL_SESSION_set_max_early_data(session.get(), 1000);
  connect(TLS1_3_VERSION, session.get());
  std::size_t written = 0;
  SSL_write_early_data(client.get(), "early", 5, &written);
  ASSERT_EQ(shakeHands(), Status::done);
  EXPECT_EQ(SSL_session_reused(client.get()), 1);
  EXPECT_EQ(SSL_get_early_data_status(client.get()), SSL_EARLY_DATA_REJECTED);
  say("late");
  std::string all = read();
  for (int reads = 0; reads < 10 && all.empty(); ++reads) {
    all += read();
  }
  EXPECT_EQ(all, "late");
}

}  // namespace
}  // namespace orvik::relay
