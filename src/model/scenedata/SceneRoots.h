#pragma once

#include "model/scenedata/knSceneDataManager.h"

/// The root of the current scene's objects; null while there is no scene.
inline osg::NodePtr sceneRoot() { return knSceneDataManager::getSceneData(0)->knSceneDataBase::getRoot(); }

/// The material-side root of the current scene, above the root of its objects; null while there is no scene.
inline osg::NodePtr materialRoot() { return knSceneDataManager::getSceneData(0)->getMaterialRoot(); }
