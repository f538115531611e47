#include "knanim/scene/ChannelChoice.h"

#include "knanim/playing/FrameRange.h"

#include <gtest/gtest.h>

namespace knanim::ChannelChoiceTest {

/// A model of nodes of the given names; each has all nine curves, still at 0.
ImportedModel makeModel(std::vector<std::string> const& names) {
  ImportedModel model;
  model.summary.animations.emplace_back();
  for (std::string const& name : names) {
    model.nodes.emplace_back().name = name;
    for (ChannelKind const kind : kChannelKinds) {
      for (std::uint8_t component = 0; component < 3; ++component)
        model.curves.push_back({model.nodes.size() - 1, kind, component, {}, {}, {{0, 0}, {1, 0}}});
    }
  }
  return model;
}

std::vector<std::string> names(ImportedModel const& model, std::vector<std::size_t> const& curves) {
  std::vector<std::string> result;
  result.reserve(curves.size());
  for (std::size_t const curve : curves) result.push_back(model.curveName(model.curves[curve]));
  return result;
}

using Names = std::vector<std::string>;

TEST(ChannelChoice, Patterns) {
  struct Case {
    char const* pattern;
    char const* text;
    bool fits;
  };
  for (Case const& each :
       {Case{"", "", true}, Case{"", "a", false}, Case{"*", "", true}, Case{"**", "abc", true},
        Case{"a*c", "abc", true}, Case{"a*c", "abcd", false}, Case{"*.X", "a.b.x", true},
        Case{"a?c", "abc", true}, Case{"a?c", "ac", false}, Case{"?", "", false},
        Case{"*a*b*", "xxaxxbxx", true}, Case{"*ab*ab", "abab", true}, Case{"*ab*ab", "abxb", false},
        Case{"HIPS", "hips", true}, Case{"[a]", "a", false}, Case{"a.c", "abc", false}}) {
    EXPECT_EQ(fits(each.pattern, each.text), each.fits) << each.pattern << " for " << each.text;
  }
  // As many ways to split as this pattern offers, an answer comes at once.
  EXPECT_FALSE(fits("*a*a*a*a*a*a*a*a*a*a*a*a*b", std::string(5000, 'a')));
}

TEST(ChannelChoice, PatternsTakeChannelsWholeChannelsOrNodes) {
  ImportedModel const model = makeModel({"Bone", "Bone.001", "Tail"});
  auto const chosen = [&](std::vector<std::string> const& patterns) {
    return names(model, chooseChannels(model, patterns).curves);
  };
  EXPECT_EQ(chosen({"tail.rotation.x", "*.001.scale.?"}),
            (Names{"Bone.001.scale.X", "Bone.001.scale.Y", "Bone.001.scale.Z", "Tail.rotation.X"}));
  EXPECT_EQ(chosen({"Bone.scale"}), (Names{"Bone.scale.X", "Bone.scale.Y", "Bone.scale.Z"}));
  EXPECT_EQ(chosen({"Bone"}).size(), 9U);
  EXPECT_EQ(chosen({"*", "Tail"}).size(), 27U);
  std::vector<std::string> const patterns = {"nose", "Tail", "*.W"};
  EXPECT_EQ(chooseChannels(model, patterns).unmatched, (Names{"nose", "*.W"}));
}

TEST(ChannelChoice, WhatMovesMostIsTaken) {
  ImportedModel model = makeModel({"a", "b", "c", "d", "e", "f", "g"});
  auto const move = [&](std::size_t node, ChannelKind kind, std::size_t component, double by) {
    model.curves[node * 9 + static_cast<std::size_t>(kind) * 3 + component].keys[1].value = by;
  };
  for (std::size_t node = 0; node < 7; ++node) {
    move(node, ChannelKind::Rotation, 0, 5);
    move(node, ChannelKind::Rotation, node % 3, -20.0 - static_cast<double>(node));
  }
  move(3, ChannelKind::Translation, 0, 100);
  move(3, ChannelKind::Translation, 2, -30);
  move(4, ChannelKind::Translation, 2, 99);
  EXPECT_EQ(names(model, mostMovingChannels(model)),
            (Names{"c.rotation.Z", "d.translation.X", "d.translation.Z", "d.rotation.X", "e.rotation.Y",
                   "f.rotation.Z", "g.rotation.X"}));
}

TEST(FrameRange, FramesStandOnTheGrid) {
  struct Case {
    TimeSpan span;
    double fps;
    std::optional<double> from;
    std::optional<double> to;
    long long first;
    long long last;
  };
  for (Case const& each :
       {Case{{0, 2}, 30, {}, {}, 0, 60}, Case{{0.0416666, 1.66667}, 30, {}, {}, 2, 50},
        Case{{-2.4000001, 8.033333}, 30, {}, {}, -72, 241}, Case{{0, 20.0F / 24}, 24, {}, {}, 0, 20},
        Case{{0, 10}, 10, 1.05, 1.99, 11, 19}, Case{{0, 10}, 10, 20, 30, 200, 300},
        Case{{0, 10}, 10, -1, {}, -10, 100}, Case{{0.01, 0.02}, 30, {}, {}, 1, 1},
        Case{{5.000001, 5.000001}, 24, {}, {}, 120, 120}, Case{{0, 9}, 0.5, {}, {}, 0, 4}}) {
    auto const range = frameRange(each.span, each.fps, each.from, each.to);
    ASSERT_TRUE(std::holds_alternative<FrameRange>(range)) << std::get<Failure>(range).message;
    EXPECT_EQ(std::get<FrameRange>(range).first, each.first);
    EXPECT_EQ(std::get<FrameRange>(range).last, each.last);
  }
  EXPECT_EQ(std::get<FrameRange>(frameRange({0, 2}, 30, {}, {})).time(3), 0.1);
}

}  // namespace knanim::ChannelChoiceTest
