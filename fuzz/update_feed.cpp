// Own code: OrvikApp/Appcast
#include <cstdlib>

#include "OrvikApp/Appcast.h"

/// Whatever a feed says: a new version has a harmless name and a safe address.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  const QByteArray feed(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  const UpdateTarget target{QStringLiteral("linux"), QVersionNumber(6, 1)};
  const UpdateOutcome outcome = decideUpdate(feed, QStringLiteral("0.1.0"), target);
  if (outcome.kind != UpdateOutcome::Kind::newVersion) {
    return 0;
  }
  bool isHarmless = outcome.link.scheme() == QStringLiteral("https") && !outcome.version.isEmpty();
  for (const QChar c : outcome.version) {
    isHarmless = isHarmless && (c.unicode() < 0x80 &&
                                (c.isLetterOrNumber() || c == u'.' || c == u'-' || c == u'+'));
  }
  if (!isHarmless) {
    std::abort();
  }
  return 0;
}
