#include "core/pairing/QRModules.h"

#include <qrencode.h>

#include <climits>
#include <memory>
#include <vector>

#include "core/values/SecretBytes.h"

namespace orvik {

namespace {

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

/// Overwrites what has just been freed in blocks of this size: a system gives those out first. The
/// library frees its copy of the bytes, which may be a secret, as it is.
void overwriteFreed(std::size_t size) {
  constexpr std::size_t count = 4;
  std::vector<WipedBytes> blocks;
  blocks.reserve(count);
  while (blocks.size() < count) {
    blocks.emplace_back(Bytes(size));
  }
}

}  // namespace

std::optional<QRModules> QRModules::of(std::string_view bytes, Correction correction) {
  constexpr int smallestVersion = 0;
  if (bytes.empty() || bytes.size() > INT_MAX) {
    return std::nullopt;
  }
  const std::unique_ptr<QRcode, FreeCode> code(QRcode_encodeData(
      static_cast<int>(bytes.size()), reinterpret_cast<const unsigned char*>(bytes.data()),
      smallestVersion, correction == Correction::low ? QR_ECLEVEL_L : QR_ECLEVEL_M));
  overwriteFreed(bytes.size());
  if (code == nullptr) {
    return std::nullopt;
  }
  const auto count = static_cast<std::size_t>(code->width) * static_cast<std::size_t>(code->width);
  return QRModules(code->width, {reinterpret_cast<const char*>(code->data), count});
}

bool QRModules::isDark(int x, int y) const {
  const bool isInside = x >= 0 && y >= 0 && x < side && y < side;
  // The library sets the lowest bit of a dark module.
  return isInside && (static_cast<unsigned char>(
                          modules[static_cast<std::size_t>(y) * static_cast<std::size_t>(side) +
                                  static_cast<std::size_t>(x)]) &
                      1U) != 0;
}

}  // namespace orvik
