// A host with a core of its own that curves drive, and with callbacks of its own: clock, names and log.
#include <knAnimManager.h>
#include <model/fields/Ref.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Node.h>
#include <model/utils/knLog.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace host {

/// A pump as the core of a node. Two fields; the second follows from the first.
class Pump : public osg::NodeCore {
  KN_CONTAINER(Pump, Pump, osg::NodeCore)
 public:
  /// Revolutions a minute.
  KN_SFIELD(osg::Real32, Speed, speed, 0.F)
  /// Litres a second.
  KN_SFIELD_READ(osg::Real32, Flow, flow, Derived, 0.F)
  KN_CONTAINER_END

  /// Told once per commit that touched this pump.
  void changed(osg::BitVector const& mask, osg::UInt32 origin) override {
    osg::NodeCore::changed(mask, origin);
    updateFlow();
  }
  /// A file or a copy has filled the fields, but not this one.
  void fieldsAssigned() override {
    osg::NodeCore::fieldsAssigned();
    updateFlow();
  }

  /// Lists the channel for editors: "speed" is not a name that the library knows.
  void getChannelDescriptions(std::vector<osg::ChannelDescription>& out) const override {
    out.push_back({{getContainerId()}, "speed", "speed"});
  }
  bool hasChannelDescriptions() const override { return true; }

 private:
  void updateFlow() { _fFlow.setValue(getSpeed() / 60.F * 0.5F); }
};

KN_CONTAINER_TYPE(Pump, Pump, "HostPump")

}  // namespace host

namespace {
double now = 0;  // the host's clock in seconds

/// Names as this host numbers them: "Run", "Run-1", "Run-2".
std::string uniqueName(std::string const& wanted, std::vector<std::string>& taken) {
  std::string name = wanted;
  for (int i = 1; std::ranges::count(taken, name) > 0; ++i) name = wanted + "-" + std::to_string(i);
  return name;
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knAnimManager::setSimulationTimeCB([] { return now; });
  knAnimManager::setGetUniqueNameCB(uniqueName);
  knLog::setSink([](knLog::Level, std::string_view text) {
    std::printf("log: %.*s\n", static_cast<int>(text.size()), text.data());
  });
  knSceneDataManager::beginScene();  // leaves the callbacks that are set

  host::Pump::Ptr const pump = host::Pump::create();
  osg::NodePtr const node = osg::Node::create();
  node->setCore(pump);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);

  std::vector<knOSGChannelData> channels;
  manager.getKeyableChannels(node, channels);
  for (knOSGChannelData const& channel : channels) std::printf("channel %s\n", channel.channelName.c_str());
  for (int run = 0; run < 2; ++run) {
    auto const [curveNode, curve] = manager.createCurve("speed", "");
    osg::Ref<osg::AnimNode> const made = curveNode;  // ends with this round; the block has a node of its own
    curve->addPoint({0, 0}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
    curve->addPoint({2, 1200}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
    manager.importBlock(node, {curve}, "Run");
  }
  for (std::string const& name : knAnimManager::pyGetBlocks(true)) std::printf("block %s\n", name.c_str());
  manager.setCurrentTime(1, false, false);
  std::printf("at 1 s: %.0f a minute, %.1f l/s\n", static_cast<double>(pump->getSpeed()),
              static_cast<double>(pump->getFlow()));
  bool const isRight = std::abs(pump->getFlow() - 5) < 1e-4F && manager.find("Run-1");

  knSceneDataManager::endScene();
  knLog::setSink({});
  knAnimManager::setSimulationTimeCB(nullptr);
  knAnimManager::setGetUniqueNameCB({});
  return isRight ? 0 : 1;
}
