#pragma once

#include <QString>
#include <filesystem>

namespace orvik {

/// Draws a pairing card into a PNG file at two pixels per point, in the texts of `locale` (English
/// when there are none) on the window's background. The code is that of a fresh random pairing,
/// never of this computer's, so the picture can be shown to anybody. A file of that name is
/// replaced. False when anything fails; nothing is printed. Needs a QApplication, and no display
/// when that is an OffscreenApplication.
[[nodiscard]] bool renderPNG(const std::filesystem::path& to, const QString& locale);

}  // namespace orvik
