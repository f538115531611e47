#pragma once

#include "knanim/playing/QueueRun.h"

#include <cstdio>

namespace knanim {

/// One line of the timeline.
std::string describe(QueueEvent const& event, QueueModels const& models);

/// A row for each model: when it played, and when it stood still.
std::vector<std::string> drawChart(QueueRecord const& record, QueueModels const& models);

/// The chart, and what the library did.
void printQueueReport(QueueRecord const& record, QueueModels const& models, QueueSettings const& settings,
                      std::FILE* output);

}  // namespace knanim
