#pragma once
#include <string_view>

#include "common/status.hpp"

namespace tessaron {

/// The data files of the `forces` block. Both read into the force settings and close their file; a failure
/// leaves the table half read.

/// The sub-bunch table: rows of c*time, sigma_long, sigma_rad and sigma_vert [m], the times not decreasing,
/// 1 to matist - 1 of them. A column that is in use must be positive.
[[nodiscard]] Status read_subbunch_file(std::string_view name);

/// The wake table: comment lines (they hold a "!" and are copied to the log), then one number a line: sigwak,
/// stpwak, n1wak, n2wak and the n2wak - n1wak + 1 values of the wake. It has to cover at least -3 sigwak to
/// +3 sigwak.
[[nodiscard]] Status read_wake_file(std::string_view name);

}  // namespace tessaron
