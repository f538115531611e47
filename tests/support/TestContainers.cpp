#include "support/TestContainers.h"

namespace kntest {

KN_CONTAINER_TYPE(SinglesBase, Singles, "TestSingles")
KN_CONTAINER_TYPE(MultisBase, Multis, "TestMultis")
KN_CONTAINER_TYPE(MarkBase, Mark, "TestMark")
KN_CONTAINER_TYPE(BrightMarkBase, BrightMark, "TestBrightMark")
KN_CONTAINER_TYPE(BoxCoreBase, BoxCore, "TestBoxCore")

}  // namespace kntest
