#pragma once

#include "model/records/knCurveData.h"

/// Computes one record; see knAnimManager::computeCurveValues. Any thread.
void computeCurveValue(knCurveData& record);
