// The manager makes containers of its own at first use. They are there before the first test counts what lives.
#include "knAnimManager.h"

#include <gtest/gtest.h>

namespace {

class ManagerAtStart : public testing::Environment {
 public:
  void SetUp() override { knAnimManager::the(); }
};

[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(new ManagerAtStart);

}  // namespace
