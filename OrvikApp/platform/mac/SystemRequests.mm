#include "OrvikApp/platform/SystemRequests.h"

#import <AppKit/AppKit.h>

#include <cstdlib>

namespace {

orvik::QuitAnswer& quitAnswer() {
  static orvik::QuitAnswer answer;
  return answer;
}

}  // namespace

/// Takes the questions that the toolkit's own delegate hands on to the one that it found.
@interface OrvikApplicationDelegate : NSObject <NSApplicationDelegate>
@end

@implementation OrvikApplicationDelegate

// The toolkit would always refuse, and end the application by itself: a logout would be called off
// with the message that Orvik interrupted it.
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender {
  const bool isLater = quitAnswer() && quitAnswer()([sender] {
                                         [sender replyToApplicationShouldTerminate:YES];
                                       }) == orvik::TerminateReply::later;
  return isLater ? NSTerminateLater : NSTerminateNow;
}

// The system would end the process from within the event loop, and take down what the other threads
// still use. Everything that is to be kept has been written by now.
- (void)applicationWillTerminate:(NSNotification*)__attribute__((unused))notification {
  std::_Exit(EXIT_SUCCESS);
}

@end

namespace orvik {

std::optional<std::string> missingDisplay() { return std::nullopt; }

void prepareForSystem() {
  // The toolkit would come to the front at the start, from under whoever is typing at login.
  setenv("QT_MAC_DISABLE_FOREGROUND_APPLICATION_TRANSFORM", "1", 0);
  // The application does not hold on to its delegate.
  static OrvikApplicationDelegate* const delegate = [[OrvikApplicationDelegate alloc] init];
  NSApplication.sharedApplication.delegate = delegate;
}

void answerQuitQuestion(const QuitAnswer& answer) { quitAnswer() = answer; }

}  // namespace orvik
