#include "OrvikApp/Texts.h"

namespace orvik {

Texts::Texts(const QString& localeIdentifier) : numbers(localeIdentifier) {}

QString Texts::userLocale() { return QLocale::system().name(); }

QString Texts::text(const char* key) const { return QString::fromUtf8(key); }

QString Texts::phones(qint64 count) const {
  return text("%lld phones").replace(QStringLiteral("%lld"), numbers.toString(count));
}

Qt::LayoutDirection Texts::direction() const { return numbers.textDirection(); }

}  // namespace orvik
