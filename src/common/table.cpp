#include "common/table.hpp"

#include <cstdio>
#include <cstdlib>

namespace tessaron {

void index_failure(long index, long first, long last) {
  std::fprintf(stderr, "table index %ld is outside %ld .. %ld\n", index, first, last);
  std::abort();
}

}  // namespace tessaron
