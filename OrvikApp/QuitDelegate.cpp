#include "OrvikApp/QuitDelegate.h"

#include <utility>

#include "OrvikApp/AppModel.h"

namespace orvik {

TerminateReply QuitDelegate::applicationShouldTerminate(std::function<void()> terminate) {
  AppModel* const model = AppModel::current();
  const bool isLeaving = model != nullptr && model->sayGoodbye(std::move(terminate));
  return isLeaving ? TerminateReply::later : TerminateReply::now;
}

}  // namespace orvik
