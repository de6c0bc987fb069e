#pragma once
#include <cstdint>
#include <span>
#include <string_view>

#include "common/status.hpp"

namespace tessaron {

/// Tables of numbers in text files: time grid, sub-bunch table, wake.

/// Opens the data file `name` for reading, writes the line that announces it, reads its items and closes it.
/// The status is the first failure's.
[[nodiscard]] Status read_data_file(std::string_view name, std::string_view announcement,
                                    Status (*read_items)(int stream));

/// One free-form read of numbers.size() reals. It starts on a new line and goes on over the following lines
/// until all of them are found; what stands behind the last one on its line is ignored, blank lines are
/// passed over. `at_end` is true (status 0) if the file holds nothing more or ends inside the numbers; they
/// then hold nothing of use. A text that is no number fails without a message.
[[nodiscard]] Status read_reals(int stream, std::span<double> numbers, bool& at_end);

/// The same for one real or one integer that has to be there: the end of the file fails.
[[nodiscard]] Status read_one(int stream, double& number);
[[nodiscard]] Status read_one(int stream, std::int32_t& number);

}  // namespace tessaron
