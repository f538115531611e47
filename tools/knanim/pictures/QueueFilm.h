#pragma once

#include "knanim/pictures/FilmPicture.h"
#include "knanim/playing/QueueModels.h"

namespace knanim {

/// Photographs a scene of several models at moments spread evenly over a run, and draws them side by side:
/// each in room of the same size, however far it reaches in the scene, where all of them stand in one place.
class QueueFilm {
 public:
  /// `count` moments from 0 to `end`. Models and scene live as long as this.
  QueueFilm(QueueModels const& models, AnimatedScene const& scene, double end, std::size_t count);

  /// To be told of every pass, by its number from 0 on, its time and which models have begun by then; keeps what is
  /// seen when a moment has come.
  void see(std::uint64_t pass, double time, std::vector<bool> const& begun);
  std::size_t frameCount() const { return _film.frames.size(); }
  /// What was seen; once it is drawn, as the models stand in the picture.
  std::vector<FilmFrame> const& frames() const { return _film.frames; }

  /// Models of which nothing is drawn: those without meshes, when others have some.
  std::vector<std::string> unseen() const;

  /// Draws what was seen. False with a `message` when it cannot be drawn.
  bool draw(PictureFormat format, std::string& bytes, std::string& message);

 private:
  template <typename Use>
  void forEachPoint(QueueModel const& part, Pose& pose, Use use) const;
  template <typename Use>
  void forEachSeen(QueueModel const& part, Pose const& pose, Use use) const;
  void placeSideBySide();
  void describe();

  QueueModels const& _models;
  AnimatedScene const& _scene;
  SceneFigure _figure;
  FilmPicture _film;
  std::vector<std::vector<bool>> _begun;  ///< by frame and model
  std::vector<double> _moments;
  std::size_t _next = 0;
};

}  // namespace knanim
