#include "knanim/playing/Playback.h"

#include "knAnimManager.h"
#include "model/constraint/knConstraintManager.h"
#include "model/fields/ChangeList.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace knanim {
namespace {

int toInt(long long frame) {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<long long>(frame, Limits::min(), Limits::max()));
}

}  // namespace

std::uint64_t countFields(osg::ChangeList const& changes) {
  std::uint64_t count = 0;
  for (osg::ChangeList::Entry const& entry : changes.getEntries()) {
    osg::FieldContainerType const* const type = entry.container.findType();
    if (type == nullptr || type->isDerivedFrom(osg::AnimNodeBase::_type)) continue;
    for (osg::FieldDescription const& field : type->getFieldDescriptions())
      count += (field.getFieldMask() & entry.mask).none() ? 0U : 1U;
  }
  return count;
}

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
  knConstraintManager::evaluateConstraints();
}

void Playback::play(long long frame) {
  auto const number = static_cast<double>(frame);
  account(number, measure([this, number] { show(number); }));
}

Evaluation Playback::measure(std::function<void()> const& move) {
  using Clock = std::chrono::steady_clock;
  osg::ChangeList* const changes = osg::WinThreadBase::getCurrentChangeList();
  if (changes != nullptr) changes->clear();
  Evaluation evaluation;
  auto const begin = Clock::now();
  move();
  evaluation.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  if (changes == nullptr) return evaluation;
  evaluation.fields = countFields(*changes);
  evaluation.announcements = changes->getAnnouncementCount();
  return evaluation;
}

void Playback::account(double frame, Evaluation const& evaluation) {
  if (_record.frames == 0 || evaluation.seconds > _record.slowestSeconds) {
    _record.slowestSeconds = evaluation.seconds;
    _record.slowestFrame = frame;
  }
  ++_record.frames;
  _record.seconds += evaluation.seconds;
  _record.fields += evaluation.fields;
  _record.announcements += evaluation.announcements;
  _record.mostAnnouncements = std::max(_record.mostAnnouncements, evaluation.announcements);
}

}  // namespace knanim
