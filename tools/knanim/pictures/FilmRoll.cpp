#include "knanim/pictures/FilmRoll.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace knanim {
namespace {

constexpr std::size_t kLeastSide = 16;
constexpr std::size_t kMostSide = 4096;

/// What films may be called; the first two kinds need no other program.
constexpr std::array<std::string_view, 16> kFilmEndings = {".png", ".apng", ".gif",  ".mp4", ".m4v", ".mov",
                                                           ".mkv", ".webm", ".webp", ".avi", ".mpg", ".mpeg",
                                                           ".ogv", ".wmv",  ".flv",  ".ts"};

/// Times between its pictures are hundredths of a second, and players take those below two for slow ones.
constexpr double kFastestGif = 50;

bool isPng(std::string const& path) {
  std::string const ending = lowerEnding(path);
  return ending == kFilmEndings[0] || ending == kFilmEndings[1];
}

Failure unwritable(std::string message) { return {ExitCode::OutputUnwritable, std::move(message)}; }

}  // namespace

std::variant<std::array<std::size_t, 2>, Failure> readFilmSize(std::string const& text) {
  Failure const failure{ExitCode::Usage, "bad size \"" + printable(text) +
                                             "\": a size is WIDTHxHEIGHT, even numbers of pixels from " +
                                             std::to_string(kLeastSide) + " to " + std::to_string(kMostSide)};
  std::array<std::size_t, 2> size{};
  char const* const end = text.data() + text.size();
  auto const width = std::from_chars(text.data(), end, size[0]);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return failure;
  auto const height = std::from_chars(width.ptr + 1, end, size[1]);
  bool const isGood = height.ec == std::errc() && height.ptr == end;
  for (std::size_t const side : size) {
    if (!isGood || side < kLeastSide || side > kMostSide || side % 2 != 0) return failure;
  }
  return size;
}

std::optional<Failure> checkFilm(std::string const& path, double framesPerSecond) {
  if (path.empty()) return std::nullopt;
  if (std::ranges::count(kFilmEndings, lowerEnding(path)) == 0) {
    std::string known;
    for (std::string_view const ending : kFilmEndings)
      known.append(known.empty() ? "" : ending == kFilmEndings.back() ? " or " : ", ").append(ending);
    return Failure{ExitCode::Usage, "the name of a film ends in " + known + ", not " + printable(path)};
  }
  if (lowerEnding(path) == ".gif" && framesPerSecond > kFastestGif)
    return Failure{ExitCode::Usage, "players show a .gif at " + brief(kFastestGif) +
                                        " frames per second at most: use --fps " + brief(kFastestGif) +
                                        " or another kind of film"};
  if (isPng(path) || FilmEncoder::isInstalled()) return std::nullopt;
  return unwritable(
      "this kind of film needs ffmpeg, which is not installed; a film that ends in .png, and --frames, work "
      "without it");
}

FilmRoll::FilmRoll(FilmTargets targets, std::size_t count) : _targets(std::move(targets)), _count(count) {}

std::optional<Failure> FilmRoll::open() {
  _isOpen = true;
  auto const [width, height] = _targets.size;
  if (!_targets.frames.empty()) {
    std::error_code error;
    std::filesystem::create_directories(_targets.frames, error);
    if (error)
      return unwritable("cannot make the folder " + printable(_targets.frames) + ": " + error.message());
  }
  if (_targets.film.empty()) return std::nullopt;
  if (isPng(_targets.film)) {
    _picture.emplace(_targets.film, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                     static_cast<std::uint32_t>(_count), _targets.framesPerSecond);
    if (std::string message = _picture->message(); !message.empty()) return unwritable(std::move(message));
  } else {
    _encoder.emplace(_targets.film, width, height, _targets.framesPerSecond);
  }
  return std::nullopt;
}

std::optional<Failure> FilmRoll::writeFrame(long long frame, Canvas& canvas) {
  std::string number = std::to_string(frame);
  number.insert(0, number.size() < 5 ? 5 - number.size() : 0, '0');
  std::string bytes;
  std::string message;
  if (!canvas.finish(bytes, message)) return Failure{ExitCode::Failed, "cannot draw a frame: " + message};
  std::string const name = "frame-" + number + ".png";
  OutputFile output((std::filesystem::path(_targets.frames) / name).string());
  output.write(bytes);
  if (!output.commit()) return unwritable(output.message());
  _names.insert(name);
  return std::nullopt;
}

/// Pictures in the folder that are called like frames, but are none of this film's.
std::size_t FilmRoll::countOthers() const {
  std::size_t count = 0;
  std::error_code error;
  for (std::filesystem::directory_iterator each(_targets.frames, error), end; !error && each != end;
       each.increment(error)) {
    std::string const name = each->path().filename().string();
    if (name.starts_with("frame-") && name.ends_with(".png") && _names.count(name) == 0) ++count;
  }
  return count;
}

std::optional<Failure> FilmRoll::add(FilmFrame const& frame, SceneFigure const& figure,
                                     FilmStage const& stage) {
  if (!_isOpen) {
    if (auto failure = open()) return failure;
  }
  // A canvas has two pixels for each of its own either way.
  double const width = static_cast<double>(_targets.size[0]) / 2;
  double const height = static_cast<double>(_targets.size[1]) / 2;
  Canvas canvas(PictureFormat::Png, width, height);
  drawFilmPanel(frame, figure, stage, {0, 0, width, height}, canvas);
  if (_encoder && !_encoder->add(canvas.pixels())) return unwritable(_encoder->message());
  if (_picture && !_picture->add(canvas.pixels())) return unwritable(_picture->message());
  return _targets.frames.empty() ? std::nullopt : writeFrame(frame.frame, canvas);
}

std::optional<Failure> FilmRoll::commit(std::vector<WrittenFile>& written) {
  if (_encoder && !_encoder->commit()) return unwritable(_encoder->message());
  if (_picture && !_picture->commit()) return unwritable(_picture->message());
  if (!_targets.film.empty()) written.push_back({_targets.film, counted(_count, "frame")});
  if (_targets.frames.empty()) return std::nullopt;
  std::string what = counted(_count, "picture");
  if (std::size_t const others = countOthers(); others > 0)
    what +=
        "; " + grouped(others) + " more of an earlier run " + (others == 1 ? "is" : "are") + " still there";
  written.push_back({_targets.frames, what});
  return std::nullopt;
}

}  // namespace knanim
