#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace knanim {

/// `text` as it may go to a terminal or into a picture: every byte that is no valid UTF-8 and every control
/// character is replaced by U+FFFD, so that a name from a file can neither steer a terminal nor break a drawing.
std::string printable(std::string_view text);

/// `text` in at most so many columns of a terminal; what does not fit is cut out of the middle and shown as "…".
std::string shortened(std::string_view text, std::size_t columns);

/// The columns of a terminal that valid UTF-8 takes: two for an East Asian character, none for a combining mark.
std::size_t widthInColumns(std::string_view text);

/// The ending of a file's name with its dot, in small letters; empty when there is none.
std::string lowerEnding(std::string const& path);

/// A count with its digits in groups of three: 1 234 567.
std::string grouped(std::uint64_t count);

/// "1 node", "2 nodes", "0 nodes"; an ending other than s is written out as the plural.
std::string counted(std::uint64_t count, std::string_view singular, std::string_view plural = {});

/// The shortest decimal that reads back as the same number; 0 for -0 too; "nan", "inf" and "-inf" are possible.
std::string shortest(float value);
std::string shortest(double value);

/// A number for people, of about `digits` significant digits and without an exponent where that is readable.
std::string brief(double value, int digits = 4);

/// A length of time in µs, ms or s.
std::string shortTime(double seconds);

/// `text` with spaces behind it up to `width` columns.
std::string padded(std::string const& text, std::size_t width);

}  // namespace knanim
