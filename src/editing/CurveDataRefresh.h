#pragma once

/// Refreshes the curve data of the scene once, when an operation of many steps is done: a refresh looks at the whole
/// scene. Where messages are listened to, the data is refreshed at each step, before its message. Main thread.
class CurveDataRefresh {
 public:
  CurveDataRefresh() { ++_depth; }
  CurveDataRefresh(CurveDataRefresh const&) = delete;
  CurveDataRefresh& operator=(CurveDataRefresh const&) = delete;
  ~CurveDataRefresh();

  /// A step has changed what the data tells of, and sends a message or not.
  static void isDue(bool isTold);

 private:
  static int _depth;
  static bool _isDue;
};
