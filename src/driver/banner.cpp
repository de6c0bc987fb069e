#include "common/constants.hpp"
#include "common/freeform.hpp"
#include "common/text.hpp"
#include "driver/driver.hpp"
#include "field/ffield.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

constexpr std::string_view rule = "------------------------------------------------------";
static_assert(rule.size() == 54);
constexpr std::string_view indent = "           ";
static_assert(indent.size() == 11);

/// Two texts on end, as one line.
Text<72> joined(std::string_view head, std::string_view tail) {
  std::array<char, 160> chars;
  char* end = std::copy(head.begin(), head.end(), chars.begin());
  end = std::copy(tail.begin(), tail.end(), end);
  return std::string_view(chars.data(), static_cast<std::size_t>(end - chars.data()));
}

/// The force models' version lines for the banner: line i, and their number.
void relver(Text<80>& text, int i, int& n) {
  n = 1;
  text = i == 1 ? "rel1_projected           17.03.05" : "";
}

void solver_lines() {
  Text<80> entry;
  for (int i = 1, n = 1; i <= n; ++i) {
    fldver(entry, i, n);
    // The first entry goes without its "fld_version = ".
    const Text<72> line =
        i == 1 ? joined("   solver: ", entry.field().substr(14)) : joined(indent, entry.view());
    msgout(line.field());
  }
  for (int i = 1, n = 1; i <= n; ++i) {
    relver(entry, i, n);
    msgout(joined(indent, entry.view()).field());
  }
}

}  // namespace

void banner() {
  std::array<char, 8> capacity;
  put_integer(capacity.data(), 8, maxprt);
  msgout(rule);
  msgout("Tessaron");
  msgout("   rel1.2   0001                   from 06.02.06");
  msgout(joined("   maxprt=", {capacity.data(), capacity.size()}).field());
  solver_lines();
  msgout(rule);
}

}  // namespace tessaron
