#include "OrvikApp/OffscreenApplication.h"

#include <QFont>
#include <QStyleFactory>

namespace orvik {

OffscreenApplication::Environment::Environment() {
  // Each would load a theme or input method, or change sizes.
  for (const char* const name :
       {"QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "QT_IM_MODULE", "QT_IM_MODULES",
        "QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_AUTO_SCREEN_SCALE_FACTOR",
        "QT_ENABLE_HIGHDPI_SCALING", "QT_FONT_DPI", "QT_USE_PHYSICAL_DPI"}) {
    qunsetenv(name);
  }
}

OffscreenApplication::OffscreenApplication() : application(argumentCount, arguments) {
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  // The usual body text of a desktop, in points.
  constexpr int bodySize = 13;
  QFont font = QApplication::font();
  font.setPixelSize(bodySize);
  // Letters stand where they belong at every scale, not on whole points.
  font.setHintingPreference(QFont::PreferNoHinting);
  QApplication::setFont(font);
}

}  // namespace orvik
