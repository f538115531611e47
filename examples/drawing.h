#pragma once

// What the drawing examples share: parts of an SVG, written to standard output. Places are in pixels, y downwards.
#include <cstdio>
#include <string>
#include <vector>

struct Spot {
  double x = 0;
  double y = 0;
};

/// One number as text, with that many digits after the point.
inline std::string number(double value, int digits = 0) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

class Picture {
 public:
  static constexpr char const* Ink = "#1f2937";
  static constexpr char const* Grey = "#7a8699";
  static constexpr char const* Pale = "#c5ccd6";
  static constexpr char const* Blue = "#2563a8";
  static constexpr char const* Orange = "#d9480f";
  static constexpr char const* Green = "#2f7d3b";

  Picture(int width, int height) {
    std::printf("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %d %d' width='%d' height='%d' ", width,
                height, width, height);
    std::printf(
        "font-family='sans-serif' font-size='13' fill='%s'>\n<rect width='%d' height='%d' fill='white'/>\n",
        Ink, width, height);
    for (char const* colour : {Ink, Grey, Blue, Orange, Green}) {
      std::printf("<marker id='%s' markerWidth='9' markerHeight='8' refX='8' refY='4' ", colour + 1);
      std::printf(
          "markerUnits='userSpaceOnUse' orient='auto'><path d='M0,0 L9,4 L0,8 z' fill='%s'/></marker>\n",
          colour);
    }
  }
  ~Picture() { std::puts("</svg>"); }
  Picture(Picture const&) = delete;
  Picture& operator=(Picture const&) = delete;

  /// Begins a panel below its title. Places are told from its corner until the next one, and lines end at its edges.
  void beginPanel(Spot corner, double width, double height, std::string const& title) {
    std::printf("<svg x='%.1f' y='%.1f' width='%.1f' height='%.1f' overflow='visible'>\n", corner.x, corner.y,
                width, height);
    std::printf("<text y='-8' font-weight='bold'>%s</text>\n", title.c_str());
    std::printf("<rect width='%.1f' height='%.1f' fill='#f6f8fb' stroke='%s'/>\n", width, height, Pale);
    std::printf("<svg width='%.1f' height='%.1f'>\n", width, height);
  }
  void endPanel() { std::puts("</svg></svg>"); }

  void line(Spot a, Spot b, char const* colour, double width = 1, char const* more = "") {
    std::printf("<line x1='%.1f' y1='%.1f' x2='%.1f' y2='%.1f' stroke='%s' stroke-width='%.1f' %s/>\n", a.x,
                a.y, b.x, b.y, colour, width, more);
  }
  void dashes(Spot a, Spot b, char const* colour) { line(a, b, colour, 1, "stroke-dasharray='4 3'"); }
  void arrow(Spot a, Spot b, char const* colour, double width = 1.5) {
    std::string const head = "marker-end='url(#" + std::string(colour + 1) + ")'";
    line(a, b, colour, width, head.c_str());
  }
  void path(std::vector<Spot> const& spots, char const* colour, double width = 1, char const* fill = "none") {
    std::printf("<polyline fill='%s' stroke='%s' stroke-width='%.1f' points='", fill, colour, width);
    for (Spot const& spot : spots) std::printf("%.1f,%.1f ", spot.x, spot.y);
    std::puts("'/>");
  }
  void dot(Spot at, char const* colour, double radius = 4) {
    std::printf("<circle cx='%.1f' cy='%.1f' r='%.1f' fill='%s'/>\n", at.x, at.y, radius, colour);
  }
  /// `anchor` is start, middle or end.
  void text(Spot at, std::string const& words, char const* colour = Ink, char const* anchor = "start") {
    std::printf("<text x='%.1f' y='%.1f' fill='%s' text-anchor='%s'>%s</text>\n", at.x, at.y, colour, anchor,
                words.c_str());
  }
};
