#pragma once

#include <cstdint>
#include <string>

#include "core/values/UntypedValue.h"
#include "phone/terminal/AlertLog.h"
#include "phone/terminal/ConnectionState.h"
#include "phone/terminal/MinuteCurves.h"

namespace orvik {

/// Everything that the phone knows about the computer and shows.
struct MacState {
  /// From the pairing link, fit to be shown; may be empty.
  std::string name;
  ConnectionState connection;
  /// The latest sample, and the machine information of the latest sample that had some: objects,
  /// or nothing.
  UntypedValue sample;
  UntypedValue macInfo;
  MinuteCurves curves;
  AlertLog alerts;
  /// How many messages this pairing could not open.
  std::uint64_t unreadable = 0;

  /// Takes in the object of an opened sample.
  void take(const UntypedValue& opened) {
    sample = opened;
    if (const UntypedValue* info = opened.find("mac_info")) {
      macInfo = *info;
    }
    if (const UntypedValue* history = opened.find("history")) {
      curves.addHistory(*history);
    }
    curves.addSample(opened);
  }
};

}  // namespace orvik
