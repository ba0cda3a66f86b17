#include "relay/TLSContext.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/ssl/context.hpp>

#include <stdexcept>

namespace orvik::relay {

namespace asio = boost::asio;

TLSContext makeTLSContext(const Certificate& certificate) {
  asio::ssl::context context(asio::ssl::context::tls_server);
  SSL_CTX* const handle = context.native_handle();
  SSL_CTX_set_min_proto_version(handle, TLS1_2_VERSION);
  SSL_CTX_set_options(handle, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                  SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_PRIORITIZE_CHACHA |
                                  SSL_OP_CLEANSE_PLAINTEXT);
  SSL_CTX_set_cipher_list(handle, "ECDHE+AESGCM:ECDHE+CHACHA20");
  SSL_CTX_set_max_early_data(handle, 0);
  // An idle connection gives its buffers back; a write goes on from wherever the bytes lie then.
  SSL_CTX_set_mode(handle, SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                               SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  // Whatever is no message ends a read, so that no client keeps the loop in one.
  SSL_CTX_clear_mode(handle, SSL_MODE_AUTO_RETRY);
  // The header of a record is not read by itself.
  SSL_CTX_set_read_ahead(handle, 1);
  // Sessions resume by ticket; a cache would grow with every client.
  SSL_CTX_set_session_cache_mode(handle, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_num_tickets(handle, 1);
  try {
    context.use_certificate_chain(asio::buffer(certificate.chain));
    context.use_private_key(asio::buffer(certificate.key), asio::ssl::context::pem);
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("the certificate cannot be used: " + error.code().message());
  }
  SSL_CTX_up_ref(handle);
  return {handle, SSL_CTX_free};
}

}  // namespace orvik::relay
