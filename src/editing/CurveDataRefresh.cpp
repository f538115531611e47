#include "editing/CurveDataRefresh.h"

#include "knAnimManager.h"
#include "model/utils/knUtils.h"

#include <utility>

int CurveDataRefresh::_depth = 0;
bool CurveDataRefresh::_isDue = false;

CurveDataRefresh::~CurveDataRefresh() {
  if (--_depth == 0 && std::exchange(_isDue, false)) knAnimManager::the()->updateSceneAnimCurveData();
}

void CurveDataRefresh::isDue(bool isTold) {
  if (_depth > 0 && !(isTold && knUtils::hasReceivers("pastedAnimations"))) {
    _isDue = true;
  } else {
    knAnimManager::the()->updateSceneAnimCurveData();
  }
}
