// Samples curves without a scene and draws them. Prints an SVG: what curves do outside their keys, by mode and by placement
// (docs/pictures/outside-keys.svg), or with the argument "tangents" how tangents join the same keys
// (docs/pictures/tangent-kinds.svg).
#include <knAuthoring.h>
#include <knCurves.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr float From = -4;  // seconds in view
constexpr float To = 8;
constexpr float Width = 420;  // of a panel, in pixels
constexpr float Height = 110;

struct Placement {
  float scale = 1;
  float offset = 0;
  float parentScale = 1;
};

double across(float seconds) { return static_cast<double>((seconds - From) / (To - From) * Width); }
double down(float value) { return static_cast<double>(Height - 30 - value * 13); }

osg::AnimCurvePtr makeCurve(osg::UInt32 mode, osg::UInt32 lastTangent) {
  osg::AnimCurvePtr const curve = osg::AnimCurve::create();
  curve->addPoint({0, 0}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  curve->addPoint({2, 4}, {}, {}, osg::SmoothTangent, lastTangent, false, true);
  curve->addPoint({4, 2}, {}, {}, lastTangent, osg::StepTangent, false, true);
  curve->setPreInfinityMode(mode);
  curve->setPostInfinityMode(mode);
  return curve;
}

osg::AnimCurvePtr makeCurve(knTangents tangents) {
  osg::AnimCurvePtr const curve = osg::AnimCurve::create();
  knAuthoring::setKeys(curve, {{-3, 0}, {-1, 1}, {1, 4}, {3, 4}, {5, 0.5F}, {7, 2}}, {.tangents = tangents});
  return curve;
}

void drawPanel(int place, std::string const& title, osg::AnimCurvePtr const& curve,
               Placement const& at = {}) {
  osg::AnimNodePtr const parent = osg::AnimNode::create();
  osg::AnimNodePtr const node = osg::AnimNode::create();
  parent->addChild(node);
  parent->setScale(at.parentScale);
  node->setCore(curve);
  node->setScale(at.scale);
  node->setOffset({at.offset, 0});

  std::printf("<g transform='translate(%d %d)'>\n", 20 + place % 2 * 450, 34 + place / 2 * 166);
  std::printf("<text y='-8' font-weight='bold'>%s</text>\n", title.c_str());
  std::printf("<clipPath id='c%d'><rect width='420' height='110'/></clipPath>\n", place);
  std::printf("<rect width='420' height='110' fill='#f6f8fb' stroke='#c5ccd6'/>\n<g clip-path='url(#c%d)'>\n",
              place);
  std::printf("<line x2='420' y1='%.0f' y2='%.0f' stroke='#c5ccd6'/>\n", down(0), down(0));
  std::printf("<polyline fill='none' stroke='#2563a8' stroke-width='2' points='");
  for (float time = From; time <= To; time += 0.05F)
    std::printf("%.1f,%.1f ", across(time), down(knCurves::getValue(node, time).value_or(0)));
  std::printf("'/>\n");
  for (osg::CCPnt const& key : curve->getControlPoints()) {
    float const seconds = key.x() * node->getTotalScale() + node->getTotalOffset();
    std::printf("<circle cx='%.1f' cy='%.1f' r='4' fill='#d9480f'/>\n", across(seconds), down(key.y()));
  }
  std::printf("</g>\n");
  for (float tick = From; tick <= To; tick += 2)
    std::printf("<text x='%.0f' y='124' text-anchor='middle' font-size='10'>%.0f s</text>\n", across(tick),
                static_cast<double>(tick));
  std::printf("</g>\n");
  parent.subRef();
}

}  // namespace

int main(int count, char** arguments) {
  bool const drawsTangents = count > 1 && std::string_view(arguments[1]) == "tangents";
  int const height = drawsTangents ? 514 : 680;
  std::printf("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 910 %d' font-family='sans-serif' ",
              height);
  std::printf("font-size='13' fill='#1f2937'>\n<rect width='910' height='%d' fill='white'/>\n", height);
  int place = 0;
  if (drawsTangents) {
    char const* const names[] = {"Step", "Straight", "Flat", "Smooth", "Clamped"};
    for (; place < 5; ++place) drawPanel(place, names[place], makeCurve(static_cast<knTangents>(place)));
  } else {
    char const* const names[] = {"0 constant", "1 linear", "2 cycle", "3 cycle relative", "4 oscillate"};
    for (; place < 5; ++place)
      drawPanel(place, names[place], makeCurve(static_cast<osg::UInt32>(place), osg::SmoothTangent));
    drawPanel(5, "constant, step from the second key to the third", makeCurve(0, osg::StepTangent));
    drawPanel(6, "constant, the node's own scale is -1", makeCurve(0, osg::SmoothTangent), {-1, 4, 1});
    drawPanel(7, "constant, the parent's scale is -1", makeCurve(0, osg::SmoothTangent), {1, -4, -1});
  }
  std::printf("</svg>\n");
}
