#pragma once

#include <string>
#include <unordered_set>

/// All names that `knAnimManager::find` finds something by, collected in one walk. Main thread.
std::unordered_set<std::string> collectNamesToFind();
