#pragma once

namespace orvik {

class AppModel;

/// For developers who pair a phone without a camera: where the environment variable
/// ORVIK_LINK_FILE names a file, it holds the present pairing's link for as long as the model
/// lives, readable by the user alone. Main thread only.
void keepPairingLinkFile(AppModel& model);

}  // namespace orvik
