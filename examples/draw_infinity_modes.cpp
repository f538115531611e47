// Samples curves without a scene and draws them: what they do outside their keys, by mode and by placement. The SVG on
// standard output is docs/pictures/outside-keys.svg.
#include <knCurves.h>

#include <cstdio>
#include <string>

namespace {

constexpr float From = -4;  // seconds in view
constexpr float To = 8;
constexpr float Width = 420;  // of a panel, in pixels
constexpr float Height = 130;

struct Placement {
  float scale = 1;
  float offset = 0;
  float parentScale = 1;
};

float across(float seconds) { return (seconds - From) / (To - From) * Width; }
float down(float value) { return Height - 30 - value * 14; }

osg::AnimCurvePtr makeCurve(osg::UInt32 mode, osg::UInt32 lastTangent) {
  osg::AnimCurvePtr const curve = osg::AnimCurve::create();
  curve->addPoint({0, 0}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  curve->addPoint({2, 4}, {}, {}, osg::SmoothTangent, lastTangent, false, true);
  curve->addPoint({4, 2}, {}, {}, lastTangent, osg::StepTangent, false, true);
  curve->setPreInfinityMode(mode);
  curve->setPostInfinityMode(mode);
  return curve;
}

void drawPanel(int place, std::string const& title, osg::AnimCurvePtr const& curve, Placement const& at) {
  osg::AnimNodePtr const parent = osg::AnimNode::create();
  osg::AnimNodePtr const node = osg::AnimNode::create();
  parent->addChild(node);
  parent->setScale(at.parentScale);
  node->setCore(curve);
  node->setScale(at.scale);
  node->setOffset({at.offset, 0});

  std::printf("<g transform='translate(%d %d)'>\n", 20 + place % 2 * 450, 20 + place / 2 * 160);
  std::printf("<clipPath id='c%d'><rect width='420' height='130'/></clipPath>\n", place);
  std::printf("<rect width='420' height='130' fill='#f6f8fb' stroke='#c5ccd6'/>\n");
  std::printf("<text x='8' y='18' font-weight='bold'>%s</text>\n<g clip-path='url(#c%d)'>\n", title.c_str(),
              place);
  std::printf("<line x1='0' x2='420' y1='%.0f' y2='%.0f' stroke='#c5ccd6'/>\n", static_cast<double>(down(0)),
              static_cast<double>(down(0)));
  std::printf("<polyline fill='none' stroke='#2563a8' stroke-width='2' points='");
  for (float time = From; time <= To; time += 0.04F) {
    std::printf("%.1f,%.1f ", static_cast<double>(across(time)),
                static_cast<double>(down(knCurves::getValue(node, time).value_or(0))));
  }
  std::printf("'/>\n");
  for (osg::CCPnt const& key : curve->getControlPoints()) {
    float const seconds = key.x() * node->getTotalScale() + node->getTotalOffset();
    std::printf("<circle cx='%.1f' cy='%.1f' r='4' fill='#d9480f'/>\n", static_cast<double>(across(seconds)),
                static_cast<double>(down(key.y())));
  }
  std::printf("</g>\n");
  for (int tick = -4; tick <= 8; tick += 2) {
    std::printf("<text x='%.0f' y='126' text-anchor='middle' font-size='10'>%d</text>\n",
                static_cast<double>(across(static_cast<float>(tick))), tick);
  }
  std::printf("</g>\n");
  parent.subRef();
}

}  // namespace

int main() {
  std::printf("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 910 660' width='910' height='660' ");
  std::printf(
      "font-family='sans-serif' font-size='13' fill='#1f2937'>\n<rect width='910' height='660' "
      "fill='white'/>\n");
  char const* const names[] = {"constant", "linear", "cycle", "cycle relative", "oscillate"};
  for (osg::UInt32 mode = 0; mode < 5; ++mode) {
    drawPanel(static_cast<int>(mode), std::to_string(mode) + " " + names[mode], makeCurve(mode, 2), {});
  }
  drawPanel(5, "constant, step from the second key to the third", makeCurve(0, osg::StepTangent), {});
  drawPanel(6, "constant, the node's own scale is -1", makeCurve(0, 2), {-1, 4, 1});
  drawPanel(7, "constant, the parent's scale is -1", makeCurve(0, 2), {1, -4, -1});
  std::printf("</svg>\n");
}
