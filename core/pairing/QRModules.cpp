#include "core/pairing/QRModules.h"

#include <qrencode.h>

#include <climits>
#include <memory>

namespace orvik {

namespace {

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

}  // namespace

std::optional<QRModules> QRModules::of(std::string_view bytes, Correction correction) {
  constexpr int smallestVersion = 0;
  if (bytes.empty() || bytes.size() > INT_MAX) {
    return std::nullopt;
  }
  const std::unique_ptr<QRcode, FreeCode> code(QRcode_encodeData(
      static_cast<int>(bytes.size()), reinterpret_cast<const unsigned char*>(bytes.data()),
      smallestVersion, correction == Correction::low ? QR_ECLEVEL_L : QR_ECLEVEL_M));
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
