// Sealing, beside the same bytes through the bare cipher and the bare encoder.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>

#include "core/pairing/Envelope.h"

namespace orvik::bench {
namespace {

constexpr std::int64_t payloadSize = 4096;

void seal(benchmark::State& state) {
  const Pairing pairing = Pairing::generate();
  const std::string payload(payloadSize, 'x');
  for (auto _ : state) {
    benchmark::DoNotOptimize(Envelope::seal(payload, Envelope::Kind::sample, pairing));
  }
  state.SetBytesProcessed(state.iterations() * payloadSize);
}
BENCHMARK(seal);

void rawCipherAndEncoder(benchmark::State& state) {
  const std::string payload(payloadSize, 'x');
  std::array<unsigned char, 32> key{};
  std::array<unsigned char, 12> nonce{};
  std::array<unsigned char, 17> additional{};
  std::array<unsigned char, payloadSize + 16> sealed{};
  std::array<unsigned char, (payloadSize + 16) / 3 * 4 + 8> text{};
  RAND_bytes(key.data(), key.size());
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  for (auto _ : state) {
    int written = 0;
    EVP_EncryptInit_ex(context, EVP_aes_256_gcm(), nullptr, key.data(), nonce.data());
    EVP_EncryptUpdate(context, nullptr, &written, additional.data(), additional.size());
    EVP_EncryptUpdate(context, sealed.data(), &written,
                      reinterpret_cast<const unsigned char*>(payload.data()), payloadSize);
    EVP_EncryptFinal_ex(context, sealed.data() + payloadSize, &written);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, 16, sealed.data() + payloadSize);
    EVP_EncodeBlock(text.data(), sealed.data(), sealed.size());
    benchmark::DoNotOptimize(text.data());
  }
  EVP_CIPHER_CTX_free(context);
  state.SetBytesProcessed(state.iterations() * payloadSize);
}
BENCHMARK(rawCipherAndEncoder);

}  // namespace
}  // namespace orvik::bench
