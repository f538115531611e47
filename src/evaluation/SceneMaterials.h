#pragma once

#include "model/materials/Material.h"

#include <vector>

/// The living materials of the scene as the host tells them: those of the pool that it gives, else those that it
/// lists; none when it does neither.
std::vector<osg::MaterialPtr> findSceneMaterials();

/// The living materials below a node as the host tells them; none when it does not.
std::vector<osg::MaterialPtr> findAllMaterials(osg::NodePtr const& root);
