#pragma once
#include "field/images/straight_entrance.hpp"
#include "field/path/path_record.hpp"
#include "field/settings.hpp"
#include "field/source/profile.hpp"

namespace tessaron {

/// All that a source fixes. `finit` gives the settings and the shape, `setpth` the path, and `finit` with
/// `check` completes it; from then on it is only read, by as many observers at a time as one likes.
struct FieldSource {
  FieldSettings settings;
  SubBunchShape shape;
  PathRecord path;
  ProfileRecord profile;  ///< from here on derived by `complete_source`
  Entrance entrance;
  bool complete = false;  ///< nothing was changed since
};

/// Derives the profile and the straight entrance from settings that are fit for use.
void complete_source(FieldSource& source);

}  // namespace tessaron
