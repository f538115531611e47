#pragma once

#include "knanim/support/ExitCode.h"
#include "knanim/support/Options.h"

namespace knanim {

/// Plays an animation of a model: lets the library evaluate its scene at every frame, writes and draws what is
/// asked for, prints what it found.
ExitCode play(PlayOptions const& options, Terminal terminal);

/// Prints what is in a model.
ExitCode info(InfoOptions const& options, Terminal terminal);

/// Plays the animations of several models in one scene by the library's playing queue, each on its own clock, and
/// prints what happens when.
ExitCode queue(QueueOptions const& options, Terminal terminal);

/// Prints what can be keyed on a node or material, with the present values.
ExitCode channels(ChannelsOptions const& options, Terminal terminal);

/// Prints the value of one channel and nothing else.
ExitCode get(GetOptions const& options, Terminal terminal);

/// Writes a value to a channel of the scene, and prints what became of it. The model's file stays as it is; the scene
/// can go to another one.
ExitCode set(SetOptions const& options, Terminal terminal);

/// Tells why a channel, or what is animated in a scene, does not move.
ExitCode why(WhyOptions const& options, Terminal terminal);

/// Reduces the keys of an animation in memory, and prints how many are left and how far the curves moved.
ExitCode reduce(ReduceOptions const& options, Terminal terminal);

/// Copies, shares, removes, renames, scales and moves animations of a model's scene, and prints what became of it.
ExitCode edit(EditOptions const& options, Terminal terminal);

/// Moves a camera through viewpoints by a camera track, flights, shots or the turntable, and draws what it sees.
ExitCode shoot(ShootOptions const& options, Terminal terminal);

/// Writes a model as a scene of the library or as glTF, or the animations of one of its objects.
ExitCode convert(ConvertOptions const& options, Terminal terminal);

/// Adds the animations of a file to a model's scene, and prints what fitted and why the rest did not.
ExitCode loadOnto(LoadOntoOptions const& options, Terminal terminal);

/// Builds the animations of an old XML text on a scene that names them.
ExitCode convertXml(ConvertXmlOptions const& options, Terminal terminal);

/// Tells in what the animations of two models differ; `Failed` when they do.
ExitCode diff(DiffOptions const& options, Terminal terminal);

/// Carries out a command line as the program's main function gets it.
ExitCode runCommandLine(int count, char const* const* arguments, Terminal terminal);

}  // namespace knanim
