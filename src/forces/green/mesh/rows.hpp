#pragma once
#include <string_view>

#include "forces/green/mesh/mesh.hpp"

namespace tessaron {

/// Computes the rows that are wanted and have no field yet, shared among the threads.
void green_fill_wanted(GreenMesh& mesh, const GreenField& source);

/// In a group of processes all rows that are needed are computed before anybody looks them up, by each
/// process its share. To find out which those are costs sources times points lookups: true if that is less
/// than it spares. Tells so on the console.
bool green_wanting_pays(std::int32_t points, const GreenMesh& mesh);

/// Computes the rows of the present block in a group: those that any process wants, or all of them.
void green_rows_of_block(bool all, const GreenField& source, GreenMesh& mesh);

/// Writes a progress line on the console for the first and the last of `total` items, and in between for
/// each thousandth, or less often where there are many.
void green_progress(std::string_view text, std::int64_t item, std::string_view text2, std::int64_t total);

}  // namespace tessaron
