// The lookups that stand in the innermost loops of evaluation: type tests, fields by name, containers by id.
#include "model/fields/FieldContainerFactory.h"
#include "model/sceneext/AnimAttachment.h"
#include "model/sceneext/AnimCurve.h"
#include "model/scenegraph/Transform3D.h"

#include <benchmark/benchmark.h>

#include <random>

namespace {

constexpr std::size_t ContainerCount = 4096;

/// Containers of several types in random order, so that neither the type nor the place can be guessed.
std::vector<osg::FieldContainerPtr> const& containers() {
  static std::vector<osg::FieldContainerPtr> const made = [] {
    char const* const names[] = {"AnimCurve", "AnimNode", "Transform3D",
                                 "AnimBlock", "Group",    "AnimAttachment"};
    std::vector<osg::FieldContainerPtr> all;
    std::mt19937 random(3);
    for (std::size_t i = 0; i < ContainerCount; ++i) {
      char const* const name = names[random() % std::size(names)];
      all.push_back(osg::FieldContainerFactory::the().findType(name)->createFieldContainer());
      all.back().addRef();
    }
    return all;
  }();
  return made;
}

void dcastToCurve(benchmark::State& state) {
  auto const& all = containers();
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(osg::dcast<osg::AnimCurvePtr>(all[i++ % ContainerCount]));
}
BENCHMARK(dcastToCurve);

void dcastToAncestor(benchmark::State& state) {
  auto const& all = containers();
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(osg::dcast<osg::NodeCorePtr>(all[i++ % ContainerCount]));
}
BENCHMARK(dcastToAncestor);

void findField(benchmark::State& state) {
  char const* const names[] = {"translation", "scale",       "eulerRotation",
                               "rotatePivot", "noSuchField", "flags"};
  osg::FieldContainerType const& type = osg::Transform3DBase::_type;
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(type.findFieldDescription(names[i++ % std::size(names)]));
}
BENCHMARK(findField);

void findContainerById(benchmark::State& state) {
  auto const& all = containers();
  osg::UInt32 const first = all.front().getContainerId();
  std::size_t i = 0;
  for (auto _ : state) {
    auto const id = first + static_cast<osg::UInt32>(i++ % ContainerCount);
    benchmark::DoNotOptimize(osg::FieldContainerFactory::the().getContainer(id));
  }
}
BENCHMARK(findContainerById);

}  // namespace
