#include "OrvikApp/platform/ComputerIcon.h"

#import <AppKit/AppKit.h>

namespace orvik {

namespace {

/// Pixels.
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
