#include "OrvikApp/platform/Icons.h"

#import <AppKit/AppKit.h>

#include <QImage>
#include <QPixmap>
#include <array>
#include <cmath>

#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

constexpr CGFloat pointSize = 15;
/// Pixels of a point on a Mac's displays. The toolkit takes the largest picture that there is and
/// fits it into the menu bar: a larger one would be shown larger, and blurred.
constexpr std::array<int, 2> scales{1, 2};

NSImage* symbol() {
  NSImage* image = [NSImage imageWithSystemSymbolName:@"laptopcomputer.and.iphone"
                             accessibilityDescription:@"Orvik"];
  NSImageSymbolConfiguration* configuration =
      [NSImageSymbolConfiguration configurationWithPointSize:pointSize weight:NSFontWeightRegular];
  // Nil when the system does not know the symbol.
  return [image imageWithSymbolConfiguration:configuration];
}

/// Null when there is no memory to draw in.
QImage drawn(NSImage* symbol, double opacity, int scale) {
  const NSSize size = symbol.size;
  QImage image(static_cast<int>(std::ceil(size.width * scale)),
               static_cast<int>(std::ceil(size.height * scale)),
               QImage::Format_RGBA8888_Premultiplied);
  image.fill(Qt::transparent);
  const Owned<CGColorSpaceRef> colours(CGColorSpaceCreateDeviceRGB());
  // Draws into the image's own memory, whose rows stand in the same order.
  const Owned<CGContextRef> context(CGBitmapContextCreate(
      image.bits(), static_cast<std::size_t>(image.width()),
      static_cast<std::size_t>(image.height()), 8, static_cast<std::size_t>(image.bytesPerLine()),
      colours.get(), static_cast<CGBitmapInfo>(kCGImageAlphaPremultipliedLast)));
  if (!context) {
    return {};
  }
  CGContextScaleCTM(context.get(), scale, scale);
  [NSGraphicsContext saveGraphicsState];
  NSGraphicsContext.currentContext = [NSGraphicsContext graphicsContextWithCGContext:context.get()
                                                                             flipped:NO];
  [symbol drawInRect:NSMakeRect(0, 0, size.width, size.height)
            fromRect:NSZeroRect
           operation:NSCompositingOperationSourceOver
            fraction:opacity];
  [NSGraphicsContext restoreGraphicsState];
  image.setDevicePixelRatio(scale);
  return image;
}

/// Pixels of the picture that goes to the phone.
constexpr NSInteger side = 128;

NSBitmapImageRep* emptyBitmap() {
  return [[NSBitmapImageRep alloc] initWithBitmapDataPlanes:nullptr
                                                 pixelsWide:side
                                                 pixelsHigh:side
                                              bitsPerSample:8
                                            samplesPerPixel:4
                                                   hasAlpha:YES
                                                   isPlanar:NO
                                             colorSpaceName:NSCalibratedRGBColorSpace
                                                bytesPerRow:0
                                               bitsPerPixel:0];
}

}  // namespace

QIcon MenuBarSymbol::icon(double opacity) {
  NSImage* image = symbol();
  QIcon icon;
  if (image == nil) {
    return icon;
  }
  for (const int scale : scales) {
    icon.addPixmap(QPixmap::fromImage(drawn(image, opacity, scale)));
  }
  // A template: the menu bar gives it its colour.
  icon.setIsMask(true);
  return icon;
}

std::optional<std::string> computerIcon() {
  NSImage* picture = [NSImage imageNamed:NSImageNameComputer];
  NSBitmapImageRep* bitmap = emptyBitmap();
  if (picture == nil || bitmap == nil) {
    return std::nullopt;
  }
  NSGraphicsContext* context = [NSGraphicsContext graphicsContextWithBitmapImageRep:bitmap];
  if (context == nil) {
    return std::nullopt;
  }
  [NSGraphicsContext saveGraphicsState];
  NSGraphicsContext.currentContext = context;
  [picture drawInRect:NSMakeRect(0, 0, side, side)];
  [NSGraphicsContext restoreGraphicsState];
  NSData* png = [bitmap representationUsingType:NSBitmapImageFileTypePNG properties:@{}];
  if (png == nil || png.length == 0) {
    return std::nullopt;
  }
  return std::string(static_cast<const char*>(png.bytes), png.length);
}

}  // namespace orvik
