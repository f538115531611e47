#include "knanim/Playback.h"

#include "knAnimManager.h"
#include "model/scenegraph/ChangeList.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <limits>

namespace knanim {
namespace {

int toInt(long long frame) {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<long long>(frame, Limits::min(), Limits::max()));
}

std::uint64_t countFields(osg::BitVector const& mask) {
  return static_cast<std::uint64_t>(std::popcount(mask.low()) + std::popcount(mask.high()));
}

}  // namespace

Playback::Playback(FrameRange const& frames) {
  knAnimManager* const manager = knAnimManager::the();
  manager->setFPS(frames.framesPerSecond);
  manager->setFullRangeStart(toInt(frames.first));
  manager->setFullRangeEnd(toInt(frames.last));
}

void Playback::show(double frame) {
  osg::ChangeList* const changes = osg::WinThreadBase::getCurrentChangeList();
  if (changes != nullptr) changes->clear();
  knAnimManager::the()->setCurrentFrame(frame, true, false);
}

void Playback::play(long long frame) {
  using Clock = std::chrono::steady_clock;
  osg::ChangeList* const changes = osg::WinThreadBase::getCurrentChangeList();
  auto const begin = Clock::now();
  show(static_cast<double>(frame));
  double const seconds = std::chrono::duration<double>(Clock::now() - begin).count();

  _record.seconds += seconds;
  if (_record.frames == 0 || seconds > _record.slowestSeconds) {
    _record.slowestSeconds = seconds;
    _record.slowestFrame = frame;
  }
  ++_record.frames;
  if (changes == nullptr) return;
  for (osg::ChangeList::Entry const& entry : changes->getEntries()) _record.fields += countFields(entry.mask);
  std::uint64_t const announcements = changes->getAnnouncementCount();
  _record.announcements += announcements;
  _record.mostAnnouncements = std::max(_record.mostAnnouncements, announcements);
}

}  // namespace knanim
