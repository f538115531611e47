#include <model/utils/knLog.h>

int main() {
  knLog::warning("the installed package works");
  return 0;
}
