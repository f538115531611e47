// The font library keeps patterns until the program ends and loses their addresses. A leak checker, where there is
// one, asks here what it shall not report.

extern "C" char const* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)

extern "C" __attribute__((visibility("default"))) char const* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}
