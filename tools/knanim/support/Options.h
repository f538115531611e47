#pragma once

#include "knanim/import/ImportedModel.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace knanim {

/// Where a command prints: what it found, and warnings, failures and progress.
struct Terminal {
  std::FILE* output = stdout;
  std::FILE* errors = stderr;
};

/// Playing against a clock instead of frame by frame.
struct ClockOptions {
  bool realtime = false;                      ///< the clock on the wall; else a simulated one
  std::optional<double> rate = std::nullopt;  ///< passes per second; 60 when it is not given
  std::optional<double> seconds = std::nullopt;
  std::optional<std::string> loop = std::nullopt;  ///< first and last frame, as 10:50
  std::optional<long long> rounds = std::nullopt;  ///< of the loop
  bool reverse = false;
  bool subframes = false;

  bool isAnyGiven() const { return realtime || rate || seconds || loop || reverse || subframes; }
};

struct PlayOptions {
  std::string model;
  std::string animation;  ///< number or name; empty for the first one
  double framesPerSecond = 30;
  std::optional<double> from;  ///< seconds
  std::optional<double> to;    ///< seconds
  std::string csv;             ///< empty for none
  std::string plot;            ///< empty for none
  std::vector<std::string> channels;
  std::string strip;  ///< a picture of several frames; empty for none
  std::size_t stripFrames = 8;
  std::string image;               ///< a picture of one frame; empty for none
  std::optional<long long> frame;  ///< the one of the image; the first when it is not given
  std::string frames;              ///< a folder for all frames; empty for none
  std::string film;                ///< a moving picture; empty for none
  std::string size = "640x360";    ///< of frames and film
  std::string camera;              ///< for all of these: a name, "fit", or empty for the model's first one
  bool clips = false;              ///< arrange the animations as clips
  std::string clipsPlot;           ///< a picture of the clips; empty for none
  bool bakeSkins = false;          ///< play meshes with bones from caches
  bool json = false;               ///< the report is JSON
  Tangents tangents = Tangents::Linear;
  ClockOptions clock;
};

struct InfoOptions {
  std::string model;
  std::string animation;  ///< the one whose nodes are listed: number or name; empty for the first one
  bool allNodes = false;  ///< no limit to the length of the list
  bool json = false;      ///< the report is JSON, without limits
};

struct QueueOptions {
  std::vector<std::string> models;
  double stagger = 0.5;             ///< seconds from the start of one model to that of the next
  std::vector<std::string> pauses;  ///< TIME:SECONDS or NUMBER@TIME:SECONDS
  int cycles = 0;                   ///< repetitions after the first run; -1 without end
  std::string range;                ///< BEGIN:END in seconds of the animations; empty for all of them
  std::optional<double> seconds;    ///< the end of the run
  bool resetAtEnd = false;
  double rate = 60;       ///< passes per second
  bool realtime = false;  ///< the clock on the wall; else a simulated one
  std::string strip;      ///< a picture of several moments; empty for none
  std::size_t stripFrames = 8;
};

/// How near an export stays to what it has to sample.
struct ExportOptions {
  double degrees = 0.01;  ///< between rotations
  double share = 1e-4;    ///< of the largest value of a translation or scale
};

/// A model, and the moment at which it is looked at; without one it stands as the file has it.
struct SceneOptions {
  std::string model;
  std::string animation;                       ///< number or name; empty for the first one
  std::optional<double> time = std::nullopt;   ///< seconds
  std::optional<double> frame = std::nullopt;  ///< need not be whole; where there is no time
  double framesPerSecond = 30;
  Tangents tangents = Tangents::Linear;
};

struct ChannelsOptions {
  SceneOptions scene;
  std::string node;   ///< a name, or the end of a path; empty for a table of all nodes and materials
  bool all = false;   ///< no limit to the length of that table
  std::string csv;    ///< empty for none
  bool json = false;  ///< what is printed is JSON, without limits
};

struct GetOptions {
  SceneOptions scene;
  std::string path;  ///< as Hips.translation.Y
};

struct SetOptions {
  SceneOptions scene;
  std::string path;
  std::string value;
  std::string image;  ///< a picture of the scene afterwards; empty for none
  std::string out;    ///< the scene afterwards, as a file; empty for none
};

struct WhyOptions {
  SceneOptions scene;
  std::string path;  ///< as Hips.translation.Y; empty for the whole scene
  bool all = false;  ///< no limit to the length of the list
};

struct ReduceOptions {
  std::string model;
  std::string animation;                ///< number or name; empty for the first one
  std::vector<std::string> tolerances;  ///< VALUE or PATTERN=VALUE
  bool points = false;                  ///< by distances of points instead of fitted segments
  std::string plot;                     ///< empty for none
  std::vector<std::string> channels;    ///< in the picture
  bool all = false;                     ///< no limit to the length of the list
  std::string out;                      ///< the scene afterwards, as a file; empty for none
};

/// Another model whose animation is pasted.
struct PasteOptions {
  std::string source;
  std::string animation;          ///< number or name; empty for the first one
  std::string map;                ///< a file of "source = target" names; empty for the same names
  std::vector<std::string> only;  ///< patterns of the source's nodes; empty for all
  bool retarget = false;          ///< fit to the other skeleton's places, sizes and rest pose
  bool replace = false;           ///< remove what the nodes had before, and do not just switch it off
};

enum class EditVerb : std::uint8_t { Paste, Copy, Share, Cut, Unshare, Rename, Scale, Offset, Shift };

struct EditStep {
  EditVerb verb = EditVerb::Paste;
  std::string text;
};

struct EditOptions {
  std::string model;
  std::string animation;        ///< number or name; empty for the first one
  std::vector<EditStep> steps;  ///< in the order of the command line
  PasteOptions paste;
  double framesPerSecond = 30;
  bool all = false;   ///< no limit to what is told of a step
  std::string strip;  ///< a picture of the scene before and after; empty for none
  std::size_t stripFrames = 8;
  std::string out;  ///< the scene afterwards, as a file; empty for none
};

struct ConvertOptions {
  std::string model;
  std::string animation;  ///< the one that is switched on: number or name; empty for the first one
  std::string out;
  std::string object;  ///< only the animations of this node or material; empty for the whole scene
  bool bakeSkins = false;
  double framesPerSecond = 30;  ///< of baked skins
  Tangents tangents = Tangents::Linear;
  ExportOptions exporting;
};

struct LoadOntoOptions {
  std::string model;
  std::string file;
  std::vector<std::string> objects;  ///< patterns of nodes and materials, for the animations of one object
  PasteOptions paste;                ///< for a file with nodes
  bool all = false;
  std::string out;  ///< empty for none
};

struct DiffOptions {
  std::string first;
  std::string second;
  double tolerance = 0;  ///< of evaluated values, in the units of the channels
  bool all = false;      ///< no limit to the length of the lists
};

struct ConvertXmlOptions {
  std::string model;
  std::string xml;
  std::string out;  ///< empty for none
  std::optional<double> framesPerSecond = std::nullopt;
};

struct ShootOptions {
  std::string model;
  std::string animation;       ///< the one that plays meanwhile: number or name; empty for the first one
  std::string move = "track";  ///< "track", "flight", "shot" or "turntable"
  std::vector<std::string> cameras;          ///< of the model, as viewpoints
  std::vector<std::string> views;            ///< FROM:AT or FROM:AT:UP
  bool even = false;                         ///< a turntable of constant speed
  double seconds = 3;                        ///< from one viewpoint to the next
  double pause = 0;                          ///< at a viewpoint
  double fade = 0;                           ///< in which the exposure comes up
  std::string exposures;                     ///< at the viewpoints, as 1,0.3,2
  std::optional<double> fov = std::nullopt;  ///< vertically, in degrees
  std::optional<double> near = std::nullopt;
  std::optional<double> far = std::nullopt;
  double framesPerSecond = 30;
  int motionBlur = 1;     ///< samples for each frame
  double shutter = 0.02;  ///< how long it is open, in seconds
  std::string size = "640x360";
  std::string frames;  ///< a folder; empty for none
  std::string film;    ///< empty for none
  std::string strip;   ///< empty for none
  std::size_t stripFrames = 8;
  std::string plan;  ///< a picture from above; empty for none
};

}  // namespace knanim
