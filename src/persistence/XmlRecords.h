#pragma once

#include "model/records/knAnimConvertData.h"

#include <optional>
#include <string>

/// An animation text of an older release, taken apart.
struct XmlRecords {
  bool hasRootElement = false;
  knAnimConvertTable records;  ///< every element; the first of several with one id
  knAnimConvertTable clips;    ///< the clips at the end of the text; they stand in `records` as well
};

/// Takes a text apart. `framesPerSecond` turns the frames of points into seconds. Nothing when the text is no
/// well-formed XML; empty tables when it has no root element. Numbers are read in the "C" locale, names are taken
/// as UTF-8, and as Latin-1 where they are no UTF-8. A text that is nested deeper than any animation, or has elements
/// with more attributes, counts as ill-formed: the parser calls itself for every level and looks through all attributes
/// for each one. Linear in the length of the text.
std::optional<XmlRecords> readXmlRecords(std::string const& text, float framesPerSecond);
